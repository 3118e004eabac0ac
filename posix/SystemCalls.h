// System calls to their end: transfers that neither a signal nor a partial call cuts short, and files told apart.
#pragma once

#include <cerrno>
#include <cstddef>
#include <limits>
#include <string>
#include <string_view>

#include <sys/stat.h>

#include "posix/FileDescriptor.h"

namespace Vantor {

/// Repeats a system call that a signal interrupted.
template <typename Call>
auto RetryOnInterrupt(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

/// Whether two names or descriptors are those of one file.
[[nodiscard]] inline bool IsSameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// The first bytes of a file; fewer, or none, where it ends before `size` or cannot be read.
[[nodiscard]] std::string ReadStart(const FileDescriptor& file, std::size_t size);

/// Writes until all is written or an error other than an interruption comes. @return bytes written
[[nodiscard]] std::size_t WriteAll(int fd, std::string_view bytes);

/// Waits until what was written is on the medium. A file system that knows no such thing counts as done.
[[nodiscard]] bool Sync(const FileDescriptor& file);

/// Writes bytes at the current position and waits until they are on the medium.
[[nodiscard]] bool WriteAndSync(const FileDescriptor& file, std::string_view bytes);

/// Copies all of a file to the current position of another; in the kernel where that is possible.
/// @param most  bytes: whoever may write the file can make it grow while it is copied
/// @return true when every byte is there; false also for a file of more bytes, when up to `most` of them may be there
[[nodiscard]] bool CopyAll(int from, int to, off_t most = std::numeric_limits<off_t>::max());

} // namespace Vantor
