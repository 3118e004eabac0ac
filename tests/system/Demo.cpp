// Shows the program by itself, as a person would use it: ticks two readers, takes a picture of every page, presses OK.
//
// usage: lumoadmin_demo FOLDER    under scripts/with-desktop and scripts/with-pcscd; the pictures go to FOLDER, named
// by
//                                 language and page. With LUMOADMIN_DEMO_LOOK set it only looks and changes nothing.

#include "tests/system/Program.h"

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>

namespace {

std::string content(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// A picture of the window with its title bar, not of the rest of somebody's screen.
std::string picture(const Program& program, const std::filesystem::path& file) {
    const std::string window = std::to_string(program.window());
    const std::vector<std::string> command{"import",  "-frame", "-strip", "-define", "png:exclude-chunks=date,time",
                                           "-window", window,   file};
    return Support::run(command).status == 0 ? content(file) : "";
}

/// Takes a picture once the window shows something else than `before` and has come to rest.
std::string takePicture(const Program& program, const std::filesystem::path& file, const std::string& before) {
    std::string last;
    const bool taken = Support::waitUntil([&] {
        const std::string now = picture(program, file);
        const bool atRest = !now.empty() && now == last && now != before;
        last = now;
        return atRest;
    });
    if (!taken) {
        throw std::runtime_error("no picture " + file.string());
    }
    return last;
}

/// The pages in the order of their tabs, as parts of file names.
constexpr const char* kPages[] = {"Information", "Kartenleser", "Logging", "Windows", "Weitere-Einstellungen"};

/// The tabs of the notebook, whatever the language.
std::vector<Support::Control> tabs(const Program& program) {
    return Support::Accessibility(program.pid()).showing("page tab");
}

void takePictures(Program& program, const std::filesystem::path& folder, const std::string& language) {
    const std::vector<Support::Control> shown = tabs(program);
    if (shown.size() != std::size(kPages)) {
        throw std::runtime_error("the window shows " + std::to_string(shown.size()) + " pages");
    }
    std::string before;
    for (std::size_t i = 0; i < shown.size(); ++i) {
        const auto file = folder / (language + "-" + std::to_string(i + 1) + "-" + kPages[i] + ".png");
        program.showPage(shown[i].name());
        before = takePicture(program, file, before);
        std::cout << "  " << file.filename().string() << '\n';
    }
}

void useAsAPersonWould(Program& program) {
    program.showPage(Texts::kReaders);
    program.tickRow(0);
    program.tickRow(1);
    std::cout << "Ticked the first two readers.\n";
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 2) {
        std::cerr << "usage: lumoadmin_demo FOLDER\n";
        return 64;
    }
    try {
        const char* language = std::getenv("LUMOADMIN_DEMO_LOOK");
        Program program;
        if (!language) {
            useAsAPersonWould(program);
        }
        takePictures(program, argv[1], language ? language : "de");
        program.press(language ? "Cancel" : "OK");
        return program.ending().status;
    } catch (const std::exception& error) {
        std::cerr << "lumoadmin_demo: " << error.what() << '\n';
        return 1;
    }
}
