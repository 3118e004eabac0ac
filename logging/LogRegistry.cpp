// The registry of loggers: making, finding and destroying them.
#include <memory>
#include <mutex>

#include "logging/Logging.h"

namespace Vantor {

namespace {

using RegistryGuard = std::lock_guard<Mutex>;

constexpr unsigned int noId = 0xFFFFFFFF;

LibLogging* NewLogger(std::size_t id) {
    return std::make_unique<LibLogging>(static_cast<unsigned int>(id)).release();
}

} // namespace

LibLogging* LibLogging::GetHandle(unsigned int id) {
    const RegistryGuard guard(mutexCreateLibLogging);
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
    const RegistryGuard guard(mutexCreateLibLogging);
    auto& loggers = LoggerVector::vector();
    if (loggers.empty()) {
        loggers.push_back(nullptr); // the default logger's, made when it is asked for
    }
    loggers.push_back(NewLogger(loggers.size()));
    return static_cast<int>(loggers.size() - 1);
}

void LibLogging::Destroy() {
    const RegistryGuard guard(mutexCreateLibLogging);
    auto& loggers = LoggerVector::vector();
    if (m_id >= loggers.size() || loggers[m_id] != this) {
        return;
    }
    const std::unique_ptr<LibLogging> self(this);
    LogDebug("Destroy()");
    Log("close LibLogging", DEBUGLEVEL_DEBUG);
    loggers[m_id] = nullptr;
    m_id = noId;
    const std::lock_guard<Mutex> fileGuard(*m_lock);
    m_file.Close();
}

} // namespace Vantor
