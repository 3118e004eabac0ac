#include "diag/ConfigurationProbe.h"

#include "config/XmlDocument.h"
#include "config/XmlScan.h"
#include "diag/FileProbe.h"
#include "diag/Language.h"
#include "diag/SchemaCheck.h"
#include "util/FileAndDirectory.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <algorithm>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

namespace Diag {

namespace {

using Tree = boost::property_tree::ptree;

constexpr char ReaderPrefix[] = "Reader";
constexpr char ReaderSettings[] = "Reader_Settings"; // the client's own, no reader in spite of the name

/// Where in the file elements are read, and which. A test holds this against the registered keys.
struct KnownSection {
    const char* path; ///< below the root element
    std::vector<std::string> elements;
};

const std::vector<KnownSection>& KnownSections() {
    static const std::vector<KnownSection> sections = {
        {"", {"lumo_Client", "LumoMiniDriver", "Kundendienste_Online"}},
        {"lumo_Client",
         {"Version", "Language", "CleanCertsOnRefresh", "MakeDialogsStayOnTop", "CheckForUpdates", "Orrin",
          "InstallDir", "Updateable", "DeleteLogfilesAfterXDays", "FixIt", "Trace", ReaderSettings}},
        {"lumo_Client/Trace", {"LogLevel", "LogMode", "Filename"}},
        {"LumoMiniDriver",
         {"EnableLogging", "EnableVantorPinDialog", "EnableExternalPin", "EnableCardAuthenticateEx",
          "PinCachePolicyType", "PinCachePolicyInfo", "EnableOutputDebugString", "PinEntryRequireSecuryMode",
          "IgnoreAcosSubVersion", "CheckReaderCapabilities", "EnableDiagnostics", "DoExclusiveReconnect",
          "MiniDriverVersion", "MiniDriverMinVersion"}},
        {"Kundendienste_Online", {"InstallDir"}},
    };
    return sections;
}

const std::vector<std::string>& ReaderElements() {
    static const std::vector<std::string> elements = {"Reader",      "ReaderName", "IsSecure", "UseGUI",     "UseBeep",
                                                      "UserMessage", "CTAPI",      "CTPort",   "CloseOnExit"};
    return elements;
}

bool Has(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool IsElement(const std::string& name) {
    return name != "<xmlattr>" && name != "<xmlcomment>";
}

bool IsReader(const std::string& name) {
    return name.compare(0, sizeof(ReaderPrefix) - 1, ReaderPrefix) == 0 && name != ReaderSettings;
}

bool IsBlank(const std::string& text) {
    return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

/// Removed settings leave empty elements behind.
bool HasContent(const Tree& node) {
    return !IsBlank(node.data()) ||
           std::any_of(node.begin(), node.end(), [](const auto& child) { return IsElement(child.first); });
}

const Tree* Find(const Tree& tree, const std::string& path) {
    const auto found = tree.get_child_optional(Tree::path_type(path, '/'));
    return found ? &*found : nullptr;
}

std::string TextOf(const Tree& tree, const std::string& path) {
    const Tree* const node = Find(tree, path);
    return node == nullptr ? std::string() : node->data();
}

std::optional<long> NumberOf(const Tree& tree, const std::string& path) {
    std::istringstream text(TextOf(tree, path));
    text.imbue(std::locale::classic());
    long number = 0;
    if (!(text >> number)) {
        return std::nullopt;
    }
    const bool isAll = text.eof() || (text >> std::ws).eof();
    return isAll ? std::optional<long>(number) : std::nullopt;
}

bool IsYes(std::string word) {
    std::transform(word.begin(), word.end(), word.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return word == "YES" || word == "JA" || word == "Y" || word == "TRUE";
}

std::vector<StoredReader> ReadReaders(const Tree& client) {
    std::vector<StoredReader> readers;
    for (const auto& [name, node] : client) {
        if (IsReader(name) && HasContent(node)) {
            readers.push_back({name, TextOf(node, "Reader"), TextOf(node, "ReaderName"), TextOf(node, "CTAPI"),
                               IsYes(TextOf(node, "IsSecure"))});
        }
    }
    return readers;
}

void AddUnread(const Tree& node, const std::string& path, const std::vector<std::string>& known,
               std::vector<std::string>& unread) {
    for (const auto& [name, child] : node) {
        const bool isReaderTree = path == "config/lumo_Client" && IsReader(name);
        std::string childPath = path;
        childPath.append("/").append(name);
        if (IsElement(name) && !isReaderTree && !Has(known, name) && HasContent(child)) {
            unread.push_back(childPath);
        }
        if (isReaderTree) {
            AddUnread(child, childPath, ReaderElements(), unread);
        }
    }
}

unsigned long LineOf(const std::string& text, std::size_t place) {
    return 1 + static_cast<unsigned long>(
                   std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(place), '\n'));
}

/// The name at this place, which may be anything, as far as it is worth quoting.
std::string NameAt(const std::string& text, std::size_t place) {
    constexpr std::size_t Longest = 40;
    const std::string name = text.substr(place, text.find_first_of(" \t\r\n/<>=", place) - place);
    return name.size() > Longest ? name.substr(0, Longest) + "..." : name;
}

/// A reference such as "&#0;" or "&#x00;", which the parser turns into a zero byte.
std::size_t FindZeroReference(const std::string& text) {
    for (std::size_t place = text.find("&#"); place != std::string::npos; place = text.find("&#", place + 1)) {
        const std::size_t digits = place + (text.compare(place + 2, 1, "x") == 0 ? 3 : 2);
        const std::size_t end = text.find_first_not_of('0', digits);
        if (end != std::string::npos && text[end] == ';') {
            return place;
        }
    }
    return std::string::npos;
}

/// Why a document is refused that the parser takes: as a file it could not be the same again.
FileProblem FindUnwritable(const std::string& document, const Vantor::XmlScan& scan) {
    if (scan.badName != Vantor::XmlScan::Nowhere) {
        return {LineOf(document, scan.badName), NameAt(document, scan.badName),
                Mark("kein Name nach den Regeln von XML")};
    }
    if (scan.looseText != Vantor::XmlScan::Nowhere) {
        return {LineOf(document, scan.looseText), {}, Mark("Text außerhalb der Elemente")};
    }
    const std::size_t zero = FindZeroReference(document);
    if (zero != std::string::npos) {
        return {LineOf(document, zero), {}, Mark("ein Nullbyte")};
    }
    return {0, {}, Mark("lässt sich so nicht wieder schreiben")};
}

/// The parser itself tells the line. It recurses, so it sees only what the scan found flat enough.
FileProblem AskParser(const std::string& document, const Vantor::XmlScan& scan) {
    try {
        Tree tree;
        std::istringstream stream(document);
        boost::property_tree::read_xml(stream, tree);
        return FindUnwritable(document, scan);
    } catch (const boost::property_tree::xml_parser_error& error) {
        return {error.line(), {}, error.message()};
    } catch (const std::exception& error) {
        return {0, {}, error.what(), true};
    }
}

/// Others than root and the group are kept out by the folder, and by the one that it lies in.
bool IsOpenToOthers(const FileFacts& folder, const std::string& above) {
    const bool isSound =
        !folder.exists || (folder.isFolder && !folder.isLink && folder.ownerId == 0 && (folder.mode & S_IWOTH) == 0);
    return !isSound || (DescribeFile(above).exists && !OnlyRootWrites(above));
}

ConfigurationFile ProbeFile(const std::string& folder, std::string& document) {
    ConfigurationFile result;
    const std::string path = Vantor::CombinePaths(folder, "config");
    result.file = DescribeFile(path);
    result.folder = DescribeFile(folder);
    // Behind a closed folder nobody knows.
    const FileFacts aside = DescribeFile(path + ".unreadable");
    result.putAside = aside.exists && !aside.owner.empty();
    if (!result.file.exists) {
        result.file.writable = CanCreateIn(folder, result.file.obstacle);
        return result;
    }
    if (!result.file.isRegular || !result.file.readable) {
        return result;
    }
    if (result.file.size > static_cast<std::int64_t>(Vantor::MaxXmlSize)) {
        result.malformed = FileProblem{0, {}, Mark("größer als 4 MiB")};
        return result;
    }
    document = ReadFile(path, Vantor::MaxXmlSize);
    result.malformed = FindSyntaxProblem(document);
    result.parsed = !result.malformed;
    return result;
}

} // namespace

ConfigurationState ProbeConfiguration() {
    ConfigurationState state;
    std::string document;
    std::string ignored;
    state.machine = ProbeFile(Vantor::GetAllUsersDir() + "vantor/lumoclient", document);
    const FileFacts& file = state.machine.file;
    state.machine.hasForeignOwner = file.exists && file.ownerId != 0 && !IsInGroup(file.ownerId, "lumoadmin");
    state.machine.isFolderOpen = IsOpenToOthers(state.machine.folder, Vantor::GetAllUsersDir() + "vantor");
    state.user = ProbeFile(Vantor::CombinePaths(Vantor::GetUserDir(), ".vantor/lumoclient"), ignored);
    state.isRoot = geteuid() == 0;
    state.isMember = IsInGroup("lumoadmin");
    if (state.machine.parsed) {
        state.settings = ReadSettings(document);
        state.machine.invalid = CheckAgainstSchema(document);
        state.machine.unread = FindUnreadElements(document);
    }
    return state;
}

Settings ReadSettings(const std::string& document) {
    Settings settings;
    Tree tree;
    if (!Vantor::ParseXml(document, tree)) {
        return settings;
    }
    if (const Tree* const client = Find(tree, "config/lumo_Client")) {
        settings.readers = ReadReaders(*client);
        settings.traceLevel = NumberOf(*client, "Trace/LogLevel");
        settings.traceMode = NumberOf(*client, "Trace/LogMode");
        settings.traceFile = TextOf(*client, "Trace/Filename");
        settings.language = NumberOf(*client, "Language");
        settings.clientVersion = TextOf(*client, "Version");
    }
    settings.miniDriverLogging = NumberOf(tree, "config/LumoMiniDriver/EnableLogging");
    return settings;
}

std::optional<FileProblem> FindSyntaxProblem(const std::string& document) {
    Tree tree;
    if (Vantor::ParseXml(document, tree)) {
        return std::nullopt;
    }
    const std::size_t zero = document.find('\0');
    if (zero != std::string::npos) {
        return FileProblem{LineOf(document, zero), {}, Mark("ein Nullbyte")};
    }
    const Vantor::XmlScan scan = Vantor::ScanXml(document);
    if (scan.tooDeep != Vantor::XmlScan::Nowhere) {
        return FileProblem{LineOf(document, scan.tooDeep), {}, Mark("Elemente mehr als 256 Ebenen tief")};
    }
    if (scan.tooMany != Vantor::XmlScan::Nowhere) {
        return FileProblem{
            LineOf(document, scan.tooMany), {}, Mark("mehr als 300.000 Elemente, Attribute und Kommentare")};
    }
    return AskParser(document, scan);
}

std::vector<std::string> FindUnreadElements(const std::string& document) {
    std::vector<std::string> unread;
    Tree tree;
    if (!Vantor::ParseXml(document, tree)) {
        return unread;
    }
    for (const KnownSection& section : KnownSections()) {
        const std::string path = *section.path == '\0' ? "config" : std::string("config/") + section.path;
        if (const Tree* const node = Find(tree, path)) {
            AddUnread(*node, path, section.elements, unread);
        }
    }
    return unread;
}

} // namespace Diag
