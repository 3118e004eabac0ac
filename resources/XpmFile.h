// The strings of XPM files.
#pragma once

#include <optional>
#include <string_view>

/// The strings of an XPM file one after the other: what stands between its quotes. XPM knows no escapes inside of them.
/// A copy goes on from the same place by itself.
class XpmFile {
public:
    /// @param text  the file's content, not copied
    explicit XpmFile(std::string_view text) : rest(text) {}

    /// The next string, a part of the text; nothing after the last one.
    [[nodiscard]] std::optional<std::string_view> Next();

private:
    std::string_view rest;
};
