// The client's configuration files: who may write them, what is stored, what is wrong. Reads only, and unlike opening
// the configuration registry it makes no folders.
#pragma once

#include "diag/Records.h"

#include <string>
#include <vector>

namespace Diag {

[[nodiscard]] ConfigurationState ProbeConfiguration();

/// The stored settings of a document; all missing when it cannot be parsed.
[[nodiscard]] Settings ReadSettings(const std::string& document);

/// Why the registry would not take in the document, with the line as far as it can be told; nothing if it does.
[[nodiscard]] std::optional<FileProblem> FindSyntaxProblem(const std::string& document);

/// Paths ("config/lumo_Client/Foo") of elements with content that stand where only known ones are read, in the order of
/// the document. Sub-trees of the client's that are not described are left out.
[[nodiscard]] std::vector<std::string> FindUnreadElements(const std::string& document);

} // namespace Diag
