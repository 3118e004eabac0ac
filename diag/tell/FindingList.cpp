#include "diag/tell/FindingList.h"

#include <algorithm>
#include <stdexcept>

namespace Diag {

namespace {

const FindingKind& Kind(const std::string& id) {
    const auto& kinds = FindingKinds();
    const auto found = std::find_if(kinds.begin(), kinds.end(), [&](const FindingKind& kind) { return kind.id == id; });
    if (found == kinds.end()) {
        throw std::logic_error(id);
    }
    return *found;
}

std::vector<std::string> Commands(const char* lines, const std::string& parameter) {
    std::vector<std::string> commands;
    std::string line;
    for (const char* c = lines; *c != '\0'; ++c) {
        if (*c == '\n') {
            commands.push_back(line);
            line.clear();
        } else if (c[0] == '%' && c[1] == 's') {
            line += parameter;
            ++c;
        } else {
            line += *c;
        }
    }
    if (!line.empty()) {
        commands.push_back(line);
    }
    return commands;
}

/// What stands in a command that somebody types as root: nothing that a shell could take for more than a word.
std::string AsWord(const std::string& parameter) {
    constexpr char Harmless[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";
    return parameter.find_first_not_of(Harmless) == std::string::npos ? parameter : "DRIVER";
}

} // namespace

void FindingList::Add(const std::string& id, const std::string& subject, const std::string& detail,
                      const std::string& parameter) {
    const FindingKind& kind = Kind(id);
    findings.push_back({&kind, subject, {}, Commands(kind.commands, AsWord(parameter)), kind.remedy});
    if (!detail.empty()) {
        findings.back().details.push_back(detail);
    }
}

void FindingList::AddWithDetails(const std::string& id, const std::string& subject,
                                 const std::vector<std::string>& details) {
    if (!details.empty()) {
        Add(id, subject);
        findings.back().details = details;
    }
}

void FindingList::UseOtherRemedy(const std::string& cause) {
    Finding& finding = findings.back();
    for (const OtherRemedy& other : OtherRemedies()) {
        if (finding.kind->id == std::string(other.id) && other.cause == cause) {
            finding.remedy = other.remedy;
            finding.commands = Commands(other.commands, {});
        }
    }
}

} // namespace Diag
