// A file descriptor that closes itself.
#pragma once

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

} // namespace Vantor
