#include "resources/Palette.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <unordered_map>

namespace Pictures {

namespace {

/// Colours that have become one, and how often they occur.
struct Cluster {
    double red, green, blue;
    double weight;
    std::vector<std::uint32_t> members;
};

std::vector<Cluster> ClustersOf(const Image& image) {
    std::map<std::uint32_t, Cluster> found;
    for (const Pixel& pixel : image.pixels) {
        if (pixel.alpha == 0)
            continue;
        const auto packed = pixel.Packed();
        auto& cluster = found[packed];
        cluster = {
            double{0} + pixel.red, double{0} + pixel.green, double{0} + pixel.blue, cluster.weight + 1, {packed}};
    }
    std::vector<Cluster> clusters;
    clusters.reserve(found.size());
    for (auto& [packed, cluster] : found)
        clusters.push_back(std::move(cluster));
    return clusters;
}

/// By how much the squared error of the picture grows when two clusters become one.
double CostOfUnion(const Cluster& a, const Cluster& b) {
    const double red = a.red - b.red, green = a.green - b.green, blue = a.blue - b.blue;
    return (red * red + green * green + blue * blue) * (a.weight * b.weight / (a.weight + b.weight));
}

void Unite(Cluster& a, const Cluster& b) {
    const double weight = a.weight + b.weight;
    const auto mean = [&](double x, double y) { return (x * a.weight + y * b.weight) / weight; };
    a.red = mean(a.red, b.red);
    a.green = mean(a.green, b.green);
    a.blue = mean(a.blue, b.blue);
    a.weight = weight;
    a.members.insert(a.members.end(), b.members.begin(), b.members.end());
}

void UniteCheapestPair(std::vector<Cluster>& clusters) {
    std::size_t first = 0, second = 1;
    double cheapest = CostOfUnion(clusters[0], clusters[1]);
    for (std::size_t i = 0; i < clusters.size(); ++i) {
        for (std::size_t j = i + 1; j < clusters.size(); ++j) {
            const double cost = CostOfUnion(clusters[i], clusters[j]);
            if (cost < cheapest) {
                cheapest = cost;
                first = i;
                second = j;
            }
        }
    }
    Unite(clusters[first], clusters[second]);
    clusters.erase(clusters.begin() + static_cast<std::ptrdiff_t>(second));
}

Pixel MeanOf(const Cluster& cluster) {
    const auto byte = [](double value) { return static_cast<std::uint8_t>(std::lround(value)); };
    return {byte(cluster.red), byte(cluster.green), byte(cluster.blue), 255};
}

/// Visits 0 to count - 1, each once and in an order that jumps about, so that changed pixels do not lie side by side.
template <typename Visit>
void ForEachScattered(std::size_t count, Visit visit) {
    std::size_t bits = 1;
    while (bits < count)
        bits *= 2;
    // x -> 5 x + odd runs through all numbers below a power of two.
    std::size_t at = 0;
    for (std::size_t i = 0; i < bits; ++i) {
        at = (at * 5 + 40503) % bits;
        if (at < count && !visit(at))
            return;
    }
}

using Uses = std::unordered_map<std::uint32_t, std::size_t>;

struct ColourStep {
    int red, green, blue;
};

/// The steps of one in each channel, the least visible first: the eye sees blue least and green most.
const std::vector<ColourStep>& SmallSteps() {
    static const std::vector<ColourStep> steps = [] {
        std::vector<ColourStep> all;
        for (const int green : {0, 1, -1}) {
            for (const int red : {0, 1, -1}) {
                for (const int blue : {0, 1, -1})
                    all.push_back({red, green, blue});
            }
        }
        all.erase(all.begin()); // no step at all
        return all;
    }();
    return steps;
}

bool MoveToFreeColour(Pixel& pixel, const Uses& uses) {
    const auto isByte = [](int value) { return value >= 0 && value <= 255; };
    for (const ColourStep& step : SmallSteps()) {
        const int red = pixel.red + step.red, green = pixel.green + step.green, blue = pixel.blue + step.blue;
        if (!isByte(red) || !isByte(green) || !isByte(blue))
            continue;
        const Pixel changed = {static_cast<std::uint8_t>(red), static_cast<std::uint8_t>(green),
                               static_cast<std::uint8_t>(blue), pixel.alpha};
        if (uses.count(changed.Packed()) == 0) {
            pixel = changed;
            return true;
        }
    }
    return false;
}

} // namespace

std::vector<std::uint32_t> ColoursOf(const Image& image) {
    std::vector<std::uint32_t> colours;
    colours.reserve(image.pixels.size());
    for (const Pixel& pixel : image.pixels)
        colours.push_back(pixel.Packed());
    std::sort(colours.begin(), colours.end());
    colours.erase(std::unique(colours.begin(), colours.end()), colours.end());
    return colours;
}

std::size_t CountColours(const Image& image) {
    return ColoursOf(image).size();
}

void RemoveTranslucency(Image& image) {
    for (Pixel& pixel : image.pixels) {
        if (pixel.alpha < 128)
            pixel = {};
        else
            pixel.alpha = 255;
    }
}

void MergeColours(Image& image, std::size_t count) {
    std::vector<Cluster> clusters = ClustersOf(image);
    const std::size_t transparent = CountColours(image) - clusters.size();
    while (clusters.size() > 1 && clusters.size() + transparent > count)
        UniteCheapestPair(clusters);
    std::unordered_map<std::uint32_t, Pixel> replacement;
    for (const Cluster& cluster : clusters) {
        for (const auto member : cluster.members)
            replacement[member] = MeanOf(cluster);
    }
    for (Pixel& pixel : image.pixels) {
        if (pixel.alpha != 0)
            pixel = replacement.at(pixel.Packed());
    }
}

void SpreadColours(Image& image, std::size_t count) {
    Uses uses;
    for (const Pixel& pixel : image.pixels)
        ++uses[pixel.Packed()];
    ForEachScattered(image.pixels.size(), [&](std::size_t i) {
        Pixel& pixel = image.pixels[i];
        if (uses.size() < count && pixel.alpha != 0 && uses[pixel.Packed()] > 1) {
            const auto old = pixel.Packed();
            if (MoveToFreeColour(pixel, uses)) {
                --uses[old];
                uses[pixel.Packed()] = 1;
            }
        }
        return uses.size() < count;
    });
}

} // namespace Pictures
