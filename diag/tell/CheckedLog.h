// The log file of --log, which is whole or is said not to be.
#pragma once

#include <cstdint>
#include <string>

namespace Vantor {
class LibLogging;
}

namespace Diag {

/// A logger of its own of the log engine. The engine's failures are silent, so what it leaves on disk tells of them.
class CheckedLog {
public:
    /// @param file  ".log" is appended when it has no extension; what it held before is archived
    explicit CheckedLog(const std::string& file);
    ~CheckedLog();
    CheckedLog(const CheckedLog&) = delete;
    CheckedLog& operator=(const CheckedLog&) = delete;

    void Write(bool isError, const std::string& text);
    /// Ends the log. @return whether each of its lines arrived
    [[nodiscard]] bool Close();
    /// Whether each line so far arrived.
    [[nodiscard]] bool IsWhole() const { return isWhole; }

private:
    void Look();

    Vantor::LibLogging* engine;
    std::string path;
    std::int64_t size = 0;
    bool isWhole = true;
};

} // namespace Diag
