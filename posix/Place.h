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

/// Opens the folder of a path. A link on the way there is followed only when root or the caller owns it and it has no
/// second name, which a stranger can give to links of root's: any other leads where somebody else wants. The last name
/// is not looked at.
/// @return errno tells why where the folder is not open: EACCES for such a link
[[nodiscard]] Place Locate(const std::string& path);

/// Makes the place of a link, by the same rules, that of the link's target.
/// @return false, with errno set, when the link must not be followed or the target has no folder
[[nodiscard]] bool FollowLink(Place& place);

} // namespace Vantor
