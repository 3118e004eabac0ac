#include "logging/Logging.h"

#include <cstdio>
#include <limits>
#include <mutex>
#include <string_view>

#include <sys/syscall.h>
#include <unistd.h>

#include "logging/LogLine.h"

namespace Vantor {

namespace {

using Guard = std::lock_guard<Mutex>;

constexpr unsigned int noId = 0xFFFFFFFF;

LibLogging* NewLogger(std::size_t id) {
    return std::make_unique<LibLogging>(static_cast<unsigned int>(id)).release();
}

// A single longer line does not hold its memory for the rest of the run.
constexpr std::size_t longestKeptLine = 65536;

} // namespace

LibLogging* LibLogging::GetHandle(unsigned int id) {
    const Guard guard(mutexCreateLibLogging);
    auto& loggers = LoggerVector::vector();
    if (loggers.empty()) {
        loggers.push_back(NewLogger(0));
        return loggers.front();
    }
    if (id >= loggers.size()) {
        return nullptr;
    }
    if (loggers[id] == nullptr) {
        loggers[id] = NewLogger(id);
    }
    return loggers[id];
}

int LibLogging::Register() {
    const Guard guard(mutexCreateLibLogging);
    auto& loggers = LoggerVector::vector();
    if (loggers.empty()) {
        loggers.push_back(nullptr); // the default logger's, made when it is asked for
    }
    loggers.push_back(NewLogger(loggers.size()));
    return static_cast<int>(loggers.size() - 1);
}

void LibLogging::Destroy() {
    const Guard guard(mutexCreateLibLogging);
    auto& loggers = LoggerVector::vector();
    if (m_id >= loggers.size() || loggers[m_id] != this) {
        return;
    }
    const std::unique_ptr<LibLogging> self(this);
    LogDebug("Destroy()");
    Log("close LibLogging", DEBUGLEVEL_DEBUG);
    loggers[m_id] = nullptr;
    m_id = noId;
    const Guard fileGuard(*m_lock);
    m_file.Close();
}

LibLogging::LibLogging(unsigned int id) : m_id(id), m_lock(std::make_unique<Mutex>()) {}

LibLogging::~LibLogging() = default;

void LibLogging::Init(const std::string& file, unsigned int maxEntries, bool rotate) {
    const Guard guard(*m_lock);
    m_maxEntries = maxEntries;
    m_loggedEntries = 0;
    m_loggedFileSize = 0;
    m_splitNumber = 0;
    m_level = LOG_LEVEL_ALL;
    m_verbose = true;
    m_outputDebugString = true;
    m_logThreadId = false;
    if (rotate) {
        m_file.OpenAnew(AppendLogExtension(file));
    } else if (m_file.Open(AppendLogExtension(file))) {
        m_file.Clear();
    }
}

void LibLogging::LogRotation(bool on, unsigned int maxEntries) {
    const Guard guard(*m_lock);
    m_rotateByEntries = on;
    m_maxEntries = maxEntries;
}

void LibLogging::LogRotationFileSize(bool on, unsigned long maxBytes) {
    const Guard guard(*m_lock);
    m_rotateBySize = on;
    m_maxFileSize = maxBytes;
}

bool LibLogging::IsLogRotationEnabled() const {
    const Guard guard(*m_lock);
    return m_rotateByEntries || m_rotateBySize;
}

void LibLogging::LogToBuffer(LOG_BUFFER_MODE mode, int limit) {
    const Guard guard(*m_lock);
    m_bufferMode = mode;
    m_bufferLimit = limit;
}

bool LibLogging::IsLogToBuffer() const {
    const Guard guard(*m_lock);
    return m_bufferMode != LOG_BUFFER_NONE;
}

int LibLogging::GetLogBufferSize() const {
    const Guard guard(*m_lock);
    return static_cast<int>(m_buffer.size());
}

std::list<LogEntry> LibLogging::GetLogBuffer() const {
    const Guard guard(*m_lock);
    return m_buffer;
}

void LibLogging::ClearLogBuffer() {
    const Guard guard(*m_lock);
    m_buffer.clear();
}

// Each entry may enter the buffer again while it is logged, so a copy is walked.
void LibLogging::LogBufferToFile() {
    for (const LogEntry& entry : GetLogBuffer()) {
        Log(entry.text, entry.type);
    }
}

void LibLogging::LogToBuffer(DebugLevel type, const std::string& text) {
    const Guard guard(*m_lock);
    LogToBufferLocked(type, text);
}

void LibLogging::LogToBufferLocked(DebugLevel type, const std::string& text) {
    const std::size_t limit = m_bufferLimit > 0 ? static_cast<std::size_t>(m_bufferLimit) : 0;
    if (!m_buffer.empty() && m_buffer.size() >= limit) {
        m_buffer.pop_back();
    }
    if (limit > 0) {
        m_buffer.push_front({GetEntryTime(), type, text});
    }
}

void LibLogging::Log(const std::string& text, DebugLevel type) {
    if (m_enabled) {
        const Guard guard(*m_lock);
        LogLocked(text, type);
    }
}

// One lock from the check to the count: a line between another thread's check and split would be lost with the split.
void LibLogging::LogLocked(const std::string& text, DebugLevel type) {
    if (!m_enabled || !m_file.IsOpen()) {
        return;
    }
    TurnSecondLocked();
    if (IsFullLocked()) {
        SplitLogLocked();
    }
    if (m_bufferMode != LOG_BUFFER_NONE) {
        LogToBufferLocked(type, text);
    }
    if (m_bufferMode != LOG_BUFFER_ONLY) {
        WriteEntryLocked(type, text);
    }
}

void LibLogging::WriteEntryLocked(DebugLevel type, const std::string& text) {
    FormatLine(m_line, type, m_timeText, m_logThreadId, text);
    LogToWinDbgView(m_line);
    if (m_file.Write(m_line)) { // a full disk must not fill with empty parts
        CountEntryLocked();
        CountBytesLocked(m_line.size());
    }
    if (m_line.capacity() > longestKeptLine) {
        std::string().swap(m_line);
    }
}

// In the first entry of each second.
void LibLogging::TurnSecondLocked() {
    const std::time_t now = GetEntryTime();
    if (now != m_timeTextSecond) {
        m_timeTextSecond = now;
        m_timeText = LocalTimeText(now);
        m_file.Follow();
    }
}

bool LibLogging::IsFullLocked() const {
    return (m_rotateByEntries && m_loggedEntries >= m_maxEntries) ||
           (m_rotateBySize && m_loggedFileSize >= m_maxFileSize);
}

void LibLogging::LogAbove(int threshold, const std::string& text, DebugLevel type) {
    if (m_level > threshold) {
        Log(text, type);
    }
}

void LibLogging::LogError(const std::string& text) {
    LogAbove(0, text, DEBUGLEVEL_ERROR);
}

void LibLogging::LogWarning(const std::string& text) {
    LogAbove(1, text, DEBUGLEVEL_WARNING);
}

void LibLogging::LogMessage(const std::string& text) {
    LogAbove(2, text, DEBUGLEVEL_MESSAGE);
}

void LibLogging::LogDebug(const std::string& text) {
    LogAbove(3, text, DEBUGLEVEL_DEBUG);
}

void LibLogging::LogRaw(const std::string& text) {
    LogAbove(2, text, DEBUGLEVEL_RAW);
}

void LibLogging::LogFunction(const std::string& name, FunctionInOut inOut) {
    if (m_level <= 3 || (inOut != FUNCTION_IN && inOut != FUNCTION_OUT)) {
        return;
    }
    const Guard guard(*m_lock);
    if (inOut == FUNCTION_IN) {
        m_functionStack.push_back(name);
        LogLocked(name, DEBUGLEVEL_IN_FUNCTION);
        return;
    }
    if (!m_functionStack.empty()) {
        m_functionStack.pop_back();
    }
    LogLocked(name, DEBUGLEVEL_OUT_FUNCTION);
}

void LibLogging::LogStackTrace() {
    if (m_level <= 3) {
        return;
    }
    const Guard guard(*m_lock);
    for (; !m_functionStack.empty(); m_functionStack.pop_back()) {
        LogLocked(m_functionStack.back(), DEBUGLEVEL_STACKTRACE);
    }
}

std::string LibLogging::GetLogEntry(DebugLevel type, const std::string& text) {
    std::string line;
    FormatLine(line, type, LocalTimeText(GetEntryTime()), m_logThreadId, text);
    return line;
}

std::string LibLogging::LogTypeToString(DebugLevel type) {
    const std::string_view padded = PaddedTypeName(type);
    return std::string(padded.substr(padded.find_first_not_of(' ')));
}

std::string LibLogging::GetTimeString(long seconds) {
    return LocalTimeText(seconds);
}

long LibLogging::GetThreadId() {
    return syscall(SYS_gettid);
}

void LibLogging::LogToFile(const std::string& line) {
    const Guard guard(*m_lock);
    TurnSecondLocked();
    m_file.Write(line);
}

void LibLogging::IncreaseLoggedEntries() {
    const Guard guard(*m_lock);
    CountEntryLocked();
}

void LibLogging::IncreaseLoggedFileSize(unsigned long bytes) {
    const Guard guard(*m_lock);
    CountBytesLocked(bytes);
}

void LibLogging::CountEntryLocked() {
    if (m_rotateByEntries && m_loggedEntries < std::numeric_limits<unsigned int>::max()) {
        ++m_loggedEntries;
    }
}

// Stays at the largest number: 32 bits on armhf can be passed in one file.
void LibLogging::CountBytesLocked(unsigned long bytes) {
    if (m_rotateBySize) {
        const unsigned long left = std::numeric_limits<unsigned long>::max() - m_loggedFileSize;
        m_loggedFileSize += bytes < left ? bytes : left;
    }
}

std::string LibLogging::AppendLogExtension(const std::string& name) {
    std::string base;
    std::string ext;
    return GetExtension(name, base, ext) ? name : name + ".log";
}

bool LibLogging::BackupFile(const std::string& source, const std::string& target, bool removeSource) {
    return CopyLogFile(source, target) && (!removeSource || std::remove(source.c_str()) == 0);
}

void LibLogging::OpenFileAndRotate(const std::string& name) {
    const Guard guard(*m_lock);
    m_file.OpenAnew(name);
}

void LibLogging::SplitLog() {
    const Guard guard(*m_lock);
    SplitLogLocked();
}

void LibLogging::SplitLogLocked() {
    m_loggedEntries = 0;
    m_loggedFileSize = 0;
    m_file.Split(m_splitNumber);
}

} // namespace Vantor
