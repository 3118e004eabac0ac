// Stand-ins for a few calls of the C library, put in by the linker (--wrap) for the whole test program.
#pragma once

#include <ctime>
#include <functional>

#include <sys/types.h>

namespace test {

/// What time(2) tells while it is set; the real time otherwise.
extern std::time_t clockTime;

/// Answers each write(2) instead of the system while it is set; may call RealWrite.
extern std::function<ssize_t(int fd, const void* bytes, std::size_t size)> onWrite;
ssize_t RealWrite(int fd, const void* bytes, std::size_t size);

/// While true, no mutex can be made.
extern bool refuseMutexes;

/// 2026-03-01 14:05:09 in Central Europe, 13:05:09 UTC.
inline constexpr std::time_t marchAfternoon = 1772370309;

/// Sets the clock, and gives the real one back at the end.
class Clock {
public:
    explicit Clock(std::time_t time = marchAfternoon) { clockTime = time; }
    ~Clock() { clockTime = 0; }
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    void Set(std::time_t time) { clockTime = time; }
    void Advance(std::time_t seconds) { clockTime += seconds; }
};

/// Watches or replaces write(2), and gives the real one back at the end.
class Writes {
public:
    explicit Writes(std::function<ssize_t(int, const void*, std::size_t)> handler) { onWrite = std::move(handler); }
    ~Writes() { onWrite = nullptr; }
    Writes(const Writes&) = delete;
    Writes& operator=(const Writes&) = delete;
};

} // namespace test
