#include "readers/SCardError.h"

#include <array>
#include <cstdio>

namespace Vantor {

std::string LoggingHelper::SCardErrorToString(long code) {
    const auto bits = static_cast<unsigned long>(code);
    std::array<char, sizeof(" (0xffffffffffffffff, ffffffffffffffff)")> text{};
    // Log readers know both numbers as hexadecimal, the second one without its prefix.
    const int length = std::snprintf(text.data(), text.size(), " (0x%lx, %lx)", bits, bits);
    return {text.data(), static_cast<std::size_t>(length)};
}

} // namespace Vantor
