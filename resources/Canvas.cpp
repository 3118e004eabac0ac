#include "resources/Canvas.h"

#include <algorithm>
#include <cmath>

namespace Pictures {

namespace {

constexpr int LinesOfARow = 16;

/// Where an outline crosses a line, and whether it goes down (1) or up (-1) there.
struct Crossing {
    double x;
    int direction;
};

using Lines = std::vector<std::vector<Crossing>>;

void AddEdge(Lines& lines, Point from, Point to) {
    if (from.y == to.y)
        return;
    const int direction = from.y < to.y ? 1 : -1;
    if (direction < 0)
        std::swap(from, to);
    const auto lineOf = [](double y) { return static_cast<long>(std::ceil(y * LinesOfARow - 0.5)); };
    const long last = std::min(lineOf(to.y), static_cast<long>(lines.size()));
    for (long i = std::max(lineOf(from.y), 0L); i < last; ++i) {
        const double y = (static_cast<double>(i) + 0.5) / LinesOfARow;
        const double x = from.x + (to.x - from.x) * ((y - from.y) / (to.y - from.y));
        lines[static_cast<std::size_t>(i)].push_back({x, direction});
    }
}

void AddOutline(Lines& lines, const std::vector<Point>& points) {
    for (std::size_t i = 0; i < points.size(); ++i)
        AddEdge(lines, points[i], points[(i + 1) % points.size()]);
}

/// Adds to each pixel of a row the share of it that lies between `left` and `right`.
void AddSpan(double* row, std::size_t width, double left, double right) {
    left = std::max(left, 0.0);
    right = std::min(right, static_cast<double>(width));
    for (auto x = static_cast<std::size_t>(left); static_cast<double>(x) < right; ++x) {
        const auto edge = static_cast<double>(x);
        row[x] += (std::min(right, edge + 1) - std::max(left, edge)) / LinesOfARow;
    }
}

void AddLine(double* row, std::size_t width, std::vector<Crossing>& line) {
    std::sort(line.begin(), line.end(),
              [](const Crossing& a, const Crossing& b) { return a.x != b.x ? a.x < b.x : a.direction < b.direction; });
    int winding = 0;
    for (std::size_t i = 0; i + 1 < line.size(); ++i) {
        winding += line[i].direction;
        if (winding != 0 && line[i].x < line[i + 1].x)
            AddSpan(row, width, line[i].x, line[i + 1].x);
    }
}

/// Running mean over 2 * reach + 1 values; what lies outside counts as 0.
void Average(const double* in, double* out, std::size_t count, std::size_t stride, std::size_t reach) {
    double sum = 0;
    for (std::size_t i = 0; i < count + reach; ++i) {
        if (i < count)
            sum += in[i * stride];
        if (i > 2 * reach)
            sum -= in[(i - 2 * reach - 1) * stride];
        if (i >= reach)
            out[(i - reach) * stride] = sum / static_cast<double>(2 * reach + 1);
    }
}

/// Noise between -1 and 1 with a triangular distribution, the same for the same number.
double Noise(std::uint32_t number) {
    const auto scrambled = [](std::uint32_t n) {
        n = (n ^ (n >> 16)) * 0x7feb352dU;
        n = (n ^ (n >> 15)) * 0x846ca68bU;
        return static_cast<double>((n ^ (n >> 16)) >> 8) / 16777216.0;
    };
    return scrambled(2 * number + 1) - scrambled(2 * number + 2);
}

std::uint8_t ToByte(double value) {
    return static_cast<std::uint8_t>(std::floor(std::clamp(value, 0.0, 255.0) + 0.5));
}

} // namespace

std::uint32_t Pixel::Packed() const {
    return (std::uint32_t{alpha} << 24) | (std::uint32_t{red} << 16) | (std::uint32_t{green} << 8) | blue;
}

Pixel Pixel::Unpacked(std::uint32_t packed) {
    const auto byte = [packed](int shift) { return static_cast<std::uint8_t>((packed >> shift) & 0xff); };
    return {byte(16), byte(8), byte(0), byte(24)};
}

Canvas::Canvas(std::size_t canvasWidth, std::size_t canvasHeight)
    : width(canvasWidth), height(canvasHeight), surface(canvasWidth * canvasHeight, Colour{0, 0, 0, 0}) {}

Canvas::Mask Canvas::Coverage(const Layer& layer) const {
    Lines lines(height * LinesOfARow);
    if (layer.stroke > 0) {
        for (const auto& part : StrokeOutline(layer.path, layer.stroke))
            AddOutline(lines, part);
    } else {
        for (const auto& line : layer.path.Flattened())
            AddOutline(lines, line.points);
    }
    Mask mask(width * height);
    for (std::size_t i = 0; i < lines.size(); ++i)
        AddLine(&mask[i / LinesOfARow * width], width, lines[i]);
    return mask;
}

void Canvas::Soften(Mask& mask, double radius) const {
    const auto reach = static_cast<std::size_t>(radius);
    Mask other(mask.size());
    // Three running means come close to a bell curve.
    for (int pass = 0; pass < 3; ++pass) {
        for (std::size_t y = 0; y < height; ++y)
            Average(&mask[y * width], &other[y * width], width, 1, reach);
        for (std::size_t x = 0; x < width; ++x)
            Average(&other[x], &mask[x], height, width, reach);
    }
}

void Canvas::Blend(std::size_t index, const Colour& colour, double coverage, Layer::Mode mode) {
    Colour& below = surface[index];
    const double share = std::min(coverage, 1.0) * colour.alpha;
    if (mode == Layer::Mode::Light) {
        const auto lit = [share](double value, double light) { return value + light * share * (1 - value); };
        below = {lit(below.red, colour.red), lit(below.green, colour.green), lit(below.blue, colour.blue), below.alpha};
        return;
    }
    const double kept = below.alpha * (1 - share);
    const double alpha = share + kept;
    if (alpha <= 0)
        return;
    const auto mixed = [=](double old, double fresh) { return (fresh * share + old * kept) / alpha; };
    below = {mixed(below.red, colour.red), mixed(below.green, colour.green), mixed(below.blue, colour.blue), alpha};
}

void Canvas::Draw(const Layer& layer) {
    Mask mask = Coverage(layer);
    if (layer.blur >= 1)
        Soften(mask, layer.blur);
    for (std::size_t i = 0; i < mask.size(); ++i) {
        if (mask[i] > 0) {
            const std::size_t x = i % width, y = i / width;
            const Point centre = {static_cast<double>(x) + 0.5, static_cast<double>(y) + 0.5};
            Blend(i, layer.paint.At(centre), mask[i], layer.mode);
        }
    }
}

void Canvas::Draw(const Drawing& drawing, const Transform& transform) {
    const double scale = Length({transform.a, transform.b});
    for (const Layer& layer : drawing) {
        Draw({layer.path.Placed(transform), layer.paint.Placed(transform), layer.stroke * scale, layer.blur * scale,
              layer.mode});
    }
}

Image Canvas::Pixels(double dither) const {
    Image image{width, height, {}};
    image.pixels.reserve(surface.size());
    std::uint32_t number = 0;
    const auto rounded = [&](double value) { return ToByte(value * 255 + Noise(number++) * dither); };
    for (const Colour& colour : surface) {
        Pixel pixel;
        pixel.red = rounded(colour.red);
        pixel.green = rounded(colour.green);
        pixel.blue = rounded(colour.blue);
        pixel.alpha = ToByte(colour.alpha * 255);
        image.pixels.push_back(pixel.alpha == 0 ? Pixel{} : pixel);
    }
    return image;
}

} // namespace Pictures
