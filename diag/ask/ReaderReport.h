// The service and its readers, asked from a child process so that nothing there can block the program.
#pragma once

#include "diag/record/Records.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Diag {

/// What came of asking the service.
struct PcscFacts {
    bool answered = false; ///< a context, or a code instead of it, came back in time
    long contextCode = 0;
    long listCode = 0;
    bool listed = false;     ///< the list of readers, or a code instead of it, came back in time
    std::string hangingCall; ///< the call during which the service itself stopped answering
    SystemError obstacle;    ///< why not everything could be asked that the service would have answered
    std::vector<Reader> readers;
};

struct TimeLimits {
    std::chrono::milliseconds service{2000}; ///< for a call to the service itself
    std::chrono::milliseconds reader{5000};  ///< for a call that waits for a reader or its card
    std::chrono::milliseconds all{20000};    ///< for all readers together, however slow each of them is
    std::chrono::milliseconds notice{1000};  ///< after which whoever waits is told so
};

/// Receives the reader code's log lines as they come.
using LogLine = std::function<void(bool isError, const std::string& text)>;

/// Asks everything, many readers several at a time. Readers that do not answer are waited for all at once and marked;
/// the others are asked all the same, unless the whole service stopped answering. Where the system gives no process to
/// ask with, that is the answer.
class ReaderQuestion {
public:
    /// Begins to ask; the caller may do something else meanwhile.
    /// @param asksChannels  whether it matters by which channel each reader is attached
    ReaderQuestion(const TimeLimits& limits, const LogLine& log, bool asksChannels);
    ~ReaderQuestion();
    ReaderQuestion(const ReaderQuestion&) = delete;
    ReaderQuestion& operator=(const ReaderQuestion&) = delete;

    /// Waits until the service has listed its readers or has said why not, or let its time pass.
    void AwaitReaders();
    /// Waits for everything; to be called once.
    /// @param onWait  called once if it takes long
    [[nodiscard]] PcscFacts Answer(const std::function<void()>& onWait = nullptr);

private:
    class Collector;
    std::unique_ptr<Collector> collector;
};

} // namespace Diag
