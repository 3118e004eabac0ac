// Gives an image an exact number of colours.
#pragma once

#include "resources/Canvas.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Pictures {

/// How many different pixels there are; all transparent ones count as one.
std::size_t CountColours(const Image& image);

/// Makes each pixel opaque or transparent: XPM knows nothing between. Half covered pixels stay.
void RemoveTranslucency(Image& image);

/// Brings the image down to `count` colours: again and again the two colours whose union changes the picture least
/// become their mean. For small pictures: the effort grows with the cube of the number of colours. Transparency stays
/// apart.
void MergeColours(Image& image, std::size_t count);

/// Brings the image up to `count` colours by moving single pixels by at most one step in each channel, which nobody
/// sees. An image that has as many already, or that has no room for more, stays as it is.
void SpreadColours(Image& image, std::size_t count);

/// All colours of the image in ascending order of Pixel::Packed, hence transparent first.
std::vector<std::uint32_t> ColoursOf(const Image& image);

} // namespace Pictures
