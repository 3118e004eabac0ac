// What the tests of lumodiag share: their names for things, where its files are, and what is written there.
#pragma once

#include "tests/support/Pcscd.h"
#include "tests/support/SimulatedReader.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/Lumodiag.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

using nlohmann::json;
using Support::SimulatedReader;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace Pcscd = Support::Pcscd;
namespace fs = std::filesystem;

constexpr auto kFolder = "/etc/vantor/lumoclient";
constexpr auto kFile = "/etc/vantor/lumoclient/config";
constexpr auto kClientLogs = "/mnt/home/.vantor/lumo Client/Trace";
constexpr auto kMiniDriverLogs = "/etc/vantor/LumoMiniDriver/Log";

/// The configuration's element for any PC/SC reader.
constexpr auto kAnyReader = "    <Reader0>\n      <Reader>PCSC Reader</Reader>\n      <ReaderName>*</ReaderName>\n"
                            "    </Reader0>\n";

/// Writes the machine's configuration file.
inline void store(const std::string& text) {
    fs::create_directories(kFolder);
    test::WriteText(kFile, text);
}

/// A configuration with these elements for the client and, behind them, for others.
inline std::string document(const std::string& client, const std::string& rest = "") {
    return "<config>\n  <lumo_Client>\n" + client + "  </lumo_Client>\n" + rest + "</config>\n";
}

/// The service's name of the simulated reader with this number, counted from 0, up to 99.
inline std::string nameOf(int number) {
    constexpr char digits[] = "0123456789ABCDEF";
    const auto place = std::string{digits[number / 16], digits[number % 16]};
    return "Vantor Simulated Reader " + std::to_string(number + 1) + " " + place + " 00";
}
