#include "diag/tell/Redaction.h"

#include "diag/record/PcscNames.h"
#include "diag/record/Printable.h"
#include "diag/tell/Vocabulary.h"

#include <reader.h>
#include <winscard.h>

#include <algorithm>

namespace Diag {

namespace {

constexpr std::size_t LongestNumber = 4; // bytes of a device unit that is a number

/// Unknown words, and what stands between two of them, are one "…"; what is in parentheses is another.
std::string KnownWords(std::string_view text) {
    std::string result;
    std::string between;
    bool isHidden = false;
    ForEachWord(text, [&](std::string_view part, bool isWord) {
        if (!isWord) {
            between = part;
            return;
        }
        const bool isKnown = IsDeviceWord(part);
        if (isKnown || !isHidden || between.find('(') != std::string::npos) {
            result += between;
            result += isKnown ? part : Ellipsis;
        }
        isHidden = !isKnown;
        between.clear();
    });
    return result + between;
}

std::string Same(std::string_view text) {
    return std::string(text);
}

std::string KnownParts(std::string_view path) {
    std::string result;
    for (;;) {
        const std::size_t slash = path.find_first_of("/\\");
        const std::string_view part = path.substr(0, slash);
        const bool isLog = part.size() > 4 && part.substr(part.size() - 4) == ".log";
        result += IsPathPart(part) ? std::string(part) : std::string(Ellipsis) + (isLog ? ".log" : "");
        if (slash == std::string_view::npos) {
            return result;
        }
        result += path[slash];
        path.remove_prefix(slash + 1);
    }
}

bool ConsistsOf(std::string_view text, const char* characters) {
    return text.find_first_not_of(characters) == std::string_view::npos;
}

/// The service ends each name with two numbers that it counts itself: " 00 00".
std::size_t LengthWithoutNumbers(std::string_view name) {
    constexpr std::size_t Numbers = 6;
    constexpr char HexDigits[] = "0123456789abcdefABCDEF";
    const std::string_view end = name.substr(name.size() < Numbers ? 0 : name.size() - Numbers);
    const bool hasNumbers = end.size() == Numbers && end[0] == ' ' && end[3] == ' ' &&
                            ConsistsOf(end.substr(1, 2), HexDigits) && ConsistsOf(end.substr(4), HexDigits);
    return name.size() - (hasNumbers ? Numbers : 0);
}

/// A number of a vendor or product, empty if it is none.
std::string UsbNumber(const std::string& text) {
    return text.size() == 4 && ConsistsOf(text, "0123456789abcdef") ? text : "";
}

/// A number such as "2.0.17", each of its parts too short for a serial number.
bool IsVersion(std::string_view text) {
    std::size_t digits = 0;
    return text.size() <= 16 && std::all_of(text.begin(), text.end(), [&](char c) {
               digits = c == '.' ? 0 : digits + 1;
               return digits <= 4 && (c == '.' || (c >= '0' && c <= '9'));
           });
}

/// The same list without bytes that are no record.
std::string FeatureRecords(const std::string& list) {
    std::string records;
    for (const Feature& feature : ParseFeatures(list)) {
        records += static_cast<char>(feature.tag);
        records += '\x04';
        for (const unsigned shift : {24U, 16U, 8U, 0U}) {
            records += static_cast<char>(feature.controlCode >> shift & 0xFFU);
        }
    }
    return records;
}

} // namespace

Redaction::Redaction(const std::string& homeDirectory)
    : home(homeDirectory.substr(0, homeDirectory.find_last_not_of('/') + 1)), secrets(home) {}

Redaction::Redaction(const Report& report, const std::string& homeDirectory) : Redaction(homeDirectory) {
    Learn(report.usbReaders);
    for (const Reader& reader : report.readers) {
        for (const Attribute& attribute : reader.attributes) {
            if (attribute.tag == SCARD_ATTR_VENDOR_IFD_SERIAL_NO) {
                secrets.LearnSerial(attribute.bytes);
            }
        }
    }
    // Last, when all serial numbers are known that may stand in the names.
    for (const Reader& reader : report.readers) {
        secrets.LearnText(Printable(reader.name), Device(reader.name));
    }
}

void Redaction::Learn(const std::vector<UsbReader>& devices) {
    for (const UsbReader& device : devices) {
        secrets.LearnSerial(device.serial);
    }
}

std::string Redaction::Device(const std::string& text) const {
    const std::string printable = Printable(text);
    const std::size_t name = LengthWithoutNumbers(printable);
    return secrets.Replace(std::string_view(printable).substr(0, name), KnownWords) + printable.substr(name);
}

std::string Redaction::Path(const std::string& text) const {
    const std::string printable = Printable(text);
    const bool isBelow = !home.empty() && printable.compare(0, home.size(), home) == 0 &&
                         (printable.size() == home.size() || printable[home.size()] == '/');
    return isBelow ? "~" + KnownParts(printable.substr(home.size())) : KnownParts(printable);
}

std::string Redaction::Line(const std::string& text) const {
    constexpr std::size_t Begin = sizeof(AsksReader) - 1;
    // Of a reader that came while others were asked nothing is known but the line.
    return text.compare(0, Begin, AsksReader) == 0 ? AsksReader + Device(text.substr(Begin))
                                                   : secrets.Replace(Printable(text), Same);
}

std::string Redaction::Element(const std::string& path) const {
    std::string result;
    std::string_view rest = path;
    for (;;) {
        const std::size_t slash = rest.find('/');
        result += IsElementName(rest.substr(0, slash)) ? std::string(rest.substr(0, slash)) : Ellipsis;
        if (slash == std::string_view::npos) {
            return result;
        }
        result += '/';
        rest.remove_prefix(slash + 1);
    }
}

void Redaction::Apply(Report& report) const {
    for (UsbReader& device : report.usbReaders) {
        Apply(device);
    }
    for (Reader& reader : report.readers) {
        Apply(reader);
    }
    report.service.socket = Path(report.service.socket);
    report.service.program = Path(report.service.program);
    Apply(report.configuration);
    Apply(report.logs.client);
    Apply(report.logs.miniDriver);
    if (report.openWindow) {
        report.openWindow->user = Ellipsis;
    }
}

void Redaction::Apply(Reader& reader) const {
    reader.name = Device(reader.name);
    reader.features = FeatureRecords(reader.features);
    reader.atr = secrets.Replace(reader.atr, Same);
    for (Attribute& attribute : reader.attributes) {
        if (attribute.bytes.empty()) {
            continue;
        }
        if (attribute.tag == SCARD_ATTR_VENDOR_IFD_SERIAL_NO) {
            attribute.bytes = Shortened(Printable(attribute.bytes)); // a short one, too, where it is known to be one
        } else if (attribute.tag != SCARD_ATTR_DEVICE_UNIT) {
            attribute.bytes = Device(attribute.bytes);
        } else {
            attribute.bytes =
                attribute.bytes.size() > LongestNumber ? Ellipsis : secrets.Replace(attribute.bytes, Same);
        }
    }
}

void Redaction::Apply(UsbReader& device) const {
    device.port = ConsistsOf(device.port, "0123456789-.") ? device.port : Ellipsis;
    device.vendorId = UsbNumber(device.vendorId);
    device.productId = UsbNumber(device.productId);
    device.manufacturer = Device(device.manufacturer);
    device.product = Device(device.product);
    device.serial = device.serial.empty() ? "" : Shortened(device.serial);
    device.driver = IsReaderDriver(device.driver) ? device.driver : Ellipsis;
}

void Redaction::Apply(ConfigurationState& state) const {
    Apply(state.machine);
    Apply(state.user);
    ClientSettings::Record& settings = state.settings;
    for (ClientSettings::StoredReader& reader : settings.readers) {
        reader.element = Element(reader.element);
        reader.kind = Device(reader.kind);
        reader.name = Device(reader.name);
        reader.library = reader.library.empty() ? "" : Path(reader.library);
    }
    settings.traceFile = settings.traceFile.empty() ? "" : Path(settings.traceFile);
    settings.clientVersion = IsVersion(settings.clientVersion) ? settings.clientVersion : Ellipsis;
}

void Redaction::Apply(ConfigurationFile& configuration) const {
    Apply(configuration.file);
    Apply(configuration.folder);
    for (FileProblem& problem : configuration.invalid) {
        Apply(problem);
    }
    for (auto* const problem : {&configuration.malformed, &configuration.notStrict}) {
        if (*problem) {
            Apply(**problem);
        }
    }
    for (OtherWriter& writer : configuration.otherWriters) {
        writer.path = Path(writer.path);
        writer.name = IsSystemAccount(writer.name) ? writer.name : Ellipsis;
    }
    for (std::string& path : configuration.unread) {
        path = Element(path);
    }
}

void Redaction::Apply(FileFacts& file) const {
    file.path = Path(file.path);
    file.target = file.target.empty() ? "" : Path(file.target);
    for (std::string* const account : {&file.owner, &file.group, &file.linkOwner}) {
        *account = IsSystemAccount(*account) ? *account : Ellipsis;
    }
}

/// Behind the path stands the element's text in quotation marks.
void Redaction::Apply(FileProblem& problem) const {
    const std::size_t quote = problem.path.find(" \"");
    const std::string text = quote == std::string::npos ? "" : std::string(" \"") + Ellipsis + "\"";
    problem.path = problem.path.empty() ? "" : Element(problem.path.substr(0, quote)) + text;
}

void Redaction::Apply(LogDirectory& directory) const {
    directory.path = Path(directory.path);
    for (LogFileFacts& file : directory.files) {
        file.name = Path(file.name);
    }
}

} // namespace Diag
