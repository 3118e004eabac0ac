// Answers by request: the files "attributes", "controls", "apdus" and the like of a simulated reader.
#pragma once

#include "tests/simreader/Answer.h"

#include <string>
#include <string_view>
#include <vector>

namespace SimReader {

/// Reads a whole file of lines "PATTERN -> ANSWER". Empty lines and lines that begin with "#" count for nothing.
/// A pattern is hexadecimal digits (blanks between them count for nothing), "?" for any one digit and "*" at its end
/// for any digits that follow. Lines with the same pattern are used one after another, request by request; the last
/// repeats.
class Rules {
public:
    /// Takes a file's present content; the places in the sequences are kept while it stays the same.
    /// @param version  changes whenever the file was written, even with the same text; the sequences then begin anew
    void update(const std::string& content, const std::string& version);

    /// The next answer of the first pattern that matches.
    /// @param request  upper-case hexadecimal digits
    /// @return nothing if no pattern matches
    [[nodiscard]] std::optional<Answer> answer(std::string_view request);

    /// Lines that were not understood, in their order; they match no request.
    [[nodiscard]] const std::vector<std::string>& badLines() const { return badLines_; }

private:
    struct Group {
        std::string pattern;
        std::vector<Answer> answers;
        std::size_t next = 0;
    };

    void addLine(std::string_view line);

    std::string content_;
    std::string version_;
    std::vector<Group> groups_;
    std::vector<std::string> badLines_;
};

/// @return whether the digits of a request fit a pattern of Rules
[[nodiscard]] bool matches(std::string_view pattern, std::string_view request);

/// Gives one entry a call, in order, from a file that may grow meanwhile: the keys that somebody presses.
class KeyPresses {
public:
    /// Takes the file's present content; what was appended is added, anything else replaces what is left.
    /// @return false if a word of it is not understood; no key is left then
    [[nodiscard]] bool update(const std::string& content, const std::string& version);

    /// The bytes of the next key; none when no key is left.
    [[nodiscard]] Bytes next();

private:
    std::string content_;
    std::string version_;
    std::vector<Bytes> keys_;
    std::size_t next_ = 0;
};

} // namespace SimReader
