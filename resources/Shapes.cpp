#include "resources/Shapes.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Pictures {

namespace {

constexpr int PiecesOfACurve = 24;

/// Distance of a quarter circle's control points, in radii.
constexpr double QuarterArm = 0.5522847498307936;

Point OnCurve(Point start, const Path::Step& curve, double t) {
    const double u = 1 - t;
    return start * (u * u * u) + curve.control1 * (3 * u * u * t) + curve.control2 * (3 * u * t * t) +
           curve.end * (t * t * t);
}

Point LeftOf(Point direction) {
    return {-direction.y, direction.x};
}

double Cross(Point a, Point b) {
    return a.x * b.y - a.y * b.x;
}

/// A regular polygon with 32 corners, made by halving angles: square roots give the same bits everywhere.
const std::vector<Point>& UnitCircle() {
    static const std::vector<Point> corners = [] {
        std::vector<Point> ring = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
        while (ring.size() < 32) {
            std::vector<Point> finer;
            for (std::size_t i = 0; i < ring.size(); ++i) {
                const Point sum = ring[i] + ring[(i + 1) % ring.size()];
                finer.push_back(ring[i]);
                finer.push_back(sum * (1 / Length(sum)));
            }
            ring = std::move(finer);
        }
        return ring;
    }();
    return corners;
}

std::vector<Point> Disc(Point centre, double radius) {
    std::vector<Point> corners;
    for (const Point corner : UnitCircle())
        corners.push_back(centre + corner * radius);
    return corners;
}

/// The rectangle around a piece of a line, turning the same way as Disc does.
std::vector<Point> Bar(Point from, Point to, double radius) {
    const Point along = (to - from) * (1 / Length(to - from));
    const Point side = LeftOf(along) * radius;
    return {from - side, to - side, to + side, from + side};
}

Colour Mix(const Colour& a, const Colour& b, double t) {
    return {a.red + (b.red - a.red) * t, a.green + (b.green - a.green) * t, a.blue + (b.blue - a.blue) * t,
            a.alpha + (b.alpha - a.alpha) * t};
}

Colour OnGradient(const std::vector<Paint::Stop>& stops, double offset) {
    if (offset <= stops.front().offset)
        return stops.front().colour;
    for (std::size_t i = 1; i < stops.size(); ++i) {
        const Paint::Stop& before = stops[i - 1];
        if (offset < stops[i].offset)
            return Mix(before.colour, stops[i].colour, (offset - before.offset) / (stops[i].offset - before.offset));
    }
    return stops.back().colour;
}

} // namespace

Point operator+(Point a, Point b) {
    return {a.x + b.x, a.y + b.y};
}
Point operator-(Point a, Point b) {
    return {a.x - b.x, a.y - b.y};
}
Point operator*(Point a, double factor) {
    return {a.x * factor, a.y * factor};
}
double Length(Point a) {
    return std::sqrt(a.x * a.x + a.y * a.y);
}
Point Between(Point a, Point b, double t) {
    return a + (b - a) * t;
}

Point Transform::operator()(Point p) const {
    return {a * p.x + c * p.y + e, b * p.x + d * p.y + f};
}

Transform Transform::Then(const Transform& next) const {
    const Point origin = next({e, f});
    return {next.a * a + next.c * b,
            next.b * a + next.d * b,
            next.a * c + next.c * d,
            next.b * c + next.d * d,
            origin.x,
            origin.y};
}

Transform Transform::Shift(double x, double y) {
    return {1, 0, 0, 1, x, y};
}
Transform Transform::Scale(double factor) {
    return {factor, 0, 0, factor, 0, 0};
}
Transform Transform::Turn(double cosine, double sine) {
    return {cosine, sine, -sine, cosine, 0, 0};
}

Path& Path::Move(Point to) {
    steps.push_back({Verb::Move, {}, {}, to});
    return *this;
}

Path& Path::Line(Point to) {
    steps.push_back({Verb::Line, {}, {}, to});
    return *this;
}

Path& Path::Curve(Point control1, Point control2, Point to) {
    steps.push_back({Verb::Curve, control1, control2, to});
    return *this;
}

Path& Path::Arc(Point centre, Point to) {
    const Point start = End();
    const double radius = Length(start - centre);
    const Point from = (start - centre) * (1 / radius);
    const double cosine = from.x * to.x + from.y * to.y;
    const double half = std::sqrt((1 - cosine) / (1 + cosine));
    const double quarter = half / (1 + std::sqrt(1 + half * half));
    const double arm = (Cross(from, to) < 0 ? -4.0 : 4.0) / 3 * quarter * radius;
    const Point end = centre + to * radius;
    return Curve(start + LeftOf(from) * arm, end - LeftOf(to) * arm, end);
}

Path& Path::Close() {
    steps.push_back({Verb::Close, {}, {}, {}});
    return *this;
}

Path& Path::Append(const Path& other) {
    steps.insert(steps.end(), other.steps.begin(), other.steps.end());
    return *this;
}

Point Path::End() const {
    return steps.empty() ? Point{} : steps.back().end;
}

Path Path::Placed(const Transform& transform) const {
    Path placed = *this;
    for (Step& step : placed.steps) {
        step.control1 = transform(step.control1);
        step.control2 = transform(step.control2);
        step.end = transform(step.end);
    }
    return placed;
}

std::vector<Path::Polyline> Path::Flattened() const {
    std::vector<Polyline> lines;
    for (const Step& step : steps) {
        if (step.verb == Verb::Move) {
            lines.push_back({{step.end}, false});
        } else if (step.verb == Verb::Line) {
            lines.back().points.push_back(step.end);
        } else if (step.verb == Verb::Curve) {
            const Point start = lines.back().points.back();
            for (int i = 1; i <= PiecesOfACurve; ++i)
                lines.back().points.push_back(OnCurve(start, step, static_cast<double>(i) / PiecesOfACurve));
        } else {
            lines.back().closed = true;
        }
    }
    return lines;
}

Path Path::Circle(Point centre, double radius) {
    Path path;
    path.Move(centre + Point{radius, 0});
    return path.Arc(centre, {0, 1}).Arc(centre, {-1, 0}).Arc(centre, {0, -1}).Arc(centre, {1, 0}).Close();
}

Path Path::RoundedRectangle(Point corner, double width, double height, double radius) {
    const double left = corner.x, top = corner.y, right = left + width, bottom = top + height;
    const double arm = radius * (1 - QuarterArm);
    Path path;
    path.Move({left + radius, top}).Line({right - radius, top});
    path.Curve({right - arm, top}, {right, top + arm}, {right, top + radius}).Line({right, bottom - radius});
    path.Curve({right, bottom - arm}, {right - arm, bottom}, {right - radius, bottom}).Line({left + radius, bottom});
    path.Curve({left + arm, bottom}, {left, bottom - arm}, {left, bottom - radius}).Line({left, top + radius});
    path.Curve({left, top + arm}, {left + arm, top}, {left + radius, top}).Close();
    return path;
}

std::vector<std::vector<Point>> StrokeOutline(const Path& path, double width) {
    std::vector<std::vector<Point>> parts;
    for (Path::Polyline line : path.Flattened()) {
        if (line.closed)
            line.points.push_back(line.points.front());
        for (std::size_t i = 0; i < line.points.size(); ++i) {
            parts.push_back(Disc(line.points[i], width / 2));
            if (i > 0 && Length(line.points[i] - line.points[i - 1]) > 0)
                parts.push_back(Bar(line.points[i - 1], line.points[i], width / 2));
        }
    }
    return parts;
}

Colour Rgb(std::uint32_t value, double alpha) {
    return {((value >> 16) & 0xff) / 255.0, ((value >> 8) & 0xff) / 255.0, (value & 0xff) / 255.0, alpha};
}

Colour Paint::At(Point p) const {
    if (kind == Kind::Solid)
        return stops.front().colour;
    const Point span = to - from;
    const Point here = p - from;
    if (kind == Kind::Radial)
        return OnGradient(stops, Length(here) / Length(span));
    return OnGradient(stops, (here.x * span.x + here.y * span.y) / (span.x * span.x + span.y * span.y));
}

Paint Paint::Placed(const Transform& transform) const {
    Paint placed = *this;
    placed.from = transform(from);
    placed.to = transform(to);
    return placed;
}

Paint Paint::Solid(Colour colour) {
    return {Kind::Solid, {}, {}, {{0, colour}}};
}

Paint Paint::Linear(Point from, Point to, std::vector<Stop> stops) {
    return {Kind::Linear, from, to, std::move(stops)};
}

Paint Paint::Radial(Point centre, double radius, std::vector<Stop> stops) {
    return {Kind::Radial, centre, centre + Point{radius, 0}, std::move(stops)};
}

} // namespace Pictures
