// XPM files inside the program.
#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The strings of an XPM file: what stands between its quotes, in order. XPM knows no escapes inside of them.
class XpmFile {
public:
    /// @param text  the file's content; it is copied
    explicit XpmFile(std::string_view text);
    XpmFile(const XpmFile&) = delete;
    XpmFile& operator=(const XpmFile&) = delete;

    /// Zero-terminated strings, as the array in the file would hold them. They live as long as this object.
    [[nodiscard]] const std::vector<const char*>& Rows() const { return rows; }

private:
    std::string content;
    std::vector<const char*> rows;
};

/// The content of resources/logo.xpm.
std::string_view LogoXpmText();
