// Words that say nothing about whose machine this is: of makers and models, of paths, of the configuration.
#pragma once

#include <string>
#include <string_view>

namespace Diag {

/// A word of a reader's name: of the known makers and models, or of the list of models that the driver for USB readers
/// comes with (/etc/libccid_Info.plist, read once). Upper and lower case do not count.
[[nodiscard]] bool IsDeviceWord(std::string_view word);

/// A folder or file of the client, of the service or of the system, or a log file's name with nothing but numbers
/// added.
[[nodiscard]] bool IsPathPart(std::string_view part);

/// An element of the configuration.
[[nodiscard]] bool IsElementName(std::string_view name);

/// An account or group that machines have by themselves.
[[nodiscard]] bool IsSystemAccount(std::string_view name);

/// A driver of the kernel that is known to hold readers.
[[nodiscard]] bool IsReaderDriver(std::string_view name);

/// Hands each word of a text, a run of letters and digits, and what stands between words to `take(text, isWord)`.
/// Characters beyond ASCII are letters.
template <typename Take>
void ForEachWord(std::string_view text, Take take) {
    const auto isOfWord = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
               static_cast<unsigned char>(c) >= 0x80;
    };
    while (!text.empty()) {
        std::size_t length = 1;
        while (length < text.size() && isOfWord(text[length]) == isOfWord(text[0])) {
            ++length;
        }
        take(text.substr(0, length), isOfWord(text[0]));
        text.remove_prefix(length);
    }
}

} // namespace Diag
