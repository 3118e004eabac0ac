// Outlines and paints of which the pictures are made; coordinates in pixels, x to the right, y downwards.
#pragma once

#include <cstdint>
#include <vector>

namespace Pictures {

/// A place or a direction.
struct Point {
    double x = 0;
    double y = 0;
};

Point operator+(Point a, Point b);
Point operator-(Point a, Point b);
Point operator*(Point a, double factor);
double Length(Point a);
/// The point at `t` (0 to 1) of the way from `a` to `b`.
Point Between(Point a, Point b, double t);

/// Shift, scale and turn: x' = a x + c y + e, y' = b x + d y + f, as in SVG.
struct Transform {
    double a = 1, b = 0, c = 0, d = 1, e = 0, f = 0;

    [[nodiscard]] Point operator()(Point p) const;
    /// This one first, then `next`.
    [[nodiscard]] Transform Then(const Transform& next) const;
    static Transform Shift(double x, double y);
    static Transform Scale(double factor);
    /// Turns by the angle whose cosine and sine are given (functions of an angle differ between machines).
    static Transform Turn(double cosine, double sine);
};

/// Sub-paths of straight lines and cubic Bezier curves.
class Path {
public:
    enum class Verb : std::uint8_t { Move, Line, Curve, Close };

    /// One step; a curve uses all three points (two control points and the end), a line and a move the last.
    struct Step {
        Verb verb;
        Point control1, control2, end;
    };

    /// A line of straight pieces, as sub-path of a flattened path.
    struct Polyline {
        std::vector<Point> points;
        bool closed = false;
    };

    Path& Move(Point to);
    Path& Line(Point to);
    Path& Curve(Point control1, Point control2, Point to);
    /// Circular arc around `centre` from the end of the path to the direction `to` (a unit vector), less than a half
    /// turn.
    Path& Arc(Point centre, Point to);
    Path& Close();
    Path& Append(const Path& other);

    [[nodiscard]] const std::vector<Step>& Steps() const { return steps; }
    [[nodiscard]] Path Placed(const Transform& transform) const;
    [[nodiscard]] std::vector<Polyline> Flattened() const;

    static Path Circle(Point centre, double radius);
    static Path RoundedRectangle(Point corner, double width, double height, double radius);

private:
    [[nodiscard]] Point End() const;

    std::vector<Step> steps;
};

/// The outline of a line of the given width along `path`, with round joins and ends; to be filled as non-zero.
std::vector<std::vector<Point>> StrokeOutline(const Path& path, double width);

/// sRGB and opacity, each 0 to 1.
struct Colour {
    double red = 0, green = 0, blue = 0, alpha = 1;
};

/// Colour from 0xRRGGBB.
Colour Rgb(std::uint32_t value, double alpha = 1);

/// One colour, or a linear or radial gradient.
struct Paint {
    enum class Kind : std::uint8_t { Solid, Linear, Radial };

    struct Stop {
        double offset;
        Colour colour;
    };

    Kind kind = Kind::Solid;
    /// Linear: where offsets 0 and 1 are. Radial: the centre, and a point at distance 1.
    Point from, to;
    std::vector<Stop> stops;

    [[nodiscard]] Colour At(Point p) const;
    [[nodiscard]] Paint Placed(const Transform& transform) const;

    static Paint Solid(Colour colour);
    static Paint Linear(Point from, Point to, std::vector<Stop> stops);
    static Paint Radial(Point centre, double radius, std::vector<Stop> stops);
};

/// One shape of a picture: filled when `stroke` is 0, else a line of that width.
struct Layer {
    enum class Mode : std::uint8_t { Over, Light };

    Path path;
    Paint paint;
    double stroke = 0;
    /// Radius of the softening, 0 for a sharp edge.
    double blur = 0;
    /// Light brightens what lies below, as a lamp does.
    Mode mode = Mode::Over;
};

/// Layers from the bottom to the top.
using Drawing = std::vector<Layer>;

} // namespace Pictures
