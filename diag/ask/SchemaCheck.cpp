#include "diag/ask/SchemaCheck.h"

#include "config/XmlScan.h"
#include "config/XmlWriter.h"
#include "diag/ask/Excerpt.h"
#include "diag/record/Mark.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <cstdint>
#include <iterator>

#include <strings.h>

namespace Diag {

namespace {

using Tree = boost::property_tree::ptree;

constexpr char ReaderPrefix[] = "Reader";
constexpr char ReaderSettings[] = "Reader_Settings"; // the client's own, no reader in spite of the name
constexpr char Blanks[] = " \t\r\n";
constexpr std::size_t SchemaReaders = 32; // Reader0 to Reader31: RELAX NG knows no name patterns

enum class Type {
    Text,
    Number, ///< of 32 bits
    TruthValue,
    Word, ///< yes or no
    Anything,
    Section,
};

struct Section;

struct Key {
    const char* name;
    Type type;
    const Section* section = nullptr;
    bool isRequired = false;
};

/// An element that holds others. Tests hold the table against the registered keys and against the schema.
struct Section {
    std::vector<Key> keys;
    bool hasText = false;
    bool isClosed = false; ///< all names are known; elsewhere other programs of the product keep settings
};

const Section ReaderSection = {{{"Reader", Type::Text, nullptr, true},
                                {"ReaderName", Type::Text, nullptr, true},
                                {"IsSecure", Type::Word},
                                {"UseGUI", Type::Word},
                                {"UseBeep", Type::Word},
                                {"UserMessage", Type::Text},
                                {"CTAPI", Type::Text},
                                {"CTPort", Type::Number},
                                {"CloseOnExit", Type::Word}},
                               false,
                               true};

const Section TraceSection = {
    {{"LogLevel", Type::Number}, {"LogMode", Type::Number}, {"Filename", Type::Text}}, false, true};

const Section ClientSection = {{{"Version", Type::Text},
                                {"Language", Type::Number},
                                {"CleanCertsOnRefresh", Type::TruthValue},
                                {"MakeDialogsStayOnTop", Type::Word},
                                {"CheckForUpdates", Type::Text},
                                {"Orrin", Type::Text},
                                {"InstallDir", Type::Text},
                                {"Updateable", Type::Text},
                                {"DeleteLogfilesAfterXDays", Type::Text},
                                {"FixIt", Type::Text},
                                {"Trace", Type::Section, &TraceSection},
                                {ReaderSettings, Type::Anything}},
                               true};

const Section MiniDriverSection = {{{"EnableLogging", Type::Number},
                                    {"EnableVantorPinDialog", Type::Text},
                                    {"EnableExternalPin", Type::Text},
                                    {"EnableCardAuthenticateEx", Type::Text},
                                    {"PinCachePolicyType", Type::Text},
                                    {"PinCachePolicyInfo", Type::Text},
                                    {"EnableOutputDebugString", Type::Text},
                                    {"PinEntryRequireSecuryMode", Type::Text},
                                    {"IgnoreAcosSubVersion", Type::Text},
                                    {"CheckReaderCapabilities", Type::Text},
                                    {"EnableDiagnostics", Type::Text},
                                    {"DoExclusiveReconnect", Type::Text},
                                    {"MiniDriverVersion", Type::Text},
                                    {"MiniDriverMinVersion", Type::Text}}};

const Section ServicesSection = {{{"InstallDir", Type::Text}}};

const Section RootSection = {{{"lumo_Client", Type::Section, &ClientSection},
                              {"LumoMiniDriver", Type::Section, &MiniDriverSection},
                              {"Kundendienste_Online", Type::Section, &ServicesSection}}};

bool IsBlank(const std::string& text) {
    return text.find_first_not_of(Blanks) == std::string::npos;
}

std::string Trimmed(const std::string& text) {
    const std::size_t begin = std::min(text.find_first_not_of(Blanks), text.size());
    return text.substr(begin, text.find_last_not_of(Blanks) + 1 - begin);
}

bool IsNumber(const std::string& text) {
    const bool hasSign = !text.empty() && (text[0] == '-' || text[0] == '+');
    const std::string digits = text.substr(hasSign ? 1 : 0);
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    const std::string significant = digits.substr(std::min(digits.find_first_not_of('0'), digits.size() - 1));
    const std::int64_t most = INT32_MAX + std::int64_t{text[0] == '-' ? 1 : 0};
    return significant.size() <= 10 && std::stoll(significant) <= most;
}

bool IsOneOf(const std::string& text, std::initializer_list<const char*> words) {
    return std::any_of(words.begin(), words.end(),
                       [&](const char* word) { return strcasecmp(text.c_str(), word) == 0; });
}

bool IsValue(const std::string& text, Type type) {
    if (IsBlank(text)) {
        return true;
    }
    switch (type) {
    case Type::Number:
        return IsNumber(Trimmed(text));
    case Type::TruthValue: {
        const std::string word = Trimmed(text);
        return word == "true" || word == "false" || word == "1" || word == "0";
    }
    case Type::Word:
        return IsOneOf(text, {"YES", "JA", "Y", "TRUE", "NO", "NEIN", "N", "FALSE"});
    default:
        return true;
    }
}

/// All below the element and itself.
std::size_t CountElements(const Tree& element) {
    std::size_t count = 1;
    for (const auto& [name, child] : element) {
        count += Vantor::IsXmlElement(name) ? CountElements(child) : 0;
    }
    return count;
}

bool HasElements(const Tree& tree) {
    return std::any_of(tree.begin(), tree.end(), [](const auto& child) { return Vantor::IsXmlElement(child.first); });
}

/// Whether the element holds more than one of this name. Counting them would take too long for each of very many.
bool IsTwin(const std::string& name, const Tree& parent) {
    const auto [first, end] = parent.equal_range(name);
    return first != end && std::next(first) != end;
}

const Key* FindKey(const Section& section, const std::string& name) {
    const auto found =
        std::find_if(section.keys.begin(), section.keys.end(), [&](const Key& key) { return name == key.name; });
    return found == section.keys.end() ? nullptr : &*found;
}

bool IsInSchema(const std::string& readerElement) {
    for (std::size_t i = 0; i < SchemaReaders; ++i) {
        if (readerElement == ReaderPrefix + std::to_string(i)) {
            return true;
        }
    }
    return false;
}

/// An element of the document.
struct Place {
    const Tree& tree;
    std::string path;   ///< names of its own and of those that hold it
    std::size_t number; ///< how many elements begin before it
};

class Checker {
public:
    explicit Checker(const std::string& checked) : document(checked) {
        static_cast<void>(Vantor::ScanXml(document, &begins));
    }

    ElementProblems Run(const Tree& tree) {
        const auto root =
            std::find_if(tree.begin(), tree.end(), [](const auto& child) { return Vantor::IsXmlElement(child.first); });
        if (root != tree.end() && root->first != "config") {
            Blame(0, Excerpt(root->first), Mark("das Wurzelelement heißt nicht \"config\""));
        } else if (root != tree.end()) {
            CheckSection({root->second, "config", 0}, RootSection);
        }
        return {NamedProblems(), std::move(unread)};
    }

private:
    struct Problem {
        std::size_t place;
        std::string path;
        const char* text;
    };

    void Blame(std::size_t number, const std::string& path, const char* text) {
        if (problems.size() <= MostProblems) { // one more tells that there are more
            problems.push_back({number < begins.size() ? begins[number] : 0, path, text});
        }
    }

    void NameUnread(const std::string& path) {
        if (unread.size() <= MostProblems) {
            unread.push_back(unread.size() < MostProblems ? path : "...");
        }
    }

    void CheckAttributes(const Place& place) {
        const auto attributes = place.tree.find("<xmlattr>");
        if (attributes != place.tree.not_found() && !attributes->second.empty()) {
            Blame(place.number, place.path + "/@" + Excerpt(attributes->second.front().first),
                  Mark("hier nicht vorgesehen"));
        }
    }

    void CheckText(const Place& place, bool isAllowed) {
        if (!isAllowed) {
            Blame(place.number, place.path + " \"" + Excerpt(place.tree.data()) + "\"", Mark("unzulässiger Wert"));
        }
    }

    void CheckValue(const Place& place, Type type) {
        CheckAttributes(place);
        CheckText(place, IsValue(place.tree.data(), type));
        ForEachElement(place, [&](const std::string& /*name*/, const Place& child) {
            Blame(child.number, child.path, Mark("hier nicht vorgesehen"));
        });
    }

    void CheckSection(const Place& place, const Section& section) {
        CheckAttributes(place);
        CheckText(place, section.hasText || IsBlank(place.tree.data()));
        ForEachElement(place, [&](const std::string& name, const Place& child) {
            CheckChild(name, child, section, IsTwin(name, place.tree));
        });
        const bool lacks = std::any_of(section.keys.begin(), section.keys.end(), [&](const Key& key) {
            return key.isRequired && place.tree.find(key.name) == place.tree.not_found();
        });
        if (lacks) {
            Blame(place.number, place.path, Mark("fehlende oder überzählige Elemente"));
        }
    }

    void CheckChild(const std::string& name, const Place& child, const Section& section, bool isTwin) {
        const Key* const key = FindKey(section, name);
        if (&section == &ClientSection && IsReaderElement(name)) {
            CheckReader(name, child, isTwin);
        } else if (key == nullptr) {
            CheckStranger(child, section);
        } else {
            CheckTwin(child, isTwin);
            CheckKnown(child, *key);
        }
    }

    void CheckKnown(const Place& place, const Key& key) {
        if (key.type == Type::Section) {
            CheckSection(place, *key.section);
        } else if (key.type != Type::Anything) {
            CheckValue(place, key.type);
        }
    }

    void CheckTwin(const Place& place, bool isTwin) {
        if (isTwin) {
            Blame(place.number, place.path, Mark("steht mehr als einmal"));
        }
    }

    void CheckStranger(const Place& place, const Section& section) {
        if (section.isClosed) {
            Blame(place.number, place.path, Mark("hier nicht vorgesehen"));
        }
        if (HasContent(place.tree)) {
            NameUnread(place.path);
        }
    }

    void CheckReader(const std::string& name, const Place& place, bool isTwin) {
        if (!IsInSchema(name)) {
            ForEachElement(place, [&](const std::string& child, const Place& inside) {
                if (FindKey(ReaderSection, child) == nullptr && HasContent(inside.tree)) {
                    NameUnread(inside.path);
                }
            });
            return;
        }
        CheckTwin(place, isTwin);
        if (HasContent(place.tree)) {
            CheckSection(place, ReaderSection);
        } else {
            CheckAttributes(place); // a removed reader
        }
    }

    template <typename Visit>
    static void ForEachElement(const Place& place, const Visit& visit) {
        std::size_t number = place.number + 1;
        for (const auto& [name, child] : place.tree) {
            if (Vantor::IsXmlElement(name)) {
                visit(name, Place{child, place.path + "/" + Excerpt(name), number});
                number += CountElements(child);
            }
        }
    }

    /// With their lines, which one walk through the text counts.
    std::vector<FileProblem> NamedProblems() {
        std::stable_sort(problems.begin(), problems.end(),
                         [](const Problem& a, const Problem& b) { return a.place < b.place; });
        std::vector<FileProblem> named;
        std::size_t counted = 0;
        unsigned long line = 1;
        for (const Problem& problem : problems) {
            line += static_cast<unsigned long>(
                std::count(document.data() + counted, document.data() + problem.place, '\n'));
            counted = problem.place;
            named.push_back({line, problem.path, problem.text});
        }
        if (named.size() > MostProblems) {
            named.back() = {0, {}, "..."};
        }
        return named;
    }

    const std::string& document;
    std::vector<std::size_t> begins;
    std::vector<Problem> problems;
    std::vector<std::string> unread;
};

} // namespace

bool IsReaderElement(const std::string& name) {
    return name.compare(0, sizeof(ReaderPrefix) - 1, ReaderPrefix) == 0 && name != ReaderSettings;
}

bool HasContent(const Tree& element) {
    return !IsBlank(element.data()) || HasElements(element);
}

ElementProblems CheckElements(const Tree& tree, const std::string& document) {
    return Checker(document).Run(tree);
}

} // namespace Diag
