// Locks, waits and threads.
#include "platform/lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/thread.h"
#include "platform/wait.h"

TEST(Mutex, KeepsThreadsApart) {
    Mutex mutex;
    MutexInit(&mutex);
    int counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([&] {
            for (int i = 0; i < 10000; i++) {
                MutexLock(&mutex);
                counter++;
                MutexUnlock(&mutex);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(40000, counter);
    MutexDestroy(&mutex);
}

TEST(Semaphore, IsReleasedByAnotherThreadThanTheOneThatTookIt) {
    Semaphore semaphore;
    SemaphoreInit(&semaphore, 1);
    SemaphoreTake(&semaphore);
    EXPECT_FALSE(SemaphoreTryTake(&semaphore));
    std::thread other([&] { SemaphoreRelease(&semaphore); });
    SemaphoreTake(&semaphore);
    other.join();
    SemaphoreRelease(&semaphore);
    EXPECT_TRUE(SemaphoreTryTake(&semaphore));
    SemaphoreDestroy(&semaphore);
}

static std::atomic<int> waits_seen;
static std::atomic<int> last_wait;

static void CountWait(WaitPoint point) {
    last_wait = point;
    waits_seen++;
}

TEST(WaitSemaphore, AFreePermitIsNoWait) {
    Semaphore semaphore;
    SemaphoreInit(&semaphore, 1);
    waits_seen = 0;
    WaitSetHook(CountWait);
    WaitSemaphore(&semaphore, WAIT_CONN_PERMIT);
    EXPECT_EQ(0, waits_seen);
    std::thread other([&] {
        while (waits_seen == 0) {
            std::this_thread::yield();
        }
        SemaphoreRelease(&semaphore);
    });
    WaitSemaphore(&semaphore, WAIT_CONN_FREE);
    other.join();
    WaitSetHook(nullptr);
    EXPECT_EQ(1, waits_seen);
    EXPECT_EQ(WAIT_CONN_FREE, last_wait);
    SemaphoreDestroy(&semaphore);
}

TEST(WaitSpin, NamesTheWaitAndDoesNotSleep) {
    waits_seen = 0;
    WaitSetHook(CountWait);
    for (int i = 0; i < 1000; i++) {
        WaitSpin(WAIT_RESPONSE_DONE);
    }
    WaitSetHook(nullptr);
    EXPECT_EQ(1000, waits_seen);
    EXPECT_EQ(WAIT_RESPONSE_DONE, last_wait);
}

TEST(WaitPointName, EveryWaitHasItsOwn) {
    for (int first = 0; first < WAIT_POINT_COUNT; first++) {
        EXPECT_STRNE("", WaitPointName((WaitPoint)first));
        for (int second = 0; second < first; second++) {
            EXPECT_STRNE(WaitPointName((WaitPoint)first), WaitPointName((WaitPoint)second));
        }
    }
}

// The shipped step of a polling wait: this test waits for one.
TEST(WaitStep, LastsASecond) {
    EXPECT_EQ(1000u, POLL_STEP_MS);
    auto before = std::chrono::steady_clock::now();
    WaitStep(WAIT_ROWS_AHEAD);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(990));
}

static void ReleaseIt(void *semaphore) {
    SemaphoreRelease((Semaphore *)semaphore);
}

TEST(ThreadStart, RunsTheEntryWithItsArgument) {
    Semaphore semaphore;
    SemaphoreInit(&semaphore, 0);
    ASSERT_TRUE(ThreadStart(ReleaseIt, 0, &semaphore));
    SemaphoreTake(&semaphore);
    SemaphoreDestroy(&semaphore);
}

TEST(ThreadFailAt, FailsTheNthStart) {
    ThreadFailAt(1);
    EXPECT_FALSE(ThreadStart(ReleaseIt, 0, nullptr));
    Semaphore semaphore;
    SemaphoreInit(&semaphore, 0);
    EXPECT_TRUE(ThreadStart(ReleaseIt, 0, &semaphore));
    SemaphoreTake(&semaphore);
    SemaphoreDestroy(&semaphore);
}
