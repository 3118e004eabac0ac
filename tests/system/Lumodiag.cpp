#include "tests/system/Lumodiag.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <utility>

using nlohmann::json;

std::vector<std::string> DiagReport::findings() const {
    std::vector<std::string> ids;
    for (const json& finding : document.at("findings"))
        ids.push_back(finding.at("id"));
    return ids;
}

const json& DiagReport::finding(const std::string& id) const {
    for (const json& finding : document.at("findings")) {
        if (finding.at("id") == id)
            return finding;
    }
    throw std::runtime_error("no finding " + id + " in\n" + document.dump(2));
}

namespace Lumodiag {

std::vector<std::string> command(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), LUMODIAG_PROGRAM);
    return arguments;
}

std::vector<std::string> commandWithoutRights(std::vector<std::string> arguments) {
    // A root without privileges is kept out by permissions like anybody, and needs no second account.
    std::vector<std::string> whole{"setpriv", "--bounding-set=-all", "--inh-caps=-all", "--"};
    for (auto& part : command(std::move(arguments)))
        whole.push_back(std::move(part));
    return whole;
}

Support::Ending run(std::vector<std::string> arguments) {
    return Support::run(command(std::move(arguments)));
}

DiagReport report(const std::vector<std::string>& withJson) {
    using Clock = std::chrono::steady_clock;
    DiagReport report;
    const auto start = Clock::now();
    report.ending = Support::run(withJson);
    report.took = std::chrono::duration_cast<Support::Milliseconds>(Clock::now() - start);
    report.document = json::parse(report.ending.output, nullptr, false);
    if (report.document.is_discarded())
        throw std::runtime_error("no report (status " + std::to_string(report.ending.status) +
                                 "): " + report.ending.output + report.ending.errors);
    return report;
}

DiagReport reportWithoutRights() {
    return report(commandWithoutRights({"--json"}));
}

void installCatalogs() {
    namespace fs = std::filesystem;
    for (const std::string language : {"de", "en"}) {
        const auto place = language + "/LC_MESSAGES";
        fs::create_directories("/etc/lumoclient/I18N/" + place);
        fs::copy_file(std::string(LUMOADMIN_CATALOGUES) + "/" + place + "/LumoClient.mo",
                      "/etc/lumoclient/I18N/" + place + "/LumoClient.mo", fs::copy_options::overwrite_existing);
    }
}

} // namespace Lumodiag
