// Validation of the configuration file against docs/configuration.rng, which is built into the program.
#pragma once

#include "diag/Records.h"

#include <string>
#include <vector>

namespace Diag {

/// What the schema says against a document, in the order of its lines; empty when it is valid. A document that is not
/// well-formed has a complaint, too.
[[nodiscard]] std::vector<FileProblem> CheckAgainstSchema(const std::string& document);

} // namespace Diag
