#include "resources/Designs.h"
#include "resources/Palette.h"

namespace Pictures {

namespace {

constexpr std::size_t Width = 769;
constexpr std::size_t Height = 170;
constexpr std::size_t Colours = 36758;

constexpr Point East{1, 0}, South{0, 1}, West{-1, 0}, North{0, -1};

Path Page() {
    return Path::RoundedRectangle({-1, -1}, Width + 2.0, Height + 2.0, 0.5);
}

Layer Glow(Point centre, double radius, std::uint32_t colour, double strength) {
    // The fall-off of a lamp in haze, as a chain of straight pieces.
    const auto at = [&](double offset, double share) { return Paint::Stop{offset, Rgb(colour, strength * share)}; };
    return {Path::Circle(centre, radius),
            Paint::Radial(centre, radius,
                          {at(0, 1), at(0.1, 0.86), at(0.2, 0.68), at(0.32, 0.48), at(0.45, 0.29), at(0.6, 0.15),
                           at(0.75, 0.06), at(0.9, 0.012), at(1, 0)}),
            0, 0, Layer::Mode::Light};
}

Drawing Background() {
    return {
        {Page(), Paint::Linear({0, 0}, {Width, 210},
                               {{0, Rgb(0x0a2136)}, {0.38, Rgb(0x0b3350)}, {0.72, Rgb(0x0c5068)}, {1, Rgb(0x0d6f78)}})},
        Glow({700, -30}, 330, 0x2fd0c0, 0.34),
        Glow({120, 84}, 210, 0x2aa6d8, 0.30),
        Glow({400, 250}, 300, 0x1a8fb8, 0.25)};
}

/// Fine lines between two sweeps, as on printed securities: from the card through the banner to the right.
Drawing Ribbon() {
    constexpr int Lines = 26;
    const Point upper[] = {{96, 112}, {250, 200}, {330, 8}, {520, 60}, {640, 92}, {700, 10}, {800, 14}};
    const Point lower[] = {{96, 118}, {240, 150}, {360, 190}, {540, 128}, {650, 92}, {690, 190}, {800, 132}};
    Drawing lines;
    for (int i = 0; i < Lines; ++i) {
        const double t = static_cast<double>(i) / (Lines - 1);
        Point p[7];
        for (int k = 0; k < 7; ++k)
            p[k] = Between(upper[k], lower[k], t);
        Path line;
        line.Move(p[0]).Curve(p[1], p[2], p[3]).Curve(p[4], p[5], p[6]);
        const double edge = (2 * t - 1) * (2 * t - 1);
        const double strength = 0.10 + 0.22 * edge * edge;
        lines.push_back({line,
                         Paint::Linear({150, 0}, {790, 0},
                                       {{0, Rgb(0x7ff0e0, 0)},
                                        {0.3, Rgb(0x7ff0e0, strength * 0.5)},
                                        {0.75, Rgb(0xbdf7e6, strength)},
                                        {1, Rgb(0xffe3a0, strength)}}),
                         0.9, 0, Layer::Mode::Light});
    }
    return lines;
}

/// A smart card, 124 x 78, with its corner at the origin.
Drawing Card() {
    const Path body = Path::RoundedRectangle({0, 0}, 124, 78, 9);
    const Path rim = Path::RoundedRectangle({0.7, 0.7}, 122.6, 76.6, 8.4);
    Path gloss;
    gloss.Move({9, 0})
        .Line({86, 0})
        .Curve({72, 34}, {40, 58}, {0, 64})
        .Line({0, 9})
        .Curve({0, 4}, {4, 0}, {9, 0})
        .Close();
    Drawing card = {
        {Path::RoundedRectangle({2, 8}, 122, 76, 9), Paint::Solid(Rgb(0x02101c, 0.55)), 0, 7},
        {body, Paint::Linear({0, 0}, {124, 78}, {{0, Rgb(0x4fe0cb)}, {0.45, Rgb(0x1ea9b4)}, {1, Rgb(0x0f5f9a)}})},
        {gloss, Paint::Linear({0, 0}, {70, 60}, {{0, Rgb(0xffffff, 0.34)}, {1, Rgb(0xffffff, 0.04)}})},
        {rim,
         Paint::Linear({0, 0}, {124, 78},
                       {{0, Rgb(0xffffff, 0.75)}, {0.5, Rgb(0xffffff, 0.12)}, {1, Rgb(0xffffff, 0.3)}}),
         1.3},
    };
    return card;
}

/// The contact plate, with the boundaries of its eight fields.
Drawing Chip(Point corner) {
    const auto at = [corner](double x, double y) { return corner + Point{x, y}; };
    Path grooves;
    grooves.Move(at(0, 8)).Line(at(9, 8)).Move(at(0, 16)).Line(at(9, 16));
    grooves.Move(at(31, 8)).Line(at(22, 8)).Move(at(31, 16)).Line(at(22, 16));
    grooves.Append(Path::RoundedRectangle(at(9, 5), 13, 14, 4));
    grooves.Move(at(15.5, 0)).Line(at(15.5, 5)).Move(at(15.5, 19)).Line(at(15.5, 24));
    return {{Path::RoundedRectangle(at(0.6, 1.4), 31, 24, 5), Paint::Solid(Rgb(0x06324a, 0.45)), 0, 1.2},
            {Path::RoundedRectangle(at(0, 0), 31, 24, 5),
             Paint::Linear(at(0, 0), at(31, 24), {{0, Rgb(0xfff3c4)}, {0.5, Rgb(0xffcf5c)}, {1, Rgb(0xe59a1f)}})},
            {grooves, Paint::Solid(Rgb(0xa8680c, 0.85)), 1.2}};
}

/// A signature in one stroke.
Path Signature() {
    Path line;
    line.Move({40, 66}).Curve({50, 58}, {58, 44}, {54, 42}).Curve({49, 40}, {46, 66}, {54, 65});
    line.Curve({60, 64}, {62, 52}, {66, 53}).Curve({69, 54}, {63, 65}, {68, 65}).Curve({73, 65}, {74, 53}, {78, 54});
    line.Curve({81, 55}, {76, 64}, {81, 64}).Curve({88, 64}, {92, 56}, {112, 55});
    return line;
}

Drawing CardMotif() {
    Drawing motif = Card();
    for (const Layer& layer : Chip({15, 22}))
        motif.push_back(layer);
    motif.push_back({Signature(), Paint::Solid(Rgb(0x063048, 0.35)), 2.6, 1});
    motif.push_back({Signature(), Paint::Linear({40, 0}, {112, 0}, {{0, Rgb(0xffffff)}, {1, Rgb(0xfff0c8)}}), 2.2});
    return motif;
}

// The letters: lines along the middle of the strokes, base line at y = 0.

Path BoldL() {
    Path path;
    path.Move({0, -90}).Line({0, -15});
    return path.Arc({15, -15}, South);
}

Path BoldU() {
    Path path;
    return path.Move({0, -50}).Line({0, -22}).Arc({22, -22}, South).Arc({22, -22}, East).Line({44, -50});
}

Path BoldM() {
    Path path;
    path.Move({0, 0}).Line({0, -31}).Arc({19, -31}, North).Arc({19, -31}, East).Line({38, 0});
    return path.Move({38, -31}).Arc({57, -31}, North).Arc({57, -31}, East).Line({76, 0});
}

Path Bold() {
    return BoldL().Append(BoldU().Placed(Transform::Shift(36, 0))).Append(BoldM().Placed(Transform::Shift(105, 0)));
}

Path LightC() {
    constexpr double Diagonal = 0.70710678118654752;
    const Point centre{31, -31};
    Path path;
    path.Move(centre + Point{Diagonal, -Diagonal} * 31.0).Arc(centre, North).Arc(centre, West).Arc(centre, South);
    return path.Arc(centre, {Diagonal, Diagonal});
}

Path LightE() {
    const Point centre{20, -20};
    Path path;
    path.Move({0, -20}).Line({40, -20}).Arc(centre, North).Arc(centre, West).Arc(centre, South);
    return path.Arc(centre, {0.8, 0.6});
}

Path LightN() {
    Path path;
    path.Move({0, 0}).Line({0, -24}).Arc({16, -24}, North).Arc({16, -24}, East).Line({32, 0});
    return path;
}

Path LightT() {
    Path path;
    path.Move({0, -56}).Line({0, -12}).Arc({12, -12}, South).Line({15, 0});
    return path.Move({-9, -40}).Line({14, -40});
}

Path Light() {
    Path stems;
    stems.Move({66, -68}).Line({66, 0}).Move({84, -40}).Line({84, 0});
    return LightC()
        .Append(stems)
        .Append(Path::Circle({84, -57}, 1.2))
        .Append(LightE().Placed(Transform::Shift(99, 0)))
        .Append(LightN().Placed(Transform::Shift(156, 0)))
        .Append(LightT().Placed(Transform::Shift(211, 0)));
}

constexpr double BaseLine = 116;
constexpr double BoldStroke = 13;

Drawing Wordmark() {
    const Path bold = Bold().Placed(Transform::Shift(220, BaseLine));
    const Path light = Light().Placed(Transform::Shift(510, BaseLine + 4));
    const Paint white =
        Paint::Linear({0, 20}, {0, 125}, {{0, Rgb(0xffffff)}, {0.6, Rgb(0xf2fbff)}, {1, Rgb(0xbfe6ee)}});
    const Paint mint = Paint::Linear({520, 0}, {740, 0}, {{0, Rgb(0xd6f6f2)}, {1, Rgb(0x9fe8dc)}});
    const Transform below = Transform::Shift(0, 3);
    return {{bold.Placed(below), Paint::Solid(Rgb(0x02101c, 0.55)), BoldStroke, 4},
            {light.Placed(below), Paint::Solid(Rgb(0x02101c, 0.5)), 5, 3},
            {bold, white, BoldStroke},
            {light, mint, 4.6}};
}

/// The last letter of "lumo" is a ring of light.
Drawing LightRing() {
    const Point centre{448, BaseLine - 25};
    const Path ring = Path::Circle(centre, 25);
    const Paint gold = Paint::Linear(centre - Point{20, 30}, centre + Point{20, 30},
                                     {{0, Rgb(0xfffbe6)}, {0.4, Rgb(0xffdf86)}, {1, Rgb(0xffa726)}});
    return {
        Glow(centre, 105, 0xffb545, 0.62),
        {Path::Circle(centre, 22), Paint::Solid(Rgb(0x0b3048, 0.72)), 0, 2},
        {ring, Paint::Solid(Rgb(0xffb030, 0.75)), BoldStroke + 4, 6, Layer::Mode::Light},
        {ring, gold, BoldStroke},
        {Path::Circle(centre, 27),
         Paint::Linear(centre - Point{20, 30}, centre + Point{6, 8}, {{0, Rgb(0xffffff, 0.9)}, {1, Rgb(0xffffff, 0)}}),
         2},
    };
}

} // namespace

Image Logo() {
    Canvas canvas(Width, Height);
    canvas.Draw(Background());
    canvas.Draw(Ribbon());
    const Transform place = Transform::Scale(1.14)
                                .Then(Transform::Turn(0.9701425001453319, -0.24253562503633297))
                                .Then(Transform::Shift(30, 59));
    canvas.Draw(CardMotif(), place);
    canvas.Draw(LightRing());
    canvas.Draw(Wordmark());
    Image image = canvas.Pixels(0.6);
    SpreadColours(image, Colours);
    return image;
}

} // namespace Pictures
