// Rights to files and folders, asked without changing anything.
#pragma once

#include "diag/Records.h"

#include <string>

namespace Diag {

/// What there is under a path, links followed, and what this user may do with it.
[[nodiscard]] FileFacts DescribeFile(const std::string& path);

/// Whether this user could make a file in the folder, which need not be there yet: then its nearest parent decides.
/// @param obstacle  set to the system's reason if not
[[nodiscard]] bool CanCreateIn(const std::string& folder, std::string& obstacle);

/// The system's words for an error number, in English whatever the language, so that reports can be compared.
[[nodiscard]] std::string ErrorText(int error);

/// Whether this process is in the group of that name.
[[nodiscard]] bool IsInGroup(const std::string& name);

} // namespace Diag
