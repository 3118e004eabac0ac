// Writing a whole file so that no crash, power cut or full disk leaves a part of it.
#pragma once

#include <string>

namespace Vantor {

/// Gives a file a new content. Whoever opens it, at any moment and after any crash, finds all of the old content or
/// all of the new one. On return true the new content is on the medium.
///
/// It is written to a file "NAME.saving-..." in the same folder, which takes the place of the old one; such files that
/// a killed program left behind are removed by the next call. A symbolic link stays and its target is replaced. Mode,
/// owner, group and access control list of an existing file are kept; a new one gets 0666 less the umask.
///
/// Where the folder does not allow that but the file may be written (no right to the folder, a bind-mounted file,
/// another's file whose owner could not be kept), the file is overwritten in place; only then a crash in the middle can
/// leave a mixture. For a moment the content is then followed by line ends, which suits text formats.
///
/// @param path    a regular file, or none; its folder must exist
/// @param keepAs  if not empty, the old file is kept under this name, in place of an older one
/// @return false, with the old file as it was, when the file may not be opened for writing or anything fails; false
///         also when only the last step fails, to write the folder's new entry to the medium
[[nodiscard]] bool ReplaceFile(const std::string& path, const std::string& content,
                               const std::string& keepAs = std::string());

} // namespace Vantor
