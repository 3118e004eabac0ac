#include "app/XpmImage.h"

#include "resources/LogoPixels.h"
#include "resources/XpmPicture.h"

#include <algorithm>

wxImage ImageFromXpm(const char* const* rows) {
    const auto picture = DecodeXpm(rows);
    if (!picture)
        return {};
    wxImage image(static_cast<int>(picture->width), static_cast<int>(picture->height), false);
    std::copy(picture->rgb.begin(), picture->rgb.end(), image.GetData());
    if (!picture->alpha.empty()) {
        image.InitAlpha();
        std::copy(picture->alpha.begin(), picture->alpha.end(), image.GetAlpha());
    }
    return image;
}

wxImage LogoImage() {
    // The toolkit does not promise to leave the pixels alone, but only an image's own editing functions write.
    return {LogoWidth, LogoHeight, const_cast<unsigned char*>(LogoPixels()), true};
}
