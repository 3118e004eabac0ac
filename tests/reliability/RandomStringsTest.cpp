// Any text that a person or a driver may bring is stored and comes back the same.

#include "config/Config.h"
#include "tests/reliability/Saves.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>

using reliability::contents;
using Vantor::Config;

namespace {

const std::string kFile = "/etc/vantor/strings/config";
constexpr int kStringsInAFile = 100;

void registerKeys(Config* config) {
    config->Init("strings");
    for (unsigned id = 0; id < kStringsInAFile; ++id) {
        config->AddConfig(id, Vantor::CONFIG_ALLUSERS, "k" + std::to_string(id), "strings", Vantor::SYSTYPE_FIRST);
    }
}

Config* open() {
    Config* config = Config::GetHandle(Config::Register());
    registerKeys(config);
    return config;
}

unsigned draw(std::mt19937& random, unsigned limit) {
    return static_cast<unsigned>(random() % limit);
}

std::string anyBytes(std::mt19937& random) {
    std::string text(random() % 24, '\0');
    for (char& c : text) {
        c = static_cast<char>(random() % 256);
    }
    return text;
}

void appendUtf8(std::string& text, unsigned point) {
    if (point < 0x80) {
        text += static_cast<char>(point);
    } else if (point < 0x800) {
        text += static_cast<char>(0xC0 | point >> 6);
        text += static_cast<char>(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        text += static_cast<char>(0xE0 | point >> 12);
        text += static_cast<char>(0x80 | (point >> 6 & 0x3F));
        text += static_cast<char>(0x80 | (point & 0x3F));
    } else {
        text += static_cast<char>(0xF0 | point >> 18);
        text += static_cast<char>(0x80 | (point >> 12 & 0x3F));
        text += static_cast<char>(0x80 | (point >> 6 & 0x3F));
        text += static_cast<char>(0x80 | (point & 0x3F));
    }
}

/// Characters that XML 1.0 allows (section 2.2, Char), without the carriage return, which XML readers turn into a line
/// feed.
bool isLegalInXml(unsigned point) {
    return point == 0x9 || point == 0xA || (point >= 0x20 && point <= 0xD7FF) || (point >= 0xE000 && point <= 0xFFFD) ||
           (point >= 0x10000 && point <= 0x10FFFF);
}

std::string xmlText(std::mt19937& random) {
    static constexpr unsigned kLimits[] = {0x80, 0x800, 0x10000, 0x110000};
    std::string text;
    for (unsigned length = draw(random, 12); length > 0;) {
        const unsigned point = draw(random, kLimits[draw(random, 4)]);
        if (isLegalInXml(point)) {
            appendUtf8(text, point);
            --length;
        }
    }
    return text;
}

bool holdsNul(const std::string& text) {
    return text.find('\0') != std::string::npos;
}

} // namespace

// A write rewrites the file, so many strings share one: set through one registry, read back by another that loads the
// file.
TEST(RandomStrings, OfAnyBytesComeBackTheSameAndOnlyANulByteIsRefused) {
    std::mt19937 random(1);
    int stored = 0, refused = 0;
    while (stored < 50000) {
        std::filesystem::remove_all("/etc/vantor/strings");
        Config* writer = open();
        std::vector<std::string> expected(kStringsInAFile);
        for (unsigned id = 0; id < kStringsInAFile; ++id) {
            const std::string text = anyBytes(random);
            const bool accepted = writer->SetString(id, text);
            ASSERT_EQ(accepted, !holdsNul(text));
            expected[id] = accepted ? text : "";
            ++(accepted ? stored : refused);
        }
        writer->Destroy();
        Config* reader = open();
        for (unsigned id = 0; id < kStringsInAFile; ++id) {
            std::string text;
            reader->GetString(id, text);
            ASSERT_EQ(text, expected[id]);
        }
        reader->Destroy();
    }
    std::cout << stored << " strings of any bytes identical, " << refused << " with a NUL byte refused\n";
}

TEST(RandomStrings, OfLegalXmlCharactersAreReadTheSameByAnotherParser) {
    std::mt19937 random(2);
    int stored = 0;
    while (stored < 50000) {
        std::filesystem::remove_all("/etc/vantor/strings");
        Config* writer = open();
        std::string expected;
        for (unsigned id = 0; id < kStringsInAFile; ++id, ++stored) {
            const std::string text = xmlText(random);
            ASSERT_TRUE(writer->SetString(id, text));
            expected += "[" + text + "]";
        }
        writer->Destroy();
        // xmllint prints the text of every value between brackets, as another program would read it.
        ASSERT_EQ(std::system(("xmllint --noout " + kFile).c_str()), 0);
        std::string query = "concat(''";
        for (unsigned id = 0; id < kStringsInAFile; ++id) {
            query += ",'[',string(/config/strings/k" + std::to_string(id) + "),']'";
        }
        query += ")";
        ASSERT_EQ(std::system(("xmllint --xpath \"" + query + "\" " + kFile + " >/mnt/texts").c_str()), 0);
        ASSERT_EQ(contents("/mnt/texts"), expected + "\n");
    }
    std::cout << stored << " strings of legal XML characters read the same by xmllint\n";
}
