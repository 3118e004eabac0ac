// A whole press of OK with four readers, killed before and after every system call.

#include "config/XmlDocument.h"
#include "tests/gui/Window.h"
#include "tests/support/Saver.h"
#include "tests/support/Tracer.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <iostream>
#include <optional>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using Support::Action;
using Support::Stop;

constexpr std::size_t kShares = 4;

/// The child of a fork has its parent's connections, to the display above all; what it says there must not arrive.
void cutConnections() {
    int nowhere[2];
    // Who waits for an answer gets the end of the connection.
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, nowhere) != 0 || shutdown(nowhere[1], SHUT_WR) != 0) {
        _exit(99);
    }
    for (int file = 3; file < nowhere[0]; ++file) {
        struct stat status {};
        if (fstat(file, &status) == 0 && S_ISSOCK(status.st_mode)) {
            dup2(nowhere[0], file);
        }
    }
}

class KilledSave : public Window, public testing::WithParamInterface<std::tuple<std::size_t, test::Who>> {
protected:
    void SetUp() override {
        const test::Who who = std::get<test::Who>(GetParam());
        if (test::Saver::IsMissing(who)) {
            GTEST_SKIP() << "needs a second user; this machine maps only one";
        }
        Window::SetUp();
        saver.emplace(who);
        saver->Restore("<config><lumo_Client><Version>2.0</Version></lumo_Client></config>");
        Attach({"Reader A", "Reader B", "Reader C", "Reader D"});
        Open();
        wxBusyCursor(); // the display is asked for it when it is first needed
        for (long row = 0; row < List().GetItemCount(); ++row) {
            List().SetChecked(row, true);
        }
        before = FileText();
        learn();
    }

    int save() {
        cutConnections();
        const auto acting = saver->Act();
        syscall(SYS_getppid); // marks where the save begins
        frame->Save();
        return 0;
    }

    /// One undisturbed save, looked at whenever it stops: where it begins, and every file that it shows.
    void learn() {
        const auto outcome = Support::trace([this] { return save(); },
                                            [this](const Stop& stop) {
                                                if (stop.number == SYS_getppid && first == 0) {
                                                    first = stop.index + 1;
                                                }
                                                if (files.empty() || files.back() != FileText()) {
                                                    files.push_back(FileText());
                                                }
                                                return Action{};
                                            });
        ASSERT_EQ(outcome.status, 0);
        stops = outcome.stops;
        putBack();
    }

    void putBack() const { saver->Restore(before); }

    std::optional<test::Saver> saver;
    std::string before;
    std::size_t first = 0;
    std::size_t stops = 0;
    std::vector<std::string> files;
};

} // namespace

TEST_P(KilledSave, ShowsOnlyWholeFiles) {
    ASSERT_GT(files.size(), 30U) << "six switches, four readers of six values each, the language";
    EXPECT_EQ(files.front(), before);
    for (const std::string& file : files) {
        boost::property_tree::ptree tree;
        EXPECT_TRUE(Vantor::ParseXml(file, tree)) << file;
    }
}

TEST_P(KilledSave, LeavesOneOfItsFilesAtEveryPoint) {
    std::size_t points = 0;
    for (std::size_t point = first + std::get<std::size_t>(GetParam()); point < stops; point += kShares, ++points) {
        const auto outcome = Support::traceTo(
            point, [this] { return save(); }, [] { return Action{Action::Kind::Kill}; });
        const std::string left = FileText();
        if (!outcome.killed) {
            // What the display asks for differs by a few calls from run to run, so that the last points may not come.
            ASSERT_GT(point + 40, stops) << "ended at stop " << outcome.stops;
            ASSERT_EQ(left, files.back());
            break;
        }
        ASSERT_NE(std::find(files.begin(), files.end(), left), files.end()) << "at stop " << point << ":\n" << left;
        putBack();
    }
    std::cout << points << " points of a press of OK, 0 files that no whole write made\n";
    EXPECT_GE(points, 200U);
}

using Share = std::tuple<std::size_t, test::Who>;

// Their system calls differ in few places, so each of the two is killed at every second one.
INSTANTIATE_TEST_SUITE_P(EveryFourth, KilledSave,
                         testing::Values(Share{0, test::Who::Root}, Share{1, test::Who::Member},
                                         Share{2, test::Who::Root}, Share{3, test::Who::Member}));
