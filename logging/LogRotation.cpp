// Names of log files, splitting the live file, archiving the files of the run before.
#include <algorithm>
#include <array>
#include <cstdio>
#include <mutex>

#include <fcntl.h>
#include <unistd.h>

#include "logging/Logging.h"
#include "posix/SystemCalls.h"

namespace Vantor {

namespace {

using Guard = std::lock_guard<Mutex>;

FileDescriptor OpenForReading(const std::string& name) {
    return FileDescriptor(open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
}

bool Exists(const std::string& name) {
    return access(name.c_str(), F_OK) == 0;
}

// base_0.log and so on
std::string Numbered(const std::string& name, unsigned long number) {
    std::string base;
    std::string ext;
    LibLogging::GetExtension(name, base, ext);
    return base + "_" + std::to_string(number) + "." + ext;
}

unsigned long FirstFreeNumber(const std::string& name) {
    unsigned long number = 0;
    while (Exists(Numbered(name, number))) {
        ++number;
    }
    return number;
}

std::string ArchiveName(const std::string& name) {
    return LibLogging::NumberedName(LibLogging::NameWithTimeStamp(name));
}

// A rename needs no room, cannot stop half-way, and keeps the lines of a logger that is late to leave the part.
void ArchivePart(const std::string& part) {
    const std::string archive = ArchiveName(part);
    if (std::rename(part.c_str(), archive.c_str()) != 0) {
        LibLogging::BackupFile(part, archive, true);
    }
}

void ArchiveParts(const std::string& name) {
    for (unsigned long number = 0; Exists(Numbered(name, number)); ++number) {
        ArchivePart(Numbered(name, number));
    }
}

} // namespace

// Whatever the extension was, "log" is reported: derived names always end in ".log".
bool LibLogging::GetExtension(const std::string& name, std::string& base, std::string& ext) {
    constexpr std::size_t longest = 5; // the dot included
    auto dot = name.rfind(".log");
    if (dot == std::string::npos) {
        dot = name.rfind(".txt");
    }
    if (dot == std::string::npos) {
        dot = name.rfind('.');
        dot = dot != std::string::npos && name.size() - dot <= longest ? dot : std::string::npos;
    }
    const bool found = dot != std::string::npos;
    ext = found ? "log" : "";
    base = std::string(name, 0, dot);
    return found;
}

std::string LibLogging::AppendLogExtension(const std::string& name) {
    std::string base;
    std::string ext;
    return GetExtension(name, base, ext) ? name : name + ".log";
}

std::string LibLogging::NumberedName(const std::string& name) {
    std::string candidate = name;
    for (unsigned long number = 0; OpenForReading(candidate).IsOpen(); ++number) {
        candidate = Numbered(name, number);
    }
    return candidate;
}

std::string LibLogging::NameWithTimeStamp(const std::string& name) {
    std::string base;
    std::string ext;
    GetExtension(name, base, ext);
    const std::time_t now = GetEntryTime();
    std::tm utc{};
    std::array<char, 80> text{};
    if (gmtime_r(&now, &utc) != nullptr) {
        std::strftime(text.data(), text.size(), "_%Y-%m-%d_%H-%M-%S", &utc);
    }
    return base + text.data() + "." + ext;
}

bool LibLogging::BackupFile(const std::string& source, const std::string& target, bool removeSource) {
    const FileDescriptor from = OpenForReading(source);
    return from.IsOpen() && CopyToFile(from.Get(), target) && (!removeSource || std::remove(source.c_str()) == 0);
}

void LibLogging::OpenFileAndRotate(const std::string& name) {
    const Guard guard(*m_lock);
    OpenFileAndRotateLocked(name);
}

// Opened first, for appending: a file that cannot be archived then goes on instead of being emptied. The parts come
// before the file: where the file is renamed the claim goes with it.
void LibLogging::OpenFileAndRotateLocked(const std::string& name) {
    m_fileName = name;
    const bool existed = Exists(name);
    if (!m_file.Open(name)) {
        if (existed) {
            BackupFile(name, ArchiveName(name), false);
        }
        ArchiveParts(name);
        return;
    }
    ReadyFileLocked();
    LogFileClaim claim(m_file);
    if (claim.IsGranted()) {
        ArchiveParts(name);
        if (existed) {
            claim.MoveContentsTo(ArchiveName(name));
        }
    }
}

void LibLogging::SplitLog() {
    const Guard guard(*m_lock);
    SplitLogLocked();
}

// A gap in the numbers would end the search for parts at the next start. So a number is used up only by a part that was
// made, and in company, where another may have archived the parts, the first free one is taken.
void LibLogging::SplitLogLocked() {
    m_loggedEntries = 0;
    m_loggedFileSize = 0;
    if (!m_file.Follow()) {
        return; // somebody has just taken the lines away
    }
    LogFileClaim claim(m_file);
    if (!claim.IsGranted()) {
        return; // somebody is just doing it
    }
    const unsigned long number = m_file.HadCompany() ? FirstFreeNumber(m_fileName) : m_splitNumber;
    if (claim.MoveContentsTo(Numbered(m_fileName, number))) {
        m_splitNumber = number + 1;
    }
}

} // namespace Vantor
