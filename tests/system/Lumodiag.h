// The built lumodiag, run as a person or a script would, with its report taken apart.
#pragma once

#include "tests/support/Process.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

/// One run of lumodiag --json to its end.
struct DiagReport {
    Support::Ending ending;
    Support::Milliseconds took{0};
    nlohmann::json document;

    /// What it found, in its order.
    [[nodiscard]] std::vector<std::string> findings() const;
    /// The finding with this id; throws std::runtime_error if there is none.
    [[nodiscard]] const nlohmann::json& finding(const std::string& id) const;
    [[nodiscard]] const nlohmann::json& reader(std::size_t number) const { return document.at("readers").at(number); }
    [[nodiscard]] const nlohmann::json& machineFile() const { return document.at("configuration").at("machine"); }
};

namespace Lumodiag {

/// The command, for tests that steer the program themselves.
[[nodiscard]] std::vector<std::string> command(std::vector<std::string> arguments = {});
/// The same for somebody without rights: whatever the test runs as, file permissions count.
[[nodiscard]] std::vector<std::string> commandWithoutRights(std::vector<std::string> arguments = {});

[[nodiscard]] Support::Ending run(std::vector<std::string> arguments = {});

/// Throws std::runtime_error if what it prints is no JSON.
[[nodiscard]] DiagReport report(const std::vector<std::string>& withJson = command({"--json"}));
[[nodiscard]] DiagReport reportWithoutRights();

/// Puts the built message catalogues where the program looks for them.
void installCatalogs();

} // namespace Lumodiag
