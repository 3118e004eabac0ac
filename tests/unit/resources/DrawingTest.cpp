// What the pictures are drawn with: outlines, coverage, colours and file formats.
#include "resources/Canvas.h"
#include "resources/Designs.h"
#include "resources/Palette.h"
#include "resources/Writers.h"

#include <wx/image.h>
#include <wx/init.h>
#include <wx/mstream.h>

#include <cmath>
#include <random>

#include <gtest/gtest.h>

namespace Pictures {
namespace {

const Colour White = Rgb(0xffffff);

Path Rectangle(double left, double top, double right, double bottom) {
    Path path;
    return path.Move({left, top}).Line({right, top}).Line({right, bottom}).Line({left, bottom}).Close();
}

Image Drawn(const Layer& layer, std::size_t width = 8, std::size_t height = 8) {
    Canvas canvas(width, height);
    canvas.Draw(layer);
    return canvas.Pixels();
}

/// Covered area in pixels.
double Area(const Image& image) {
    double sum = 0;
    for (const Pixel& pixel : image.pixels)
        sum += pixel.alpha / 255.0;
    return sum;
}

Image RandomImage(std::size_t side, int spread) {
    std::mt19937 random(7);
    Image image{side, side, {}};
    for (std::size_t i = 0; i < side * side; ++i) {
        const auto byte = [&] { return static_cast<std::uint8_t>(100 + random() % static_cast<unsigned>(spread)); };
        const auto red = byte(), green = byte(), blue = byte();
        image.pixels.push_back({red, green, blue, 255});
    }
    return image;
}

int LargestStep(const Image& a, const Image& b) {
    int largest = 0;
    for (std::size_t i = 0; i < a.pixels.size(); ++i) {
        for (const auto channel : {&Pixel::red, &Pixel::green, &Pixel::blue})
            largest = std::max(largest, std::abs(a.pixels[i].*channel - b.pixels[i].*channel));
    }
    return largest;
}

} // namespace

TEST(Shapes, ArcsKeepTheirDistanceFromTheCentre) {
    Path arc;
    arc.Move({13, 5}).Arc({5, 5}, {0, 1}).Arc({5, 5}, {-0.6, 0.8}).Arc({5, 5}, {-0.6, -0.8});
    const Path::Polyline line = arc.Flattened().front();
    for (const Point p : line.points)
        EXPECT_NEAR(Length(p - Point{5, 5}), 8, 0.03);
}

TEST(Shapes, ArcsEndWhereTheyShould) {
    Path arc;
    arc.Move({5, -3}).Arc({5, 5}, {0.8, -0.6});
    EXPECT_NEAR(arc.Steps().back().end.x, 5 + 0.8 * 8, 1e-9);
    EXPECT_NEAR(arc.Steps().back().end.y, 5 - 0.6 * 8, 1e-9);
}

TEST(Shapes, TransformsApplyInTheOrderWritten) {
    const Transform both = Transform::Scale(2).Then(Transform::Turn(0, 1)).Then(Transform::Shift(10, 20));
    const Point p = both({1, 0});
    EXPECT_DOUBLE_EQ(p.x, 10);
    EXPECT_DOUBLE_EQ(p.y, 22);
}

TEST(Shapes, GradientsRunBetweenTheirStops) {
    const Paint paint = Paint::Linear({0, 0}, {10, 0}, {{0.2, Rgb(0x000000)}, {0.6, Rgb(0xff0000)}});
    EXPECT_DOUBLE_EQ(paint.At({1, 7}).red, 0);
    EXPECT_NEAR(paint.At({4, 7}).red, 0.5, 1e-9);
    EXPECT_DOUBLE_EQ(paint.At({9, 7}).red, 1);
}

TEST(Shapes, RadialGradientsDependOnTheDistanceOnly) {
    const Paint paint = Paint::Radial({5, 5}, 10, {{0, Rgb(0x000000)}, {1, Rgb(0x00ff00)}});
    EXPECT_NEAR(paint.At({8, 9}).green, 0.5, 1e-9);
    EXPECT_NEAR(paint.At({5, 0}).green, 0.5, 1e-9);
}

TEST(Canvas, PixelsAreCoveredByTheShareOfTheirArea) {
    const Image image = Drawn({Rectangle(1, 1, 3.25, 2.5), Paint::Solid(White)});
    EXPECT_EQ(image.pixels[1 * 8 + 1].alpha, 255);
    EXPECT_EQ(image.pixels[1 * 8 + 3].alpha, 64);
    EXPECT_EQ(image.pixels[2 * 8 + 1].alpha, 128);
    EXPECT_EQ(image.pixels[2 * 8 + 3].alpha, 32);
    EXPECT_EQ(image.pixels[3 * 8 + 1].alpha, 0);
}

TEST(Canvas, CirclesHaveTheirArea) {
    EXPECT_NEAR(Area(Drawn({Path::Circle({20.3, 19.8}, 15), Paint::Solid(White)}, 40, 40)), 706.86, 1.5);
}

TEST(Canvas, StrokesHaveRoundEndsAndNoDoubleCoverage) {
    Path line;
    line.Move({10, 20}).Line({30, 20}).Line({10, 20});
    EXPECT_NEAR(Area(Drawn({line, Paint::Solid(White), 6}, 40, 40)), 20 * 6 + 28.27, 1);
}

TEST(Canvas, ShapesBeyondTheEdgesAreCut) {
    EXPECT_NEAR(Area(Drawn({Rectangle(-50, -50, 4, 90), Paint::Solid(White)})), 4 * 8, 1e-9);
}

TEST(Canvas, SofteningKeepsTheAmountOfColour) {
    const Image image = Drawn({Rectangle(18, 18, 22, 22), Paint::Solid(White), 0, 3}, 40, 40);
    EXPECT_NEAR(Area(image), 16, 1);
    EXPECT_LT(image.pixels[20 * 40 + 20].alpha, 200);
}

TEST(Canvas, LightBrightensWithoutChangingTheOpacity) {
    Canvas canvas(1, 1);
    canvas.Draw(Layer{Rectangle(0, 0, 1, 1), Paint::Solid(Rgb(0x800000))});
    canvas.Draw(Layer{Rectangle(0, 0, 1, 1), Paint::Solid(Rgb(0x808080)), 0, 0, Layer::Mode::Light});
    const Pixel pixel = canvas.Pixels().pixels[0];
    EXPECT_NEAR(pixel.red, 192, 1);
    EXPECT_EQ(pixel.green, 128);
    EXPECT_EQ(pixel.alpha, 255);
}

TEST(Canvas, DitheringMovesColoursByLittle) {
    Canvas canvas(64, 64);
    canvas.Draw(Layer{Rectangle(0, 0, 64, 64), Paint::Solid(Rgb(0x406080))});
    EXPECT_LE(LargestStep(canvas.Pixels(), canvas.Pixels(1.4)), 2);
    EXPECT_GT(CountColours(canvas.Pixels(1.4)), 5U);
}

TEST(Palette, MergingEndsAtTheCountAsked) {
    Image image = RandomImage(20, 60);
    ASSERT_GT(CountColours(image), 300U);
    MergeColours(image, 29);
    EXPECT_EQ(CountColours(image), 29U);
}

TEST(Palette, MergingKeepsTransparencyAsAColourOfItsOwn) {
    Image image = RandomImage(10, 60);
    image.pixels[3] = image.pixels[77] = {};
    MergeColours(image, 12);
    EXPECT_EQ(CountColours(image), 12U);
    EXPECT_EQ(image.pixels[3].alpha, 0);
    EXPECT_EQ(image.pixels[77].alpha, 0);
}

TEST(Palette, MergingUnitesTheNearestColours) {
    Image image{3, 1, {{10, 10, 10, 255}, {12, 12, 12, 255}, {200, 0, 0, 255}}};
    MergeColours(image, 2);
    EXPECT_EQ(image.pixels[0].Packed(), 0xff0b0b0bU);
    EXPECT_EQ(image.pixels[1].Packed(), 0xff0b0b0bU);
    EXPECT_EQ(image.pixels[2].Packed(), 0xffc80000U);
}

TEST(Palette, SpreadingEndsAtTheCountAskedWithStepsOfOne) {
    const Image before = RandomImage(64, 10);
    Image after = before;
    const std::size_t wanted = CountColours(before) + 300;
    SpreadColours(after, wanted);
    EXPECT_EQ(CountColours(after), wanted);
    EXPECT_LE(LargestStep(before, after), 1);
}

TEST(Palette, SpreadingLeavesAnImageAloneThatHasAsMany) {
    const Image before = RandomImage(16, 60);
    Image after = before;
    SpreadColours(after, CountColours(before));
    EXPECT_EQ(LargestStep(before, after), 0);
}

TEST(Palette, HalfCoveredPixelsBecomeOpaqueAndFainterOnesVanish) {
    Image image{2, 1, {{1, 2, 3, 128}, {1, 2, 3, 127}}};
    RemoveTranslucency(image);
    EXPECT_EQ(image.pixels[0].Packed(), 0xff010203U);
    EXPECT_EQ(image.pixels[1].Packed(), 0U);
}

TEST(Writers, XpmHasHeaderTableAndRows) {
    const Image image{2, 2, {{}, {255, 0, 16, 255}, {255, 0, 16, 255}, {}}};
    EXPECT_EQ(ToXpm("const char* x[]", image, " "),
              "const char* x[] = {\n \"2 2 2 1\",\n \"0 c None\",\n \"1 c #FF0010\",\n \"01\",\n \"10\",\n};\n");
}

TEST(Writers, XpmKeysGrowWithTheNumberOfColours) {
    Image image{65, 1, {}};
    for (std::uint8_t i = 0; i < 65; ++i)
        image.pixels.push_back({i, 0, 0, 255});
    const std::string text = ToXpm("x", image);
    EXPECT_NE(text.find("\"65 1 65 2\""), std::string::npos);
    EXPECT_NE(text.find("\"0+ c #3F0000\",\n\"10 c #400000\""), std::string::npos);
}

TEST(Writers, SvgHasOnePathALayerAndItsGradients) {
    const Drawing drawing = {
        {Rectangle(0, 0, 4, 4), Paint::Solid(Rgb(0x0a0b0c, 0.5))},
        {Rectangle(1, 1, 2.125, -0.5), Paint::Linear({0, 0}, {4, 0}, {{0, White}, {1, White}}), 2}};
    const std::string svg = ToSvg(drawing, 4, "title");
    EXPECT_NE(svg.find("viewBox=\"0 0 4 4\""), std::string::npos);
    EXPECT_NE(svg.find("<path d=\"M0 0L4 0L4 4L0 4Z\" fill=\"#0A0B0C\" fill-opacity=\"0.5\"/>"), std::string::npos);
    EXPECT_NE(svg.find("<path d=\"M1 1L2.125 1L2.125 -0.5L1 -0.5Z\" stroke=\"url(#p1)\" fill=\"none\" "
                       "stroke-width=\"2\""),
              std::string::npos);
    EXPECT_NE(
        svg.find("<linearGradient id=\"p1\" gradientUnits=\"userSpaceOnUse\" x1=\"0\" y1=\"0\" x2=\"4\" y2=\"0\">"),
        std::string::npos);
}

TEST(Writers, PngHoldsTheSamePixels) {
    // given
    const wxInitializer toolkit;
    wxImage::AddHandler(new wxPNGHandler); // owned by the toolkit
    Image image = RandomImage(9, 150);
    image.pixels[4].alpha = 17;

    // when
    const std::string png = ToPng(image);
    wxMemoryInputStream stream(png.data(), png.size());
    const wxImage read(stream, wxBITMAP_TYPE_PNG);

    // then
    ASSERT_TRUE(read.IsOk() && read.HasAlpha());
    for (std::size_t i = 0; i < image.pixels.size(); ++i) {
        EXPECT_EQ(read.GetData()[3 * i], image.pixels[i].red);
        EXPECT_EQ(read.GetData()[3 * i + 1], image.pixels[i].green);
        EXPECT_EQ(read.GetData()[3 * i + 2], image.pixels[i].blue);
        EXPECT_EQ(read.GetAlpha()[i], image.pixels[i].alpha);
    }
}

TEST(Designs, IconHasSoftEdgesAndASolidMiddle) {
    const Image icon = IconOfSize(64);
    EXPECT_EQ(icon.pixels[0].alpha, 0);
    EXPECT_EQ(icon.pixels[32 * 64 + 32].alpha, 255);
}

} // namespace Pictures
