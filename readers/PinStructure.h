// The structures that tell a reader how a PIN is entered on its keypad (PC/SC part 10).
#pragma once

#include <cstddef>

#include "readers/iCardReader.h"
#include "util/ByteArray.h"

namespace Vantor {

/// Both structures together with their APDU fit into this many bytes, or they are not sent.
constexpr std::size_t maxPinStructureLength = 2048;
constexpr std::size_t verifyHeaderLength = 19;
constexpr std::size_t modifyHeaderLength = 24;

/// True for the three formats that a PIN can be put into the APDU in: 0 ASCII, 1 ISO 9564 format 2, 2 BCD.
[[nodiscard]] bool IsPinFormat(int format);

/// PIN_VERIFY_STRUCTURE: 19 bytes, little-endian and packed, then the APDU.
/// @param data  its format is one for which IsPinFormat is true
[[nodiscard]] ByteArray BuildPinVerifyStructure(const ByteArray& apdu, const PINVerifyData& data);

/// PIN_MODIFY_STRUCTURE: 24 bytes, little-endian and packed, then the APDU.
/// @param data  its format is one for which IsPinFormat is true
[[nodiscard]] ByteArray BuildPinModifyStructure(const ByteArray& apdu, const PINVerifyData& data);

} // namespace Vantor
