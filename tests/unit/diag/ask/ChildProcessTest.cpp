#include "diag/ask/ChildProcess.h"

#include "tests/support/Wait.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

using Diag::ChildProcess;
using Diag::ParentProcess;
using News = ChildProcess::News;
using namespace std::chrono_literals;

namespace {

constexpr auto Ample = 20000ms;

/// Whether this process has a child, living or dead.
bool HasChild() {
    siginfo_t info = {};
    return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

void SleepForever() {
    for (;;) {
        pause();
    }
}

} // namespace

TEST(ChildProcessTest, MessagesArriveWholeAndInOrder) {
    ChildProcess child([](const ParentProcess& parent) {
        parent.Send("first");
        parent.Send("");
        parent.Send(std::string("with\0zero", 9));
    });
    std::string message;
    for (const std::string& wanted : {std::string("first"), std::string(), std::string("with\0zero", 9)}) {
        ASSERT_EQ(child.Receive(message, Ample), News::Message);
        EXPECT_EQ(message, wanted);
    }
    EXPECT_EQ(child.Receive(message, Ample), News::End);
}

TEST(ChildProcessTest, MessagesLargerThanAPipeArrive) {
    const std::string large(3000000, 'x');
    ChildProcess child([&](const ParentProcess& parent) {
        parent.Send(large);
        parent.Send("end");
    });
    std::string message;
    ASSERT_EQ(child.Receive(message, Ample), News::Message);
    EXPECT_EQ(message.size(), large.size());
    ASSERT_EQ(child.Receive(message, Ample), News::Message);
    EXPECT_EQ(message, "end");
}

TEST(ChildProcessTest, WhatIsLeftDoesNotWakeTheParent) {
    ChildProcess child([](const ParentProcess& parent) {
        usleep(100000); // the parent sleeps by then
        parent.Leave("left");
        usleep(400000);
        parent.Send("sent");
        SleepForever();
    });
    std::string message;
    const auto before = std::chrono::steady_clock::now();
    ASSERT_EQ(child.Receive(message, Ample), News::Message);
    EXPECT_EQ(message, "left");
    EXPECT_GE(std::chrono::steady_clock::now() - before, 300ms) << "it came with the one that was sent";
    ASSERT_EQ(child.Receive(message, Ample), News::Message);
    EXPECT_EQ(message, "sent");
}

TEST(ChildProcessTest, WhatIsLeftArrivesAtTheEndAndWhenTheTimeHasPassed) {
    ChildProcess dead([](const ParentProcess& parent) {
        parent.Leave("last words");
        raise(SIGKILL);
    });
    std::string message;
    ASSERT_EQ(dead.Receive(message, Ample), News::Message);
    EXPECT_EQ(message, "last words");
    EXPECT_EQ(dead.Receive(message, Ample), News::End);

    ChildProcess silent([](const ParentProcess& parent) {
        usleep(50000);
        parent.Leave("before the silence");
        SleepForever();
    });
    ASSERT_EQ(silent.Receive(message, 300ms), News::Message) << "not silence: something was left";
    EXPECT_EQ(message, "before the silence");
    EXPECT_EQ(silent.Receive(message, 100ms), News::Silence);
}

TEST(ChildProcessTest, ManyMessagesThatAreLeftFillThePipeAndWakeTheParent) {
    const std::string text(10000, 'x');
    ChildProcess child([&](const ParentProcess& parent) {
        for (int i = 0; i < 300; ++i) {
            parent.Leave(text + std::to_string(i));
        }
    });
    std::string message;
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(child.Receive(message, Ample), News::Message) << i;
        ASSERT_EQ(message, text + std::to_string(i));
    }
    EXPECT_EQ(child.Receive(message, Ample), News::End);
}

TEST(ChildProcessTest, MoreRingsThanAPipeHoldsDoNotStopTheChild) {
    ChildProcess child([](const ParentProcess& parent) {
        for (int i = 0; i < 70000; ++i) {
            parent.Send("");
        }
    });
    usleep(200000); // nobody listens for a while
    std::string message;
    for (int i = 0; i < 70000; ++i) {
        ASSERT_EQ(child.Receive(message, Ample), News::Message) << i;
    }
    EXPECT_EQ(child.Receive(message, Ample), News::End);
}

TEST(ChildProcessTest, SilenceIsToldAfterTheLimit) {
    ChildProcess child([](const ParentProcess&) { SleepForever(); });
    std::string message = "kept";
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(child.Receive(message, 200ms), News::Silence);
    EXPECT_GE(std::chrono::steady_clock::now() - before, 200ms);
    EXPECT_EQ(message, "kept");
}

TEST(ChildProcessTest, EachStepIsASignOfLife) {
    ChildProcess child([](const ParentProcess& parent) {
        for (int i = 0; i < 12; ++i) {
            parent.Announce("a step");
            usleep(100000);
        }
        parent.Send("done");
        parent.Announce("the last one");
        SleepForever();
    });
    std::string message;
    EXPECT_EQ(child.Receive(message, 1000ms), News::Message) << "after more than a second";
    EXPECT_EQ(child.Receive(message, 200ms), News::Silence);
    EXPECT_EQ(child.LastStep(), "the last one");
}

TEST(ChildProcessTest, WithoutAnnouncementThereIsNoStep) {
    ChildProcess child([](const ParentProcess&) {});
    std::string message;
    EXPECT_EQ(child.Receive(message, Ample), News::End);
    EXPECT_EQ(child.LastStep(), "");
}

TEST(ChildProcessTest, AMessageAfterASilenceStillArrives) {
    ChildProcess child([](const ParentProcess& parent) {
        usleep(300000);
        parent.Send("late");
    });
    std::string message;
    EXPECT_EQ(child.Receive(message, 10ms), News::Silence);
    ASSERT_EQ(child.Receive(message, Ample), News::Message);
    EXPECT_EQ(message, "late");
}

TEST(ChildProcessTest, AChildThatDiesIsTheEnd) {
    ChildProcess child([](const ParentProcess& parent) {
        parent.Send("last words");
        raise(SIGKILL);
    });
    std::string message;
    ASSERT_EQ(child.Receive(message, Ample), News::Message);
    EXPECT_EQ(child.Receive(message, Ample), News::End);
}

TEST(ChildProcessTest, TheChildGoesWithItsObject) {
    {
        ChildProcess child([](const ParentProcess&) { SleepForever(); });
        ASSERT_TRUE(HasChild());
    }
    EXPECT_FALSE(HasChild());
}

TEST(ChildProcessTest, TheChildGoesWithItsParent) {
    // given: a parent that is killed, whose child passes its own number on
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t parent = fork();
    if (parent == 0) {
        ChildProcess child([&](const ParentProcess&) {
            const pid_t self = getpid();
            if (write(ends[1], &self, sizeof(self)) == sizeof(self)) {
                SleepForever();
            }
        });
        SleepForever();
    }
    pid_t grandchild = 0;
    ASSERT_EQ(read(ends[0], &grandchild, sizeof(grandchild)), static_cast<ssize_t>(sizeof(grandchild)));
    // when
    kill(parent, SIGKILL);
    waitpid(parent, nullptr, 0);
    // then
    EXPECT_TRUE(Support::waitUntil([&] {
        // Somebody else inherits the dead, and may be slow to bury them.
        FILE* const file = fopen(("/proc/" + std::to_string(grandchild) + "/stat").c_str(), "r");
        if (file == nullptr) {
            return true;
        }
        char state = '\0';
        const int fields = fscanf(file, "%*d %*s %c", &state);
        fclose(file);
        return fields != 1 || state == 'Z' || state == 'X';
    }));
    close(ends[0]);
    close(ends[1]);
}

TEST(ChildProcessTest, ASignalBreaksTheWait) {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    const pid_t parent = getpid();
    ChildProcess child([=](const ParentProcess&) {
        for (;;) {
            usleep(20000);
            kill(parent, SIGUSR1);
        }
    });
    std::string message;
    EXPECT_EQ(child.Receive(message, Ample), News::Interrupted);
}
