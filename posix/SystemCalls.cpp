#include "posix/SystemCalls.h"

#include <algorithm>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace Vantor {

namespace {

constexpr std::size_t kernelChunk = std::size_t{1} << 30;

ssize_t ReadAt(int fd, char* buffer, std::size_t size, off_t offset) {
    return RetryOnInterrupt([&] { return pread(fd, buffer, size, offset); });
}

// Stops without an error where the file systems cannot do it; the caller's own loop finds out what is left.
off_t CopyInKernel(int from, int to, off_t most) {
    off_t offset = 0;
    while (copy_file_range(from, &offset, to, nullptr, std::min(kernelChunk, static_cast<std::size_t>(most - offset)),
                           0) > 0) {
    }
    return offset;
}

} // namespace

std::string ReadStart(const FileDescriptor& file, std::size_t size) {
    std::string bytes(size, '\0');
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t got = ReadAt(file.Get(), &bytes[filled], size - filled, static_cast<off_t>(filled));
        if (got <= 0) {
            break;
        }
        filled += static_cast<std::size_t>(got);
    }
    bytes.resize(filled);
    return bytes;
}

std::size_t WriteAll(int fd, std::string_view bytes) {
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count =
            RetryOnInterrupt([&] { return write(fd, bytes.data() + written, bytes.size() - written); });
        if (count <= 0) {
            break;
        }
        written += static_cast<std::size_t>(count);
    }
    return written;
}

bool Sync(const FileDescriptor& file) {
    return RetryOnInterrupt([&] { return fsync(file.Get()); }) == 0 || errno == EINVAL || errno == ENOSYS;
}

bool WriteAndSync(const FileDescriptor& file, std::string_view bytes) {
    return WriteAll(file.Get(), bytes) == bytes.size() && Sync(file);
}

bool CopyAll(int from, int to, off_t most) {
    off_t offset = CopyInKernel(from, to, most);
    std::vector<char> buffer(65536);
    while (true) {
        const ssize_t count = ReadAt(from, buffer.data(), buffer.size(), offset);
        if (count <= 0) {
            return count == 0;
        }
        const auto size = static_cast<std::size_t>(count);
        if (count > most - offset || WriteAll(to, {buffer.data(), size}) != size) {
            return false;
        }
        offset += count;
    }
}

} // namespace Vantor
