// Holds the table of findings against the page that explains them.
#include "diag/tell/Findings.h"
#include "diag/tell/Language.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <sstream>

using namespace Diag;
using testing::HasSubstr;

namespace {

/// The entries of the page by their headings.
std::map<std::string, std::string> Entries() {
    std::map<std::string, std::string> entries;
    std::string heading;
    for (const std::string& line : test::Lines(test::ReadText(SOURCE_FOLDER "/docs/failures.md"))) {
        if (line.rfind("### ", 0) == 0) {
            heading = line.substr(4);
            entries[heading];
        } else if (line.rfind("## ", 0) == 0) {
            heading.clear();
        } else if (!heading.empty()) {
            entries[heading] += line + "\n";
        }
    }
    return entries;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

} // namespace

TEST(FailuresPageTest, EveryFindingHasItsEntryAndEveryEntryItsFinding) {
    std::set<std::string> ids;
    for (const FindingKind& kind : FindingKinds()) {
        EXPECT_TRUE(ids.insert(kind.id).second) << kind.id << " stands twice";
    }
    std::set<std::string> headings;
    for (const auto& entry : Entries()) {
        headings.insert(entry.first);
    }
    EXPECT_EQ(ids, headings);
}

TEST(FailuresPageTest, EveryEntryExplainsBeforeItCommands) {
    for (const auto& [heading, text] : Entries()) {
        EXPECT_GT(text.find("```"), 60U) << heading;
        EXPECT_GT(text.size(), 80U) << heading;
    }
}

TEST(FailuresPageTest, TheCommandsOfAFindingStandInItsEntry) {
    const auto entries = Entries();
    for (const FindingKind& kind : FindingKinds()) {
        std::istringstream commands(kind.commands);
        for (std::string command; std::getline(commands, command);) {
            const bool isProcess = command.find("kill") != std::string::npos;
            const std::string parameter = isProcess ? "NUMBER" : "DRIVER";
            EXPECT_THAT(entries.at(kind.id), HasSubstr(Replaced(command, "%s", parameter)));
        }
    }
}

TEST(FailuresPageTest, OtherRemediesAreThoseOfAKindAndStandInItsEntry) {
    const auto entries = Entries();
    for (const OtherRemedy& other : OtherRemedies()) {
        ASSERT_EQ(entries.count(other.id), 1U) << other.id;
        std::istringstream commands(other.commands);
        for (std::string command; std::getline(commands, command);) {
            EXPECT_THAT(entries.at(other.id), HasSubstr(command));
        }
        const std::string remedy = other.remedy;
        EXPECT_EQ(remedy.back() == ':', *other.commands != '\0') << other.id << " " << other.cause;
    }
}

TEST(FailuresPageTest, NoPageChangesRightsOrWritesThroughANameThatMembersMayExchange) {
    const std::regex unsafe("\\b(chmod|chgrp|chown|chattr|setfacl|tee|cp|install)\\b[^|`\n;]*/lumoclient/[a-z]|"
                            "(--recursive|-R)[^|`\n]*/etc/vantor");
    for (const char* const page : {"README.md", "docs/failures.md", "docs/manual.md", "docs/configuration.md",
                                   "packaging/man/lumoadmin.1", "packaging/man/lumodiag.1"}) {
        for (const std::string& line : test::Lines(test::ReadText(std::string(SOURCE_FOLDER "/") + page))) {
            EXPECT_FALSE(std::regex_search(line, unsafe)) << page << ": " << line;
        }
    }
}

TEST(FailuresPageTest, TheManualHasTheSamePolkitRule) {
    const auto rule = [](const std::string& page) {
        const std::string text = test::ReadText(SOURCE_FOLDER "/docs/" + page);
        const std::size_t start = text.find("polkit.addRule");
        return text.find("/etc/polkit-1/rules.d/50-lumoadmin.rules") == std::string::npos
                   ? "no file in " + page
                   : text.substr(start, text.find("```", start) - start);
    };
    EXPECT_EQ(rule("manual.md"), rule("failures.md"));
    EXPECT_THAT(rule("manual.md"), HasSubstr("subject.isInGroup"));
}

TEST(FailuresPageTest, EveryFindingSaysWhatToDo) {
    for (const FindingKind& kind : FindingKinds()) {
        const std::string remedy = kind.remedy;
        ASSERT_FALSE(remedy.empty()) << kind.id;
        EXPECT_EQ(remedy.back() == ':', *kind.commands != '\0') << kind.id << ": a colon announces commands";
    }
}

TEST(FailuresPageTest, EveryTextOfAFindingIsTranslated) {
    UseLanguage("en", CATALOG_FOLDER);
    for (const FindingKind& kind : FindingKinds()) {
        EXPECT_STRNE(Translate(kind.title), kind.title);
        EXPECT_STRNE(Translate(kind.remedy), kind.remedy);
    }
    for (const OtherRemedy& other : OtherRemedies()) {
        EXPECT_STRNE(Translate(other.remedy), other.remedy);
    }
}
