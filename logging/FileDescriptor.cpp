#include "logging/FileDescriptor.h"

#include <cerrno>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Vantor {

namespace {

constexpr std::size_t kernelChunk = std::size_t{1} << 30;

ssize_t ReadAt(int fd, char* buffer, std::size_t size, off_t offset) {
    ssize_t count = -1;
    do {
        count = pread(fd, buffer, size, offset);
    } while (count < 0 && errno == EINTR);
    return count;
}

// Stops without an error where the file systems cannot do it; the caller's own loop finds out what is left.
off_t CopyInKernel(int from, int to) {
    off_t offset = 0;
    while (copy_file_range(from, &offset, to, nullptr, kernelChunk, 0) > 0) {
    }
    return offset;
}

bool CopyAll(int from, int to) {
    off_t offset = CopyInKernel(from, to);
    std::vector<char> buffer(65536);
    while (true) {
        const ssize_t count = ReadAt(from, buffer.data(), buffer.size(), offset);
        if (count <= 0) {
            return count == 0;
        }
        const auto size = static_cast<std::size_t>(count);
        if (WriteAll(to, {buffer.data(), size}) != size) {
            return false;
        }
        offset += count;
    }
}

} // namespace

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

std::size_t WriteAll(int fd, std::string_view bytes) {
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = write(fd, bytes.data() + written, bytes.size() - written);
        if (count > 0) {
            written += static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    return written;
}

bool CopyToFile(int from, const std::string& target) {
    struct stat source {};
    struct stat existing {};
    if (fstat(from, &source) != 0 || !S_ISREG(source.st_mode) ||
        (stat(target.c_str(), &existing) == 0 &&
         (existing.st_dev == source.st_dev && existing.st_ino == source.st_ino))) {
        return false;
    }
    // O_NONBLOCK: a pipe of that name must fail, not wait for a reader.
    constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    FileDescriptor to(open(target.c_str(), flags, source.st_mode & 0777));
    if (!to.IsOpen()) {
        return false;
    }
    const bool complete = CopyAll(from, to.Get());
    if (!to.Close() || !complete) {
        unlink(target.c_str());
        return false;
    }
    return true;
}

} // namespace Vantor
