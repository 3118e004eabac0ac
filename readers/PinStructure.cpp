#include "readers/PinStructure.h"

#include <algorithm>
#include <iterator>

namespace Vantor {

namespace {

struct PinFormat {
    int format;
    unsigned char bmFormatString;
    unsigned char bmPINLengthFormat;
    bool hasControlByte; ///< the PIN block begins with a control nibble and the PIN's length
};

constexpr PinFormat pinFormats[] = {
    {0, 0x02, 0x00, false},
    {1, 0x89, 0x04, true},
    {2, 0x01, 0x00, false},
};

const PinFormat* FindPinFormat(int format) {
    const auto* const found = std::find_if(std::begin(pinFormats), std::end(pinFormats),
                                           [format](const auto& known) { return known.format == format; });
    return found != std::end(pinFormats) ? found : nullptr;
}

/// The low byte of `value` moved down by `shift` bits.
constexpr unsigned char Byte(std::size_t value, unsigned int shift = 0) {
    return static_cast<unsigned char>((value >> shift) & 0xFF);
}

template <std::size_t headerLength>
ByteArray Join(const unsigned char (&header)[headerLength], const ByteArray& apdu, bool hasControlByte) {
    constexpr std::size_t apduHeaderLength = 5;
    constexpr unsigned char controlByte = 0x2F; // control nibble 2, filler where the reader puts the length
    ByteArray structure;
    structure.reserve(headerLength + apdu.size());
    structure.insert(structure.end(), std::begin(header), std::end(header));
    structure.insert(structure.end(), apdu.begin(), apdu.end());
    if (hasControlByte && apdu.size() > apduHeaderLength) {
        structure[headerLength + apduHeaderLength] = controlByte;
    }
    return structure;
}

} // namespace

bool IsPinFormat(int format) {
    return FindPinFormat(format) != nullptr;
}

ByteArray BuildPinVerifyStructure(const ByteArray& apdu, const PINVerifyData& data) {
    const PinFormat& format = *FindPinFormat(data.pinFormat);
    const unsigned char header[verifyHeaderLength] = {
        0x3C,                     // bTimerOut: 60 s
        0x0A,                     // bTimerOut2: 10 s
        format.bmFormatString,    //
        data.pinBlockString,      // bmPINBlockString
        format.bmPINLengthFormat, //
        Byte(data.maxPinLength),  // wPINMaxExtraDigit, low byte
        Byte(data.minPinLength),  // wPINMaxExtraDigit, high byte
        0x01,                     // bEntryValidationCondition: maximum length reached
        0xFF,                     // bNumberMessage: the reader's default
        0x07,                     // wLangId: 0x0407, German
        0x04,                     //
        0x00,                     // bMsgIndex
        0x00,                     // bTeoPrologue
        0x00,                     //
        0x00,                     //
        Byte(apdu.size()),        // ulDataLength
        Byte(apdu.size(), 8),     //
        Byte(apdu.size(), 16),    //
        Byte(apdu.size(), 24),    //
    };
    return Join(header, apdu, format.hasControlByte);
}

ByteArray BuildPinModifyStructure(const ByteArray& apdu, const PINVerifyData& data) {
    const PinFormat& format = *FindPinFormat(data.pinFormat);
    const unsigned char header[modifyHeaderLength] = {
        0x3C,                     // bTimerOut: 60 s
        0x0A,                     // bTimerOut2: 10 s
        format.bmFormatString,    //
        data.pinBlockString,      // bmPINBlockString
        format.bmPINLengthFormat, //
        0x00,                     // bInsertionOffsetOld
        0x08,                     // bInsertionOffsetNew
        Byte(data.maxPinLength),  // wPINMaxExtraDigit, low byte
        Byte(data.minPinLength),  // wPINMaxExtraDigit, high byte
        0x03,                     // bConfirmPIN: old PIN wanted, new PIN entered twice
        0x01,                     // bEntryValidationCondition: maximum length reached
        0xFF,                     // bNumberMessage: the reader's default
        0x07,                     // wLangId: 0x0407, German
        0x04,                     //
        0x00,                     // bMsgIndex1
        0x00,                     // bMsgIndex2
        0x00,                     // bMsgIndex3
        0x00,                     // bTeoPrologue
        0x00,                     //
        0x00,                     //
        Byte(apdu.size()),        // ulDataLength
        Byte(apdu.size(), 8),     //
        Byte(apdu.size(), 16),    //
        Byte(apdu.size(), 24),    //
    };
    return Join(header, apdu, format.hasControlByte);
}

} // namespace Vantor
