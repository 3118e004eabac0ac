// The banner of the window, decoded when the program is built.
#pragma once

constexpr int LogoWidth = 769;
constexpr int LogoHeight = 170;

/// The pixels of resources/logo.xpm: red, green and blue of each, a byte each; rows from the top, without padding. They
/// live as long as the program.
const unsigned char* LogoPixels();
