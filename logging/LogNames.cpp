#include "logging/LogNames.h"

#include <array>
#include <ctime>

#include <fcntl.h>
#include <unistd.h>

namespace Vantor {

bool GetLogExtension(const std::string& name, std::string& base, std::string& ext) {
    constexpr std::size_t longest = 5; // the dot included
    auto dot = name.rfind(".log");
    if (dot == std::string::npos) {
        dot = name.rfind(".txt");
    }
    if (dot == std::string::npos) {
        dot = name.rfind('.');
        dot = dot != std::string::npos && name.size() - dot <= longest ? dot : std::string::npos;
    }
    const bool found = dot != std::string::npos;
    ext = found ? "log" : "";
    base = std::string(name, 0, dot);
    return found;
}

std::string NumberedLogName(const std::string& name, unsigned long number) {
    std::string base;
    std::string ext;
    GetLogExtension(name, base, ext);
    return base + "_" + std::to_string(number) + "." + ext;
}

// Opens nothing: a link may lead to a device that does something when it is opened.
std::string FreeLogName(const std::string& name) {
    std::string candidate = name;
    for (unsigned long number = 0; faccessat(AT_FDCWD, candidate.c_str(), R_OK, AT_EACCESS) == 0; ++number) {
        candidate = NumberedLogName(name, number);
    }
    return candidate;
}

std::string StampedLogName(const std::string& name) {
    std::string base;
    std::string ext;
    GetLogExtension(name, base, ext);
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    std::array<char, 80> text{};
    if (gmtime_r(&now, &utc) != nullptr) {
        std::strftime(text.data(), text.size(), "_%Y-%m-%d_%H-%M-%S", &utc);
    }
    return base + text.data() + "." + ext;
}

} // namespace Vantor
