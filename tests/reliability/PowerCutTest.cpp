// The configuration file after a power cut: what a disk holds at some moment, mounted again.
//
// The file lies on an ext4 file system in an image. A writer saves without a pause; it is frozen, the image is copied
// as it is at that moment (what the file system has not yet written out is lost, as by a cut), and the copy is mounted,
// which replays its journal. A writer that truncates and writes shows that such a cut can be seen at all.

#include "config/Config.h"
#include "config/ProgramConfig.h"
#include "tests/reliability/Saves.h"
#include "tests/support/Saver.h"
#include "tests/unit/config/ConfigFiles.h"

#include <boost/property_tree/xml_parser.hpp>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <new>
#include <random>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <tuple>
#include <unistd.h>

using reliability::contents;
using test::Saver;
using test::Who;

namespace {

constexpr int kCuts = 50;
const std::string kImage = "/mnt/disk.img";
const std::string kCopy = "/mnt/cut.img";
const std::string kFolder = "/etc/vantor/lumoclient";

int shell(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str());
}

std::string value(int number) {
    return "save " + std::to_string(number) + " " + std::string(3000, static_cast<char>('a' + number % 26));
}

/// The number in the file if the file is exactly what that save wrote, else -1.
int saveInFile(const std::string& text, const std::string& form) {
    const auto from = text.find("save ");
    if (from == std::string::npos) {
        return -1;
    }
    const int number = std::atoi(text.c_str() + from + 5);
    std::string expected = form;
    expected.replace(expected.find('@'), 1, value(number));
    return text == expected ? number : -1;
}

/// An ext4 file system of its own under the configuration's folder.
class Disk {
public:
    explicit Disk(const std::string& options) {
        good_ = shell("truncate -s 24M " + kImage + " && mkfs.ext4 -q -F " + kImage) == 0 &&
                shell("mkdir -p /mnt/cut " + kFolder + " && mount -o loop,commit=1," + options + " " + kImage + " " +
                      kFolder) == 0;
    }
    ~Disk() {
        shell("umount " + kFolder);
        std::filesystem::remove(kImage);
    }
    Disk(const Disk&) = delete;
    Disk& operator=(const Disk&) = delete;
    bool good() const { return good_; }

    /// The file as the next start finds it when the power goes now.
    std::string afterCut() const {
        do {
            before_ = written();
            std::filesystem::copy_file(kImage, kCopy, std::filesystem::copy_options::overwrite_existing);
        } while (written() != before_); // the kernel wrote meanwhile: not one moment's image
        shell("mount -o loop " + kCopy + " /mnt/cut");
        std::string text = contents("/mnt/cut/config");
        shell("umount /mnt/cut");
        return text;
    }

private:
    static std::string written() {
        std::error_code error;
        return std::to_string(std::filesystem::last_write_time(kImage, error).time_since_epoch().count());
    }

    bool good_ = false;
    mutable std::string before_;
};

/// A child process that saves 0, 1, 2, … until it is ended.
class Writer {
public:
    Writer(const Saver& saver, const std::function<void(int)>& save) {
        shared_ = new (
            mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) volatile int(-1);
        pid_ = fork();
        if (pid_ == 0) {
            const auto acting = saver.Act();
            for (int i = 0;; ++i) {
                save(i);
                *shared_ = i;
            }
        }
        while (completed() < 0) {
            std::this_thread::yield();
        }
    }
    ~Writer() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        munmap(const_cast<int*>(shared_), sizeof(int));
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    void freeze() {
        kill(pid_, SIGSTOP);
        waitpid(pid_, nullptr, WUNTRACED);
    }
    void goOn() { kill(pid_, SIGCONT); }
    int completed() const { return *shared_; }

private:
    pid_t pid_;
    volatile int* shared_;
};

struct Tally {
    int bad = 0;  // neither an old nor a new file
    int lost = 0; // an older file than the last one that was reported as saved
};

Tally cut(const Disk& disk, const Saver& saver, const std::function<void(int)>& save, const std::string& form) {
    saver.Restore("<config/>");
    {
        const auto acting = saver.Act();
        EXPECT_TRUE(test::InAnotherProcess([&] {
            save(0);
            return true;
        }));
    }
    EXPECT_EQ(saveInFile(contents(kFolder + "/config"), form), 0) << "without a cut the file must be whole";
    Tally tally;
    Writer writer(saver, save);
    std::mt19937 random(7);
    std::uniform_int_distribution<int> pause(0, 20000);
    for (int i = 0; i < kCuts; ++i) {
        std::this_thread::sleep_for(std::chrono::microseconds(pause(random)));
        writer.freeze();
        const int completed = writer.completed();
        const int found = saveInFile(disk.afterCut(), form);
        writer.goOn();
        tally.bad += found == -1 ? 1 : 0;
        tally.lost += found != -1 && found < completed ? 1 : 0;
    }
    return tally;
}

void saveByProgram(int number) {
    static Vantor::Config* config = [] {
        GenerateConfig();
        return Vantor::Config::GetHandle(0);
    }();
    if (!config->SetString(ConfigId::Filename, value(number))) {
        _exit(1);
    }
}

void saveTruncating(int number) {
    boost::property_tree::ptree tree;
    tree.put("config.lumo_Client.Trace.Filename", value(number));
    boost::property_tree::write_xml(kFolder + "/config", tree, std::locale(),
                                    boost::property_tree::xml_writer_settings<std::string>(' ', 0, "utf-8"));
}

std::string formOfTheFile() {
    std::ostringstream text;
    boost::property_tree::ptree tree;
    tree.put("config.lumo_Client.Trace.Filename", "@");
    boost::property_tree::write_xml(text, tree,
                                    boost::property_tree::xml_writer_settings<std::string>(' ', 0, "utf-8"));
    return text.str();
}

class PowerCut : public testing::TestWithParam<std::tuple<std::string, Who>> {};

} // namespace

TEST_P(PowerCut, LeavesAWholeFileAndLosesNoSave) {
    if (geteuid() != 0 || access("/dev/loop-control", W_OK) != 0) {
        GTEST_SKIP() << "a power cut needs root and loop devices, and this machine grants none";
    }
    const auto [options, who] = GetParam();
    const Saver saver(who);
    const Disk disk(options);
    if (!disk.good()) {
        GTEST_SKIP() << "this machine cannot mount an ext4 image (" << options << ")";
    }
    const Tally control = cut(disk, saver, saveTruncating, formOfTheFile());
    const Tally ours = cut(disk, saver, saveByProgram, formOfTheFile());
    std::cout << kCuts << " cuts (" << options << "): " << ours.bad << " bad, " << ours.lost << " saves lost; "
              << control.bad << " bad with a truncating writer\n";
    EXPECT_EQ(ours.bad, 0);
    EXPECT_EQ(ours.lost, 0);
    EXPECT_GT(control.bad, 0) << "the control must fail, or the cut shows nothing";
}

INSTANTIATE_TEST_SUITE_P(Ext4, PowerCut,
                         testing::Combine(testing::Values(std::string("auto_da_alloc"), std::string("noauto_da_alloc")),
                                          testing::Values(Who::Root, Who::Member)),
                         [](const auto& option) {
                             return std::get<0>(option.param) + "By" +
                                    testing::PrintToString(std::get<1>(option.param));
                         });
