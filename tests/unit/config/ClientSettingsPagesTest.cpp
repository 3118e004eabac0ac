// What cannot include the vocabulary of the client's file: the schema, its page and the launcher.
#include "config/ClientSettings.h"

#include "tests/support/TemporaryFolder.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <regex>
#include <sstream>

#include <fnmatch.h>

namespace {

using ClientSettings::Elements;
using ClientSettings::ValueType;
using Tree = boost::property_tree::ptree;
using Sections = std::map<std::string, Elements>;

constexpr char ReaderPath[] = "lumo_Client/ReaderN";

/// All sections by their paths below the root, the readers' among them.
Sections Vocabulary() {
    Sections sections = ClientSettings::KnownElements();
    sections[ReaderPath] = ClientSettings::ReaderElements();
    return sections;
}

std::vector<std::smatch> Matches(const std::string& text, const std::regex& pattern) {
    return {std::sregex_iterator(text.begin(), text.end(), pattern), std::sregex_iterator()};
}

/// The elements that docs/configuration.rng names.
class Schema {
public:
    Schema() {
        std::istringstream text(test::ReadText(SOURCE_FOLDER "/docs/configuration.rng"));
        Tree file;
        boost::property_tree::read_xml(text, file);
        grammar = file.get_child("grammar");
        Walk(grammar.get_child("start.element"), "");
    }

    Sections sections;

private:
    const Tree& Define(const std::string& name) const {
        const auto found = std::find_if(grammar.begin(), grammar.end(), [&](const auto& child) {
            return child.first == "define" && child.second.get("<xmlattr>.name", "") == name;
        });
        return found->second;
    }

    void Walk(const Tree& pattern, const std::string& path) {
        for (const auto& [kind, child] : pattern) {
            const std::string name = child.get("<xmlattr>.name", "");
            if (kind == "element" && !name.empty()) {
                Take(name, child, path);
            } else if (kind == "ref" && name != "anything") {
                Walk(Define(name), path);
            } else if (kind != "element") {
                Walk(child, path);
            }
        }
    }

    void Take(const std::string& name, const Tree& element, const std::string& path) {
        static const Elements types = {{"string", ValueType::Text},
                                       {"integer", ValueType::Number},
                                       {"boolean", ValueType::TruthValue},
                                       {"word", ValueType::Word}};
        const std::string content = element.get("ref.<xmlattr>.name", "");
        const auto type = types.find(content);
        if (content == "anything") {
            EXPECT_EQ(name, ClientSettings::SettingsElement);
        } else if (content == "reader") {
            EXPECT_TRUE(ClientSettings::IsReader(name)) << name;
            Walk(element, ReaderPath);
        } else {
            sections[path][name] = type == types.end() ? ValueType::Section : type->second;
            if (type == types.end()) {
                Walk(element, path.empty() ? name : path + "/" + name);
            }
        }
    }

    Tree grammar;
};

/// The elements in the tables of docs/configuration.md. The headings name the sections.
Sections Catalogue() {
    static const Elements types = {{"text", ValueType::Text},
                                   {"number", ValueType::Number},
                                   {"truth value", ValueType::TruthValue},
                                   {"word", ValueType::Word}};
    Sections sections;
    std::string path;
    std::istringstream page(test::ReadText(SOURCE_FOLDER "/docs/configuration.md"));
    for (std::string line; std::getline(page, line);) {
        std::smatch match;
        if (std::regex_search(line, match, std::regex("^### `config/([^`]*)`"))) {
            path = match[1];
        } else if (std::regex_search(line, match, std::regex(R"(^\| ((?:`\w+` )+)\| ([^|,]*[^|, ]))"))) {
            const std::string names = match[1];
            const auto type = types.find(match[2]);
            for (const std::smatch& name : Matches(names, std::regex("\\w+"))) {
                if (type != types.end()) {
                    sections[path][name[0]] = type->second;
                } else {
                    EXPECT_EQ(name[0], ClientSettings::SettingsElement);
                }
            }
        }
    }
    return sections;
}

/// The launcher's patterns of numbers in their order, each with the language that it chooses.
std::vector<std::pair<std::string, std::string>> LauncherPatterns() {
    const std::string script = test::ReadText(SOURCE_FOLDER "/packaging/launcher/lumoadmin-launcher");
    std::vector<std::pair<std::string, std::string>> found;
    for (const std::smatch& row : Matches(script, std::regex(R"(\n +([^\n()]*)\) chosen=(\w*) ;;)"))) {
        const std::string patterns = row[1];
        for (const std::smatch& pattern : Matches(patterns, std::regex("[^ |]+"))) {
            found.emplace_back(pattern[0], row[2]);
        }
    }
    return found;
}

std::string NameOf(std::optional<ClientSettings::Language> language) {
    return language == ClientSettings::Language::English  ? "en"
           : language == ClientSettings::Language::German ? "de"
                                                          : "";
}

} // namespace

TEST(ClientSettingsPages, TheSchemaNamesEveryElementWithItsType) {
    EXPECT_EQ(Schema().sections, Vocabulary());
}

TEST(ClientSettingsPages, TheCatalogueOfKeysNamesEveryElementWithItsType) {
    Sections values = Vocabulary();
    for (auto& section : values) {
        Elements& elements = section.second;
        for (auto element = elements.begin(); element != elements.end();) {
            element = element->second == ValueType::Section ? elements.erase(element) : std::next(element);
        }
    }
    values.erase("");
    EXPECT_EQ(Catalogue(), values);
}

TEST(ClientSettingsPages, TheLauncherReadsTheSameNumbersOfLanguages) {
    const auto patterns = LauncherPatterns();
    for (long number = 0; number < 1000; ++number) {
        const auto chosen = std::find_if(patterns.begin(), patterns.end(), [&](const auto& pattern) {
            return fnmatch(pattern.first.c_str(), std::to_string(number).c_str(), 0) == 0;
        });
        ASSERT_NE(chosen, patterns.end());
        EXPECT_EQ(chosen->second, NameOf(ClientSettings::LanguageOfNumber(number))) << number;
    }
}
