// System calls to their end.
#pragma once

#include <cerrno>
#include <cstddef>
#include <string>
#include <string_view>

#include <unistd.h>

#include "logging/FileDescriptor.h"

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

/// The first bytes of a file; fewer, or none, where it ends before `size` or cannot be read.
[[nodiscard]] inline std::string ReadStart(const FileDescriptor& file, std::size_t size) {
    std::string bytes(size, '\0');
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t got = RetryOnInterrupt(
            [&] { return pread(file.Get(), &bytes[filled], size - filled, static_cast<off_t>(filled)); });
        if (got <= 0) {
            break;
        }
        filled += static_cast<std::size_t>(got);
    }
    bytes.resize(filled);
    return bytes;
}

/// Waits until what was written is on the medium. A file system that knows no such thing counts as done.
[[nodiscard]] inline bool Sync(const FileDescriptor& file) {
    return RetryOnInterrupt([&] { return fsync(file.Get()); }) == 0 || errno == EINVAL || errno == ENOSYS;
}

/// Writes bytes at the current position and waits until they are on the medium.
[[nodiscard]] inline bool WriteAndSync(const FileDescriptor& file, std::string_view bytes) {
    return WriteAll(file.Get(), bytes) == bytes.size() && Sync(file);
}

} // namespace Vantor
