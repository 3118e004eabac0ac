// Changes of the process's surroundings that a test undoes at its end.
#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

#include <sys/stat.h>

namespace test {

/// An environment variable set to a value, or unset without one; as it was before at the end.
class Variable {
public:
    Variable(const char* name, const std::optional<std::string>& value) : m_name(name) {
        if (const char* old = std::getenv(name)) {
            m_old = old;
        }
        Set(value);
    }
    ~Variable() { Set(m_old); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

    void Set(const std::optional<std::string>& value) const {
        if (value) {
            setenv(m_name.c_str(), value->c_str(), 1);
        } else {
            unsetenv(m_name.c_str());
        }
    }

private:
    std::string m_name;
    std::optional<std::string> m_old;
};

/// Central European time as a rule of its own, so that no time zone database is needed: summer time from
/// 2026-03-29 02:00 to 2026-10-25 03:00.
inline constexpr const char* centralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";

/// The umask, 022 unless told otherwise.
class Umask {
public:
    explicit Umask(mode_t mask = 022) : m_old(umask(mask)) {}
    ~Umask() { umask(m_old); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    mode_t m_old;
};

} // namespace test
