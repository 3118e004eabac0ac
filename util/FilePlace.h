// Where a file is, found so that nobody else decides it.
#pragma once

#include "posix/FileDescriptor.h"

#include <string>

namespace Vantor {

/// A file's name and its opened folder: what happens to the folder's path meanwhile makes no difference. There may be
/// no file of that name.
struct FilePlace {
    enum class LastName {
        Follow, ///< where the path's last name is a symbolic link, the place is that of its target
        Keep,   ///< the place is that of the link itself
    };

    FileDescriptor folder;
    std::string name;      ///< without '/'
    bool listable = false; ///< the folder may be read: listed, and written to the medium

    /// Symbolic links, those in targets of links too, are followed only when root or the caller owns them: any other is
    /// a stranger's way to have a file of ours written. Nor are those that have a second hard link, which a stranger
    /// can make of root's own links. A link of root's that lies in a folder of others can be renamed there.
    /// @return a place without folder, with errno set, when the path has no file name, a folder cannot be opened or a
    ///         link must not be followed (EACCES)
    static FilePlace Open(const std::string& path, LastName last = LastName::Follow);

    /// Opens what lies there, of whatever kind, without waiting and without following a link.
    /// @param access O_RDONLY, O_WRONLY or O_RDWR
    /// @return none on failure, with errno set
    FileDescriptor OpenFile(int access) const;

    /// Makes the last change of the folder permanent.
    /// @param file in it: a folder that may not be read is reached through its whole file system
    bool Sync(const FileDescriptor& file) const;
};

} // namespace Vantor
