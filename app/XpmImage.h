// The program's pictures as the toolkit's images.
#pragma once

#include <wx/image.h>

/// Decodes a picture in the XPM format, as `DecodeXpm`.
/// @param rows  the picture's strings; each is zero-terminated, and there are as many as the first one says
/// @return an image without mask, with an alpha channel if a colour is transparent; an invalid image (`IsOk` false)
///         when the strings are not such a picture
[[nodiscard]] wxImage ImageFromXpm(const char* const* rows);

/// The banner of the window. It borrows its pixels from the program's constants: they are not to be written to.
[[nodiscard]] wxImage LogoImage();
