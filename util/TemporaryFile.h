// A new file that is to take the place of another one in the same folder.
#pragma once

#include "util/FilePlace.h"

#include <string>

struct stat;

namespace Vantor {

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
    /// Creates the file with mode, group and access control list of another one, whatever the folder's default list
    /// says; none but the owner may read it before it has them. Where it cannot have the other's owner as well, it is
    /// the caller's, without set-user-ID and set-group-ID.
    [[nodiscard]] bool CreateLike(const FileDescriptor& model, const struct stat& status);
    /// Gives the file its final name.
    [[nodiscard]] bool MoveOver();

    const FileDescriptor& File() const { return file; }

    /// Removes the temporary files of the place that no living program holds and that the caller may read.
    static void RemoveLeftovers(const FilePlace& place);

private:
    bool Create(unsigned mode, struct stat& own);
    void Discard();

    const FilePlace& place;
    FileDescriptor file;
    std::string name; ///< empty while there is no file to remove
};

} // namespace Vantor
