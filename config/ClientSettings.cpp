#include "config/ClientSettings.h"

#include "config/Config.h"
#include "config/ConfigImpl_XML.h"
#include "config/ProgramConfig.h"
#include "config/XmlWriter.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/stream_translator.hpp>

#include <algorithm>
#include <iterator>
#include <locale>

namespace ClientSettings {

namespace {

using Tree = boost::property_tree::ptree;
using Translator = boost::property_tree::stream_translator<char, std::char_traits<char>, std::allocator<char>, long>;
using Sections = std::map<std::string, Elements>;

constexpr char Separator = '/';
constexpr const char* SettingsSubTrees[] = {"Reader Settings", SettingsElement};

struct LanguageRow {
    long first;
    long last;
    Language language;
};

constexpr LanguageRow Languages[] = {
    {0, 1, Language::System},
    {EnglishNumber, 73, Language::English},
    {GermanNumber, 94, Language::German},
};

/// The registered settings that are read otherwise than as they stand.
const Elements NotTexts = {
    {"Language", ValueType::Number},
    {"LogLevel", ValueType::Number},
    {"LogMode", ValueType::Number},
    {"CleanCertsOnRefresh", ValueType::TruthValue},
    {"MakeDialogsStayOnTop", ValueType::Word},
    {"EnableLogging", ValueType::Number},
};

/// As the registry reads them, whatever the locale.
Translator Numbers() {
    return Translator(std::locale::classic());
}

/// Text and number of the elements below one, by their paths from there.
class Section {
public:
    explicit Section(const Tree& root) : tree(root) {}

    const Tree* Find(const std::string& path) const {
        const auto found = tree.get_child_optional(Tree::path_type(path, Separator));
        return found ? &*found : nullptr;
    }
    std::string Text(const std::string& path) const {
        const Tree* const node = Find(path);
        return node == nullptr ? std::string() : node->data();
    }
    std::optional<long> Number(const std::string& path) const {
        const Tree* const node = Find(path);
        const auto number = node == nullptr ? boost::none : node->get_value_optional<long>(Numbers());
        return number ? std::optional(*number) : std::nullopt;
    }

private:
    const Tree& tree;
};

StoredReader ReadReader(const std::string& element, const Tree& node) {
    const Section reader(node);
    return {element, reader.Text(ReaderKey::Reader), reader.Text(ReaderKey::ReaderName), reader.Text(ReaderKey::CTAPI),
            Vantor::IsYes(reader.Text(ReaderKey::IsSecure))};
}

void ReadReaders(const Tree& client, std::size_t most, Record& record) {
    for (const auto& [name, child] : client) {
        if (!IsReader(name) || !HasContent(child)) {
            continue;
        }
        if (record.readers.size() == most) {
            record.hasMoreReaders = true;
            return;
        }
        record.readers.push_back(ReadReader(name, child));
    }
}

void ReadClient(const Tree& node, Record& record) {
    const Section client(node);
    record.traceLevel = client.Number("Trace/LogLevel");
    record.traceMode = client.Number("Trace/LogMode");
    record.traceFile = client.Text("Trace/Filename");
    record.language = client.Number("Language");
    record.clientVersion = client.Text("Version");
}

/// Adds an element and the sections that it lies in. The path is relative to the file, with its root element.
void AddWithParents(std::string path, Sections& sections) {
    const auto typed = NotTexts.find(path.substr(path.rfind(Separator) + 1));
    ValueType type = typed == NotTexts.end() ? ValueType::Text : typed->second;
    for (std::size_t end = path.rfind(Separator); end != std::string::npos; end = path.rfind(Separator)) {
        const std::size_t root = path.find(Separator);
        sections[end == root ? std::string() : path.substr(root + 1, end - root - 1)][path.substr(end + 1)] = type;
        path.resize(end);
        type = ValueType::Section;
    }
}

Sections CollectElements() {
    Sections sections;
    for (const Vantor::sConfig& setting : RegisteredSettings()) {
        std::string path = Vantor::ConfigImpl_XML::getPathKey(&setting);
        std::replace(path.begin(), path.end(), '.', Separator);
        if (path.back() != Separator) {
            AddWithParents(path, sections);
        }
    }
    return sections;
}

} // namespace

bool IsReader(const std::string& subTree) {
    return subTree.compare(0, sizeof(ReaderPrefix) - 1, ReaderPrefix) == 0 &&
           std::find(std::begin(SettingsSubTrees), std::end(SettingsSubTrees), subTree) == std::end(SettingsSubTrees);
}

bool IsAnyReader(const std::string& kind, const std::string& name) {
    return kind == PcscKind && name == AnyName;
}

bool IsAnyReader(const Record& record) {
    return record.readers.size() == 1 && IsAnyReader(record.readers.front().kind, record.readers.front().name);
}

bool IsBlank(const std::string& text) {
    return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

std::optional<Language> LanguageOfNumber(long number) {
    for (const LanguageRow& row : Languages) {
        if (number >= row.first && number <= row.last) {
            return row.language;
        }
    }
    return std::nullopt;
}

bool HasContent(const Tree& element) {
    return !IsBlank(element.data()) || std::any_of(element.begin(), element.end(),
                                                   [](const auto& child) { return Vantor::IsXmlElement(child.first); });
}

const Sections& KnownElements() {
    static const Sections sections = CollectElements();
    return sections;
}

const Elements& ReaderElements() {
    static const Elements elements = {
        {ReaderKey::IsSecure, ValueType::Word},   {ReaderKey::Reader, ValueType::Text},
        {ReaderKey::ReaderName, ValueType::Text}, {ReaderKey::UseGUI, ValueType::Word},
        {ReaderKey::UseBeep, ValueType::Word},    {ReaderKey::UserMessage, ValueType::Text},
        {ReaderKey::CTAPI, ValueType::Text},      {ReaderKey::CTPort, ValueType::Number},
        {ReaderKey::CloseOnExit, ValueType::Word}};
    return elements;
}

Record Read(const Tree& file, std::size_t mostReaders) {
    Record record;
    const Section root(file);
    if (const Tree* const client = root.Find("config/lumo_Client")) {
        ReadReaders(*client, mostReaders, record);
        ReadClient(*client, record);
    }
    record.miniDriverLogging = root.Number("config/LumoMiniDriver/EnableLogging");
    return record;
}

} // namespace ClientSettings
