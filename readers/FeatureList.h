// The answer to the CCID feature request, CM_IOCTL_GET_FEATURE_REQUEST (PC/SC part 10).
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vantor {

/// Calls `use(tag, controlCode)` for each feature TLV of `list`: records of six bytes, tag, length (not examined) and
/// a big-endian control code. Bytes behind the last whole record are skipped.
template <class Use>
void ForEachFeature(const unsigned char* list, std::size_t length, Use use) {
    constexpr std::size_t recordSize = 6;
    for (std::size_t i = 0; i < length / recordSize; ++i) {
        const unsigned char* const record = list + i * recordSize;
        const std::uint32_t code =
            std::uint32_t{record[2]} << 24 | std::uint32_t{record[3]} << 16 | std::uint32_t{record[4]} << 8 | record[5];
        use(record[0], code);
    }
}

} // namespace Vantor
