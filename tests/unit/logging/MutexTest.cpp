#include "logging/Mutex.h"

#include <mutex>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/logging/SystemCalls.h"

using Vantor::Mutex;

namespace {

static_assert(!std::is_copy_constructible_v<Mutex> && !std::is_copy_assignable_v<Mutex>);

bool TryFromAnotherThread(Mutex& mutex) {
    bool locked = false;
    std::thread([&] {
        locked = mutex.trylock();
        if (locked) {
            mutex.unlock();
        }
    }).join();
    return locked;
}

TEST(MutexTest, LockAndUnlockSucceed) {
    Mutex mutex;
    EXPECT_TRUE(mutex.lock());
    EXPECT_TRUE(mutex.unlock());
    EXPECT_TRUE(mutex.lock());
    EXPECT_TRUE(mutex.unlock());
}

TEST(MutexTest, TrylockTellsWhetherItGotTheLock) {
    Mutex mutex;
    EXPECT_TRUE(TryFromAnotherThread(mutex));
    ASSERT_TRUE(mutex.trylock());
    EXPECT_FALSE(TryFromAnotherThread(mutex));
    EXPECT_TRUE(mutex.unlock());
    EXPECT_TRUE(TryFromAnotherThread(mutex));
}

TEST(MutexTest, TheLockIsNotRecursive) {
    Mutex mutex;
    ASSERT_TRUE(mutex.lock());
    EXPECT_FALSE(mutex.trylock()) << "the holder itself must not get it twice";
    mutex.unlock();
}

TEST(MutexTest, LockKeepsThreadsApart) {
    Mutex mutex;
    int count = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int i = 0; i < 10000; ++i) {
                const std::lock_guard<Mutex> guard(mutex);
                ++count;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(count, 40000);
}

TEST(MutexTest, WithoutAMutexOfTheSystemNothingIsLocked) {
    test::refuseMutexes = true;
    Mutex mutex;
    test::refuseMutexes = false;

    EXPECT_FALSE(mutex.lock());
    EXPECT_FALSE(mutex.lock()) << "must not wait either";
    EXPECT_FALSE(mutex.trylock());
    EXPECT_FALSE(mutex.unlock());
}

} // namespace
