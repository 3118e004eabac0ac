// Start-up with every kind of broken file: no crash, bounded memory, and the next save keeps what was there.

#include "config/Config.h"
#include "tests/reliability/Saves.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <sys/resource.h>

using reliability::contents;
using Vantor::Config;

// The sanitizer keeps freed memory for a while; that is not memory that the program uses.
extern "C" const char* __asan_default_options();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __asan_default_options() { // NOLINT(bugprone-reserved-identifier)
    return "quarantine_size_mb=4";
}

namespace {

const std::string kFolder = "/etc/vantor/damaged";
const std::string kFile = kFolder + "/config";
constexpr unsigned kId = 1;

void put(const std::string& text) {
    std::filesystem::remove_all(kFolder);
    std::filesystem::create_directories(kFolder);
    std::ofstream(kFile, std::ios::binary) << text;
}

Config* open() {
    Config* config = Config::GetHandle(Config::Register());
    config->Init("damaged");
    config->AddConfig(kId, Vantor::CONFIG_ALLUSERS, "Version", "lumo Client", Vantor::SYSTYPE_FIRST);
    return config;
}

/// A file with four readers, as the window saves it.
std::string realFile() {
    put("");
    std::filesystem::remove(kFile);
    Config* config = open();
    config->SetString(kId, "2.0 \xC3\xA4 & <b>");
    for (const char* reader : {"Reader0", "Reader1", "Reader2", "Reader3"}) {
        for (const char* key : {"IsSecure", "Reader", "ReaderName", "UseGUI", "UseBeep", "UserMessage"}) {
            config->AddConfig(kId + 1, Vantor::CONFIG_ALLUSERS, key, std::string("lumo Client\\") + reader,
                              Vantor::SYSTYPE_FIRST);
            config->SetString(kId + 1, "PCSC Reader");
        }
    }
    config->Destroy();
    return contents(kFile);
}

/// Starts on the text and reads; a crash ends the test.
void startOn(const std::string& text) {
    put(text);
    Config* config = open();
    std::string value;
    long number = 0;
    config->GetString(kId, value);
    config->GetInteger(kId, number);
    config->EnumSubDirs(kId, "Reader");
    config->Destroy();
}

std::string damage(std::string text, std::mt19937& random) {
    const auto position = [&] { return random() % text.size(); };
    for (unsigned count = 1 + random() % 4; count > 0; --count) {
        switch (random() % 5) {
        case 0:
            text[position()] = static_cast<char>(random());
            break;
        case 1:
            text.erase(position(), 1 + random() % 40);
            break;
        case 2:
            text.insert(position(), text.substr(position(), random() % 200));
            break;
        case 3:
            text.insert(position(), 1, "<>&\"'/!?\0-]"[random() % 11]);
            break;
        default:
            text.insert(position(), std::string(random() % 3000, "<a>"[random() % 3]));
        }
        if (text.empty()) {
            break;
        }
    }
    return text;
}

long mebibytesAtMost() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

} // namespace

TEST(Damage, EveryPrefixOfARealFileIsSurvived) {
    const std::string text = realFile();
    for (std::size_t length = 0; length <= text.size(); ++length) {
        startOn(text.substr(0, length));
    }
    std::cout << text.size() + 1 << " prefixes, " << mebibytesAtMost() << " MiB at most\n";
    EXPECT_LT(mebibytesAtMost(), 150);
}

TEST(Damage, TenThousandDamagedFilesAreSurvived) {
    const std::string text = realFile();
    std::mt19937 random(20260301);
    for (int i = 0; i < 10000; ++i) {
        startOn(damage(text, random));
    }
    std::cout << "10000 damages, " << mebibytesAtMost() << " MiB at most\n";
    EXPECT_LT(mebibytesAtMost(), 150);
}

TEST(Damage, AFileNestedAMillionDeepIsSurvived) {
    std::string text = "<config>";
    for (int i = 0; i < 1000000; ++i) {
        text += "<a>";
    }
    startOn(text);
    EXPECT_LT(mebibytesAtMost(), 150);
}

TEST(Damage, WhatCouldNotBeReadIsStillThereAfterTheNextSave) {
    const std::string text = realFile();
    const std::string torn = text.substr(0, text.size() / 2);
    put(torn);
    Config* config = open();
    ASSERT_TRUE(config->SetString(kId, "new"));
    EXPECT_EQ(contents(kFolder + "/config.unreadable"), torn);
    EXPECT_NE(contents(kFile).find("<Version>new</Version>"), std::string::npos);
    config->Destroy();
}
