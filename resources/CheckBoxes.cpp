#include "resources/Designs.h"
#include "resources/Palette.h"
#include "resources/Writers.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace Pictures {

namespace {

constexpr std::size_t Side = 16;
constexpr std::uint32_t Black = 0x000000, Grey = 0x808080, LightGrey = 0xc0c0c0, White = 0xffffff;

using Greys = std::vector<std::uint32_t>;

Path Box() {
    return Path::RoundedRectangle({1.5, 1.5}, 13, 13, 2.2);
}

/// The paper, shaded below the upper edge.
Drawing EmptyBox(std::uint32_t paper, std::uint32_t shade) {
    return {{Box(), Paint::Solid(Rgb(paper))},
            {Path::RoundedRectangle({2, 2}, 12, 1, 0.1), Paint::Solid(Rgb(shade))},
            {Box(), Paint::Solid(Rgb(Black)), 1}};
}

Layer Tick(std::uint32_t ink) {
    Path tick;
    tick.Move({4.6, 8.3}).Line({7, 10.9}).Line({11.4, 5.1});
    return {tick, Paint::Solid(Rgb(ink)), 2.1};
}

std::uint32_t Nearest(const Greys& greys, std::uint8_t value) {
    std::uint32_t nearest = greys.front();
    for (const auto grey : greys) {
        const auto distance = [value](std::uint32_t g) { return std::abs(static_cast<int>(g & 0xff) - value); };
        if (distance(grey) < distance(nearest))
            nearest = grey;
    }
    return nearest;
}

Image Finished(const Drawing& drawing, const Greys& greys) {
    Canvas canvas(Side, Side);
    canvas.Draw(drawing);
    Image image = canvas.Pixels();
    for (Pixel& pixel : image.pixels) {
        // Where the rounded corner covers a pixel in part, a lighter frame stands for it.
        const int lightened = pixel.red + (255 - pixel.alpha);
        pixel = pixel.alpha < 64
                    ? Pixel{}
                    : Pixel::Unpacked(0xff000000 | Nearest(greys, static_cast<std::uint8_t>(std::min(lightened, 255))));
    }
    return image;
}

std::string Constant(const char* name, const Drawing& drawing, const Greys& greys) {
    return "\n" + ToXpm("static const char* const " + std::string(name) + "[]", Finished(drawing, greys), "    ");
}

} // namespace

std::string CheckBoxHeader() {
    const Greys normal = {Black, Grey, LightGrey, White};
    const Greys disabled = {Black, Grey, LightGrey};
    const Drawing empty = EmptyBox(White, LightGrey);
    const Drawing emptyDisabled = EmptyBox(LightGrey, Grey);
    Drawing ticked = empty, tickedDisabled = emptyDisabled;
    ticked.push_back(Tick(Black));
    tickedDisabled.push_back(Tick(Grey));
    return "// The check boxes of the reader list: empty and ticked, normal and greyed. Drawn by resources/draw.cpp.\n"
           "#pragma once\n\nnamespace Vantor {\n\n// clang-format off\n" +
           Constant("uncheckedXpm", empty, normal) + Constant("checkedXpm", ticked, normal) +
           Constant("uncheckedDisXpm", emptyDisabled, disabled) + Constant("checkedDisXpm", tickedDisabled, disabled) +
           "\n// clang-format on\n\n} // namespace Vantor\n";
}

} // namespace Pictures
