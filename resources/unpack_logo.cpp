// Decodes the banner when the program is built, so that no start has to: unpack_logo XPM-FILE PIXEL-FILE
#include "resources/LogoPixels.h"
#include "resources/XpmPicture.h"

#include <fstream>
#include <iostream>
#include <sstream>
#include <vector>

namespace {

bool IsLogo(const XpmPicture& picture) {
    return picture.width == LogoWidth && picture.height == LogoHeight && picture.alpha.empty();
}

bool Write(const char* path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    return file.good();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: unpack_logo XPM-FILE PIXEL-FILE\n";
        return 64;
    }
    std::ostringstream text;
    text << std::ifstream(argv[1], std::ios::binary).rdbuf();
    const auto picture = DecodeXpm(text.str());
    if (!picture || !IsLogo(*picture)) {
        std::cerr << "unpack_logo: " << argv[1] << " is no opaque XPM picture of the banner's size\n";
        return 1;
    }
    if (!Write(argv[2], picture->rgb)) {
        std::cerr << "unpack_logo: cannot write " << argv[2] << "\n";
        return 1;
    }
    return 0;
}
