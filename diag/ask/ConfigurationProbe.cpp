#include "diag/ask/ConfigurationProbe.h"

#include "config/XmlDocument.h"
#include "config/XmlScan.h"
#include "diag/ask/Excerpt.h"
#include "diag/ask/FileProbe.h"
#include "diag/ask/SchemaCheck.h"
#include "diag/ask/StrictReader.h"
#include "diag/record/Mark.h"
#include "util/FileAndDirectory.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <algorithm>
#include <sstream>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace Diag {

namespace {

using Tree = boost::property_tree::ptree;

/// The service serves 16 readers.
constexpr std::size_t MostStoredReaders = 32;
/// No text that means something is longer: a path has at most so many bytes.
constexpr std::size_t LongestText = 4096;

unsigned long LineOf(const std::string& text, std::size_t place) {
    return 1 + static_cast<unsigned long>(
                   std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(place), '\n'));
}

/// The name at this place, which may be anything.
std::string NameAt(const std::string& text, std::size_t place) {
    return Excerpt(text.substr(place, text.find_first_of(" \t\r\n/<>=", place) - place));
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
        return {0, {}, error.what()};
    }
}

/// Others than root and the group are kept out by the folder, and by the one that it lies in.
bool IsOpenToOthers(const FileFacts& folder, const std::string& above) {
    const bool isSound =
        !folder.exists || (folder.isFolder && !folder.isLink && folder.ownerId == 0 && (folder.mode & S_IWOTH) == 0);
    return !isSound || (DescribeFile(above).exists && !OnlyRootWrites(above));
}

/// @param tree  set to what the registry takes in; unchanged if it takes in nothing
ConfigurationFile ProbeFile(const std::string& folder, std::string& document, Tree& tree) {
    ConfigurationFile result;
    const std::string path = Vantor::CombinePaths(folder, "config");
    result.file = DescribeFile(path);
    result.folder = DescribeFile(folder);
    // Behind a closed folder nobody knows.
    const FileFacts aside = DescribeFile(path + ".unreadable");
    result.putAside = aside.exists && !aside.owner.empty();
    if (!result.file.exists) {
        result.file.obstacle = WhyNotCreateIn(folder);
        result.file.writable = result.file.obstacle == 0;
        return result;
    }
    if (!result.file.isRegular || !result.file.readable) {
        return result;
    }
    document = ReadFile(path, Vantor::MaxXmlSize + 1);
    if (document.size() > Vantor::MaxXmlSize) {
        result.malformed = FileProblem{0, {}, Mark("größer als 4 MiB")};
        return result;
    }
    result.file.isRegular = !document.empty() || result.file.size == 0; // it may have changed since
    if (!result.file.isRegular) {
        return result;
    }
    result.malformed = FindSyntaxProblem(document, tree);
    result.parsed = !result.malformed;
    return result;
}

void CheckMachineFile(ConfigurationFile& file, const std::string& document, const Tree& tree) {
    StrictVerdict verdict = AskStrictReader(document);
    file.notStrict = std::move(verdict.refusal);
    file.documentType = std::move(verdict.documentType);
    if (!file.documentType) {
        ElementProblems problems = CheckElements(tree, document);
        file.invalid = std::move(problems.invalid);
        file.unread = std::move(problems.unread);
    }
}

void ProbeMachine(ConfigurationState& state) {
    std::string document;
    Tree tree;
    state.machine = ProbeFile(Vantor::GetAllUsersDir() + "vantor/lumoclient", document, tree);
    const FileFacts& file = state.machine.file;
    state.machine.hasForeignOwner = file.exists && file.ownerId != 0 && !IsInGroup(file.ownerId, "lumoadmin");
    const std::string above = Vantor::GetAllUsersDir() + "vantor";
    state.machine.isFolderOpen = IsOpenToOthers(state.machine.folder, above);
    for (const std::string& path : {above, state.machine.folder.path, file.path}) {
        for (OtherWriter& writer : ListOtherWriters(path)) {
            state.machine.otherWriters.push_back(std::move(writer));
        }
    }
    if (state.machine.parsed) {
        state.settings = ReadSettings(tree);
        CheckMachineFile(state.machine, document, tree);
    }
}

void ProbeUser(ConfigurationState& state) {
    std::string document;
    Tree tree;
    state.user = ProbeFile(Vantor::CombinePaths(Vantor::GetUserDir(), ".vantor/lumoclient"), document, tree);
}

} // namespace

ConfigurationState ProbeConfiguration() {
    ConfigurationState state;
    ProbeMachine(state); // whose tree is gone before the other's comes
    ProbeUser(state);
    state.isRoot = geteuid() == 0;
    state.isMember = IsInGroup("lumoadmin");
    return state;
}

ClientSettings::Record ReadSettings(const Tree& tree) {
    ClientSettings::Record settings = ClientSettings::Read(tree, MostStoredReaders);
    for (ClientSettings::StoredReader& reader : settings.readers) {
        reader.element = Excerpt(reader.element);
        for (std::string* const text : {&reader.kind, &reader.name, &reader.library}) {
            *text = Excerpt(*text, LongestText);
        }
    }
    for (std::string* const text : {&settings.traceFile, &settings.clientVersion}) {
        *text = Excerpt(*text, LongestText);
    }
    return settings;
}

std::optional<FileProblem> FindSyntaxProblem(const std::string& document, Tree& tree) {
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

} // namespace Diag
