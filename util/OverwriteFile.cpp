#include "util/OverwriteFile.h"

#include "posix/SystemCalls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace Vantor {

namespace {

constexpr char Padding = '\n';
/// A larger file is not read, nor covered with padding: it is none of ours.
constexpr off_t MaxPadded = off_t{16} << 20;

bool WriteAt(const FileDescriptor& file, off_t position, const std::string& bytes) {
    return lseek(file.Get(), position, SEEK_SET) >= 0 && WriteAndSync(file, bytes);
}

bool CutTo(const FileDescriptor& file, off_t size) {
    return RetryOnInterrupt([&] { return ftruncate(file.Get(), size); }) == 0;
}

// In milliseconds. Far longer than another writer needs, unless it is stopped meanwhile.
constexpr int LongestWait = 2000;
constexpr int WaitBetween = 10;

/// A lock on the whole file, of the open file and not of the process.
bool SetLock(const FileDescriptor& file, short type) {
    struct flock lock = {};
    lock.l_type = type;
    return RetryOnInterrupt([&] { return fcntl(file.Get(), F_OFD_SETLK, &lock); }) == 0;
}

bool IsHeldByReader(const FileDescriptor& file) {
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    return fcntl(file.Get(), F_OFD_GETLK, &lock) == 0 && lock.l_type == F_RDLCK;
}

/// Locks out others who overwrite the file, which takes the right to write it. A lock for reading is not theirs, and
/// does not count: else everybody who may read the file could stop all saves. A file system without locks has no
/// others to be found. @return false when another one holds the file all the time
bool LockOutOthers(const FileDescriptor& file) {
    for (int waited = 0; waited < LongestWait; waited += WaitBetween) {
        if (SetLock(file, F_WRLCK) || (errno != EAGAIN && errno != EACCES) || IsHeldByReader(file)) {
            return true;
        }
        usleep(WaitBetween * 1000);
    }
    return false;
}

/// Puts back what can be put back; the caller reports failure in any case.
void Restore(const FileDescriptor& file, const std::string& old, off_t size) {
    if (static_cast<off_t>(old.size()) == size && WriteAt(file, 0, old)) {
        static_cast<void>(CutTo(file, size) && Sync(file));
    }
}

bool Overwrite(const FileDescriptor& file, const std::string& content) {
    struct stat status = {};
    if (fstat(file.Get(), &status) != 0) {
        return false;
    }
    const off_t size = status.st_size;
    const auto newSize = static_cast<off_t>(content.size());
    if (newSize > size) {
        if (!WriteAt(file, size, std::string(static_cast<std::size_t>(newSize - size), Padding))) {
            static_cast<void>(CutTo(file, size));
            return false;
        }
    }
    const std::string old = size <= MaxPadded ? ReadStart(file, static_cast<std::size_t>(size)) : std::string();
    std::string padded = content;
    padded.resize(static_cast<std::size_t>(std::max(newSize, std::min(size, MaxPadded))), Padding);
    if (!WriteAt(file, 0, padded)) {
        Restore(file, old, size);
        return false;
    }
    return CutTo(file, newSize) && Sync(file);
}

} // namespace

bool OverwriteFile(const FileDescriptor& file, const std::string& content) {
    if (!LockOutOthers(file)) {
        return false;
    }
    const bool done = Overwrite(file, content);
    SetLock(file, F_UNLCK); // a process that this one has forked meanwhile may hold the file open for longer
    return done;
}

} // namespace Vantor
