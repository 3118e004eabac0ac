#include "tests/support/Saver.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace test {

namespace {

namespace fs = std::filesystem;

const fs::path Folder = "/etc/vantor/lumoclient";

const PackageLayout& Layout() {
    static const PackageLayout layout; // one in a private machine
    return layout;
}

} // namespace

void PrintTo(Who who, std::ostream* out) {
    constexpr const char* names[] = {"Root", "Member", "Colleague"};
    *out << names[static_cast<int>(who)];
}

Saver::Saver(Who who) {
    if (who != Who::Root) {
        layout = &Layout();
        account = who == Who::Member ? &layout->member : &layout->colleague;
    }
}

bool Saver::IsMissing(Who who) {
    return who != Who::Root && OnlyOneAccount();
}

std::unique_ptr<ActingAs> Saver::Act() const {
    return account == nullptr ? nullptr : std::make_unique<ActingAs>(*account);
}

void Saver::Restore(const std::string& text) const {
    fs::create_directories(Folder);
    for (const auto& entry : fs::directory_iterator(Folder)) {
        fs::remove_all(entry);
    }
    Share(Folder);
    std::ofstream(Folder / "config", std::ios::binary) << text;
    Share(Folder / "config");
}

void Saver::Share(const std::string& path) const {
    if (layout == nullptr) {
        return;
    }
    const gid_t group = getgrnam("lumoadmin")->gr_gid;
    const mode_t mode = fs::is_directory(path) ? 02775 : 0664;
    if (chown(path.c_str(), 0, group) != 0 || chmod(path.c_str(), mode) != 0) {
        throw std::runtime_error(path);
    }
}

} // namespace test
