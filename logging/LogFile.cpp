#include "logging/LogFile.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "posix/SystemCalls.h"

namespace Vantor {

namespace {

std::atomic<unsigned int> forks{0};
[[maybe_unused]] const int watchingForks = pthread_atfork(nullptr, nullptr, [] { ++forks; });

// Two bytes that no log file reaches: shared by all who hold the file, and held by who moves it in company.
constexpr off_t presenceByte = off_t{1} << 62;
constexpr off_t moverByte = presenceByte + 1;

// In milliseconds. Longer than another needs to empty the file, unless it is stopped while it does.
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
bool SetLock(int fd, int type, off_t byte) {
    struct flock lock = LockOf(type, byte);
    return fcntl(fd, F_OFD_SETLK, &lock) == 0 || (errno != EAGAIN && errno != EACCES);
}

// Whether another open file has set a lock there.
bool IsLocked(int fd, off_t byte) {
    struct flock lock = LockOf(F_WRLCK, byte);
    return fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

FileDescriptor OpenForAppending(const std::string& path) {
    constexpr int flags = O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    FileDescriptor file(open(path.c_str(), O_RDWR | flags, 0666));
    if (!file.IsOpen() && errno == EACCES) {
        file = FileDescriptor(open(path.c_str(), O_WRONLY | flags, 0666)); // then it can only not be split
    }
    struct stat status {};
    const bool usable =
        file.IsOpen() && fstat(file.Get(), &status) == 0 && (S_ISREG(status.st_mode) || S_ISCHR(status.st_mode));
    return usable ? std::move(file) : FileDescriptor();
}

bool LeadsTo(const std::string& path, const struct stat& file) {
    struct stat named {};
    return stat(path.c_str(), &named) == 0 && IsSameFile(named, file);
}

off_t SizeOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_size : -1;
}

// What the file holds between two offsets, or less.
std::string ReadFrom(int fd, off_t begin, off_t end) {
    std::string bytes(begin < end ? static_cast<std::size_t>(end - begin) : 0, '\0');
    const ssize_t count = pread(fd, bytes.data(), bytes.size(), begin);
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return bytes;
}

} // namespace

unsigned int ForkGeneration() {
    return forks.load(std::memory_order_relaxed);
}

bool LogFile::Open(const std::string& path) {
    m_path = path;
    m_hadCompany = false;
    Adopt(OpenForAppending(path));
    WaitToJoin();
    return IsOpen();
}

void LogFile::Close() {
    m_file.Close();
}

void LogFile::Adopt(FileDescriptor file) {
    m_file = std::move(file);
    m_forks = ForkGeneration();
    struct stat status {};
    m_followedSize = IsOpen() && fstat(m_file.Get(), &status) == 0 ? status.st_size : 0;
    m_present = false;
    JoinHolders();
}

// While another empties that file our lines could go with it; the file that was moved away keeps them.
bool LogFile::ChangeTo(FileDescriptor next) {
    if (!next.IsOpen() || !SetLock(next.Get(), F_RDLCK, presenceByte)) {
        return false;
    }
    Adopt(std::move(next));
    return true;
}

void LogFile::WaitToJoin() {
    for (int wait = 0; IsOpen() && !JoinHolders() && wait < longestWait; ++wait) {
        usleep(1000);
    }
}

// Refused while another empties the file.
bool LogFile::JoinHolders() {
    m_present = m_present || (IsOpen() && SetLock(m_file.Get(), F_RDLCK, presenceByte));
    return m_present;
}

bool LogFile::LeadsHere() const {
    struct stat status {};
    return fstat(m_file.Get(), &status) == 0 && LeadsTo(m_path, status);
}

void LogFile::Write(std::string_view line) {
    if (!IsOpen()) {
        return;
    }
    const std::size_t written = WriteAll(m_file.Get(), line);
    if (written != 0 && written != line.size()) {
        DropFragment(written);
    }
}

// Only while it is the end of the file: behind it would be another process's line.
void LogFile::DropFragment(std::size_t written) {
    const off_t end = lseek(m_file.Get(), 0, SEEK_CUR);
    struct stat status {};
    if (fstat(m_file.Get(), &status) == 0 && status.st_size == end) {
        static_cast<void>(ftruncate(m_file.Get(), end - static_cast<off_t>(written)) == 0);
    }
}

// A child of fork shares its parent's open file, locks included, and would not be seen beside it.
void LogFile::LeaveParentsFile() {
    m_forks = ForkGeneration();
    m_hadCompany = true;
    FileDescriptor own = OpenForAppending(m_path);
    if (own.IsOpen()) {
        Adopt(std::move(own));
        WaitToJoin();
    }
}

bool LogFile::Follow() {
    if (!IsOpen()) {
        return true;
    }
    if (IsInherited()) {
        LeaveParentsFile();
    }
    struct stat status {};
    if (fstat(m_file.Get(), &status) != 0 || LeadsTo(m_path, status)) {
        m_followedSize = status.st_size;
        return true;
    }
    m_hadCompany = true;
    const std::string lines = status.st_nlink == 0 ? ReadFrom(m_file.Get(), m_followedSize, status.st_size) : "";
    if (ChangeTo(OpenForAppending(m_path))) {
        Write(lines);
    }
    return false;
}

void LogFile::StepAside(const std::string& target) {
    m_hadCompany = true;
    if (LeadsHere() && std::rename(m_path.c_str(), target.c_str()) != 0) {
        return;
    }
    FileDescriptor next = OpenForAppending(m_path);
    if (next.IsOpen()) {
        Adopt(std::move(next));
    }
}

LogFileClaim::LogFileClaim(LogFile& file) : m_log(file) {
    const int fd = m_log.m_file.Get();
    if (!m_log.JoinHolders() || IsLocked(fd, presenceByte)) {
        m_log.m_hadCompany = true;
    }
    m_granted = m_log.m_present && SetLock(fd, F_WRLCK, moverByte);
    if (m_granted && !m_log.LeadsHere()) {
        SetLock(fd, F_UNLCK, moverByte);
        m_granted = false;
    }
}

// After a move in company the lock went with the file that was moved, and there is nothing to unlock.
LogFileClaim::~LogFileClaim() {
    if (m_granted) {
        SetLock(m_log.m_file.Get(), F_UNLCK, moverByte);
    }
}

// For the moment that it takes nobody can join; who tries waits for it.
bool LogFileClaim::EmptyIfAlone(off_t size) {
    const int fd = m_log.m_file.Get();
    if (!SetLock(fd, F_WRLCK, presenceByte)) {
        m_log.m_hadCompany = true;
        return false;
    }
    struct stat status {};
    const bool emptied = fstat(fd, &status) == 0 && status.st_size == size && ftruncate(fd, 0) == 0;
    SetLock(fd, F_RDLCK, presenceByte);
    if (emptied) {
        m_log.m_followedSize = 0;
    }
    return emptied;
}

void LogFileClaim::Clear() {
    struct stat status {};
    if (IsGranted() && fstat(m_log.m_file.Get(), &status) == 0) {
        EmptyIfAlone(status.st_size);
    }
}

bool LogFileClaim::MoveContentsTo(const std::string& target) {
    struct stat status {};
    if (!IsGranted() || fstat(m_log.m_file.Get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        LeadsTo(target, status)) {
        return false; // a device has no contents, or no end of them
    }
    if (IsLocked(m_log.m_file.Get(), presenceByte)) {
        return RenameTo(target);
    }
    return CopyTo(target);
}

// Others may join while it is copied; then the copy gives way to the file itself.
bool LogFileClaim::CopyTo(const std::string& target) {
    if (!CopyToFile(m_log.m_file.Get(), target)) {
        return false;
    }
    if (EmptyIfAlone(SizeOf(target)) || RenameTo(target)) {
        return true;
    }
    unlink(target.c_str());
    return false;
}

bool LogFileClaim::RenameTo(const std::string& target) {
    m_log.m_hadCompany = true;
    if (std::rename(m_log.m_path.c_str(), target.c_str()) != 0) {
        return false;
    }
    m_log.ChangeTo(OpenForAppending(m_log.m_path));
    return true;
}

} // namespace Vantor
