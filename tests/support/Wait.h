// Waiting for something to happen, with a limit instead of a guess.
#pragma once

#include <chrono>
#include <thread>

namespace Support {

using Milliseconds = std::chrono::milliseconds;

/// How long something on a loaded machine may take before a test gives it up.
constexpr Milliseconds kPatience{20000};

/// Asks again and again until the answer is yes (anything that converts to true) or the time is over.
/// @return the last answer
template <typename Question>
auto waitUntil(Question question, Milliseconds limit = kPatience) {
    const auto end = std::chrono::steady_clock::now() + limit;
    auto answer = question();
    while (!answer && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(Milliseconds(5));
        answer = question();
    }
    return answer;
}

} // namespace Support
