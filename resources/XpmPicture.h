// XPM pictures as pixels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

/// Rows from the top, without padding.
struct XpmPicture {
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<std::uint8_t> rgb;   ///< red, green, blue of each pixel
    std::vector<std::uint8_t> alpha; ///< 0 or 255 for each pixel; empty when no colour is transparent
};

/// Decodes a picture in the XPM 3 format whose colours are written "c #RRGGBB" or "c None" (transparent), with one to
/// four characters a pixel. The keys of a picture may use so many characters that four million are possible.
/// @param rows  the picture's strings; each is zero-terminated, and there are as many as the first one says
/// @return nothing when the strings are not such a picture
[[nodiscard]] std::optional<XpmPicture> DecodeXpm(const char* const* rows);

/// The same for the content of an XPM file. One that ends too early gives nothing, too.
[[nodiscard]] std::optional<XpmPicture> DecodeXpm(std::string_view file);
