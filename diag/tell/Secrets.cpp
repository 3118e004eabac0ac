#include "diag/tell/Secrets.h"

#include "diag/record/Printable.h"
#include "diag/tell/Vocabulary.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include <pwd.h>
#include <unistd.h>

namespace Diag {

namespace {

/// A shorter one would be found in texts that have nothing to do with it.
constexpr std::size_t ShortestSerial = 4;
constexpr std::size_t ShortestName = 3;
constexpr std::size_t LongestBeginning = 3;

/// Between the characters of a serial number, the zero bytes of wide characters among them.
const std::string Separators(" -.:_/\0", 7);
/// Between hexadecimal digits, as bytes, escapes and references to characters are written.
const std::string HexSeparators(" -.:,\\xXuU0%#&;");

bool IsLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || static_cast<unsigned char>(c) >= 0x80;
}

char Folded(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsHexDigit(char c) {
    return (c >= '0' && c <= '9') || (Folded(c) >= 'a' && Folded(c) <= 'f');
}

std::string Without(std::string text, const std::string& characters) {
    text.erase(
        std::remove_if(text.begin(), text.end(), [&](char c) { return characters.find(c) != std::string::npos; }),
        text.end());
    return text;
}

/// The bytes that a text of hexadecimal digits stands for; empty if it is none.
std::string BytesOfHex(const std::string& text) {
    const std::string digits = Without(text, " -.:");
    std::string bytes;
    if (digits.size() % 2 != 0 || !std::all_of(digits.begin(), digits.end(), IsHexDigit)) {
        return bytes;
    }
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        bytes += static_cast<char>(std::strtoul(digits.substr(i, 2).c_str(), nullptr, 16));
    }
    return bytes;
}

std::string WithoutZeros(const std::string& bytes) {
    return bytes.substr(0, bytes.find_last_not_of('\0') + 1);
}

std::string HostName() {
    std::array<char, 256> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

/// Accounts of this machine that are people's, and whoever runs the program, by whatever name.
template <typename Take>
void ForEachPerson(Take take) {
    constexpr uid_t FirstPerson = 1000;
    constexpr uid_t Nobody = 65534;
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen("/etc/passwd", "re"), std::fclose);
    while (const struct passwd* const entry = file ? fgetpwent(file.get()) : nullptr) {
        if (entry->pw_uid >= FirstPerson && entry->pw_uid != Nobody) {
            take(entry->pw_name);
            take(entry->pw_gecos);
        }
    }
    if (const struct passwd* const own = geteuid() == 0 ? nullptr : getpwuid(geteuid())) {
        take(own->pw_name);
        take(own->pw_gecos);
    }
    for (const char* const variable : {"LOGNAME", "USER", "SUDO_USER"}) {
        const char* const name = std::getenv(variable);
        if (name != nullptr && !IsSystemAccount(name)) {
            take(name);
        }
    }
}

} // namespace

std::string Shortened(const std::string& serial) {
    return serial.substr(0, std::min(LongestBeginning, serial.size() / 3)) + Ellipsis;
}

Secrets::Secrets(const std::string& home) {
    ForEachPerson([this](const std::string& name) { LearnPerson(name); });
    const std::string host = HostName();
    LearnPerson(host);
    LearnPerson(host.substr(0, host.find('.')));
    if (!home.empty()) {
        LearnPerson(home.substr(home.rfind('/') + 1));
        Learn({home, "~", {}, true, true});
    }
}

void Secrets::LearnText(const std::string& text, const std::string& replacement) {
    Learn({text, replacement, {}, true});
}

void Secrets::LearnSerial(const std::string& bytes) {
    const std::string serial = WithoutZeros(bytes);
    const std::string shortened = Shortened(Printable(serial));
    const std::string digits = serial.substr(std::min(serial.find_first_not_of('0'), serial.size()));
    for (const std::string& written : {serial, Without(serial, Separators), digits}) {
        if (written.size() >= ShortestSerial) {
            Learn({written, shortened, Separators});
            Learn({Without(HexBytes(written), " "), shortened, HexSeparators});
        }
    }
    const std::string meant = BytesOfHex(serial);
    if (meant.size() >= ShortestSerial) {
        Learn({meant, shortened, {}, true});
    }
}

/// Of a real name each part by itself.
void Secrets::LearnPerson(const std::string& name) {
    if (name.size() >= ShortestName && !IsSystemAccount(name)) {
        Learn({name, Ellipsis, std::string(1, '\0'), false, true});
        Learn({Without(HexBytes(name), " "), Ellipsis, HexSeparators});
    }
    const std::size_t end = name.find_first_of(" ,");
    if (end != std::string::npos) {
        LearnPerson(name.substr(0, end));
        LearnPerson(name.substr(end + 1));
    }
}

void Secrets::Learn(Secret secret) {
    const auto isSame = [&](const Secret& other) { return other.text == secret.text; };
    if (!secret.text.empty() && std::none_of(secrets.begin(), secrets.end(), isSame)) {
        const auto longer = [&](const Secret& other) { return other.text.size() >= secret.text.size(); };
        secrets.insert(std::find_if_not(secrets.begin(), secrets.end(), longer), std::move(secret));
    }
}

/// The secret that begins here, null for none.
/// @param length  set to the bytes that it takes
const Secrets::Secret* Secrets::FindAt(std::string_view text, std::size_t at, std::size_t& length) const {
    for (const Secret& secret : secrets) {
        const auto isSame = [&](char a, char b) { return secret.isExact ? a == b : Folded(a) == Folded(b); };
        std::size_t place = at;
        std::size_t found = 0;
        while (place < text.size() && found < secret.text.size()) {
            if (isSame(text[place], secret.text[found])) {
                ++found;
            } else if (found == 0 || secret.separators.find(text[place]) == std::string::npos) {
                break;
            }
            ++place;
        }
        const bool isInside = secret.isWord && ((at > 0 && IsLetter(text[at - 1]) && IsLetter(text[at])) ||
                                                (place < text.size() && IsLetter(text[place])));
        if (found == secret.text.size() && !isInside) {
            length = place - at;
            return &secret;
        }
    }
    return nullptr;
}

/// @param filter  for what stands between secrets
std::string Secrets::Replace(std::string_view text, const Filter& filter) const {
    std::string result;
    std::size_t start = 0;
    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t length = 0;
        const Secret* const secret = FindAt(text, at, length);
        if (secret == nullptr) {
            ++at;
            continue;
        }
        result += filter(text.substr(start, at - start)) + secret->replacement;
        at += length;
        start = at;
    }
    return start == text.size() ? result : result + filter(text.substr(start));
}

} // namespace Diag
