// A file descriptor that closes itself, and the two transfers that a partial system call must not cut short.
#pragma once

#include <cstddef>
#include <string_view>

#include <sys/types.h>

namespace Vantor {

/// Owns one open file descriptor, or none.
class FileDescriptor {
public:
    FileDescriptor() = default;
    /// Takes the ownership; a negative number is none.
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    ~FileDescriptor() { Close(); }
    FileDescriptor(FileDescriptor&& other) noexcept;
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;

    int Get() const { return m_fd; }
    bool IsOpen() const { return m_fd >= 0; }
    /// @return false when the system reported an error, on which some file systems say that data was lost
    bool Close();

private:
    int m_fd = -1;
};

/// Writes until all is written or an error other than an interruption comes. @return bytes written
[[nodiscard]] std::size_t WriteAll(int fd, std::string_view bytes);

/// Copies what `from` holds from `offset` to its end to `to` at its position, in the kernel where that can be done.
/// @return false when a byte could not be read or written
[[nodiscard]] bool CopyToEnd(int from, off_t offset, int to);

} // namespace Vantor
