// Turns drawings into pixels.
#pragma once

#include "resources/Shapes.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Pictures {

/// Eight bits a channel; alpha 0 to 255, not multiplied into the colours.
struct Pixel {
    std::uint8_t red = 0, green = 0, blue = 0, alpha = 0;

    /// 0xAARRGGBB
    [[nodiscard]] std::uint32_t Packed() const;
    static Pixel Unpacked(std::uint32_t packed);
};

/// Rows from the top, without padding.
struct Image {
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<Pixel> pixels;
};

/// A transparent surface that layers are painted on. Edges are anti-aliased: each row of pixels is cut into 16 lines,
/// and along each line the covered length is exact. Sums, products and square roots only, so all machines agree to the
/// bit.
class Canvas {
public:
    Canvas(std::size_t width, std::size_t height);

    void Draw(const Layer& layer);
    void Draw(const Drawing& drawing, const Transform& transform = {});

    /// Rounds to eight bits; `dither` is the height of the noise that hides steps in soft gradients, in such bits.
    [[nodiscard]] Image Pixels(double dither = 0) const;

private:
    using Mask = std::vector<double>;

    [[nodiscard]] Mask Coverage(const Layer& layer) const;
    void Soften(Mask& mask, double radius) const;
    void Blend(std::size_t index, const Colour& colour, double coverage, Layer::Mode mode);

    std::size_t width;
    std::size_t height;
    std::vector<Colour> surface;
};

} // namespace Pictures
