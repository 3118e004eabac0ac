// Writing a file in place, for where it cannot be replaced.
#pragma once

#include "posix/FileDescriptor.h"

#include <string>

namespace Vantor {

/// Gives an open file a new content without ever emptying it: room for the new content is made first, by line ends
/// behind the old one; then one write puts the new content, with line ends as far as the old one reached, and the rest
/// is cut off. So a full disk is met while the old content is whole, and whoever reads in between finds a complete
/// text, old or new, with empty lines at its end. Writers that do this to one file wait for each other, 2 s at most.
/// @param file  open for writing; also for reading, if the old content is to come back when the write fails
/// @return false when anything failed, or another writer did not end in time; the file is then as it was
[[nodiscard]] bool OverwriteFile(const FileDescriptor& file, const std::string& content);

} // namespace Vantor
