#include "tests/simreader/Answer.h"

#include <PCSC/ifdhandler.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace SimReader {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

constexpr std::array<std::pair<std::string_view, long>, 18> kResponseCodes{{
    {"IFD_SUCCESS", IFD_SUCCESS},
    {"IFD_ERROR_TAG", IFD_ERROR_TAG},
    {"IFD_ERROR_SET_FAILURE", IFD_ERROR_SET_FAILURE},
    {"IFD_ERROR_VALUE_READ_ONLY", IFD_ERROR_VALUE_READ_ONLY},
    {"IFD_ERROR_PTS_FAILURE", IFD_ERROR_PTS_FAILURE},
    {"IFD_ERROR_NOT_SUPPORTED", IFD_ERROR_NOT_SUPPORTED},
    {"IFD_PROTOCOL_NOT_SUPPORTED", IFD_PROTOCOL_NOT_SUPPORTED},
    {"IFD_ERROR_POWER_ACTION", IFD_ERROR_POWER_ACTION},
    {"IFD_ERROR_SWALLOW", IFD_ERROR_SWALLOW},
    {"IFD_ERROR_EJECT", IFD_ERROR_EJECT},
    {"IFD_ERROR_CONFISCATE", IFD_ERROR_CONFISCATE},
    {"IFD_COMMUNICATION_ERROR", IFD_COMMUNICATION_ERROR},
    {"IFD_RESPONSE_TIMEOUT", IFD_RESPONSE_TIMEOUT},
    {"IFD_NOT_SUPPORTED", IFD_NOT_SUPPORTED},
    {"IFD_ICC_PRESENT", IFD_ICC_PRESENT},
    {"IFD_ICC_NOT_PRESENT", IFD_ICC_NOT_PRESENT},
    {"IFD_NO_SUCH_DEVICE", IFD_NO_SUCH_DEVICE},
    {"IFD_ERROR_INSUFFICIENT_BUFFER", IFD_ERROR_INSUFFICIENT_BUFFER},
}};

// PC/SC part 10, answers to FEATURE_GET_KEY_PRESSED.
constexpr std::array<std::pair<std::string_view, int>, 6> kKeys{{
    {"CORRECTION", 0x08},
    {"CLEAR", 0x0A},
    {"OK", 0x0D},
    {"CANCEL", 0x1B},
    {"DIGIT", 0x2B},
    {"ABORT", 0x40},
}};

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

template <typename Number>
std::optional<Number> parseNumber(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

// Cuts the first word off the text and returns it; what follows it keeps its blanks but for the first.
std::string_view takeWord(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    const auto word = text.substr(0, text.find_first_of(kBlanks));
    text.remove_prefix(std::min(word.size() + 1, text.size()));
    return word;
}

template <typename Number>
std::optional<Number> takeNumber(std::string_view& text) {
    return parseNumber<Number>(takeWord(text));
}

bool parseModifier(std::string_view word, std::string_view& rest, Answer& answer) {
    if (word == "delay") {
        const auto milliseconds = takeNumber<unsigned>(rest);
        answer.delayMilliseconds = milliseconds.value_or(0);
        return milliseconds.has_value();
    }
    if (word == "length") {
        answer.claimedLength = takeNumber<std::size_t>(rest);
        return answer.claimedLength.has_value();
    }
    const auto code = responseCodeByName(takeWord(rest));
    answer.code = code.value_or(0);
    return code.has_value();
}

bool parseData(std::string_view text, Answer& answer) {
    std::string_view rest = text;
    const auto word = takeWord(rest);
    if (word == "text" || word == "textz") {
        answer.data.assign(rest.begin(), rest.end());
        if (word == "textz")
            answer.data.push_back(0);
        return true;
    }
    const auto bytes = parseHex(text);
    answer.data = bytes.value_or(Bytes{});
    return bytes.has_value();
}

} // namespace

std::optional<Bytes> parseHex(std::string_view text) {
    Bytes bytes;
    int high = -1;
    for (const char c : text) {
        if (c == ':' || kBlanks.find(c) != std::string_view::npos)
            continue;
        const int digit = hexDigit(c);
        if (digit < 0)
            return std::nullopt;
        if (high >= 0)
            bytes.push_back(static_cast<std::uint8_t>(high * 16 + digit));
        high = high >= 0 ? -1 : digit;
    }
    return high >= 0 ? std::nullopt : std::optional(bytes);
}

std::string toHex(const std::uint8_t* data, std::size_t length) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    text.reserve(length * 2);
    for (std::size_t i = 0; i < length; ++i) {
        text += digits[data[i] >> 4];
        text += digits[data[i] & 0x0F];
    }
    return text;
}

std::string toHex(const Bytes& data) {
    return toHex(data.data(), data.size());
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos ? std::string_view{}
                                           : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::optional<Answer> parseAnswer(std::string_view text) {
    Answer answer;
    while (true) {
        std::string_view rest = text;
        const auto word = takeWord(rest);
        if (word != "delay" && word != "length" && word != "error")
            break;
        if (!parseModifier(word, rest, answer))
            return std::nullopt;
        text = rest;
    }
    return parseData(text, answer) ? std::optional(answer) : std::nullopt;
}

std::optional<long> responseCodeByName(std::string_view name) {
    // "IFD_ERROR_" last: without it, two codes are called NOT_SUPPORTED.
    for (const std::string_view prefix : {"", "IFD_", "IFD_ERROR_"}) {
        for (const auto& [known, code] : kResponseCodes) {
            if (known.substr(0, prefix.size()) == prefix && known.substr(prefix.size()) == name)
                return code;
        }
    }
    return parseNumber<long>(name);
}

std::string responseCodeName(long code) {
    const auto* const found = std::find_if(kResponseCodes.begin(), kResponseCodes.end(),
                                           [code](const auto& row) { return row.second == code; });
    return found != kResponseCodes.end() ? std::string(found->first) : std::to_string(code);
}

std::optional<std::vector<Bytes>> parseKeys(std::string_view text) {
    std::vector<Bytes> keys;
    for (auto word = takeWord(text); !word.empty(); word = takeWord(text)) {
        const auto* const known =
            std::find_if(kKeys.begin(), kKeys.end(), [word](const auto& row) { return row.first == word; });
        const auto hex = parseHex(word);
        if (known != kKeys.end())
            keys.push_back({static_cast<std::uint8_t>(known->second)});
        else if (word == "NONE")
            keys.emplace_back();
        else if (hex)
            keys.push_back(*hex);
        else
            return std::nullopt;
    }
    return keys;
}

} // namespace SimReader
