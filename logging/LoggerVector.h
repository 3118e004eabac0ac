// Where the process keeps its loggers.
#pragma once

#include <vector>

#include "logging/Mutex.h"

namespace Vantor {

class LibLogging;

/// Guards the registry. Defined here, so that it is ready before any object of a file that includes this header.
inline Mutex mutexCreateLibLogging;

/// The process-wide registry of loggers; a logger's id is its index.
class LoggerVector {
public:
    /// The registry, made on first use and never torn down, so that code that runs at exit may still log. It owns the
    /// loggers; null marks a free slot. Hold mutexCreateLibLogging while using it.
    static std::vector<LibLogging*>& vector();
};

} // namespace Vantor
