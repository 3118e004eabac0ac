// The file formats of the pictures.
#pragma once

#include "resources/Canvas.h"
#include "resources/Shapes.h"

#include <string>

namespace Pictures {

/// The C array of an XPM 3 image: `declaration` followed by the initialiser. Keys have as few characters as 64 letters
/// allow; the colours' keys count up from 000 in the order of the table. Transparent is "None".
/// `indentation` stands before each string.
std::string ToXpm(const std::string& declaration, const Image& image, const std::string& indentation = "");

/// A Scalable Vector Graphics file of a square drawing with the given side. Softened layers have no counterpart there.
std::string ToSvg(const Drawing& drawing, int side, const std::string& title);

/// A Portable Network Graphics file, 8 bits for each of red, green, blue and alpha.
std::string ToPng(const Image& image);

} // namespace Pictures
