#include "resources/LogoPixels.h"

// Defined in LogoPixels.S.
extern "C" const unsigned char lumo_logo_pixels[];

const unsigned char* LogoPixels() {
    return lumo_logo_pixels;
}
