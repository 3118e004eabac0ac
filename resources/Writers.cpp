#include "resources/Writers.h"

#include "resources/Palette.h"

#include <cmath>
#include <stdexcept>
#include <unordered_map>

#include <zlib.h>

namespace Pictures {

namespace {

// No quote and no backslash, and nothing that could be part of a trigraph or a comment.
constexpr char KeyLetters[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz.+";
constexpr std::size_t KeyBase = sizeof(KeyLetters) - 1;

std::size_t KeyLength(std::size_t colours) {
    std::size_t length = 1;
    for (std::size_t keys = KeyBase; keys < colours; keys *= KeyBase)
        ++length;
    return length;
}

std::string Key(std::size_t number, std::size_t length) {
    std::string key(length, KeyLetters[0]);
    for (std::size_t i = length; i-- > 0; number /= KeyBase)
        key[i] = KeyLetters[number % KeyBase];
    return key;
}

std::string HexColour(std::uint32_t packed) {
    std::string text = "#";
    for (int shift = 20; shift >= 0; shift -= 4)
        text += "0123456789ABCDEF"[(packed >> shift) & 0xf];
    return text;
}

std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

/// Up to three digits after the point, the same in every locale and on every machine.
std::string Number(double value) {
    const auto thousandths = std::lround(value * 1000);
    std::string digits = std::to_string(std::labs(thousandths));
    if (digits.size() < 4)
        digits.insert(0, 4 - digits.size(), '0');
    std::string text = (thousandths < 0 ? "-" : "") + digits.substr(0, digits.size() - 3);
    const std::string fraction = digits.substr(digits.size() - 3);
    const auto last = fraction.find_last_not_of('0');
    return last == std::string::npos ? text : text + "." + fraction.substr(0, last + 1);
}

std::string Coordinates(Point p) {
    return Number(p.x) + " " + Number(p.y);
}

std::string PathData(const Path& path) {
    std::string data;
    for (const Path::Step& step : path.Steps()) {
        switch (step.verb) {
        case Path::Verb::Move:
            data += "M" + Coordinates(step.end);
            break;
        case Path::Verb::Line:
            data += "L" + Coordinates(step.end);
            break;
        case Path::Verb::Curve:
            data += "C" + Coordinates(step.control1) + " " + Coordinates(step.control2) + " " + Coordinates(step.end);
            break;
        case Path::Verb::Close:
            data += "Z";
        }
    }
    return data;
}

std::uint32_t PackedColour(const Colour& colour) {
    const auto byte = [](double value) { return static_cast<std::uint32_t>(std::lround(value * 255)); };
    return (byte(colour.red) << 16) | (byte(colour.green) << 8) | byte(colour.blue);
}

std::string Attribute(const char* name, const std::string& value) {
    return std::string(" ") + name + "=" + Quoted(value);
}

std::string Gradient(const Paint& paint, const std::string& id) {
    const bool linear = paint.kind == Paint::Kind::Linear;
    const std::string element = linear ? "linearGradient" : "radialGradient";
    std::string text = "<" + element + Attribute("id", id) + Attribute("gradientUnits", "userSpaceOnUse");
    if (linear)
        text += Attribute("x1", Number(paint.from.x)) + Attribute("y1", Number(paint.from.y)) +
                Attribute("x2", Number(paint.to.x)) + Attribute("y2", Number(paint.to.y));
    else
        text += Attribute("cx", Number(paint.from.x)) + Attribute("cy", Number(paint.from.y)) +
                Attribute("r", Number(Length(paint.to - paint.from)));
    text += ">\n";
    for (const Paint::Stop& stop : paint.stops) {
        text += "  <stop" + Attribute("offset", Number(stop.offset)) +
                Attribute("stop-color", HexColour(PackedColour(stop.colour)));
        if (stop.colour.alpha < 1)
            text += Attribute("stop-opacity", Number(stop.colour.alpha));
        text += "/>\n";
    }
    return text + "</" + element + ">\n";
}

std::string SvgLayer(const Layer& layer, const std::string& id) {
    const bool solid = layer.paint.kind == Paint::Kind::Solid;
    const Colour colour = layer.paint.stops.front().colour;
    const std::string paint = solid ? HexColour(PackedColour(colour)) : "url(#" + id + ")";
    const std::string kind = layer.stroke > 0 ? "stroke" : "fill";
    std::string text = "<path" + Attribute("d", PathData(layer.path)) + Attribute(kind.c_str(), paint);
    if (solid && colour.alpha < 1)
        text += Attribute((kind + "-opacity").c_str(), Number(colour.alpha));
    if (layer.stroke > 0)
        text += Attribute("fill", "none") + Attribute("stroke-width", Number(layer.stroke)) +
                Attribute("stroke-linecap", "round") + Attribute("stroke-linejoin", "round");
    return text + "/>\n";
}

std::string BigEndian(std::uint32_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>((value >> shift) & 0xff);
    return bytes;
}

const Bytef* Bytes(const std::string& text) {
    return reinterpret_cast<const Bytef*>(text.data());
}

std::string PngChunk(const std::string& type, const std::string& data) {
    const std::string content = type + data;
    const auto sum = static_cast<std::uint32_t>(crc32_z(0, Bytes(content), content.size()));
    return BigEndian(static_cast<std::uint32_t>(data.size())) + content + BigEndian(sum);
}

std::string Deflated(const std::string& data) {
    uLongf size = compressBound(static_cast<uLong>(data.size()));
    std::string packed(size, '\0');
    if (compress2(reinterpret_cast<Bytef*>(packed.data()), &size, Bytes(data), static_cast<uLong>(data.size()), 9) !=
        Z_OK)
        throw std::runtime_error("no memory to compress a picture");
    packed.resize(size);
    return packed;
}

} // namespace

std::string ToXpm(const std::string& declaration, const Image& image, const std::string& indentation) {
    const auto colours = ColoursOf(image);
    const std::size_t length = KeyLength(colours.size());
    const auto line = [&indentation](const std::string& content) { return indentation + "\"" + content + "\",\n"; };
    std::unordered_map<std::uint32_t, std::string> keys;
    std::string text = declaration + " = {\n" +
                       line(std::to_string(image.width) + " " + std::to_string(image.height) + " " +
                            std::to_string(colours.size()) + " " + std::to_string(length));
    for (const auto colour : colours) {
        const std::string key = Key(keys.size(), length);
        keys[colour] = key;
        text += line(key + " c " + (Pixel::Unpacked(colour).alpha == 0 ? "None" : HexColour(colour)));
    }
    for (std::size_t y = 0; y < image.height; ++y) {
        std::string row;
        for (std::size_t x = 0; x < image.width; ++x)
            row += keys.at(image.pixels[y * image.width + x].Packed());
        text += line(row);
    }
    return text + "};\n";
}

std::string ToSvg(const Drawing& drawing, int side, const std::string& title) {
    const std::string length = std::to_string(side);
    std::string definitions, shapes;
    for (const Layer& layer : drawing) {
        const std::string id = "p" + std::to_string(&layer - drawing.data());
        if (layer.paint.kind != Paint::Kind::Solid)
            definitions += Gradient(layer.paint, id);
        shapes += SvgLayer(layer, id);
    }
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\"" +
           Attribute("width", length) + Attribute("height", length) +
           Attribute("viewBox", "0 0 " + length + " " + length) + ">\n<title>" + title + "</title>\n<defs>\n" +
           definitions + "</defs>\n" + shapes + "</svg>\n";
}

std::string ToPng(const Image& image) {
    std::string rows;
    for (std::size_t i = 0; i < image.pixels.size(); ++i) {
        if (i % image.width == 0)
            rows += '\0'; // each row says how it is filtered: not at all
        const Pixel& pixel = image.pixels[i];
        for (const auto byte : {pixel.red, pixel.green, pixel.blue, pixel.alpha})
            rows += static_cast<char>(byte);
    }
    const std::string header = BigEndian(static_cast<std::uint32_t>(image.width)) +
                               BigEndian(static_cast<std::uint32_t>(image.height)) + std::string("\x08\x06\0\0\0", 5);
    return "\x89PNG\r\n\x1a\n" + PngChunk("IHDR", header) + PngChunk("IDAT", Deflated(rows)) + PngChunk("IEND", "");
}

} // namespace Pictures
