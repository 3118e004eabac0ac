// File replacement on a disk that loses its power: what the disk has got by then is all that is left.

#include "util/ReplaceFile.h"

#include "FileTests.h"

#include <atomic>
#include <iostream>
#include <new>
#include <random>

#include <fcntl.h>
#include <sys/mman.h>

using namespace Vantor;
using namespace test;

namespace {

constexpr int Cuts = 100;

bool Command(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

/// A content that tells its number and whether it is whole.
std::string Content(unsigned number) {
    const std::string name = std::to_string(number);
    return name + ":" + std::string(1 + number * 7919 % 30000, static_cast<char>('a' + number % 26)) + ":" + name;
}

/// The number of a content, -1 if it is none or not whole.
long NumberOf(const std::string& content) {
    const unsigned long number = std::strtoul(content.c_str(), nullptr, 10);
    return content == Content(static_cast<unsigned>(number)) ? static_cast<long>(number) : -1;
}

/// A process that does something over and over until it is destroyed, and can be held.
class Loop {
public:
    explicit Loop(const std::function<void()>& step) : pid(fork()) {
        if (pid == 0) {
            for (;;) {
                step();
            }
        }
    }
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;
    ~Loop() {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }

    void Hold() const {
        kill(pid, SIGSTOP);
        waitpid(pid, nullptr, WUNTRACED);
    }
    void Release() const { kill(pid, SIGCONT); }

private:
    pid_t pid;
};

struct Result {
    int torn = 0;    ///< no file, or one that is not whole
    int lost = 0;    ///< a whole file, but older than one that was reported as written
    long newest = 0; ///< number of the last content found
};

std::ostream& operator<<(std::ostream& stream, const Result& result) {
    return stream << Cuts << " cuts up to write " << result.newest << ": " << result.torn << " bad files, "
                  << result.lost << " lost writes";
}

using Writer = std::function<bool(const std::string& path, const std::string& content)>;

class PowerCut : public FileTest {
protected:
    PowerCut() { MountSmall("size=64m"); }

    /// Makes an empty disk and mounts it. @return false where this machine has no such disks
    bool MountDisk(const std::string& options) const {
        std::filesystem::create_directory(disk);
        std::filesystem::create_directory(copied);
        return Command("truncate -s 16M " + image) && Command("mkfs.ext4 -q -b 1024 -J size=2 " + image) &&
               Command("mount -o loop," + options + " " + image + " " + disk);
    }

    /// What the disk would show after a power cut now.
    std::string AfterPowerCut() const {
        EXPECT_TRUE(Command("cp --sparse=always " + image + " " + image + ".cut"));
        EXPECT_TRUE(Command("mount -o loop " + image + ".cut " + copied)) << "the file system itself is broken";
        const std::string content = ReadFile(copied + "/config");
        EXPECT_TRUE(Command("umount " + copied));
        return content;
    }

    /// Lets a writer write all the time, the system write back as it pleases, and cuts the power again and again.
    Result CutOften(const Writer& write) const {
        const std::string path = disk + "/config";
        EXPECT_TRUE(ReplaceFile(path, Content(0)));
        const auto reported = NewShared();
        unsigned number = 0;
        const Loop writer([&] {
            if (write(path, Content(++number))) {
                *reported = number;
            }
        });
        const int opened = open(disk.c_str(), O_RDONLY | O_DIRECTORY);
        const Loop writeBack([&] {
            syncfs(opened);
            usleep(static_cast<useconds_t>(std::rand() % 3000));
        });
        std::mt19937 random(5);
        Result result;
        for (int cut = 0; cut < Cuts; ++cut) {
            usleep(static_cast<useconds_t>(random() % 10000));
            writer.Hold();
            writeBack.Hold();
            const unsigned known = *reported;
            const long found = NumberOf(AfterPowerCut());
            result.torn += found < 0 ? 1 : 0;
            result.lost += found >= 0 && found < static_cast<long>(known) ? 1 : 0;
            result.newest = std::max(result.newest, found);
            writeBack.Release();
            writer.Release();
        }
        close(opened);
        return result;
    }

    /// A number that processes share.
    static std::atomic<unsigned>* NewShared() {
        void* const memory =
            mmap(nullptr, sizeof(std::atomic<unsigned>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        return new (memory) std::atomic<unsigned>(0);
    }

    void TearDown() override { Command("umount -l " + disk); }

    const std::string image = folder + "/image";
    const std::string disk = folder + "/disk";
    const std::string copied = folder + "/copied";
};

class PowerCutWith : public PowerCut, public testing::WithParamInterface<const char*> {};

constexpr const char* NoDisk = "no loop devices or no ext4 here, or no right to mount them";

} // namespace

TEST_P(PowerCutWith, LeavesTheNewestReportedFile) {
    if (!MountDisk(GetParam())) {
        GTEST_SKIP() << NoDisk;
    }
    const Result result =
        CutOften([](const std::string& path, const std::string& content) { return ReplaceFile(path, content); });
    std::cout << GetParam() << ": " << result << "\n";
    EXPECT_EQ(result.torn, 0);
    EXPECT_EQ(result.lost, 0);
    EXPECT_GT(result.newest, Cuts) << "too few writes to mean anything";
}

INSTANTIATE_TEST_SUITE_P(MountOption, PowerCutWith, testing::Values("auto_da_alloc", "noauto_da_alloc"),
                         [](const auto& instance) { return std::string(instance.param); });

TEST_F(PowerCut, WouldHitAFileThatIsTruncatedFirst) {
    // The control: were there no bad files, the tests above would show nothing.
    if (!MountDisk("noauto_da_alloc")) {
        GTEST_SKIP() << NoDisk;
    }
    const Result result = CutOften([](const std::string& path, const std::string& content) {
        std::ofstream stream(path, std::ios::binary | std::ios::trunc);
        return static_cast<bool>(stream << content);
    });
    std::cout << "truncated first: " << result << "\n";
    EXPECT_GT(result.torn, 0);
    EXPECT_GT(result.lost, 0);
}
