// The logger's memory buffer.
#include <mutex>

#include "logging/Logging.h"

namespace Vantor {

using Guard = std::lock_guard<Mutex>;

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
    while (!m_buffer.empty() && m_buffer.size() >= limit) {
        m_buffer.pop_back();
    }
    if (limit > 0) {
        m_buffer.push_front({GetEntryTime(), type, text});
    }
}

} // namespace Vantor
