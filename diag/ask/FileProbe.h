// Rights to files and folders, asked without changing anything.
#pragma once

#include "diag/record/Records.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Diag {

/// What there is under a path, and what this user may do with it. Links are followed where a save would follow
/// them (posix/Place.h).
[[nodiscard]] FileFacts DescribeFile(const std::string& path);

/// The first bytes of a regular file, links followed likewise; empty if it cannot be read.
[[nodiscard]] std::string ReadFile(const std::string& path, std::size_t size);

/// The regular files in a folder, links to it followed likewise; in no order.
[[nodiscard]] std::vector<LogFileFacts> ListFiles(const std::string& folder);

/// Whether this is a folder, no link to one, in which root alone may make, remove and rename anything.
[[nodiscard]] bool OnlyRootWrites(const std::string& folder);

/// Whom the access control list of a file or folder names as writers, though they are neither root nor in the group
/// lumoadmin; at most 16.
[[nodiscard]] std::vector<OtherWriter> ListOtherWriters(const std::string& path);

/// Why this user could not make a file in the folder, as errno; 0: he could. The folder need not be there yet: then its
/// nearest parent decides.
[[nodiscard]] int WhyNotCreateIn(const std::string& folder);

/// Whether the account of that number is in the group of that name. May ask the network.
[[nodiscard]] bool IsInGroup(unsigned user, const std::string& name);

/// Whether this process is in the group of that name.
[[nodiscard]] bool IsInGroup(const std::string& name);

} // namespace Diag
