#include "util/InstanceLock.h"

#include "posix/SystemCalls.h"
#include "util/FileSystemLinux.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Vantor {

namespace {

using std::chrono::milliseconds;

constexpr int Turns = 200;
constexpr milliseconds BetweenTurns(10);
/// A number in decimal digits and a NUL.
constexpr off_t MaxLockSize = 24;

/// The account of this process, as the toolkit sees it.
struct Account {
    std::string name;
    std::string home;
};

Account OwnAccount() {
    struct passwd entry = {};
    struct passwd* found = nullptr;
    std::vector<char> buffer(16384);
    getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found);
    return found == nullptr ? Account() : Account{entry.pw_name, entry.pw_dir};
}

struct flock WholeFile() {
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

FileDescriptor OpenFile(const std::string& path, int access) {
    // A pipe in its place must not hold the start up.
    return FileDescriptor(open(path.c_str(), access | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

/// What the toolkit takes for a lock, too.
bool IsOwnLock(const FileDescriptor& file, struct stat& status) {
    return file.IsOpen() && fstat(file.Get(), &status) == 0 && status.st_mode == (S_IFREG | S_IRUSR | S_IWUSR) &&
           status.st_uid == getuid() && status.st_size <= MaxLockSize;
}

/// What the file says without the NUL at its end, or without all the NULs that a power cut made of it.
std::string ReadNumber(const FileDescriptor& file) {
    std::string content = ReadStart(file, static_cast<std::size_t>(MaxLockSize));
    content.erase(content.find_last_not_of('\0') + 1);
    return content;
}

bool IsNameOf(const std::string& path, const struct stat& status) {
    struct stat named = {};
    return lstat(path.c_str(), &named) == 0 && named.st_dev == status.st_dev && named.st_ino == status.st_ino;
}

} // namespace

std::string InstanceLockPath() {
    const Account account = OwnAccount();
    const std::string home = std::getenv("HOME") == nullptr ? account.home : GetUserDir();
    return home + "/LumoAdmin-" + account.name;
}

std::optional<RunningCopy> FindRunningCopy(const std::string& path) {
    struct stat status = {};
    const FileDescriptor file = OpenFile(path, O_RDONLY);
    struct flock lock = WholeFile();
    if (!IsOwnLock(file, status) || fcntl(file.Get(), F_GETLK, &lock) != 0 || lock.l_type == F_UNLCK) {
        return std::nullopt;
    }
    const std::string name = OwnAccount().name;
    return RunningCopy{lock.l_pid > 0 ? lock.l_pid : 0, name.empty() ? std::to_string(status.st_uid) : name,
                       status.st_mtime};
}

InstanceTurn::InstanceTurn(const std::string& folder)
    : m_folder(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    for (int turn = 0; m_folder.IsOpen() && turn < Turns; ++turn) {
        m_isOurs = flock(m_folder.Get(), LOCK_EX | LOCK_NB) == 0;
        if (m_isOurs || (errno != EWOULDBLOCK && errno != EINTR)) {
            return;
        }
        std::this_thread::sleep_for(BetweenTurns);
    }
}

InstanceLockState ClearInstanceLock(const std::string& path, const InstanceTurn& turn) {
    struct stat status = {};
    const FileDescriptor file = OpenFile(path, O_RDWR);
    if (!file.IsOpen() && errno == EROFS) {
        return FindRunningCopy(path) ? InstanceLockState::Held : InstanceLockState::Left;
    }
    if (!IsOwnLock(file, status)) {
        return InstanceLockState::Free;
    }
    // Keeps a start on another machine from removing the next one's lock under this name; turns do not reach so far.
    struct flock lock = WholeFile();
    if (fcntl(file.Get(), F_OFD_SETLK, &lock) != 0) {
        const bool isHeld = errno == EAGAIN || errno == EACCES;
        return isHeld ? InstanceLockState::Held : InstanceLockState::Free;
    }
    // One that is being made is empty and not locked yet.
    const std::string number = ReadNumber(file);
    const bool isBeingMade = number.empty() && !turn.IsOurs();
    const bool isLock = number.find_first_not_of("0123456789") == std::string::npos && !isBeingMade;
    if (!isLock || !IsNameOf(path, status)) {
        return InstanceLockState::Free;
    }
    return unlink(path.c_str()) == 0 ? InstanceLockState::Free : InstanceLockState::Left;
}

} // namespace Vantor
