#include "tests/simreader/Rules.h"

#include <algorithm>
#include <sstream>

namespace SimReader {

namespace {

constexpr std::string_view kArrow = "->";

// A pattern as it is compared: upper case, no blanks. Empty if it holds a character that no pattern may have.
std::string normalisedPattern(std::string_view text) {
    constexpr std::string_view allowed = "0123456789ABCDEF?*";
    std::string pattern;
    for (char c : text) {
        if (c == ' ' || c == '\t')
            continue;
        if (c >= 'a' && c <= 'f')
            c = static_cast<char>(c - 'a' + 'A');
        if (allowed.find(c) == std::string_view::npos)
            return {};
        pattern += c;
    }
    return pattern.find('*') < pattern.size() - 1 ? std::string{} : pattern;
}

} // namespace

bool matches(std::string_view pattern, std::string_view request) {
    const bool open = !pattern.empty() && pattern.back() == '*';
    if (open)
        pattern.remove_suffix(1);
    if (open ? request.size() < pattern.size() : request.size() != pattern.size())
        return false;
    return std::equal(pattern.begin(), pattern.end(), request.begin(),
                      [](char wanted, char digit) { return wanted == '?' || wanted == digit; });
}

void Rules::update(const std::string& content, const std::string& version) {
    if (content == content_ && version == version_)
        return;
    content_ = content;
    version_ = version;
    groups_.clear();
    badLines_.clear();
    std::istringstream lines(content);
    for (std::string line; std::getline(lines, line);)
        addLine(line);
}

void Rules::addLine(std::string_view line) {
    const auto start = trimmed(line);
    if (start.empty() || start.front() == '#')
        return;
    const auto arrow = line.find(kArrow);
    const auto pattern = normalisedPattern(trimmed(line.substr(0, arrow)));
    const auto answer =
        arrow == std::string_view::npos ? std::nullopt : parseAnswer(line.substr(arrow + kArrow.size()));
    if (pattern.empty() || !answer) {
        badLines_.emplace_back(line);
        return;
    }
    auto group =
        std::find_if(groups_.begin(), groups_.end(), [&](const Group& known) { return known.pattern == pattern; });
    if (group == groups_.end())
        group = groups_.insert(group, Group{pattern, {}, 0});
    group->answers.push_back(*answer);
}

std::optional<Answer> Rules::answer(std::string_view request) {
    for (auto& group : groups_) {
        if (!matches(group.pattern, request))
            continue;
        const auto place = group.next;
        group.next = std::min(group.next + 1, group.answers.size() - 1);
        return group.answers[place];
    }
    return std::nullopt;
}

bool KeyPresses::update(const std::string& content, const std::string& version) {
    if (content == content_ && version == version_)
        return true;
    const bool grown = content.size() > content_.size() && content.compare(0, content_.size(), content_) == 0;
    content_ = content;
    version_ = version;
    const auto keys = parseKeys(content);
    keys_ = keys.value_or(std::vector<Bytes>{});
    if (!grown)
        next_ = 0;
    return keys.has_value();
}

Bytes KeyPresses::next() {
    return next_ < keys_.size() ? keys_[next_++] : Bytes{};
}

} // namespace SimReader
