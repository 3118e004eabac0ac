#include "diag/Options.h"

#include "diag/tell/Language.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Diag;
using testing::HasSubstr;

namespace {

struct Outcome {
    bool understood = false;
    Options options;
    std::string errors;
};

Outcome Read(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "lumodiag");
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    UseLanguage("en", CATALOG_FOLDER);
    Outcome outcome;
    testing::internal::CaptureStderr();
    const auto complaint = ReadOptions(static_cast<int>(arguments.size()), pointers.data(), outcome.options);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "the C library has its own language";
    outcome.understood = !complaint;
    outcome.errors = complaint ? Fill(Translate(complaint->text), complaint->values) : "";
    return outcome;
}

} // namespace

TEST(OptionsTest, WithoutArgumentsNothingIsSet) {
    const Outcome outcome = Read({});
    EXPECT_TRUE(outcome.understood);
    EXPECT_FALSE(outcome.options.json || outcome.options.watch || outcome.options.redact || outcome.options.help ||
                 outcome.options.version);
    EXPECT_EQ(outcome.options.logFile + outcome.options.language, "");
}

TEST(OptionsTest, LongAndShortFormsAreTheSame) {
    for (const auto& arguments : {std::vector<std::string>{"--json", "--redact", "--watch", "--log", "x.log"},
                                  {"-j", "-r", "-w", "-l", "x.log"},
                                  {"-jrwlx.log"},
                                  {"--js", "--red", "--wat", "--log=x.log"}}) {
        const Outcome outcome = Read(arguments);
        EXPECT_TRUE(outcome.understood) << arguments.front();
        EXPECT_TRUE(outcome.options.json && outcome.options.redact && outcome.options.watch) << arguments.front();
        EXPECT_EQ(outcome.options.logFile, "x.log") << arguments.front();
    }
}

TEST(OptionsTest, HelpAndVersionAreOptions) {
    EXPECT_TRUE(Read({"--help"}).options.help);
    EXPECT_TRUE(Read({"-h"}).options.help);
    EXPECT_TRUE(Read({"--version"}).options.version);
    EXPECT_TRUE(Read({"-V"}).options.version);
}

TEST(OptionsTest, LanguagesThatThereAreAreTaken) {
    EXPECT_EQ(Read({"--lang", "de"}).options.language, "de");
    EXPECT_EQ(Read({"--lang=en"}).options.language, "en");
}

TEST(OptionsTest, UnknownLanguageIsACallingError) {
    const Outcome outcome = Read({"--lang", "tlh"});
    EXPECT_FALSE(outcome.understood);
    EXPECT_THAT(outcome.errors, HasSubstr("no texts in the language 'tlh', only in: de, en"));
}

TEST(OptionsTest, WhatIsNotUnderstoodIsNamed) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> wrong = {
        {{"--colour"}, "unknown option '--colour'"},
        {{"report.txt", "--colour=red"}, "unknown option '--colour'"},
        {{"--Json"}, "unknown option '--Json'"},
        {{"---"}, "unknown option '---'"},
        {{"-x"}, "unknown option '-x'"},
        {{"-jxr", "--redact"}, "unknown option '-x'"},
        {{"-j="}, "unknown option '-='"},
        {{"-\x1B"}, "unknown option '-\x1B'"},
        {{"--l=x"}, "ambiguous option '--l': --log, --lang"},
        {{"--json=yes"}, "option '--json' takes no value"},
        {{"--js=yes", "x"}, "option '--js' takes no value"},
        {{"--log"}, "option '--log' needs a value"},
        {{"x", "-jl"}, "option '-l' needs a value"},
        {{"--json", "--lan"}, "option '--lan' needs a value"},
        {{"report.txt"}, "unexpected argument 'report.txt'"},
        {{"--json", "--", "--redact"}, "unexpected argument '--redact'"},
        {{"-"}, "unexpected argument '-'"},
        {{"--log="}, "the name of the log file is empty"},
    };
    for (const auto& [arguments, text] : wrong) {
        const Outcome outcome = Read(arguments);
        EXPECT_FALSE(outcome.understood) << text;
        EXPECT_EQ(outcome.errors, text);
    }
}

TEST(OptionsTest, WhatCameBeforeAnErrorCounts) {
    EXPECT_EQ(Read({"--lang=de", "--colour"}).options.language, "de");
}

TEST(OptionsTest, ASecondCommandLineIsReadFromItsBeginning) {
    Read({"--json", "x"});
    EXPECT_TRUE(Read({"--redact"}).options.redact);
}

TEST(OptionsTest, HelpNamesEveryOptionInBothLanguages) {
    for (const char* const language : {"de", "en"}) {
        UseLanguage(language, CATALOG_FOLDER);
        for (const char* const option : {"--json", "--redact", "--log", "--watch", "--lang", "--help", "--version"}) {
            EXPECT_THAT(HelpText(), HasSubstr(option)) << language;
        }
    }
    EXPECT_THAT(HelpText(), HasSubstr("Usage:"));
    EXPECT_THAT(HelpText(), HasSubstr("language: de, en"));
}
