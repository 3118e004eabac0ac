#include "util/OverwriteFile.h"

#include "util/SystemCalls.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace Vantor {

namespace {

constexpr char Padding = '\n';
/// A larger file is not read, nor covered with padding: it is none of ours.
constexpr std::size_t MaxPadded = std::size_t{16} << 20;

bool WriteAt(const FileDescriptor& file, std::size_t position, const std::string& bytes) {
    return lseek(file.Get(), static_cast<off_t>(position), SEEK_SET) >= 0 && WriteAndSync(file, bytes);
}

bool CutTo(const FileDescriptor& file, std::size_t size) {
    return RetryOnInterrupt([&] { return ftruncate(file.Get(), static_cast<off_t>(size)); }) == 0;
}

/// The first `size` bytes; fewer, or none, where the file cannot be read.
std::string ReadStart(const FileDescriptor& file, std::size_t size) {
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

/// Puts back what can be put back; the caller reports failure in any case.
void Restore(const FileDescriptor& file, const std::string& old, std::size_t size) {
    if (old.size() == size && WriteAt(file, 0, old)) {
        static_cast<void>(CutTo(file, size) && Sync(file));
    }
}

} // namespace

bool OverwriteFile(const FileDescriptor& file, const std::string& content) {
    struct stat status = {};
    if (fstat(file.Get(), &status) != 0) {
        return false;
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    if (content.size() > size) {
        if (!WriteAt(file, size, std::string(content.size() - size, Padding))) {
            static_cast<void>(CutTo(file, size));
            return false;
        }
    }
    const std::string old = size <= MaxPadded ? ReadStart(file, size) : std::string();
    std::string padded = content;
    padded.resize(std::max(content.size(), std::min(size, MaxPadded)), Padding);
    if (!WriteAt(file, 0, padded)) {
        Restore(file, old, size);
        return false;
    }
    return CutTo(file, content.size()) && Sync(file);
}

} // namespace Vantor
