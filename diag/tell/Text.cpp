#include "diag/tell/Text.h"

#include "diag/record/Mark.h"
#include "diag/tell/Language.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>

namespace Diag {

namespace {

constexpr struct {
    ServiceState state;
    const char* name;
    const char* text;
} States[] = {
    {ServiceState::Fine, "fine", Mark("in Ordnung")},
    {ServiceState::NotInstalled, "not-installed", Mark("nicht installiert")},
    {ServiceState::NotRunning, "not-running", Mark("installiert, läuft nicht")},
    {ServiceState::NotReachable, "not-reachable", Mark("nicht erreichbar, der Socket fehlt")},
    {ServiceState::NoPermission, "no-permission", Mark("verweigert durch die Rechte am Socket")},
    {ServiceState::Refused, "refused", Mark("verweigert vom Dienst")},
    {ServiceState::ProtocolMismatch, "protocol-mismatch", Mark("anderes Protokoll als die Bibliothek")},
    {ServiceState::NotAnswering, "not-answering", Mark("antwortet nicht")},
    {ServiceState::NotAsked, "not-asked", Mark("nicht gefragt")},
    {ServiceState::Failed, "failed", Mark("Fehler")},
};

const auto& RowOf(ServiceState state) {
    return *std::find_if(std::begin(States), std::end(States), [state](const auto& row) { return row.state == state; });
}

struct tm LocalTime(std::int64_t seconds) {
    struct tm parts = {};
    const auto time = static_cast<std::time_t>(seconds);
    tzset(); // localtime_r does not look at TZ itself
    localtime_r(&time, &parts);
    return parts;
}

} // namespace

std::size_t Columns(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80; }));
}

std::string SizeText(std::int64_t bytes) {
    constexpr const char* units[] = {"B", "KiB", "MiB", "GiB", "TiB"};
    auto value = static_cast<double>(bytes);
    std::size_t unit = 0;
    while (value >= 1024 && unit + 1 < std::size(units)) {
        value /= 1024;
        ++unit;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", value, units[unit]);
    return text.data();
}

std::string AgeText(std::int64_t seconds) {
    struct Unit {
        const char* name;
        std::int64_t seconds;
    };
    constexpr Unit units[] = {{"d", 86400}, {"h", 3600}, {"min", 60}};
    for (const Unit& unit : units) {
        if (seconds >= 2 * unit.seconds) {
            return std::to_string(seconds / unit.seconds) + " " + unit.name;
        }
    }
    return std::to_string(std::max<std::int64_t>(seconds, 0)) + " s";
}

std::string TimeText(std::int64_t seconds) {
    const struct tm parts = LocalTime(seconds);
    std::array<char, 40> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &parts);
    std::string time = text.data();
    return time.size() < 2 ? time : time.insert(time.size() - 2, ":");
}

std::string ModeText(unsigned mode) {
    std::string text = "rwxrwxrwx";
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((mode & (0400U >> i)) == 0) {
            text[i] = '-';
        }
    }
    return text;
}

std::string ErrorText(int number) {
    const char* const text = number == 0 ? "" : strerrordesc_np(number);
    return text == nullptr ? std::to_string(number) : text;
}

std::string ErrorText(const SystemError& error) {
    return error.number == 0 ? std::string() : error.call + ": " + ErrorText(error.number);
}

const char* StateName(ServiceState state) {
    return RowOf(state).name;
}

const char* StateText(ServiceState state) {
    return RowOf(state).text;
}

std::string UsbName(const UsbReader& device) {
    std::string name = device.vendorId + ":" + device.productId;
    for (const std::string& part : {device.manufacturer, device.product}) {
        name += part.empty() ? "" : " " + part;
    }
    return name;
}

std::string ProblemText(const FileProblem& problem) {
    std::vector<std::string> parts;
    if (problem.line != 0) {
        parts.push_back(Fill(Translate("Zeile %s"), {std::to_string(problem.line)}));
    }
    if (!problem.path.empty()) {
        parts.push_back(problem.path);
    }
    parts.emplace_back(Translate(problem.text.c_str()));
    return Join(parts, ": ");
}

std::string Join(const std::vector<std::string>& parts, std::string_view separator) {
    std::string joined;
    for (const std::string& part : parts) {
        joined += joined.empty() ? "" : separator;
        joined += part;
    }
    return joined;
}

} // namespace Diag
