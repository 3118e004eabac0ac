#include "diag/tell/Vocabulary.h"

#include "config/ClientSettings.h"

#include <algorithm>
#include <fstream>
#include <set>

namespace Diag {

namespace {

using Words = std::set<std::string, std::less<>>;

constexpr std::string_view LogEnding = ".log";
constexpr std::string_view ClientLog = ClientSettings::LogFileName;
constexpr char DriversModels[] = "/etc/libccid_Info.plist";

/// What makers, kinds and models of readers are called; those of the tables in readers/ above all, as the name decides
/// what a reader counts for.
constexpr char DeviceWords[] =
    "acr acs ag alcor and any b1 basic bit4id broadcom card cardman ccid cherry chip co com combi comfort contact "
    "contactless corp corporation covadis cyberjack dell desktop device dual e express feitian for fujitsu g83 67xx "
    "gemalto gemplus generic global gmbh go hid hp icc identiv inc int interface kaan kb key keyboard keypad kobil "
    "lenovo ltd micro microsystems mini mobile nfc nitrokey o2micro of omnikey one pad pc pcmcia pcsc picc pin pinpad "
    "plus pro professional reader readers realtek reiner rf rfid rfid sam sc scm scr scr241 sct secoder secure "
    "security serial siemens signator simulated slot smart smartboard smartcard smartterminal spr532 sprx32 st "
    "standard stick systems tech technologies technology terminal thales the token touch twin usb utimaco vantor vasco "
    "virtual wave with xx44 yubico yubikey s 3621 3821 8630";

const Words& Paths() {
    static const Words parts = {"",
                                ".",
                                "..",
                                "~",
                                "*",
                                ".vantor",
                                "Contents",
                                "LumoMiniDriver",
                                "Log",
                                "Trace",
                                "bin",
                                "config",
                                "config.unreadable",
                                "ctrsct32.dll",
                                "etc",
                                "home",
                                "lib",
                                "lib32",
                                "lib64",
                                "libct.so",
                                "libctapi.so",
                                "local",
                                "lumo Client",
                                "lumoclient",
                                "opt",
                                "pcscd",
                                "pcscd.comm",
                                "proc",
                                "root",
                                "run",
                                "sbin",
                                "srv",
                                "tmp",
                                "usr",
                                "vantor",
                                "var"};
    return parts;
}

std::string LowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

void AddWords(std::string_view text, Words& words) {
    ForEachWord(text, [&](std::string_view word, bool isWord) {
        if (isWord) {
            words.insert(LowerCase(word));
        }
    });
}

Words LoadDeviceWords() {
    constexpr char Opening[] = "<string>";
    Words words;
    AddWords(DeviceWords, words);
    std::ifstream list(DriversModels);
    for (std::string line; std::getline(list, line);) {
        const std::size_t start = line.find(Opening);
        if (start != std::string::npos && line.compare(start + sizeof(Opening) - 1, 2, "0x") != 0) {
            AddWords(std::string_view(line).substr(start + sizeof(Opening) - 1, line.rfind("</") - start), words);
        }
    }
    return words;
}

/// Nothing but a short number, or a time, between the beginning and the end of a name.
bool IsNumbered(std::string_view name, std::string_view beginning, const std::string& separators,
                std::string_view end) {
    constexpr std::size_t LongestTime = 20; // "_2026-03-01_14-05-09"
    if (name.size() < beginning.size() + end.size() || name.substr(0, beginning.size()) != beginning ||
        name.substr(name.size() - end.size()) != end) {
        return false;
    }
    const std::string_view number = name.substr(beginning.size(), name.size() - beginning.size() - end.size());
    return number.size() <= (separators.empty() ? 3 : LongestTime) &&
           number.find_first_not_of("0123456789" + separators) == std::string_view::npos;
}

} // namespace

bool IsDeviceWord(std::string_view word) {
    static const Words words = LoadDeviceWords();
    return words.find(LowerCase(word)) != words.end();
}

bool IsPathPart(std::string_view part) {
    return Paths().find(part) != Paths().end() ||
           IsNumbered(part, ClientLog.substr(0, ClientLog.size() - LogEnding.size()), "_-", LogEnding) ||
           IsNumbered(part, "LumoMiniDriver", "_-", LogEnding);
}

bool IsElementName(std::string_view name) {
    const std::string element(name);
    const auto& known = ClientSettings::KnownElements();
    return name == "config" || IsNumbered(name, ClientSettings::ReaderPrefix, "", "") ||
           ClientSettings::ReaderElements().count(element) != 0 ||
           std::any_of(known.begin(), known.end(),
                       [&](const auto& section) { return section.second.count(element) != 0; });
}

bool IsSystemAccount(std::string_view name) {
    static const Words names = {"", "root", "lumoadmin", "nobody", "nogroup", "daemon", "adm", "users", "staff"};
    return names.find(name) != names.end();
}

bool IsReaderDriver(std::string_view name) {
    static const Words names = {"", "usbfs", "usbhid", "pn533", "pn533_usb", "cdc_acm", "ftdi_sio", "pl2303", "ch341"};
    return names.find(name) != names.end();
}

} // namespace Diag
