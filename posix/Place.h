// Where a path leads, held open: what is done there is not led astray by who changes a name meanwhile.
#pragma once

#include <string>

#include "posix/FileDescriptor.h"

namespace Vantor {

/// A folder, for the calls whose names end in "at", and the name of something in it.
struct Place {
    FileDescriptor folder; ///< not open when the path has no such folder
    std::string name;      ///< what follows the last '/'
};

/// Opens the folder of a path. A link on the way there is followed only when root or the caller owns it: any other
/// leads where somebody else wants. The last name is not looked at.
/// @return errno tells why where the folder is not open: ELOOP for such a link
[[nodiscard]] Place Locate(const std::string& path);

} // namespace Vantor
