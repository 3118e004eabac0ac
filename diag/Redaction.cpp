#include "diag/Redaction.h"

#include "diag/Text.h"

#include <reader.h>
#include <winscard.h>

#include <algorithm>
#include <utility>

namespace Diag {

namespace {

/// A shorter one would be found in texts that have nothing to do with it.
constexpr std::size_t ShortestSerial = 4;
constexpr std::size_t LongestBeginning = 3;
constexpr char Ellipsis[] = "\xE2\x80\xA6";

bool IsSerialCharacter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' || c == '.' ||
           c == '_' || c == ':';
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

/// The daemon puts a serial number in parentheses behind the reader's name; words in parentheses have no digits.
bool IsSerial(const std::string& text) {
    return text.size() >= ShortestSerial && std::all_of(text.begin(), text.end(), IsSerialCharacter) &&
           std::any_of(text.begin(), text.end(), IsDigit);
}

std::string ReplaceAll(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t place = text.find(from); place != std::string::npos; place = text.find(from, place + to.size())) {
        text.replace(place, from.size(), to);
    }
    return text;
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
    for (const UsbReader& device : report.usbReaders) {
        Learn(device.serial);
    }
    std::sort(serials.begin(), serials.end(),
              [](const std::string& a, const std::string& b) { return a.size() > b.size(); });
}

void Redaction::Learn(const std::string& bytes) {
    const std::string serial = bytes.substr(0, bytes.find_last_not_of('\0') + 1);
    if (serial.size() >= ShortestSerial) {
        serials.push_back(serial);
    }
}

std::string Redaction::Text(const std::string& text) const {
    std::string redacted = text;
    for (const std::string& serial : serials) {
        redacted = ReplaceAll(redacted, serial, Shortened(serial));
    }
    if (home.size() > 1) {
        redacted = ReplaceAll(redacted, home + "/", "~/");
    }
    return ShortenParentheses(redacted);
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
    for (StoredReader& reader : report.configuration.settings.readers) {
        reader.name = Text(reader.name);
        reader.kind = Text(reader.kind);
    }
    for (std::string* const path :
         {&report.configuration.settings.traceFile, &report.configuration.machine.file.path,
          &report.configuration.user.file.path, &report.logs.client.path, &report.logs.miniDriver.path}) {
        *path = Text(*path);
    }
}

void Redaction::Apply(std::vector<Finding>& findings) const {
    for (Finding& finding : findings) {
        finding.subject = Text(finding.subject);
        for (std::string& detail : finding.details) {
            detail = Text(detail);
        }
    }
}

} // namespace Diag
