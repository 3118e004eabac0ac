#include "logging/Logging.h"

#include <algorithm>
#include <array>
#include <limits>
#include <mutex>
#include <string_view>

#include <sys/syscall.h>
#include <unistd.h>

namespace Vantor {

namespace {

using Guard = std::lock_guard<Mutex>;

// As they stand in a line, right-aligned.
constexpr std::array<std::string_view, 7> paddedTypeNames = {
    "        ERROR", "      MESSAGE", "        DEBUG", "  IN FUNCTION",
    " OUT FUNCTION", "   STACKTRACE", "      WARNING",
};

std::string_view PaddedTypeName(DebugLevel type) {
    const auto index = static_cast<std::size_t>(type); // a negative one comes out far above the table
    return index < paddedTypeNames.size() ? paddedTypeNames[index] : paddedTypeNames[DEBUGLEVEL_MESSAGE];
}

// A single longer line does not hold its memory for the rest of the run.
constexpr std::size_t longestKeptLine = 65536;

std::string LocalTimeText(std::time_t time) {
    std::tm local{};
    std::array<char, 80> text{};
    tzset(); // localtime_r alone would keep to the time zone of its first call
    if (localtime_r(&time, &local) == nullptr) {
        return {};
    }
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local)};
}

// " (1234)"; asking the kernel again for each line would cost a tenth of it. A child of fork asks anew.
std::string_view ThreadIdText() {
    struct Cache {
        unsigned int forks;
        std::size_t length;
        char text[24];
    };
    thread_local Cache cache{}; // plain memory: no constructor to be checked for in each line
    if (cache.length == 0 || cache.forks != ForkGeneration()) {
        cache.forks = ForkGeneration();
        const std::string text = " (" + std::to_string(LibLogging::GetThreadId()) + ")";
        cache.length = text.copy(cache.text, sizeof(cache.text));
    }
    return {cache.text, cache.length};
}

void Put(char*& end, std::string_view part) {
    end = std::copy(part.begin(), part.end(), end);
}

// The parts of a line are put side by side into memory of the known size.
void FormatLine(std::string& line, DebugLevel type, std::string_view timeText, bool withThreadId,
                std::string_view text) {
    const bool raw = type == DEBUGLEVEL_RAW;
    const std::string_view time = raw ? "" : timeText;
    const std::string_view name = raw ? "" : PaddedTypeName(type);
    const std::string_view thread = raw || !withThreadId ? "" : ThreadIdText();
    line.resize(time.size() + name.size() + thread.size() + text.size() + 2);
    char* end = line.data();
    Put(end, time);
    Put(end, name);
    Put(end, thread);
    *end++ = ' ';
    Put(end, text);
    *end = '\n';
}

} // namespace

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
    m_file.Close();
    if (rotate) {
        OpenFileAndRotateLocked(AppendLogExtension(file));
        return;
    }
    m_fileName = AppendLogExtension(file);
    if (m_file.Open(m_fileName)) {
        ReadyFileLocked();
        LogFileClaim(m_file).Clear();
    }
}

void LibLogging::SetLoggingLevel(LOG_LEVEL level) {
    m_level = level;
}

void LibLogging::Enabled(bool on) {
    m_enabled = on;
}

bool LibLogging::IsEnabled() const {
    return m_enabled;
}

void LibLogging::Verbose(bool on) {
    m_verbose = on;
}

bool LibLogging::IsVerbose() const {
    return m_verbose;
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

void LibLogging::OutputDbgString(bool on) {
    m_outputDebugString = on;
}

bool LibLogging::IsOutputDbgString() const {
    return m_outputDebugString;
}

void LibLogging::LogThreadId(bool on) {
    m_logThreadId = on;
}

bool LibLogging::IsLogThreadId() const {
    return m_logThreadId;
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
    ReadyFileLocked();
    if (IsFullLocked()) {
        SplitLogLocked();
    }
    if (m_bufferMode != LOG_BUFFER_NONE) {
        LogToBufferLocked(type, text);
    }
    if (m_bufferMode != LOG_BUFFER_ONLY) {
        FormatLine(m_line, type, m_timeText, m_logThreadId, text);
        LogToWinDbgView(m_line);
        m_file.Write(m_line);
        CountEntryLocked();
        CountBytesLocked(m_line.size());
        if (m_line.capacity() > longestKeptLine) {
            std::string().swap(m_line);
        }
    }
}

void LibLogging::ReadyFileLocked() {
    if (TurnSecondLocked() || m_file.IsInherited()) {
        m_file.Follow();
    }
    if (m_file.IsHeldUp()) {
        m_file.StepAside(NumberedName(NameWithTimeStamp(m_fileName)));
    }
}

// True in the first entry of each second.
bool LibLogging::TurnSecondLocked() {
    const std::time_t now = GetEntryTime();
    if (now == m_timeTextSecond) {
        return false;
    }
    m_timeTextSecond = now;
    m_timeText = LocalTimeText(now);
    return true;
}

bool LibLogging::IsFullLocked() const {
    return (m_rotateByEntries && m_loggedEntries >= m_maxEntries) ||
           (m_rotateBySize && m_loggedFileSize >= m_maxFileSize);
}

bool LibLogging::AboveLevel(int threshold) const {
    return m_level > threshold;
}

void LibLogging::LogError(const std::string& text) {
    if (AboveLevel(0)) {
        Log(text, DEBUGLEVEL_ERROR);
    }
}

void LibLogging::LogWarning(const std::string& text) {
    if (AboveLevel(1)) {
        Log(text, DEBUGLEVEL_WARNING);
    }
}

void LibLogging::LogMessage(const std::string& text) {
    if (AboveLevel(2)) {
        Log(text, DEBUGLEVEL_MESSAGE);
    }
}

void LibLogging::LogDebug(const std::string& text) {
    if (AboveLevel(3)) {
        Log(text, DEBUGLEVEL_DEBUG);
    }
}

void LibLogging::LogRaw(const std::string& text) {
    if (AboveLevel(2)) {
        Log(text, DEBUGLEVEL_RAW);
    }
}

void LibLogging::LogFunction(const std::string& name, FunctionInOut inOut) {
    if (!AboveLevel(3) || (inOut != FUNCTION_IN && inOut != FUNCTION_OUT)) {
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
    if (!AboveLevel(3)) {
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

std::time_t LibLogging::GetEntryTime() {
    return std::time(nullptr);
}

long LibLogging::GetThreadId() {
    return syscall(SYS_gettid);
}

void LibLogging::LogToFile(const std::string& line) {
    const Guard guard(*m_lock);
    ReadyFileLocked();
    m_file.Write(line);
}

void LibLogging::LogToWinDbgView(const std::string& /*line*/) {}

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

} // namespace Vantor
