// A file descriptor that closes itself, and the transfers that a partial system call must not cut short.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

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

/// Copies the regular file open as `from`, whole, to the file `target`, which is made with the mode of the source (less
/// the umask) or truncated. A copy that could not be completed is removed. Done in the kernel where that is possible.
/// @return true when every byte is there and the target closed without an error; false also for two names of one file
[[nodiscard]] bool CopyToFile(int from, const std::string& target);

} // namespace Vantor
