#include "diag/tell/Redaction.h"

#include "diag/record/PcscNames.h"
#include "diag/record/Printable.h"
#include "diag/tell/Vocabulary.h"

#include <reader.h>
#include <winscard.h>

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
constexpr std::size_t LongestNumber = 4; // bytes of a device unit that is a number
constexpr char Ellipsis[] = "\xE2\x80\xA6";

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
    const std::string_view end = name.substr(name.size() < Numbers ? 0 : name.size() - Numbers);
    const bool hasNumbers = end.size() == Numbers && end[0] == ' ' && end[3] == ' ' && IsHexDigit(end[1]) &&
                            IsHexDigit(end[2]) && IsHexDigit(end[4]) && IsHexDigit(end[5]);
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

std::string Shortened(const std::string& serial) {
    return serial.substr(0, std::min(LongestBeginning, serial.size() / 3)) + Ellipsis;
}

Redaction::Redaction(const std::string& homeDirectory) : home(homeDirectory) {
    while (!home.empty() && home.back() == '/') {
        home.pop_back();
    }
    ForEachPerson([this](const std::string& name) { LearnPerson(name); });
    const std::string host = HostName();
    LearnPerson(host);
    LearnPerson(host.substr(0, host.find('.')));
    if (!home.empty()) {
        LearnPerson(home.substr(home.rfind('/') + 1));
        Learn({home, "~", {}, true, true});
    }
}

Redaction::Redaction(const Report& report, const std::string& homeDirectory) : Redaction(homeDirectory) {
    Learn(report.usbReaders);
    for (const Reader& reader : report.readers) {
        for (const Attribute& attribute : reader.attributes) {
            if (attribute.tag == SCARD_ATTR_VENDOR_IFD_SERIAL_NO) {
                LearnSerial(attribute.bytes);
            }
        }
    }
    // Last, when all serial numbers are known that may stand in the names.
    for (const Reader& reader : report.readers) {
        Learn({Printable(reader.name), Device(reader.name), {}, true});
    }
}

void Redaction::Learn(const std::vector<UsbReader>& devices) {
    for (const UsbReader& device : devices) {
        LearnSerial(device.serial);
    }
}

void Redaction::LearnSerial(const std::string& bytes) {
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
void Redaction::LearnPerson(const std::string& name) {
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

void Redaction::Learn(Secret secret) {
    const auto isSame = [&](const Secret& other) { return other.text == secret.text; };
    if (!secret.text.empty() && std::none_of(secrets.begin(), secrets.end(), isSame)) {
        const auto longer = [&](const Secret& other) { return other.text.size() >= secret.text.size(); };
        secrets.insert(std::find_if_not(secrets.begin(), secrets.end(), longer), std::move(secret));
    }
}

/// The secret that begins here, null for none.
/// @param length  set to the bytes that it takes
const Redaction::Secret* Redaction::FindAt(std::string_view text, std::size_t at, std::size_t& length) const {
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
template <typename Filter>
std::string Redaction::Replace(std::string_view text, Filter filter) const {
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

std::string Redaction::Device(const std::string& text) const {
    const std::string printable = Printable(text);
    const std::size_t name = LengthWithoutNumbers(printable);
    return Replace(std::string_view(printable).substr(0, name), KnownWords) + printable.substr(name);
}

std::string Redaction::Path(const std::string& text) const {
    const std::string printable = Printable(text);
    const bool isBelow = !home.empty() && printable.compare(0, home.size(), home) == 0 &&
                         (printable.size() == home.size() || printable[home.size()] == '/');
    return isBelow ? "~" + KnownParts(printable.substr(home.size())) : KnownParts(printable);
}

std::string Redaction::Line(const std::string& text) const {
    return Replace(Printable(text), [](std::string_view free) { return std::string(free); });
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
    reader.atr = Replace(reader.atr, [](std::string_view free) { return std::string(free); });
    for (Attribute& attribute : reader.attributes) {
        if (attribute.bytes.empty()) {
            continue;
        }
        if (attribute.tag == SCARD_ATTR_VENDOR_IFD_SERIAL_NO) {
            attribute.bytes = Shortened(Printable(attribute.bytes)); // a short one, too, where it is known to be one
        } else if (attribute.tag != SCARD_ATTR_DEVICE_UNIT) {
            attribute.bytes = Device(attribute.bytes);
        } else if (attribute.bytes.size() > LongestNumber) {
            attribute.bytes = Ellipsis;
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
