#include "diag/Redaction.h"

#include "diag/Text.h"

#include <reader.h>
#include <winscard.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace Diag {

namespace {

/// A shorter one would be found in texts that have nothing to do with it.
constexpr std::size_t ShortestSerial = 4;
constexpr std::size_t LongestBeginning = 3;
constexpr char Ellipsis[] = "\xE2\x80\xA6";
constexpr char Homes[] = "/home/";
constexpr char OwnFolder[] = "/.vantor"; // of the client, in each user's home

bool IsSerialCharacter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' || c == '.' ||
           c == '_' || c == ':';
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

/// As results are written behind their names, "0x8010001D".
bool IsResultCode(const std::string& text) {
    return text.size() == 10 && text.compare(0, 2, "0x") == 0 &&
           text.find_first_not_of("0123456789ABCDEF", 2) == std::string::npos;
}

/// The daemon puts a serial number in parentheses behind the reader's name; words in parentheses have no digits.
bool IsSerial(const std::string& text) {
    return text.size() >= ShortestSerial && !IsResultCode(text) &&
           std::all_of(text.begin(), text.end(), IsSerialCharacter) && std::any_of(text.begin(), text.end(), IsDigit);
}

std::string ReplaceAll(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t place = text.find(from); place != std::string::npos; place = text.find(from, place + to.size())) {
        text.replace(place, from.size(), to);
    }
    return text;
}

/// "/home/anna/x" becomes "/home/…/x".
std::string HideHomes(std::string text) {
    for (std::size_t place = text.find(Homes); place != std::string::npos; place = text.find(Homes, place)) {
        place += sizeof(Homes) - 1;
        const std::size_t end = std::min(text.find('/', place), text.size());
        text.replace(place, end - place, Ellipsis);
    }
    return text;
}

/// Whether another character of the same name follows.
bool IsNameCharacter(char c) {
    return IsSerialCharacter(c) ? c != ':' : static_cast<unsigned char>(c) >= 0x80;
}

/// The home directory itself and what lies below it, not one whose name only begins alike.
std::string HideHome(std::string text, const std::string& home) {
    std::size_t place = text.find(home);
    while (place != std::string::npos) {
        const std::size_t end = place + home.size();
        if (end < text.size() && IsNameCharacter(text[end])) {
            place = text.find(home, end);
        } else {
            place = text.replace(place, home.size(), "~").find(home, place);
        }
    }
    return text;
}

/// Homes may lie anywhere: "/srv/berta/.vantor/x" becomes "/srv/…/.vantor/x". That it is root's may stay.
std::string HideOwners(std::string text) {
    for (std::size_t place = text.find(OwnFolder); place != std::string::npos;
         place = text.find(OwnFolder, place + 1)) {
        const std::size_t slash = place == 0 ? std::string::npos : text.rfind('/', place - 1);
        if (slash != std::string::npos && text[place - 1] != '~') {
            const std::string owner = text.substr(slash + 1, place - slash - 1);
            text.replace(slash + 1, owner.size(), owner == "root" ? owner : Ellipsis);
            place = text.find(OwnFolder, slash);
        }
    }
    return text;
}

void HideAccounts(FileFacts& file) {
    file.owner = file.ownedByPerson ? Ellipsis : file.owner;
    file.group = file.groupOfPeople ? Ellipsis : file.group;
}

std::string ShortenParentheses(std::string text) {
    std::size_t open = text.find('(');
    while (open != std::string::npos) {
        const std::size_t close = text.find(')', open);
        if (close == std::string::npos) {
            break;
        }
        const std::string inside = text.substr(open + 1, close - open - 1);
        if (IsSerial(inside)) {
            text.replace(open + 1, inside.size(), Shortened(inside));
        }
        open = text.find('(', open + 1);
    }
    return text;
}

} // namespace

std::string Shortened(const std::string& serial) {
    return serial.substr(0, std::min(LongestBeginning, serial.size() / 3)) + Ellipsis;
}

Redaction::Redaction(std::string homeDirectory) : home(std::move(homeDirectory)) {
    while (home.size() > 1 && home.back() == '/') {
        home.pop_back();
    }
}

Redaction::Redaction(const Report& report, std::string homeDirectory) : Redaction(std::move(homeDirectory)) {
    for (const Reader& reader : report.readers) {
        for (const Attribute& attribute : reader.attributes) {
            if (attribute.tag == SCARD_ATTR_VENDOR_IFD_SERIAL_NO) {
                Learn(attribute.bytes);
            }
        }
    }
    Learn(report.usbReaders);
}

void Redaction::Learn(const std::vector<UsbReader>& devices) {
    for (const UsbReader& device : devices) {
        Learn(device.serial);
    }
}

void Redaction::Learn(const std::string& bytes) {
    const std::string serial = bytes.substr(0, bytes.find_last_not_of('\0') + 1);
    if (serial.size() < ShortestSerial || std::find(serials.begin(), serials.end(), serial) != serials.end()) {
        return;
    }
    serials.push_back(serial);
    std::sort(serials.begin(), serials.end(),
              [](const std::string& a, const std::string& b) { return a.size() > b.size(); });
}

std::string Redaction::Text(const std::string& text) const {
    std::string redacted = text;
    for (const std::string& serial : serials) {
        redacted = ReplaceAll(redacted, serial, Shortened(serial));
    }
    if (home.size() > 1) {
        redacted = HideHome(redacted, home);
    }
    return ShortenParentheses(HideOwners(HideHomes(redacted)));
}

void Redaction::Apply(Report& report) const {
    for (Reader& reader : report.readers) {
        reader.name = Text(reader.name);
        for (Attribute& attribute : reader.attributes) {
            // Short ones, too, where it is known to be one.
            attribute.bytes = attribute.tag == SCARD_ATTR_VENDOR_IFD_SERIAL_NO && !attribute.bytes.empty()
                                  ? Shortened(Printable(attribute.bytes))
                                  : Text(attribute.bytes);
        }
    }
    for (UsbReader& device : report.usbReaders) {
        device.serial = device.serial.empty() ? "" : Shortened(device.serial);
        device.product = Text(device.product);
        device.manufacturer = Text(device.manufacturer);
    }
    report.service.socket = Text(report.service.socket);
    Apply(report.configuration);
    Apply(report.logs.client);
    Apply(report.logs.miniDriver);
}

void Redaction::Apply(ConfigurationState& state) const {
    Apply(state.machine);
    Apply(state.user);
    for (StoredReader& reader : state.settings.readers) {
        for (std::string* const text : {&reader.element, &reader.kind, &reader.name, &reader.library}) {
            *text = Text(*text);
        }
    }
    state.settings.traceFile = Text(state.settings.traceFile);
    state.settings.clientVersion = Text(state.settings.clientVersion);
}

void Redaction::Apply(ConfigurationFile& configuration) const {
    configuration.file.path = Text(configuration.file.path);
    HideAccounts(configuration.file);
    HideAccounts(configuration.folder);
    // Values stand in the paths of what the schema refuses.
    for (FileProblem& problem : configuration.invalid) {
        Apply(problem);
    }
    if (configuration.malformed) {
        Apply(*configuration.malformed);
    }
    for (std::string& path : configuration.unread) {
        path = Text(path);
    }
}

void Redaction::Apply(FileProblem& problem) const {
    problem.path = Text(problem.path);
    problem.text = Text(problem.text); // a parser may repeat what it read
}

void Redaction::Apply(LogDirectory& directory) const {
    directory.path = Text(directory.path);
    for (LogFileFacts& file : directory.files) {
        file.name = Text(file.name);
    }
}

void Redaction::Apply(std::vector<Finding>& findings) const {
    for (Finding& finding : findings) {
        // The subject of this one is an account.
        finding.subject = std::strcmp(finding.kind->id, "window-open") == 0 ? Ellipsis : Text(finding.subject);
        for (std::string& detail : finding.details) {
            detail = Text(detail);
        }
    }
}

} // namespace Diag
