// A locale whose letters are not those of C: in Turkish ISO-8859-9 the upper case of "i" is a dotted capital I (0xDD).
#pragma once

#include <cctype>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

/// Tests that run with that locale set for the whole process. It is made on the spot, for no machine has it installed.
class TurkishLocale : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "locale.XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder = pattern;
        const std::string make = "localedef -i tr_TR -f ISO-8859-9 '" + (folder / "tr_TR").string() + "'";
        ASSERT_EQ(std::system(make.c_str()), 0) << "the package \"locales\" is needed";
        ASSERT_EQ(setenv("LOCPATH", folder.c_str(), 1), 0);
        ASSERT_NE(std::setlocale(LC_ALL, "tr_TR"), nullptr);
        ASSERT_EQ(std::toupper('i'), 0xDD) << "the locale is not in force";
        ASSERT_NE(std::isalpha(0xFC), 0);
    }

    void TearDown() override {
        std::setlocale(LC_ALL, "C");
        if (!folder.empty())
            std::filesystem::remove_all(folder);
    }

private:
    std::filesystem::path folder;
};
