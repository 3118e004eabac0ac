// The pictures as they are checked in.
#include "app/CheckedXPM.h"
#include "resources/LogoPixels.h"
#include "resources/icon.xpm"
#include "resources/logo.xpm"
#include "resources/status_installed.xpm"
#include "resources/status_started.xpm"
#include "tests/unit/resources/Xpm.h"

#include <wx/image.h>
#include <wx/init.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/wait.h>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

using Vantor::checkedDisXpm;
using Vantor::checkedXpm;
using Vantor::uncheckedDisXpm;
using Vantor::uncheckedXpm;

const fs::path SourceTree = LUMOADMIN_SOURCE_DIR;
const int IconSizes[] = {16, 22, 24, 32, 48, 64, 128, 256};

void ExpectSizeAndColours(const Xpm& xpm, std::size_t width, std::size_t height, std::size_t colours) {
    EXPECT_EQ(xpm.width, width);
    EXPECT_EQ(xpm.height, height);
    EXPECT_EQ(xpm.UsedColours().size(), colours) << "colours that pixels have";
    EXPECT_EQ(xpm.declaredColours, colours) << "colours in the table";
}

std::string Hex(unsigned char red, unsigned char green, unsigned char blue) {
    char text[8];
    std::snprintf(text, sizeof text, "#%02X%02X%02X", red, green, blue);
    return text;
}

std::string ToolkitColour(const wxImage& image, int x, int y) {
    if (image.HasMask() && image.IsTransparent(x, y))
        return "None";
    return Hex(image.GetRed(x, y), image.GetGreen(x, y), image.GetBlue(x, y));
}

void ExpectToolkitAgrees(const char* const* lines, const Xpm& xpm) {
    const wxImage image(lines);
    ASSERT_TRUE(image.IsOk());
    ASSERT_EQ(image.GetSize(), wxSize(static_cast<int>(xpm.width), static_cast<int>(xpm.height)));
    std::size_t different = 0;
    for (std::size_t y = 0; y < xpm.height; ++y) {
        for (std::size_t x = 0; x < xpm.width; ++x)
            different += ToolkitColour(image, static_cast<int>(x), static_cast<int>(y)) != xpm.At(x, y);
    }
    EXPECT_EQ(different, 0U);
}

struct Rgb {
    int red, green, blue;
};

Rgb Parse(const std::string& colour) {
    const auto value = std::stol(colour.substr(1), nullptr, 16);
    return {static_cast<int>(value >> 16), static_cast<int>((value >> 8) & 0xff), static_cast<int>(value & 0xff)};
}

/// How many of the pixels that are not transparent have more green than red and blue.
double GreenShare(const Xpm& xpm) {
    int green = 0, opaque = 0;
    for (std::size_t y = 0; y < xpm.height; ++y) {
        for (std::size_t x = 0; x < xpm.width; ++x) {
            if (xpm.At(x, y) == "None")
                continue;
            const Rgb colour = Parse(xpm.At(x, y));
            ++opaque;
            green += colour.green > colour.red && colour.green > colour.blue ? 1 : 0;
        }
    }
    return static_cast<double>(green) / opaque;
}

std::size_t DifferentPixels(const Xpm& a, const Xpm& b) {
    std::size_t different = 0;
    for (std::size_t y = 0; y < a.height; ++y) {
        for (std::size_t x = 0; x < a.width; ++x)
            different += a.At(x, y) != b.At(x, y);
    }
    return different;
}

std::string Content(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    EXPECT_TRUE(stream) << file;
    return {std::istreambuf_iterator<char>(stream), {}};
}

int RunProgram(const std::string& program, const std::string& arguments) {
    const int status = std::system((program + " " + arguments + " 2>/dev/null").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int RunDrawPictures(const std::string& arguments) {
    return RunProgram(DRAW_PICTURES, arguments);
}

class Pictures : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(toolkit.IsOk());
        wxImage::AddHandler(new wxPNGHandler); // owned by the toolkit
    }

    wxInitializer toolkit;
};

} // namespace

TEST_F(Pictures, LogoIs769x170With36758Colours) {
    ExpectSizeAndColours(ReadXpm(lumo_logo_xpm), 769, 170, 36758);
}

TEST_F(Pictures, IconIs32x32With29Colours) {
    ExpectSizeAndColours(ReadXpm(lumo_icon_xpm), 32, 32, 29);
}

TEST_F(Pictures, StatusPicturesAre32x32With265Colours) {
    ExpectSizeAndColours(ReadXpm(lumo_status_installed_xpm), 32, 32, 265);
    ExpectSizeAndColours(ReadXpm(lumo_status_started_xpm), 32, 32, 265);
}

TEST_F(Pictures, StatusPicturesAreGreen) {
    EXPECT_GT(GreenShare(ReadXpm(lumo_status_installed_xpm)), 0.75);
    EXPECT_GT(GreenShare(ReadXpm(lumo_status_started_xpm)), 0.75);
}

TEST_F(Pictures, StatusPicturesAreToldApartAtAGlance) {
    EXPECT_GT(DifferentPixels(ReadXpm(lumo_status_installed_xpm), ReadXpm(lumo_status_started_xpm)), 100U);
}

TEST_F(Pictures, NormalCheckBoxesHaveTransparencyGreyBlackLightGreyAndWhite) {
    const std::set<std::string> wanted = {"None", "#808080", "#000000", "#C0C0C0", "#FFFFFF"};
    for (const auto& xpm : {ReadXpm(uncheckedXpm), ReadXpm(checkedXpm)}) {
        ExpectSizeAndColours(xpm, 16, 16, 5);
        EXPECT_EQ(xpm.UsedColours(), wanted);
    }
}

TEST_F(Pictures, DisabledCheckBoxesHaveTheSameColoursWithoutWhite) {
    const std::set<std::string> wanted = {"None", "#808080", "#000000", "#C0C0C0"};
    for (const auto& xpm : {ReadXpm(uncheckedDisXpm), ReadXpm(checkedDisXpm)}) {
        ExpectSizeAndColours(xpm, 16, 16, 4);
        EXPECT_EQ(xpm.UsedColours(), wanted);
    }
}

TEST_F(Pictures, TickLiesInsideTheBox) {
    const std::pair<Xpm, Xpm> pairs[] = {{ReadXpm(uncheckedXpm), ReadXpm(checkedXpm)},
                                         {ReadXpm(uncheckedDisXpm), ReadXpm(checkedDisXpm)}};
    for (const auto& [empty, ticked] : pairs) {
        EXPECT_GT(DifferentPixels(empty, ticked), 15U);
        for (std::size_t i = 0; i < 16; ++i) {
            for (const std::size_t edge : {0, 1, 2, 13, 14, 15}) {
                EXPECT_EQ(ticked.At(i, edge), empty.At(i, edge));
                EXPECT_EQ(ticked.At(edge, i), empty.At(edge, i));
            }
        }
    }
}

TEST_F(Pictures, DisabledBoxesDifferFromNormalOnes) {
    EXPECT_GT(DifferentPixels(ReadXpm(uncheckedXpm), ReadXpm(uncheckedDisXpm)), 100U);
    EXPECT_GT(DifferentPixels(ReadXpm(checkedXpm), ReadXpm(checkedDisXpm)), 100U);
}

TEST_F(Pictures, ToolkitReadsTheSamePixels) {
    ExpectToolkitAgrees(lumo_logo_xpm, ReadXpm(lumo_logo_xpm));
    ExpectToolkitAgrees(lumo_icon_xpm, ReadXpm(lumo_icon_xpm));
    ExpectToolkitAgrees(lumo_status_installed_xpm, ReadXpm(lumo_status_installed_xpm));
    ExpectToolkitAgrees(lumo_status_started_xpm, ReadXpm(lumo_status_started_xpm));
    ExpectToolkitAgrees(uncheckedXpm, ReadXpm(uncheckedXpm));
    ExpectToolkitAgrees(checkedXpm, ReadXpm(checkedXpm));
    ExpectToolkitAgrees(uncheckedDisXpm, ReadXpm(uncheckedDisXpm));
    ExpectToolkitAgrees(checkedDisXpm, ReadXpm(checkedDisXpm));
}

TEST_F(Pictures, LogoCoversItsWholeRectangle) {
    EXPECT_EQ(ReadXpm(lumo_logo_xpm).UsedColours().count("None"), 0U) << "the page would show through";
}

TEST_F(Pictures, KeysCountUpSoThatADecoderNeedsNoTable) {
    // given
    const std::string letters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz.+";
    const Xpm logo = ReadXpm(lumo_logo_xpm);
    ASSERT_EQ(logo.keyLength, 3U);

    for (std::size_t i = 0; i < logo.keys.size(); ++i) {
        // when
        std::size_t number = 0;
        for (const char letter : logo.keys[i])
            number = number * letters.size() + letters.find(letter);

        // then
        ASSERT_EQ(number, i) << logo.keys[i];
    }
}

TEST_F(Pictures, TextFilesAreWhatTheProgramDraws) {
    // given
    const fs::path folder = fs::temp_directory_path() / "pictures-drawn-anew";
    fs::remove_all(folder);

    // when
    ASSERT_EQ(RunDrawPictures(folder.string()), 0);

    // then
    for (const char* file : {"resources/logo.xpm", "resources/icon.xpm", "resources/status_installed.xpm",
                             "resources/status_started.xpm", "app/CheckedXPM.h", "packaging/icons/lumoadmin.svg"})
        EXPECT_TRUE(Content(folder / file) == Content(SourceTree / file))
            << file << " is out of date: run draw_pictures";
    fs::remove_all(folder);
}

TEST_F(Pictures, IconFilesShowWhatTheProgramDraws) {
    // given
    const fs::path folder = fs::temp_directory_path() / "icons-drawn-anew";
    fs::remove_all(folder);
    ASSERT_EQ(RunDrawPictures(folder.string()), 0);

    for (const int size : IconSizes) {
        // when: pixels, not bytes, for the bytes are the compression library's choice
        const std::string file = "packaging/icons/lumoadmin-" + std::to_string(size) + ".png";
        const wxImage fresh((folder / file).string()), stored((SourceTree / file).string());

        // then
        ASSERT_TRUE(fresh.IsOk() && stored.IsOk()) << file;
        ASSERT_EQ(stored.GetSize(), wxSize(size, size)) << file;
        ASSERT_EQ(fresh.GetSize(), stored.GetSize()) << file;
        ASSERT_TRUE(fresh.HasAlpha() && stored.HasAlpha()) << file;
        const auto pixels = static_cast<std::size_t>(size) * static_cast<std::size_t>(size);
        EXPECT_TRUE(std::equal(fresh.GetData(), fresh.GetData() + 3 * pixels, stored.GetData())) << file;
        EXPECT_TRUE(std::equal(fresh.GetAlpha(), fresh.GetAlpha() + pixels, stored.GetAlpha())) << file;
    }
    fs::remove_all(folder);
}

TEST_F(Pictures, ProgramRefusesToRunWithoutAFolder) {
    EXPECT_EQ(RunDrawPictures(""), 64);
}

TEST_F(Pictures, ProgramTellsWhenItCannotWrite) {
    EXPECT_EQ(RunDrawPictures("/proc/self/nowhere"), 1);
}

TEST_F(Pictures, ProgramThatUnpacksTheLogoWritesItsPixels) {
    // given
    const fs::path file = fs::temp_directory_path() / "logo-unpacked-anew";

    // when
    ASSERT_EQ(RunProgram(UNPACK_LOGO, (SourceTree / "resources/logo.xpm").string() + " " + file.string()), 0);

    // then
    EXPECT_TRUE(Content(file) == std::string(reinterpret_cast<const char*>(LogoPixels()), 3 * LogoWidth * LogoHeight));
    fs::remove(file);
}

TEST_F(Pictures, ProgramThatUnpacksTheLogoTakesNothingElse) {
    const fs::path file = fs::temp_directory_path() / "no-logo-unpacked";
    for (const char* picture : {"resources/icon.xpm", "resources/draw.cpp", "resources", "no-such-file"})
        EXPECT_EQ(RunProgram(UNPACK_LOGO, (SourceTree / picture).string() + " " + file.string()), 1) << picture;
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(RunProgram(UNPACK_LOGO, file.string()), 64);
}

TEST_F(Pictures, ProgramThatUnpacksTheLogoTellsWhenItCannotWrite) {
    EXPECT_EQ(RunProgram(UNPACK_LOGO, (SourceTree / "resources/logo.xpm").string() + " /dev/full"), 1);
}
