#include "logging/LoggerVector.h"

#include <memory>

namespace Vantor {

std::vector<LibLogging*>& LoggerVector::vector() {
    static auto& loggers = *std::make_unique<std::vector<LibLogging*>>().release();
    return loggers;
}

} // namespace Vantor
