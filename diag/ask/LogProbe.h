// The directories of the client's logs and what is in them.
#pragma once

#include "diag/record/Records.h"

#include <string>

namespace Diag {

/// Both directories of the path registry; nothing is made.
[[nodiscard]] LogState ProbeLogs();

[[nodiscard]] LogDirectory ProbeLogDirectory(const std::string& path);

} // namespace Diag
