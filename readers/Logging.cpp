#include "readers/Logging.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "readers/SCardError.h"
#include "util/ByteArray.h"

namespace Vantor {

namespace {

using Callback = void (*)(const char*);

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

/// Hands the line that `compose` makes to the callback. What is thrown, for want of memory or by the callback, costs
/// that line: a lost line must not break off the operation that it tells of.
template <class Compose>
void SendLine(Callback callback, Compose compose) {
    if (callback == nullptr) {
        return;
    }
    try {
        callback(compose().c_str());
    } catch (...) {
        return;
    }
}

void Send(Callback callback, std::string_view text, std::string_view more = {}) {
    SendLine(callback, [=] { return std::string(text).append(more); });
}

void SendWithCode(Callback callback, std::string_view text, long code) {
    // The suffix brings a blank of its own, so that two blanks stand there.
    SendLine(callback, [=] { return std::string(text) + " " + LoggingHelper::SCardErrorToString(code); });
}

void SendWithValue(Callback callback, std::string_view text, int value) {
    SendLine(callback, [=] { return std::string(text) + " " + std::to_string(value); });
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

void LibReaderImpl::LogError(std::string_view text) {
    Send(bLoggingEnabled ? pt2LogError : nullptr, text);
}

void LibReaderImpl::LogMessage(std::string_view text, std::string_view more) {
    Send(bLoggingEnabled ? pt2LogMessage : nullptr, text, more);
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
    SendLine(bLoggingEnabled ? pt2LogError : nullptr,
             [&] { return std::string(text) + " " + DescribeStatusWord(response); });
}

void LibReaderImpl::SCardErrorToString(std::basic_stringstream<char>& out, long code) {
    out << SCardErrorName(code);
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

void LibReaderAndCard::LogMessage(std::string_view text, std::string_view more) {
    Send(pt2LogMessage, text, more);
}

void LibReaderAndCard::LogErrorSCardError(std::string_view text, long code) {
    SendWithCode(pt2LogError, text, code);
}

void LibReaderAndCard::LogError(std::string_view text, int value) {
    SendWithValue(pt2LogError, text, value);
}

} // namespace Vantor
