// Directories and the base directories on Linux. Paths are narrow strings (UTF-8) separated by '/'.
#pragma once

#include <string>
#include <vector>

namespace Vantor {

/// True when `path` leads to a directory, through symbolic links too.
[[nodiscard]] bool DirectoryExists(const std::string& path);

/// Makes one directory, mode 0777 less the umask. An empty path and anything that exists already count as made. Nothing
/// is made behind a link that neither root nor the caller owns.
bool CreateOneDir(const std::string& path);

/// Makes the directory in front of each '/' of `path`, outermost first; what follows the last '/' is not made.
/// @return false at the first that cannot be made; those before it stay
bool CreateDirectories(const std::string& path);

/// Appends the names of the directories in `dir`, "." and ".." included, in the order of the file system.
/// Appends nothing when `dir` cannot be opened. Symbolic links are not followed.
void ListAllSubDirectories(const std::string& dir, std::vector<std::string>& names);

/// Appends the names of the regular files in `dir` in the same way; symbolic links are left out.
void ListAllFilesInDirectory(const std::string& dir, std::vector<std::string>& names);

/// TMPDIR as it stands, no '/' added; "/tmp/" when it is not set.
[[nodiscard]] std::string GetTempDir();

/// HOME as it stands; empty when it is not set.
[[nodiscard]] std::string GetUserDir();

/// "/etc/"
[[nodiscard]] std::string GetAllUsersDir();

/// "/var/log/"
[[nodiscard]] std::string GetSystemLogDir();

} // namespace Vantor
