#include "logging/LogLine.h"

#include <algorithm>
#include <array>

#include <pthread.h>

#include "logging/Logging.h"

namespace Vantor {

namespace {

constexpr std::array<std::string_view, 7> paddedTypeNames = {
    "        ERROR", "      MESSAGE", "        DEBUG", "  IN FUNCTION",
    " OUT FUNCTION", "   STACKTRACE", "      WARNING",
};

// " (1234)" of this thread, once it was asked for: asking the kernel again for each line would cost a tenth of it.
// Plain memory, for that needs no check for a constructor in each line.
struct ThreadIdCache {
    std::size_t length;
    char text[24];
};
thread_local ThreadIdCache threadId{};

// In the child of a fork lives the thread that forked, under another id.
[[maybe_unused]] const int watchingForks = pthread_atfork(nullptr, nullptr, [] { threadId.length = 0; });

std::string_view ThreadIdText() {
    if (threadId.length == 0) {
        const std::string text = " (" + std::to_string(LibLogging::GetThreadId()) + ")";
        threadId.length = text.copy(threadId.text, sizeof(threadId.text));
    }
    return {threadId.text, threadId.length};
}

void Put(char*& end, std::string_view part) {
    end = std::copy(part.begin(), part.end(), end);
}

} // namespace

std::string_view PaddedTypeName(DebugLevel type) {
    const auto index = static_cast<std::size_t>(type); // a negative one comes out far above the table
    return index < paddedTypeNames.size() ? paddedTypeNames[index] : paddedTypeNames[DEBUGLEVEL_MESSAGE];
}

std::string LocalTimeText(std::time_t time) {
    std::tm local{};
    std::array<char, 80> text{};
    tzset(); // localtime_r alone would keep to the time zone of its first call
    if (localtime_r(&time, &local) == nullptr) {
        return {};
    }
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local)};
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

} // namespace Vantor
