#include "resources/Designs.h"
#include "resources/Palette.h"

namespace Pictures {

namespace {

constexpr std::size_t Side = 32;
constexpr std::size_t Colours = 265;
constexpr Point Centre{16, 16};

/// A green ball with a darker rim, lit from the upper left.
Drawing Ball() {
    return {{Path::Circle(Centre, 15.2), Paint::Linear({8, 1}, {24, 31}, {{0, Rgb(0x2f9a3c)}, {1, Rgb(0x0b5a1f)}})},
            {Path::Circle(Centre, 13.9),
             Paint::Radial({12, 9}, 23, {{0, Rgb(0x8be07a)}, {0.45, Rgb(0x3fbb4c)}, {1, Rgb(0x12803a)}})},
            {Path::Circle({16, 10.4}, 10.2),
             Paint::Linear({16, 1}, {16, 19}, {{0, Rgb(0xffffff, 0.42)}, {1, Rgb(0xffffff, 0)}})}};
}

Drawing WithSign(const Path& sign, double stroke) {
    Drawing drawing = Ball();
    const Path shadow = sign.Placed(Transform::Shift(0.4, 1));
    drawing.push_back({shadow, Paint::Solid(Rgb(0x053c14, 0.5)), stroke, 1});
    const Paint white = Paint::Linear({16, 8}, {16, 25}, {{0, Rgb(0xffffff)}, {1, Rgb(0xe2f7e2)}});
    drawing.push_back({sign, white, stroke});
    return drawing;
}

Image Finished(const Drawing& drawing) {
    Canvas canvas(Side, Side);
    canvas.Draw(drawing);
    Image image = canvas.Pixels();
    RemoveTranslucency(image);
    MergeColours(image, Colours);
    return image;
}

} // namespace

Image StatusInstalled() {
    Path tick;
    tick.Move({9.2, 16.6}).Line({14, 21.4}).Line({22.8, 11.2});
    return Finished(WithSign(tick, 3.6));
}

Image StatusStarted() {
    Path triangle;
    triangle.Move({12.6, 9.6}).Line({23, 16}).Line({12.6, 22.4}).Close();
    Drawing drawing = WithSign(triangle, 1.8);
    drawing.push_back({triangle, drawing.back().paint});
    return Finished(drawing);
}

} // namespace Pictures
