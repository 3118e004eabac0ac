#include "readers/Logging.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "readers/SCardError.h"
#include "util/ByteArray.h"

namespace Vantor {

namespace {

using Callback = void (*)(const char*);

struct ErrorName {
    unsigned long code;
    const char* name;
};

// The names that log readers know. Codes that PC/SC got later have none.
constexpr ErrorName errorNames[] = {
    {0, "Success"},
    {6, "ERROR_INVALID_HANDLE"},
    {0x80100001, "SCARD_F_INTERNAL_ERROR"},
    {0x80100002, "SCARD_E_CANCELLED"},
    {0x80100003, "SCARD_E_INVALID_HANDLE"},
    {0x80100004, "SCARD_E_INVALID_PARAMETER"},
    {0x80100005, "SCARD_E_INVALID_TARGET"},
    {0x80100006, "SCARD_E_NO_MEMORY"},
    {0x80100007, "SCARD_F_WAITED_TOO_LONG"},
    {0x80100008, "SCARD_E_INSUFFICIENT_BUFFER"},
    {0x80100009, "SCARD_E_UNKNOWN_READER"},
    {0x8010000A, "SCARD_E_TIMEOUT"},
    {0x8010000B, "SCARD_E_SHARING_VIOLATION"},
    {0x8010000C, "SCARD_E_NO_SMARTCARD"},
    {0x8010000D, "SCARD_E_UNKNOWN_CARD"},
    {0x8010000E, "SCARD_E_CANT_DISPOSE"},
    {0x8010000F, "SCARD_E_PROTO_MISMATCH"},
    {0x80100010, "SCARD_E_NOT_READY"},
    {0x80100011, "SCARD_E_INVALID_VALUE"},
    {0x80100012, "SCARD_E_SYSTEM_CANCELLED"},
    {0x80100013, "SCARD_F_COMM_ERROR"},
    {0x80100014, "SCARD_F_UNKNOWN_ERROR"},
    {0x80100015, "SCARD_E_INVALID_ATR"},
    {0x80100016, "SCARD_E_NOT_TRANSACTED"},
    {0x80100017, "SCARD_E_READER_UNAVAILABLE"},
    {0x80100018, "SCARD_P_SHUTDOWN"},
    {0x80100019, "SCARD_E_PCI_TOO_SMALL"},
    {0x8010001A, "SCARD_E_READER_UNSUPPORTED"},
    {0x8010001B, "SCARD_E_DUPLICATE_READER"},
    {0x8010001C, "SCARD_E_CARD_UNSUPPORTED"},
    {0x8010001D, "SCARD_E_NO_SERVICE"},
    {0x8010001E, "SCARD_E_SERVICE_STOPPED"},
    {0x80100065, "SCARD_W_UNSUPPORTED_CARD"},
    {0x80100066, "SCARD_W_UNRESPONSIVE_CARD"},
    {0x80100067, "SCARD_W_UNPOWERED_CARD"},
    {0x80100068, "SCARD_W_RESET_CARD"},
    {0x80100069, "SCARD_W_REMOVED_CARD"},
};

struct StatusWordText {
    unsigned char sw1;
    unsigned char sw2;
    const char* text;
};

constexpr StatusWordText statusWordTexts[] = {
    {0x90, 0x00, ""},
    {0x6B, 0x80, "invalid parameter in passed structure"},
    {0x64, 0x00, "SPE operation timed out"},
    {0x64, 0x01, "SPE operation was cancelled by the 'Cancel' button"},
    {0x64, 0x02, "Modify PIN operation failed because two 'new PIN' entries do not match"},
    {0x64, 0x03, "User entered too short or too long PIN regarding MIN/MAX PIN Length"},
};

void Send(Callback callback, std::string_view text) {
    if (callback != nullptr) {
        callback(std::string(text).c_str());
    }
}

void SendWithCode(Callback callback, std::string_view text, long code) {
    if (callback != nullptr) {
        // The suffix brings a blank of its own, so that two blanks stand there.
        Send(callback, std::string(text) + " " + LoggingHelper::SCardErrorToString(code));
    }
}

void SendWithValue(Callback callback, std::string_view text, int value) {
    if (callback != nullptr) {
        Send(callback, std::string(text) + " " + std::to_string(value));
    }
}

std::string DescribeStatusWord(const ByteArray& response) {
    if (response.size() < 2) {
        return {};
    }
    const unsigned char sw1 = response[response.size() - 2];
    const unsigned char sw2 = response[response.size() - 1];
    const auto* const known = std::find_if(std::begin(statusWordTexts), std::end(statusWordTexts),
                                           [=](const auto& row) { return row.sw1 == sw1 && row.sw2 == sw2; });
    if (known != std::end(statusWordTexts)) {
        return known->text;
    }
    // The two bytes go out as they are, not as digits: the line has that format everywhere in the client.
    return std::string("unknown ") + static_cast<char>(sw1) + " " + static_cast<char>(sw2);
}

} // namespace

Callback LibReaderImpl::pt2LogError = nullptr;
Callback LibReaderImpl::pt2LogMessage = nullptr;
bool LibReaderImpl::bLoggingEnabled = true;

void LibReaderImpl::EnableLogging() {
    bLoggingEnabled = true;
}

void LibReaderImpl::DisableLogging() {
    bLoggingEnabled = false;
}

void LibReaderImpl::SetErrorLoggingFunc(Callback func) {
    pt2LogError = func;
}

void LibReaderImpl::SetMessageLoggingFunc(Callback func) {
    pt2LogMessage = func;
}

bool LibReaderImpl::LogsMessages() {
    return bLoggingEnabled && pt2LogMessage != nullptr;
}

void LibReaderImpl::LogError(std::string_view text) {
    Send(bLoggingEnabled ? pt2LogError : nullptr, text);
}

void LibReaderImpl::LogMessage(std::string_view text) {
    Send(bLoggingEnabled ? pt2LogMessage : nullptr, text);
}

void LibReaderImpl::LogErrorSCardError(std::string_view text, long code) {
    SendWithCode(bLoggingEnabled ? pt2LogError : nullptr, text, code);
}

void LibReaderImpl::LogError(std::string_view text, int value) {
    SendWithValue(bLoggingEnabled ? pt2LogError : nullptr, text, value);
}

void LibReaderImpl::LogMessageFormat(std::string_view text, int value) {
    SendWithValue(bLoggingEnabled ? pt2LogMessage : nullptr, text, value);
}

void LibReaderImpl::LogErrorCardReaderCmd(std::string_view text, const ByteArray& response) {
    if (bLoggingEnabled && pt2LogError != nullptr) {
        Send(pt2LogError, std::string(text) + " " + DescribeStatusWord(response));
    }
}

void LibReaderImpl::SCardErrorToString(std::basic_stringstream<char>& out, long code) {
    const auto* const known = std::find_if(std::begin(errorNames), std::end(errorNames), [=](const auto& row) {
        return row.code == static_cast<unsigned long>(code);
    });
    out << (known != std::end(errorNames) ? known->name : "Unknown Error");
}

Callback LibReaderAndCard::pt2LogError = nullptr;
Callback LibReaderAndCard::pt2LogMessage = nullptr;

void LibReaderAndCard::SetErrorLoggingFunc(Callback func) {
    pt2LogError = func;
}

void LibReaderAndCard::SetMessageLoggingFunc(Callback func) {
    pt2LogMessage = func;
}

void LibReaderAndCard::LogError(std::string_view text) {
    Send(pt2LogError, text);
}

void LibReaderAndCard::LogMessage(std::string_view text) {
    Send(pt2LogMessage, text);
}

void LibReaderAndCard::LogErrorSCardError(std::string_view text, long code) {
    SendWithCode(pt2LogError, text, code);
}

void LibReaderAndCard::LogError(std::string_view text, int value) {
    SendWithValue(pt2LogError, text, value);
}

} // namespace Vantor
