// The log file engine: time-stamped, typed lines in one text file a logger, split and archived by count or size.
#pragma once

#include <atomic>
#include <ctime>
#include <deque>
#include <list>
#include <memory>
#include <string>

#include "logging/LogFile.h"
#include "logging/LogNames.h"
#include "logging/LoggerVector.h"
#include "logging/Mutex.h"

namespace Vantor {

/// The type of an entry, written in front of its text. Any other value is legal and is written as a message.
enum DebugLevel : int {
    DEBUGLEVEL_ERROR = 0,
    DEBUGLEVEL_MESSAGE = 1,
    DEBUGLEVEL_DEBUG = 2,
    DEBUGLEVEL_IN_FUNCTION = 3,
    DEBUGLEVEL_OUT_FUNCTION = 4,
    DEBUGLEVEL_STACKTRACE = 5,
    DEBUGLEVEL_WARNING = 6,
    DEBUGLEVEL_RAW = 7, ///< a line without time and type
};

/// How much the typed calls write; each level includes those below it. Any int is legal.
enum LOG_LEVEL : int {
    LOG_LEVEL_NOTHING = 0,
    LOG_LEVEL_ERRORS = 1,
    LOG_LEVEL_WARNINGS = 2,
    LOG_LEVEL_MESSAGES = 3, ///< and raw lines
    LOG_LEVEL_DEBUG = 4,    ///< and functions and stack traces
    LOG_LEVEL_ALL = 5,
};

/// What LogFunction reports; other values are ignored.
enum FunctionInOut : int { FUNCTION_IN = 0, FUNCTION_OUT = 1 };

/// Where entries go. Any other value counts as LOG_BUFFER_AND_FILE.
enum LOG_BUFFER_MODE : int { LOG_BUFFER_NONE = 0, LOG_BUFFER_ONLY = 1, LOG_BUFFER_AND_FILE = 2 };

/// One entry of the memory buffer.
struct LogEntry {
    std::time_t time = 0; ///< seconds since the epoch
    DebugLevel type = DEBUGLEVEL_MESSAGE;
    std::string text;
};

/// One log file. A logger writes only while it is enabled and its file is open; it reports no failure to its caller.
///
/// Each entry is one write to the file before its call returns, so a crash loses nothing that was logged. Every member
/// may be called from any thread; the function stack is one for all threads of the logger.
class LibLogging {
public:
    explicit LibLogging(unsigned int id);
    ~LibLogging();
    LibLogging(const LibLogging&) = delete;
    LibLogging& operator=(const LibLogging&) = delete;

    /// The logger of that id, made when its slot is free; in an empty registry always logger 0.
    /// @return null for an id that was never registered. The registry keeps the ownership.
    static LibLogging* GetHandle(unsigned int id);
    /// Makes a logger in a new slot; slot 0 stays reserved for the default logger. @return its id, 1 for the first
    static int Register();
    /// Writes two closing entries, closes the file, frees the slot and deletes this logger.
    /// Does nothing to a logger that is not in the registry.
    void Destroy();

    /// Opens the log file `file`, ".log" appended when it has no extension; an open file is closed first.
    /// Sets level 5, verbose on, debugger output on, thread ids off, and counts from zero; enables nothing.
    /// @param maxEntries entries a file holds before it is split, while rotation by entries is on
    /// @param rotate true archives the file and the parts of the run before, false empties the file unless another
    ///               logger has it open. A file that cannot be opened drops what is logged.
    void Init(const std::string& file, unsigned int maxEntries, bool rotate);

    /// How much the typed calls write from now on; 4 at first.
    void SetLoggingLevel(LOG_LEVEL level) { m_level = level; }
    /// The master switch, off at first.
    void Enabled(bool on) { m_enabled = on; }
    bool IsEnabled() const { return m_enabled; }
    /// A flag kept for callers; the engine does not read it.
    void Verbose(bool on) { m_verbose = on; }
    bool IsVerbose() const { return m_verbose; }
    /// Splitting after so many entries; on at first, with 10000.
    void LogRotation(bool on, unsigned int maxEntries);
    /// Splitting after so many bytes; off at first, with 10000.
    void LogRotationFileSize(bool on, unsigned long maxBytes);
    /// True when either rotation is on.
    bool IsLogRotationEnabled() const;
    /// A flag kept for callers: this platform has no debugger output.
    void OutputDbgString(bool on) { m_outputDebugString = on; }
    bool IsOutputDbgString() const { return m_outputDebugString; }
    /// The kernel's thread id in each entry; on at first, off after Init.
    void LogThreadId(bool on) { m_logThreadId = on; }
    bool IsLogThreadId() const { return m_logThreadId; }

    /// Where entries go from now on. @param limit most entries kept in memory; 0 or less keeps none.
    /// Once it is lowered each new entry takes the place of the oldest; what is too many stays until the buffer is
    /// cleared.
    void LogToBuffer(LOG_BUFFER_MODE mode, int limit);
    /// True in every mode but LOG_BUFFER_NONE.
    bool IsLogToBuffer() const;
    /// Entries in the memory buffer.
    int GetLogBufferSize() const;
    /// A copy of the memory buffer, newest entry first.
    std::list<LogEntry> GetLogBuffer() const;
    /// Empties the memory buffer; the mode stays.
    void ClearLogBuffer();
    /// Logs each buffered entry again, newest first, with the time of now; the buffer is not cleared.
    void LogBufferToFile();

    /// Writes an entry whatever the level; splits the file first when a limit is reached.
    void Log(const std::string& text, DebugLevel type);
    /// From level 1 on.
    void LogError(const std::string& text);
    /// From level 2 on.
    void LogWarning(const std::string& text);
    /// From level 3 on.
    void LogMessage(const std::string& text);
    /// From level 4 on.
    void LogDebug(const std::string& text);
    /// From level 3 on: a line of one blank and the text, without time and type.
    void LogRaw(const std::string& text);
    /// From level 4 on. Entering pushes `name` onto the function stack, leaving pops the top, whatever its name; both
    /// log `name`.
    void LogFunction(const std::string& name, FunctionInOut inOut);
    /// From level 4 on: logs the function stack, innermost first, and empties it.
    void LogStackTrace();

    /// The line that an entry gives now, line end included.
    std::string GetLogEntry(DebugLevel type, const std::string& text);
    /// The type's name as in a line, without padding; "MESSAGE" for raw lines and unknown types.
    static std::string LogTypeToString(DebugLevel type);
    /// The local time as "2026-03-01 14:05:09"; empty for a time that no calendar holds.
    static std::string GetTimeString(long seconds);
    /// Seconds since the epoch.
    static std::time_t GetEntryTime() { return std::time(nullptr); }
    /// The kernel's id of the calling thread, see gettid(2).
    static long GetThreadId();
    /// Adds an entry to the memory buffer, whatever the mode.
    void LogToBuffer(DebugLevel type, const std::string& text);
    /// Writes the line as it stands; dropped when no file is open.
    void LogToFile(const std::string& line);
    /// The debugger's view, which this platform does not have: does nothing.
    static void LogToWinDbgView(const std::string& /*line*/) {}
    /// Counts an entry, while rotation by entries is on.
    void IncreaseLoggedEntries();
    /// Counts bytes, while rotation by size is on.
    void IncreaseLoggedFileSize(unsigned long bytes);

    /// See GetLogExtension, FreeLogName and StampedLogName.
    static bool GetExtension(const std::string& name, std::string& base, std::string& ext) {
        return GetLogExtension(name, base, ext);
    }
    static std::string NumberedName(const std::string& name) { return FreeLogName(name); }
    static std::string NameWithTimeStamp(const std::string& name) { return StampedLogName(name); }
    /// The name, with ".log" when it has no extension.
    static std::string AppendLogExtension(const std::string& name);
    /// Copies a whole file, see CopyLogFile; the source is removed, if wanted, only when the copy is complete.
    /// @return true when the copy is complete (and the source removed, if wanted)
    static bool BackupFile(const std::string& source, const std::string& target, bool removeSource);
    /// Archives the live file and its numbered parts under time-stamped names, then opens the live file empty.
    /// What cannot be archived stays where it is.
    void OpenFileAndRotate(const std::string& name);
    /// Makes the live file the next numbered part, base_0.log first, and opens an empty one. Lines that cannot be moved
    /// stay in the live file; the next split takes the next number all the same.
    void SplitLog();

private:
    // Those whose names end in Locked are called with m_lock held.
    void LogLocked(const std::string& text, DebugLevel type);
    void WriteEntryLocked(DebugLevel type, const std::string& text);
    void LogToBufferLocked(DebugLevel type, const std::string& text);
    void CountEntryLocked();
    void CountBytesLocked(unsigned long bytes);
    void TurnSecondLocked();
    bool IsFullLocked() const;
    void SplitLogLocked();
    void LogAbove(int threshold, const std::string& text, DebugLevel type);

    unsigned int m_id;
    std::atomic<bool> m_enabled{false};
    std::atomic<bool> m_verbose{false};
    bool m_rotateByEntries = true;
    bool m_rotateBySize = false;
    std::atomic<bool> m_outputDebugString{false};
    std::atomic<bool> m_logThreadId{true};
    unsigned int m_maxEntries = 10000;
    unsigned int m_loggedEntries = 0;
    unsigned long m_maxFileSize = 10000;
    unsigned long m_loggedFileSize = 0;
    LogFile m_file;
    unsigned long m_splitNumber = 0;
    std::deque<std::string> m_functionStack;
    std::atomic<int> m_level{LOG_LEVEL_DEBUG};
    std::list<LogEntry> m_buffer;
    int m_bufferLimit = 200;
    LOG_BUFFER_MODE m_bufferMode = LOG_BUFFER_NONE;
    std::unique_ptr<Mutex> m_lock;

    // Kept from line to line to spare the work: the time text of the last second, and the line's memory.
    std::time_t m_timeTextSecond = -1;
    std::string m_timeText;
    std::string m_line;
};

} // namespace Vantor
