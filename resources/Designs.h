// The pictures of the program.
#pragma once

#include "resources/Canvas.h"
#include "resources/Shapes.h"

#include <cstddef>
#include <string>

namespace Pictures {

/// The banner at the top of the window: 769 x 170 with 36,758 colours.
Image Logo();

/// The program's icon on a square of `IconSide`; `detailed` leaves out what would blur below about 32 pixels when
/// false.
Drawing Icon(bool detailed);
constexpr int IconSide = 64;

/// The icon as the window shows it: 32 x 32 with 29 colours, transparent included.
Image WindowIcon();

/// The icon at any size, with soft edges.
Image IconOfSize(std::size_t side);

/// A tick on a green disc, and a running sign: 32 x 32 with 265 colours, transparent included.
Image StatusInstalled();
Image StatusStarted();

/// The header with the four check-box pictures.
std::string CheckBoxHeader();

} // namespace Pictures
