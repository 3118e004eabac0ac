// The registry of loggers.
#include "logging/LoggerVector.h"

#include <set>
#include <thread>

#include "tests/unit/logging/LoggerTest.h"

using namespace Vantor;
using testing::IsEmpty;
using testing::IsNull;
using testing::NotNull;
using testing::SizeIs;

namespace {

// Made before main, when another file's objects may not be ready yet.
LibLogging* const handleBeforeMain = LibLogging::GetHandle(0);

class LoggerVectorTest : public test::LoggerTest {
protected:
    LoggerVectorTest() { Empty(); }
    ~LoggerVectorTest() override { Empty(); }

    static void Empty() {
        for (LibLogging* logger : LoggerVector::vector()) {
            delete logger;
        }
        LoggerVector::vector().clear();
    }
};

TEST(LoggerVectorStartTest, LoggersCanBeHadBeforeMain) {
    EXPECT_THAT(handleBeforeMain, NotNull());
}

TEST_F(LoggerVectorTest, TheVectorIsOneForTheProcess) {
    EXPECT_EQ(&LoggerVector::vector(), &LoggerVector::vector());
    EXPECT_THAT(LoggerVector::vector(), IsEmpty());
}

TEST_F(LoggerVectorTest, InAnEmptyRegistryGetHandleMakesLogger0WhateverTheId) {
    LibLogging* logger = LibLogging::GetHandle(5);
    ASSERT_THAT(logger, NotNull());
    EXPECT_THAT(LoggerVector::vector(), SizeIs(1));
    EXPECT_EQ(LibLogging::GetHandle(0), logger);
}

TEST_F(LoggerVectorTest, TheSameIdGivesTheSameLogger) {
    LibLogging* logger = LibLogging::GetHandle(0);
    EXPECT_EQ(LibLogging::GetHandle(0), logger);
    EXPECT_THAT(LoggerVector::vector(), SizeIs(1));
}

TEST_F(LoggerVectorTest, TheFirstRegisteredLoggerIsNumber1AndSlot0IsReserved) {
    EXPECT_EQ(LibLogging::Register(), 1);
    ASSERT_THAT(LoggerVector::vector(), SizeIs(2));
    EXPECT_THAT(LoggerVector::vector()[0], IsNull());
    EXPECT_EQ(LibLogging::GetHandle(1), LoggerVector::vector()[1]);

    EXPECT_EQ(LibLogging::Register(), 2);
    EXPECT_EQ(LibLogging::Register(), 3);
    EXPECT_THAT(LoggerVector::vector(), SizeIs(4));
}

TEST_F(LoggerVectorTest, TheReservedDefaultLoggerIsMadeWhenItIsAskedFor) {
    LibLogging::Register();
    LibLogging* logger = LibLogging::GetHandle(0);
    ASSERT_THAT(logger, NotNull());
    EXPECT_EQ(LoggerVector::vector()[0], logger);
    EXPECT_NE(logger, LibLogging::GetHandle(1));
}

TEST_F(LoggerVectorTest, RegisterBesideTheDefaultLoggerGives1) {
    LibLogging::GetHandle(0);
    EXPECT_EQ(LibLogging::Register(), 1);
}

TEST_F(LoggerVectorTest, AnIdPastTheEndIsNotFound) {
    LibLogging::Register(); // two slots
    EXPECT_THAT(LibLogging::GetHandle(5), IsNull());
    EXPECT_THAT(LibLogging::GetHandle(2), IsNull()) << "the id that equals the number of slots";
    EXPECT_THAT(LibLogging::GetHandle(0xFFFFFFFF), IsNull());
    EXPECT_THAT(LoggerVector::vector(), SizeIs(2));
}

TEST_F(LoggerVectorTest, DestroyWritesTwoClosingEntriesAndFreesTheSlot) {
    LibLogging* logger = LibLogging::GetHandle(static_cast<unsigned int>(LibLogging::Register()));
    logger->Init(live, 10, false);
    logger->Enabled(true);

    logger->Destroy();

    EXPECT_EQ(Live(), "2026-03-01 14:05:09        DEBUG Destroy()\n"
                      "2026-03-01 14:05:09        DEBUG close LibLogging\n");
    ASSERT_THAT(LoggerVector::vector(), SizeIs(2));
    EXPECT_THAT(LoggerVector::vector()[1], IsNull());
}

TEST_F(LoggerVectorTest, TheSecondClosingEntryIgnoresTheLevel) {
    LibLogging* logger = LibLogging::GetHandle(0);
    logger->Init(live, 10, false);
    logger->Enabled(true);
    logger->SetLoggingLevel(LOG_LEVEL_NOTHING);

    logger->Destroy();

    EXPECT_EQ(Live(), "2026-03-01 14:05:09        DEBUG close LibLogging\n");
}

TEST_F(LoggerVectorTest, ADisabledLoggerIsDestroyedWithoutAnEntry) {
    LibLogging* logger = LibLogging::GetHandle(0);
    logger->Init(live, 10, false);
    logger->Destroy();
    EXPECT_EQ(Live(), "");
    EXPECT_THAT(LoggerVector::vector()[0], IsNull());
}

TEST_F(LoggerVectorTest, AFreedSlotGetsAFreshUnconfiguredLogger) {
    LibLogging* logger = LibLogging::GetHandle(0);
    logger->Init(live, 10, false);
    logger->Enabled(true);
    logger->Destroy();
    const std::string before = Live();

    logger = LibLogging::GetHandle(0);

    ASSERT_THAT(logger, NotNull());
    EXPECT_FALSE(logger->IsEnabled());
    EXPECT_FALSE(logger->IsVerbose());
    logger->Enabled(true);
    logger->LogError("no file is open");
    EXPECT_EQ(Live(), before);
}

TEST_F(LoggerVectorTest, ALoggerInAFreedSlotCanBeDestroyedAgain) {
    LibLogging::GetHandle(static_cast<unsigned int>(LibLogging::Register()))->Destroy();
    LibLogging::GetHandle(1)->Destroy();
    EXPECT_THAT(LoggerVector::vector()[1], IsNull());
}

TEST_F(LoggerVectorTest, AFreedSlotIsNotRegisteredAgain) {
    LibLogging::Register();
    LibLogging::GetHandle(1)->Destroy();
    EXPECT_EQ(LibLogging::Register(), 2);
}

TEST_F(LoggerVectorTest, DestroyOfALoggerOutsideTheRegistryDoesNothing) {
    Open();
    log.Destroy(); // id 7 of an empty registry
    EXPECT_EQ(Live(), "");

    LibLogging* registered = LibLogging::GetHandle(0);
    LibLogging sameId(0);
    sameId.Destroy();
    EXPECT_EQ(LoggerVector::vector()[0], registered) << "the slot is another logger's";
}

TEST_F(LoggerVectorTest, ThreadsMayRegisterGetAndDestroyAtOnce) {
    constexpr int perThread = 50;
    std::vector<std::vector<int>> ids(8);
    std::vector<std::thread> threads;
    for (auto& own : ids) {
        threads.emplace_back([&own] {
            for (int i = 0; i < perThread; ++i) {
                own.push_back(LibLogging::Register());
                EXPECT_THAT(LibLogging::GetHandle(static_cast<unsigned int>(own.back())), NotNull());
                EXPECT_THAT(LibLogging::GetHandle(0), NotNull());
            }
            LibLogging::GetHandle(static_cast<unsigned int>(own.front()))->Destroy();
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    std::set<int> all;
    for (const auto& own : ids) {
        all.insert(own.begin(), own.end());
    }
    EXPECT_THAT(all, SizeIs(8 * perThread)) << "each id once";
    EXPECT_THAT(LoggerVector::vector(), SizeIs(8 * perThread + 1));
}

} // namespace
