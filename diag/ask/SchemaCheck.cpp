#include "diag/ask/SchemaCheck.h"

#include "config/ClientSettings.h"
#include "config/Config.h"
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
using ClientSettings::Elements;
using ClientSettings::ValueType;

constexpr char Blanks[] = " \t\r\n";
constexpr std::size_t SchemaReaders = 32; // Reader0 to Reader31: RELAX NG knows no name patterns
constexpr char Root[] = "config";
constexpr char Client[] = "config/lumo_Client";
constexpr char Trace[] = "config/lumo_Client/Trace";

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

bool IsValue(const std::string& text, ValueType type) {
    if (ClientSettings::IsBlank(text)) {
        return true;
    }
    switch (type) {
    case ValueType::Number:
        return IsNumber(Trimmed(text));
    case ValueType::TruthValue: {
        const std::string word = Trimmed(text);
        return word == "true" || word == "false" || word == "1" || word == "0";
    }
    case ValueType::Word:
        return Vantor::IsYes(text) || IsOneOf(text, {"NO", "NEIN", "N", "FALSE"});
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

/// Whether the element holds more than one of this name. Counting them would take too long for each of very many.
bool IsTwin(const std::string& name, const Tree& parent) {
    const auto [first, end] = parent.equal_range(name);
    return first != end && std::next(first) != end;
}

bool IsInSchema(const std::string& readerElement) {
    for (std::size_t i = 0; i < SchemaReaders; ++i) {
        if (readerElement == ClientSettings::ReaderPrefix + std::to_string(i)) {
            return true;
        }
    }
    return false;
}

/// The elements of a section by its path.
const Elements& SectionOf(const std::string& path) {
    return ClientSettings::KnownElements().at(path.substr(std::min(path.size(), sizeof(Root))));
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
        if (root != tree.end() && root->first != Root) {
            Blame(0, Excerpt(root->first), Mark("das Wurzelelement heißt nicht \"config\""));
        } else if (root != tree.end()) {
            CheckSection({root->second, Root, 0}, SectionOf(Root));
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

    void CheckValue(const Place& place, ValueType type) {
        CheckAttributes(place);
        CheckText(place, IsValue(place.tree.data(), type));
        ForEachElement(place, [&](const std::string& /*name*/, const Place& child) {
            Blame(child.number, child.path, Mark("hier nicht vorgesehen"));
        });
    }

    void CheckSection(const Place& place, const Elements& known) {
        CheckAttributes(place);
        CheckText(place, place.path == Client || ClientSettings::IsBlank(place.tree.data()));
        ForEachElement(place,
                       [&](const std::string& name, const Place& child) { CheckChild(name, child, place, known); });
    }

    void CheckChild(const std::string& name, const Place& child, const Place& parent, const Elements& known) {
        const bool isTwin = IsTwin(name, parent.tree);
        const auto found = known.find(name);
        if (parent.path == Client && ClientSettings::IsReader(name)) {
            CheckReader(name, child, isTwin);
        } else if (parent.path == Client && name == ClientSettings::SettingsElement) {
            CheckTwin(child, isTwin);
        } else if (found == known.end()) {
            // Elsewhere other programs of the product keep settings.
            CheckStranger(child, parent.path == Trace || &known == &ClientSettings::ReaderElements());
        } else {
            CheckTwin(child, isTwin);
            CheckKnown(child, found->second);
        }
    }

    void CheckKnown(const Place& place, ValueType type) {
        if (type == ValueType::Section) {
            CheckSection(place, SectionOf(place.path));
        } else {
            CheckValue(place, type);
        }
    }

    void CheckTwin(const Place& place, bool isTwin) {
        if (isTwin) {
            Blame(place.number, place.path, Mark("steht mehr als einmal"));
        }
    }

    void CheckStranger(const Place& place, bool isClosed) {
        if (isClosed) {
            Blame(place.number, place.path, Mark("hier nicht vorgesehen"));
        }
        if (ClientSettings::HasContent(place.tree)) {
            NameUnread(place.path);
        }
    }

    void CheckReader(const std::string& name, const Place& place, bool isTwin) {
        const Elements& known = ClientSettings::ReaderElements();
        if (!IsInSchema(name)) {
            ForEachElement(place, [&](const std::string& child, const Place& inside) {
                if (known.count(child) == 0) {
                    CheckStranger(inside, false);
                }
            });
            return;
        }
        CheckTwin(place, isTwin);
        if (!ClientSettings::HasContent(place.tree)) { // a removed reader
            CheckAttributes(place);
            return;
        }
        CheckSection(place, known);
        if (place.tree.count(ClientSettings::ReaderKey::Reader) == 0 ||
            place.tree.count(ClientSettings::ReaderKey::ReaderName) == 0) {
            Blame(place.number, place.path, Mark("fehlende oder überzählige Elemente"));
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

ElementProblems CheckElements(const Tree& tree, const std::string& document) {
    return Checker(document).Run(tree);
}

} // namespace Diag
