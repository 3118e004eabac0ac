#include "logging/LogFile.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "logging/LogNames.h"
#include "posix/Place.h"
#include "posix/SystemCalls.h"

namespace Vantor {

namespace {

// Two bytes that no log file reaches. All who have the file open hold a lock for reading on the first one, who empties
// it one for writing; so who may only read the file can pass for a logger. Who moves or empties it holds a lock for
// writing on the second one.
constexpr off_t presenceByte = off_t{1} << 62;
constexpr off_t moverByte = presenceByte + 1;

// The names that are tried for a file, or for all parts at a start, before it stays where it is: members can make any
// number of names, and the caller waits.
constexpr unsigned long mostNames = 10000;

constexpr int mostLinks = 40; // as in the kernel

// In milliseconds. Longer than another needs to empty the file.
constexpr int longestWait = 100;

struct flock LockOf(int type, off_t byte) {
    struct flock lock {};
    lock.l_type = static_cast<short>(type);
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    return lock;
}

// Never waits. Record locks of the open file description: a failed change of the kind keeps what was held, and threads
// and copies of the process are told apart. A file system without such locks has nobody else to be found.
bool SetLock(const FileDescriptor& file, int type, off_t byte) {
    struct flock lock = LockOf(type, byte);
    return fcntl(file.Get(), F_OFD_SETLK, &lock) == 0 || (errno != EAGAIN && errno != EACCES);
}

// The type of the lock that another open file has set there.
short LockOfOthers(const FileDescriptor& file, off_t byte) {
    struct flock lock = LockOf(F_WRLCK, byte);
    return fcntl(file.Get(), F_OFD_GETLK, &lock) == 0 ? lock.l_type : short{F_UNLCK};
}

// The path with its last name followed as long as that is a link of root's or the caller's.
std::string FollowLinks(const std::string& path) {
    Place place = Locate(path);
    int links = 0;
    while (links < mostLinks && FollowLink(place)) {
        ++links;
    }
    std::error_code error;
    const auto folder = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(place.folder.Get()), error);
    return links > 0 && !error ? (folder / place.name).string() : path;
}

FileDescriptor OpenAt(const Place& place, int flags, mode_t mode) {
    constexpr int always = O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    return FileDescriptor(openat(place.folder.Get(), place.name.c_str(), flags | always, mode));
}

// A second name may be that of somebody's file, put here for us to write it.
FileDescriptor OpenPlain(const std::string& path, int flags) {
    FileDescriptor file = OpenAt(Locate(path), flags, 0666);
    struct stat status {};
    const bool plain = fstat(file.Get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink <= 1;
    return plain ? std::move(file) : FileDescriptor();
}

// Reading is needed for the shared lock only.
FileDescriptor OpenForAppending(const std::string& path) {
    FileDescriptor file = OpenPlain(path, O_RDWR | O_APPEND | O_CREAT);
    return file.IsOpen() ? std::move(file) : OpenPlain(path, O_WRONLY | O_APPEND | O_CREAT);
}

bool Look(const Place& place, struct stat& status) {
    return fstatat(place.folder.Get(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

bool Exists(const std::string& path) {
    struct stat status {};
    return Look(Locate(path), status);
}

bool LeadsTo(const Place& place, const FileDescriptor& file) {
    struct stat named {};
    struct stat open {};
    return Look(place, named) && fstat(file.Get(), &open) == 0 && IsSameFile(named, open);
}

// @return 0 or the error
int Move(const std::string& from, const std::string& to, unsigned int flags) {
    const Place source = Locate(from);
    const Place target = Locate(to);
    const auto rename = [&](unsigned int how) {
        return renameat2(source.folder.Get(), source.name.c_str(), target.folder.Get(), target.name.c_str(), how);
    };
    if (rename(flags) == 0) {
        return 0;
    }
    if (errno != EINVAL || flags == 0) {
        return errno;
    }
    // The file system cannot refuse to replace a file.
    return Exists(to) ? EEXIST : rename(0) == 0 ? 0 : errno;
}

// Moves a file to the first name that is free: `target`, then the numbered names of `base`.
// @param tries how many of the numbered names may be tried; less by those that were
// @return the name that the file has now; empty when it could not be moved
std::string MoveToFreeName(const std::string& from, std::string target, const std::string& base, unsigned long number,
                           unsigned long& tries) {
    int error = Move(from, target, RENAME_NOREPLACE);
    for (; error == EEXIST && tries > 0; --tries, ++number) {
        target = NumberedLogName(base, number);
        error = Move(from, target, RENAME_NOREPLACE);
    }
    return error == 0 ? target : "";
}

std::string MoveToArchive(const std::string& name, unsigned long& tries) {
    const std::string stamped = StampedLogName(name);
    return MoveToFreeName(name, stamped, stamped, 0, tries);
}

void ArchiveParts(const std::string& name) {
    unsigned long tries = mostNames;
    for (unsigned long number = 0; number < mostNames && Exists(NumberedLogName(name, number)); ++number) {
        MoveToArchive(NumberedLogName(name, number), tries);
    }
}

// Whether what cannot be opened makes way for a log file. A folder or a device has its name for another use.
bool MayMakeWay(const std::string& path) {
    struct stat status {};
    return Look(Locate(path), status) && !S_ISDIR(status.st_mode) && !S_ISCHR(status.st_mode) &&
           !S_ISBLK(status.st_mode);
}

// A file of the target's name makes way rather than being written: it may have another name, elsewhere.
bool MakeWay(const Place& target, const struct stat& source) {
    struct stat existing {};
    return !Look(target, existing) || (S_ISREG(existing.st_mode) && !IsSameFile(existing, source) &&
                                       unlinkat(target.folder.Get(), target.name.c_str(), 0) == 0);
}

} // namespace

bool CopyLogFile(const std::string& source, const std::string& target) {
    const FileDescriptor from = OpenPlain(source, O_RDONLY);
    const Place place = Locate(target);
    struct stat status {};
    if (fstat(from.Get(), &status) != 0 || !MakeWay(place, status)) {
        return false;
    }
    FileDescriptor to = OpenAt(place, O_WRONLY | O_CREAT | O_EXCL, status.st_mode & 0777);
    if (!to.IsOpen()) {
        return false;
    }
    const bool complete = CopyAll(from.Get(), to.Get());
    if (to.Close() && complete) {
        return true;
    }
    unlinkat(place.folder.Get(), place.name.c_str(), 0);
    return false;
}

bool LogFile::Open(const std::string& path) {
    m_path = FollowLinks(path);
    m_shared = false;
    m_file.Close();
    return Reopen();
}

// The parts come before the file: with the file's name goes the claim.
void LogFile::OpenAnew(const std::string& path) {
    const bool existed = Exists(FollowLinks(path));
    const bool opened = Open(path);
    const FileDescriptor claim = Claim();
    if (!opened || claim.IsOpen()) {
        ArchiveParts(m_path);
    }
    if (opened ? claim.IsOpen() && existed : MayMakeWay(m_path)) {
        unsigned long tries = mostNames;
        StartAnew(MoveToArchive(m_path, tries));
    }
}

// The file that is open stays open when there is no other.
bool LogFile::Reopen() {
    FileDescriptor next = OpenForAppending(m_path);
    if (!next.IsOpen()) {
        return false;
    }
    m_file = std::move(next);
    Join();
    return true;
}

// Refused while another empties the file.
void LogFile::Join() {
    for (int wait = 0; !SetLock(m_file, F_RDLCK, presenceByte) && wait < longestWait; ++wait) {
        usleep(1000);
    }
    m_shared = m_shared || LockOfOthers(m_file, presenceByte) != F_UNLCK;
}

// The right to move or empty the open file, or to number and archive its parts: held while what is returned is open.
// An open file of its own, because a child of fork has the other one too, and with it would have the lock. A lock for
// reading is no mover's and does not count: else everybody who may read the file could keep it from being split. It
// also keeps movers from seeing each other, so there may be one.
FileDescriptor LogFile::Claim() {
    const Place place = Locate(m_path);
    FileDescriptor claim = OpenAt(place, O_WRONLY, 0);
    const bool granted = SetLock(claim, F_WRLCK, moverByte);
    const bool ignored = !granted && LockOfOthers(claim, moverByte) == F_RDLCK;
    m_shared = m_shared || ignored;
    return (granted || ignored) && LeadsTo(place, m_file) ? std::move(claim) : FileDescriptor();
}

// In place of a file that was moved away. If there can be none, it gets its name back.
void LogFile::StartAnew(const std::string& moved) {
    if (!Reopen()) {
        Move(moved, m_path, RENAME_NOREPLACE);
    }
}

void LogFile::Clear() {
    const FileDescriptor claim = Claim();
    if (claim.IsOpen() && SetLock(m_file, F_WRLCK, presenceByte)) {
        static_cast<void>(ftruncate(m_file.Get(), 0) == 0);
        SetLock(m_file, F_RDLCK, presenceByte);
    }
}

bool LogFile::Write(std::string_view line) {
    const std::size_t written = IsOpen() ? WriteAll(m_file.Get(), line) : 0;
    if (written != 0 && written != line.size()) {
        DropFragment(static_cast<off_t>(written));
    }
    return IsOpen() && written == line.size();
}

// Only while it is the end of the file: behind it would be another process's line.
void LogFile::DropFragment(off_t written) {
    const off_t end = lseek(m_file.Get(), 0, SEEK_CUR);
    struct stat status {};
    if (fstat(m_file.Get(), &status) == 0 && status.st_size == end) {
        static_cast<void>(ftruncate(m_file.Get(), end - written) == 0);
    }
}

bool LogFile::Follow() {
    if (!IsOpen() || LeadsTo(Locate(m_path), m_file)) {
        return true;
    }
    m_shared = true;
    Reopen();
    return false;
}

void LogFile::Split(unsigned long& number) {
    if (!Follow()) {
        return; // another has just taken the lines away
    }
    const FileDescriptor claim = Claim();
    if (!claim.IsOpen()) {
        return; // another is just doing it
    }
    const std::string part = NumberedLogName(m_path, m_shared ? 0 : number++);
    if (m_shared) {
        unsigned long tries = mostNames;
        StartAnew(MoveToFreeName(m_path, part, m_path, 1, tries));
    } else if (Move(m_path, part, 0) == 0) {
        StartAnew(part);
    }
}

} // namespace Vantor
