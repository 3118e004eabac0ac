#include "posix/FileDescriptor.h"

#include <utility>

#include <unistd.h>

namespace Vantor {

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
        Close();
        m_fd = std::exchange(other.m_fd, -1);
    }
    return *this;
}

bool FileDescriptor::Close() {
    const int fd = std::exchange(m_fd, -1);
    return fd < 0 || close(fd) == 0;
}

} // namespace Vantor
