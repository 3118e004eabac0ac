// A new file that is to take the place of another one in the same folder.
#pragma once

#include "posix/FileDescriptor.h"

#include <string>

struct stat;

namespace Vantor {

/// A file's name and its opened folder: what happens to the folder's path meanwhile makes no difference.
struct FilePlace {
    FileDescriptor folder;
    std::string name;
    bool listable = false; ///< the folder may be read: listed, and written to the medium

    /// @return a place without folder when the path has no file name or the folder cannot be opened, with errno set
    static FilePlace Open(const std::string& path);
};

/// Exists from Create on, locked, so that others can tell it from what a killed program left; removed when this object
/// ends without MoveOver.
class TemporaryFile {
public:
    /// @param newPlace  of the file that is to be replaced; outlives this object
    explicit TemporaryFile(const FilePlace& newPlace) : place(newPlace) {}
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    /// Creates the file with 0666 less the umask.
    /// @return false on failure, with errno set
    [[nodiscard]] bool Create();
    /// Creates the file with mode, owner, group and access control list of another one; none but the owner may read it
    /// before it has them.
    [[nodiscard]] bool CreateLike(const FileDescriptor& model, const struct stat& status);
    /// Gives the file its final name.
    [[nodiscard]] bool MoveOver();

    const FileDescriptor& File() const { return file; }

    /// Removes the temporary files of the place that no living program holds.
    static void RemoveLeftovers(const FilePlace& place);

private:
    bool Create(unsigned mode, struct stat& own);
    void Discard();

    const FilePlace& place;
    FileDescriptor file;
    std::string name; ///< empty while there is no file to remove
};

} // namespace Vantor
