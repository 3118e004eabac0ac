// System calls to their end.
#pragma once

#include <cerrno>
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

/// Waits until what was written is on the medium. A file system that knows no such thing counts as done.
[[nodiscard]] inline bool Sync(const FileDescriptor& file) {
    return RetryOnInterrupt([&] { return fsync(file.Get()); }) == 0 || errno == EINVAL || errno == ENOSYS;
}

/// Writes bytes at the current position and waits until they are on the medium.
[[nodiscard]] inline bool WriteAndSync(const FileDescriptor& file, std::string_view bytes) {
    return WriteAll(file.Get(), bytes) == bytes.size() && Sync(file);
}

} // namespace Vantor
