#include "readers/BaseCspReader.h"

#include <winscard.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <reader.h>
#include <utility>

#include "readers/FeatureList.h"
#include "readers/Guarded.h"
#include "readers/Logging.h"

namespace Vantor {

namespace {

constexpr unsigned long answerBufferLength = 5012;

/// Result of SCardStatus for a card handle. `atrLength` never exceeds the buffer, whatever the driver said.
struct CardStatus {
    long code = SCARD_S_SUCCESS;
    unsigned long state = 0;
    // An answer to reset has up to 33 bytes (ISO 7816-3), for which ConnectCard makes room. These queries offer 32, as
    // they do in the client: a card that uses all 33 fails them with SCARD_E_INSUFFICIENT_BUFFER in both programs.
    std::array<unsigned char, 32> atr{};
    unsigned long atrLength = 0;
};

CardStatus QueryStatus(long hCard) {
    CardStatus status;
    unsigned long nameLength = 0;
    unsigned long protocol = 0;
    status.atrLength = status.atr.size();
    status.code =
        SCardStatus(hCard, nullptr, &nameLength, &status.state, &protocol, status.atr.data(), &status.atrLength);
    status.atrLength = std::min<unsigned long>(status.atrLength, status.atr.size());
    return status;
}

struct StateBit {
    unsigned long bit;
    const char* name;
};

constexpr StateBit stateBits[] = {
    {0x04, "SCARD_PRESENT"}, {0x02, "SCARD_ABSENT"},     {0x08, "SCARD_SWALLOWED"},
    {0x10, "SCARD_POWERED"}, {0x20, "SCARD_NEGOTIABLE"}, {0x40, "SCARD_SPECIFIC"},
};

/// A value of SCARD_ATTR_ICC_PRESENCE or a result code of asking for it, and what GetStatus makes of it.
struct PresenceText {
    long value;
    const char* text;
    int result;
};

constexpr PresenceText presenceValues[] = {
    {0, "Status: no card present", 0},
    {1, "Status: card present but not swallowed", 1},
    {2, "Status: card present and swallowed", 1},
    {4, "Status: card confiscated", 2},
};

constexpr PresenceText presenceErrors[] = {
    {SCARD_W_REMOVED_CARD, "Status: SCARD_W_REMOVED_CARD", 0},
    {SCARD_E_NO_SMARTCARD, "Status: SCARD_E_NO_SMARTCARD", 0},
    {SCARD_W_RESET_CARD, "Status: SCARD_W_RESET_CARD", 0},
};

/// Replaces `answer` by what a call left in its buffer, if it left anything. A faulty driver says more than fits.
/// @return `code`, the call's own, unless there is no memory for the answer
long TakeAnswer(long code, const std::array<unsigned char, answerBufferLength>& buffer, unsigned long length,
                ByteArray& answer) {
    // A call that failed before it had an answer leaves the length at the buffer's; one whose answer does not fit
    // leaves the length that it would have, and the buffer alone.
    if (length == 0 || (code != SCARD_S_SUCCESS && length >= buffer.size())) {
        return code;
    }
    return Guarded([&] {
        answer.assign(buffer.data(), buffer.data() + std::min<std::size_t>(length, buffer.size()));
        return code;
    });
}

template <std::size_t size>
const PresenceText* FindPresence(const PresenceText (&table)[size], long value) {
    const auto* const found =
        std::find_if(std::begin(table), std::end(table), [value](const auto& row) { return row.value == value; });
    return found != std::end(table) ? found : nullptr;
}

} // namespace

BaseCspReader::BaseCspReader(long context, long card)
    : hContext(context), hCard(card), featureCode(SCARD_E_INVALID_HANDLE) {}

bool BaseCspReader::ConnectReader() {
    return true;
}

bool BaseCspReader::ConnectCard(bool /*force*/) {
    return true;
}

bool BaseCspReader::Disconnect() {
    return true;
}

bool BaseCspReader::BeginTransaction() {
    return true;
}

bool BaseCspReader::EndTransaction() {
    return true;
}

bool BaseCspReader::Reconnect(bool /*reset*/, bool /*unpower*/) {
    return true;
}

void BaseCspReader::SetConfig(bool isSecure, bool wantsGui, bool wantsBeep) {
    secure = isSecure;
    useGui = wantsGui;
    useBeep = wantsBeep;
}

bool BaseCspReader::IsOk() {
    return hContext != 0 && hCard != 0;
}

bool BaseCspReader::IsTokenPresent() {
    LibReaderImpl::LogMessage("PCSC IsTokenPresent");
    if (!IsOk()) {
        LibReaderImpl::LogError("reader not ok");
        return false;
    }
    const CardStatus status = QueryStatus(hCard);
    if (status.code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogErrorSCardError("SCardStatus failed", status.code);
        return false;
    }
    for (const auto& [bit, name] : stateBits) {
        if ((status.state & bit) != 0) {
            LibReaderImpl::LogMessage(name);
        }
    }
    return (status.state & SCARD_PRESENT) != 0;
}

bool BaseCspReader::GetAtr(ByteArray& atr) {
    const CardStatus status = QueryStatus(hCard);
    const long code = Guarded([&] {
        if (status.code == SCARD_S_SUCCESS) {
            atr.assign(status.atr.data(), status.atr.data() + status.atrLength);
        }
        return status.code;
    });
    if (code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogErrorSCardError("SCardStatus failed", code);
    }
    return code == SCARD_S_SUCCESS;
}

long BaseCspReader::GetReaderStatus() {
    return IsOk() ? QueryStatus(hCard).code : static_cast<long>(SCARD_W_REMOVED_CARD);
}

int BaseCspReader::GetStatus() {
    // One byte by PC/SC part 3, but there are drivers that answer with a whole word.
    std::array<unsigned char, sizeof(unsigned long)> bytes{};
    unsigned long length = bytes.size();
    const long code = SCardGetAttrib(hCard, SCARD_ATTR_ICC_PRESENCE, bytes.data(), &length);
    if (code != SCARD_S_SUCCESS) {
        if (const PresenceText* const known = FindPresence(presenceErrors, code)) {
            LibReaderImpl::LogError(known->text);
            return known->result;
        }
        LibReaderImpl::LogError("Status: error", static_cast<int>(code));
        return 3;
    }
    const bool oneByte = length != 0 && std::all_of(bytes.begin() + 1, bytes.end(), [](auto b) { return b == 0; });
    const PresenceText* const known = oneByte ? FindPresence(presenceValues, bytes[0]) : nullptr;
    LibReaderImpl::LogMessage(known != nullptr ? known->text : "Status: unknown...");
    return known != nullptr ? known->result : 3;
}

bool BaseCspReader::SendApdu(const unsigned char* apdu, unsigned long length, ByteArray& response) {
    if (hCard == 0) {
        LibReaderImpl::LogError("SendApdu, error hCard is NULL");
        return false;
    }
    std::array<unsigned char, answerBufferLength> buffer{};
    unsigned long received = buffer.size();
    // Always the T=1 header: the client's cards speak T=1, and it sends their APDUs so. For a card that was connected
    // with T=0 pcsc-lite then refuses the APDU with SCARD_E_PROTO_MISMATCH, as it does in the client.
    long code = SCardTransmit(hCard, SCARD_PCI_T1, apdu, length, nullptr, buffer.data(), &received);
    code = TakeAnswer(code, buffer, received, response);
    if (code != SCARD_S_SUCCESS) {
        LibReaderImpl::LogErrorSCardError("error in SendApdu", code);
        return false;
    }
    return true;
}

void BaseCspReader::CheckReaderCapabilities(bool& canVerify, bool& canModify) {
    LibReaderImpl::LogMessage("CheckReaderCapabilities start");
    canVerify = false;
    canModify = false;
    verifyPinDirect = verifyPinStart = verifyPinFinish = 0;
    modifyPinDirect = modifyPinStart = modifyPinFinish = 0;
    getKeyPressed = 0;
    featureAnswer.clear();
    featureCode = SCARD_E_INVALID_HANDLE;
    if (hCard == 0) {
        LibReaderImpl::LogError("CheckReaderCapabilities, error hCard is NULL");
        return;
    }
    ByteArray features;
    featureCode = Control(CM_IOCTL_GET_FEATURE_REQUEST, nullptr, 0, features);
    if (featureCode != SCARD_S_SUCCESS) {
        // The typo stays: people and programs search logs for this text.
        LibReaderImpl::LogErrorSCardError("CheckReaderCapabilities, SCardControl retruns", featureCode);
        return;
    }
    StoreFeatures(features);
    featureAnswer = std::move(features);
    canVerify = verifyPinDirect != 0 || verifyPinStart != 0;
    canModify = modifyPinDirect != 0 || modifyPinStart != 0;
}

void BaseCspReader::StoreFeatures(const ByteArray& features) {
    std::uint32_t* const codeOfTag[] = {
        nullptr,
        &verifyPinStart,  // FEATURE_VERIFY_PIN_START
        &verifyPinFinish, // FEATURE_VERIFY_PIN_FINISH
        &modifyPinStart,  // FEATURE_MODIFY_PIN_START
        &modifyPinFinish, // FEATURE_MODIFY_PIN_FINISH
        &getKeyPressed,   // FEATURE_GET_KEY_PRESSED
        &verifyPinDirect, // FEATURE_VERIFY_PIN_DIRECT
        &modifyPinDirect, // FEATURE_MODIFY_PIN_DIRECT
    };
    ForEachFeature(features.data(), features.size(), [&](unsigned char tag, std::uint32_t code) {
        if (tag != 0 && tag < std::size(codeOfTag)) {
            *codeOfTag[tag] = code;
        }
    });
}

long BaseCspReader::Control(unsigned long code, const unsigned char* input, unsigned long inputLength,
                            ByteArray& answer) {
    std::array<unsigned char, answerBufferLength> buffer{};
    unsigned long returned = 0;
    const long result = SCardControl(hCard, code, input, inputLength, buffer.data(), buffer.size(), &returned);
    return TakeAnswer(result, buffer, returned, answer);
}

long BaseCspReader::MySCardGetAttrib(unsigned long attribute, std::string& value, bool /*flag*/) {
    unsigned long length = 0;
    const long sizeCode = SCardGetAttrib(hCard, attribute, nullptr, &length);
    if (sizeCode != SCARD_S_SUCCESS) {
        return sizeCode;
    }
    return Guarded([&] {
        // pcsc-lite has no message longer than that; a driver that claims more is cut short, not trusted.
        length = std::min<unsigned long>(length, MAX_BUFFER_SIZE_EXTENDED);
        std::string buffer(length, '\0');
        const long code = SCardGetAttrib(hCard, attribute, reinterpret_cast<unsigned char*>(buffer.data()), &length);
        if (code == SCARD_S_SUCCESS) {
            buffer.resize(std::min<std::size_t>(length, buffer.size()));
            value = std::move(buffer);
        }
        return code;
    });
}

long BaseCspReader::GetReaderName(std::string& vendorName, std::string& ifdType, std::string& ifdSerialNo,
                                  std::string& deviceUnit, std::string& systemName, std::string& friendlyName) {
    struct {
        unsigned long attribute;
        std::string& value;
    } const attributes[] = {
        {SCARD_ATTR_VENDOR_NAME, vendorName},          {SCARD_ATTR_VENDOR_IFD_TYPE, ifdType},
        {SCARD_ATTR_DEVICE_UNIT, deviceUnit},          {SCARD_ATTR_VENDOR_IFD_SERIAL_NO, ifdSerialNo},
        {SCARD_ATTR_DEVICE_SYSTEM_NAME_A, systemName}, {SCARD_ATTR_DEVICE_FRIENDLY_NAME_A, friendlyName},
    };
    long code = SCARD_S_SUCCESS;
    for (const auto& [attribute, value] : attributes) {
        value.clear();
    }
    for (const auto& [attribute, value] : attributes) {
        code = MySCardGetAttrib(attribute, value, false);
    }
    return code;
}

} // namespace Vantor
