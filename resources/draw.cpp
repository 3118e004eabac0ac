// Draws all pictures of the program into the tree whose top folder is named as argument.
#include "resources/Designs.h"
#include "resources/Writers.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

namespace {

namespace fs = std::filesystem;
using namespace Pictures;

constexpr std::size_t IconSizes[] = {16, 22, 24, 32, 48, 64, 128, 256};
constexpr char IconTitle[] = "lumo Client";

void Write(const fs::path& file, const std::string& content) {
    fs::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary);
    stream << content;
    stream.close();
    if (!stream)
        throw std::runtime_error("cannot write " + file.string());
}

std::string XpmFile(const std::string& name, const std::string& what, const Image& image) {
    return "/* XPM */\n/* " + what + " Drawn by resources/draw.cpp. */\n" +
           ToXpm("static const char* const " + name + "[]", image);
}

void DrawAll(const fs::path& top) {
    const fs::path resources = top / "resources";
    Write(resources / "logo.xpm", XpmFile("lumo_logo_xpm", "The banner of the window.", Logo()));
    Write(resources / "icon.xpm", XpmFile("lumo_icon_xpm", "The icon of the window.", WindowIcon()));
    Write(resources / "status_installed.xpm",
          XpmFile("lumo_status_installed_xpm", "A service that is installed.", StatusInstalled()));
    Write(resources / "status_started.xpm",
          XpmFile("lumo_status_started_xpm", "A service that is running.", StatusStarted()));
    Write(top / "app" / "CheckedXPM.h", CheckBoxHeader());
    const fs::path icons = top / "packaging" / "icons";
    Write(icons / "lumoadmin.svg", ToSvg(Icon(true), IconSide, IconTitle));
    for (const auto size : IconSizes)
        Write(icons / ("lumoadmin-" + std::to_string(size) + ".png"), ToPng(IconOfSize(size)));
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: draw_pictures FOLDER\n";
        return 64;
    }
    try {
        DrawAll(argv[1]);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "draw_pictures: " << error.what() << "\n";
        return 1;
    }
}
