#include "resources/Designs.h"
#include "resources/Palette.h"

namespace Pictures {

namespace {

constexpr std::size_t WindowIconColours = 29;
constexpr std::size_t SmallestDetailed = 48;

/// Small icons fill their square, so that no edge falls between two pixels.
Path Square(bool detailed) {
    return detailed ? Path::RoundedRectangle({2, 2}, 60, 60, 14) : Path::RoundedRectangle({0, 0}, 64, 64, 13);
}

Drawing Ground(bool detailed) {
    const Paint night =
        Paint::Linear({8, 2}, {56, 62}, {{0, Rgb(0x0c2c48)}, {0.55, Rgb(0x0d5170)}, {1, Rgb(0x128a8a)}});
    const Paint glow = Paint::Radial(
        {45, 20}, 30,
        {{0, Rgb(0xffc864, 0.7)}, {0.35, Rgb(0xffb545, 0.4)}, {0.7, Rgb(0xffb545, 0.1)}, {1, Rgb(0xffb545, 0)}});
    Drawing ground = {{Square(detailed), night}};
    if (detailed)
        ground.push_back({Square(detailed), glow});
    return ground;
}

Drawing RingOfLight(bool detailed) {
    const Paint gold =
        Paint::Linear({36, 9}, {53, 30}, {{0, Rgb(0xfff6d6)}, {0.45, Rgb(0xffd873)}, {1, Rgb(0xffa31f)}});
    return {{Path::Circle({45, 20}, 8), Paint::Solid(Rgb(0x0d3a56, 0.8))},
            {Path::Circle({45, 20}, 9), gold, detailed ? 5.2 : 6}};
}

Drawing Card() {
    return {{Path::RoundedRectangle({8, 27.5}, 45, 28, 5), Paint::Solid(Rgb(0x04182a, 0.38))},
            {Path::RoundedRectangle({8, 25}, 45, 28, 5),
             Paint::Linear({8, 25}, {53, 53}, {{0, Rgb(0xffffff)}, {0.5, Rgb(0xd9f6f0)}, {1, Rgb(0x93dccf)}})}};
}

Drawing Chip() {
    Path grooves;
    grooves.Move({14, 36.5}).Line({18, 36.5}).Move({22, 36.5}).Line({26, 36.5});
    grooves.Append(Path::RoundedRectangle({18, 33.6}, 4, 5.8, 1.4));
    return {{Path::RoundedRectangle({14, 32}, 12, 9, 2.4),
             Paint::Linear({14, 32}, {26, 41}, {{0, Rgb(0xffdf86)}, {1, Rgb(0xe8941a)}})},
            {grooves, Paint::Solid(Rgb(0x9a5c08, 0.8)), 0.7}};
}

Drawing PlainChip() {
    return {{Path::RoundedRectangle({14, 32}, 14, 10, 2), Paint::Solid(Rgb(0xf2a52a))}};
}

Path Signature() {
    Path line;
    line.Move({25.5, 49.6}).Curve({30.5, 46.5}, {32.1, 41.2}, {30.5, 41}).Curve({28.5, 41}, {29.1, 49.8}, {31.9, 49});
    line.Curve({34.1, 48.2}, {34.5, 44.6}, {35.9, 45}).Curve({37.3, 45.6}, {35.3, 49}, {37.5, 48.8});
    return line.Curve({40.5, 48.4}, {42, 45.4}, {48.5, 45.2});
}

Path PlainSignature() {
    Path line;
    return line.Move({29, 47}).Curve({34, 40}, {36, 40}, {37, 44}).Curve({38, 49}, {42, 47}, {47, 43});
}

} // namespace

Drawing Icon(bool detailed) {
    const Paint ink = Paint::Solid(Rgb(0x0b3f63));
    Drawing icon;
    for (const Drawing& part : {Ground(detailed), RingOfLight(detailed), Card(), detailed ? Chip() : PlainChip()})
        icon.insert(icon.end(), part.begin(), part.end());
    icon.push_back(detailed ? Layer{Signature(), ink, 1.7} : Layer{PlainSignature(), ink, 2.4});
    return icon;
}

Image IconOfSize(std::size_t side) {
    Canvas canvas(side, side);
    canvas.Draw(Icon(side >= SmallestDetailed), Transform::Scale(static_cast<double>(side) / IconSide));
    return canvas.Pixels();
}

Image WindowIcon() {
    Image icon = IconOfSize(32);
    RemoveTranslucency(icon);
    MergeColours(icon, WindowIconColours);
    return icon;
}

} // namespace Pictures
