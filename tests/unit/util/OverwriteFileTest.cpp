#include "util/OverwriteFile.h"

#include "FileTests.h"

#include <fcntl.h>

using namespace Vantor;
using namespace test;

namespace {

class OverwriteFileTest : public FileTest {
protected:
    bool Overwrite(const std::string& content, int access = O_RDWR) {
        const FileDescriptor opened(open(file.c_str(), access));
        return OverwriteFile(opened, content);
    }
};

} // namespace

TEST_F(OverwriteFileTest, LeavesExactlyTheNewContent) {
    WriteFile(file, "old content");
    for (const std::string& content :
         {std::string("shorter"), std::string("longer than that"), std::string("same length here"), std::string(),
          std::string(100000, 'x'), std::string("ends in lines\n\n")}) {
        EXPECT_TRUE(Overwrite(content));
        EXPECT_TRUE(ReadFile(file) == content) << content.size();
    }
}

TEST_F(OverwriteFileTest, NeedsNoRightToRead) {
    WriteFile(file, "old content");
    EXPECT_TRUE(Overwrite("new", O_WRONLY));
    EXPECT_EQ(ReadFile(file), "new");
}

TEST_F(OverwriteFileTest, FailsOnWhatIsNotOpenForWriting) {
    WriteFile(file, "old");
    EXPECT_FALSE(Overwrite("new", O_RDONLY));
    EXPECT_FALSE(Overwrite("longer than before", O_RDONLY));
    EXPECT_FALSE(OverwriteFile(FileDescriptor(), "new"));
    EXPECT_EQ(ReadFile(file), "old");
}

TEST_F(OverwriteFileTest, AFullDiskIsMetBeforeTheOldContentIsTouched) {
    MountSmall("size=64k");
    const std::string old(10000, 'o');
    WriteFile(file, old);
    EXPECT_FALSE(Overwrite(std::string(100000, 'x')));
    EXPECT_TRUE(ReadFile(file) == old) << "and the padding is gone";
    EXPECT_FALSE(Overwrite(std::string(100000, 'x'), O_WRONLY));
    EXPECT_TRUE(ReadFile(file) == old);
}

TEST_F(OverwriteFileTest, AWriteThatFailsHalfwayIsTakenBack) {
    // Given a file larger than what a process may write, so that its write ends after a part
    const std::string old(10000, 'o');
    WriteFile(file, old);
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {4000, 4000};
    const bool done =
        InAnotherProcess([&] { return setrlimit(RLIMIT_FSIZE, &limit) == 0 && Overwrite(std::string(5000, 'x')); });
    EXPECT_FALSE(done);
    // Then the part that could be written was written again
    EXPECT_TRUE(ReadFile(file) == old);
}

TEST_F(OverwriteFileTest, AHugeFileIsCutToTheNewContentWithoutBeingCovered) {
    WriteFile(file, "");
    ASSERT_EQ(truncate(file.c_str(), off_t{1} << 40), 0);
    EXPECT_TRUE(Overwrite("new"));
    EXPECT_EQ(ReadFile(file), "new");
}
