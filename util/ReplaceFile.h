// Writing a whole file so that no crash, power cut or full disk leaves a part of it.
#pragma once

#include <string>

namespace Vantor {

/// Gives a file a new content. Whoever opens it, at any moment and after any crash, finds all of the old content or
/// all of the new one. On return true the new content is on the medium. What is not a regular file is left alone.
///
/// It is written to a file "NAME.saving-..." in the same folder, which takes the place of the old one. A symbolic link
/// stays and its target is replaced, if root or the caller owns the link (see FilePlace). Mode, group and access
/// control list of an existing file are kept, and its owner where the caller may give files away; else the file is the
/// caller's from then on, without set-user-ID and set-group-ID. A new one gets 0666 less the umask.
///
/// Where the folder does not allow that but the file may be written (no right to the folder, a bind-mounted file, a
/// group that cannot be kept), the file is overwritten in place, if it has no second hard link; only then a crash in
/// the middle can leave a mixture. For a moment the content is then followed by line ends, which suits text formats.
///
/// @param path  a regular file, or none; its folder must exist
/// @return false, with the old file as it was, when the file may not be opened for writing or anything fails; false
///         also when only a last step fails: to write the folder's new entry, or the new length, to the medium
[[nodiscard]] bool ReplaceFile(const std::string& path, const std::string& content);

/// Keeps a file under a second name, in place of what had it: a copy with the rights of the file; the file itself where
/// it cannot be read or is larger than 16 MiB, and is then no longer overwritten in place.
/// Removes what killed programs left when they did this.
/// @param path    as for ReplaceFile, which is to follow: a file that may not be written is not kept
/// @param keepAs  a link of that name is replaced, not followed
/// @return true when it is on the medium, and when there is no such file
[[nodiscard]] bool KeepFile(const std::string& path, const std::string& keepAs);

/// Removes what killed programs left when they replaced the file. What the caller may not read stays, and so does what
/// a living program is writing.
void RemoveLeftovers(const std::string& path);

} // namespace Vantor
