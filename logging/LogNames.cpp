#include "logging/LogNames.h"

#include <array>
#include <ctime>

#include <fcntl.h>

#include "posix/FileDescriptor.h"

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

std::string FreeLogName(const std::string& name) {
    constexpr int flags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    std::string candidate = name;
    for (unsigned long number = 0; FileDescriptor(open(candidate.c_str(), flags)).IsOpen(); ++number) {
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
