// The pictures as they are checked in. The toolkit reads them, so that our own decoder is not its own witness.
#include "app/CheckedXPM.h"
#include "resources/LogoPixels.h"
#include "resources/icon.xpm"
#include "resources/logo.xpm"
#include "resources/status_installed.xpm"
#include "resources/status_started.xpm"

#include <wx/image.h>
#include <wx/init.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <sys/wait.h>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

using Vantor::checkedDisXpm;
using Vantor::checkedXpm;
using Vantor::uncheckedDisXpm;
using Vantor::uncheckedXpm;

constexpr long Transparent = -1;

const fs::path SourceTree = LUMOADMIN_SOURCE_DIR;

// 0xRRGGBB, or Transparent
long ColourAt(const wxImage& image, int x, int y) {
    if (image.IsTransparent(x, y))
        return Transparent;
    return image.GetRed(x, y) << 16 | image.GetGreen(x, y) << 8 | image.GetBlue(x, y);
}

template <typename Visitor>
void VisitPixels(const wxImage& image, Visitor visit) {
    for (int y = 0; y < image.GetHeight(); ++y)
        for (int x = 0; x < image.GetWidth(); ++x)
            visit(x, y);
}

std::set<long> ColoursOf(const wxImage& image) {
    std::set<long> colours;
    VisitPixels(image, [&](int x, int y) { colours.insert(ColourAt(image, x, y)); });
    return colours;
}

// The numbers of colours in the table and in the pixels, a transparent one included.
void ExpectSizeAndColours(const char* const* picture, const wxSize& size, std::size_t colours) {
    const wxImage image(picture);
    ASSERT_TRUE(image.IsOk());
    EXPECT_EQ(image.GetSize(), size);
    EXPECT_EQ(ColoursOf(image).size(), colours);
    const std::string header = picture[0];
    EXPECT_EQ(header.substr(0, header.rfind(' ')),
              std::to_string(size.x) + " " + std::to_string(size.y) + " " + std::to_string(colours));
}

// How many of the pixels that are not transparent have more green than red and blue.
double GreenShare(const wxImage& image) {
    int green = 0, opaque = 0;
    VisitPixels(image, [&](int x, int y) {
        if (image.IsTransparent(x, y))
            return;
        ++opaque;
        green += image.GetGreen(x, y) > image.GetRed(x, y) && image.GetGreen(x, y) > image.GetBlue(x, y) ? 1 : 0;
    });
    return static_cast<double>(green) / opaque;
}

int DifferentPixels(const wxImage& a, const wxImage& b) {
    int different = 0;
    VisitPixels(a, [&](int x, int y) { different += ColourAt(a, x, y) != ColourAt(b, x, y) ? 1 : 0; });
    return different;
}

std::string Content(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    EXPECT_TRUE(stream) << file;
    return {std::istreambuf_iterator<char>(stream), {}};
}

int RunUnpackLogo(const std::string& arguments) {
    const int status = std::system((std::string(UNPACK_LOGO) + " " + arguments + " 2>/dev/null").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class Pictures : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(toolkit.IsOk()); }

    wxInitializer toolkit;
};

} // namespace

TEST_F(Pictures, LogoIs769x170With36758Colours) {
    ExpectSizeAndColours(lumo_logo_xpm, {769, 170}, 36758);
}

TEST_F(Pictures, IconIs32x32With29Colours) {
    ExpectSizeAndColours(lumo_icon_xpm, {32, 32}, 29);
}

TEST_F(Pictures, StatusPicturesAre32x32With265Colours) {
    ExpectSizeAndColours(lumo_status_installed_xpm, {32, 32}, 265);
    ExpectSizeAndColours(lumo_status_started_xpm, {32, 32}, 265);
}

TEST_F(Pictures, StatusPicturesAreGreen) {
    EXPECT_GT(GreenShare(wxImage(lumo_status_installed_xpm)), 0.75);
    EXPECT_GT(GreenShare(wxImage(lumo_status_started_xpm)), 0.75);
}

TEST_F(Pictures, StatusPicturesAreToldApartAtAGlance) {
    EXPECT_GT(DifferentPixels(wxImage(lumo_status_installed_xpm), wxImage(lumo_status_started_xpm)), 100);
}

TEST_F(Pictures, NormalCheckBoxesHaveTransparencyGreyBlackLightGreyAndWhite) {
    for (const auto* picture : {uncheckedXpm, checkedXpm}) {
        ExpectSizeAndColours(picture, {16, 16}, 5);
        EXPECT_EQ(ColoursOf(wxImage(picture)), (std::set<long>{Transparent, 0x808080, 0, 0xC0C0C0, 0xFFFFFF}));
    }
}

TEST_F(Pictures, DisabledCheckBoxesHaveTheSameColoursWithoutWhite) {
    for (const auto* picture : {uncheckedDisXpm, checkedDisXpm}) {
        ExpectSizeAndColours(picture, {16, 16}, 4);
        EXPECT_EQ(ColoursOf(wxImage(picture)), (std::set<long>{Transparent, 0x808080, 0, 0xC0C0C0}));
    }
}

TEST_F(Pictures, TickLiesInsideTheBox) {
    const wxRect inside(3, 3, 10, 10);
    const std::pair<wxImage, wxImage> pairs[] = {{wxImage(uncheckedXpm), wxImage(checkedXpm)},
                                                 {wxImage(uncheckedDisXpm), wxImage(checkedDisXpm)}};
    for (const auto& [empty, ticked] : pairs) {
        EXPECT_GT(DifferentPixels(empty, ticked), 15);
        EXPECT_EQ(DifferentPixels(empty, ticked),
                  DifferentPixels(empty.GetSubImage(inside), ticked.GetSubImage(inside)));
    }
}

TEST_F(Pictures, DisabledBoxesDifferFromNormalOnes) {
    EXPECT_GT(DifferentPixels(wxImage(uncheckedXpm), wxImage(uncheckedDisXpm)), 100);
    EXPECT_GT(DifferentPixels(wxImage(checkedXpm), wxImage(checkedDisXpm)), 100);
}

TEST_F(Pictures, LogoCoversItsWholeRectangle) {
    EXPECT_FALSE(wxImage(lumo_logo_xpm).HasMask()) << "the page would show through";
}

TEST_F(Pictures, ProgramThatUnpacksTheLogoWritesItsPixels) {
    // given
    const fs::path file = fs::temp_directory_path() / "logo-unpacked-anew";

    // when
    ASSERT_EQ(RunUnpackLogo((SourceTree / "resources/logo.xpm").string() + " " + file.string()), 0);

    // then
    EXPECT_TRUE(Content(file) == std::string(reinterpret_cast<const char*>(LogoPixels()), 3 * LogoWidth * LogoHeight));
    fs::remove(file);
}

TEST_F(Pictures, ProgramThatUnpacksTheLogoTakesNothingElse) {
    const fs::path file = fs::temp_directory_path() / "no-logo-unpacked";
    for (const char* picture : {"resources/icon.xpm", "resources/icon.svg", "resources", "no-such-file"})
        EXPECT_EQ(RunUnpackLogo((SourceTree / picture).string() + " " + file.string()), 1) << picture;
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(RunUnpackLogo(file.string()), 64);
}

TEST_F(Pictures, ProgramThatUnpacksTheLogoTellsWhenItCannotWrite) {
    EXPECT_EQ(RunUnpackLogo((SourceTree / "resources/logo.xpm").string() + " /dev/full"), 1);
}
