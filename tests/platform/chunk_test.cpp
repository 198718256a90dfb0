// Chunks of row memory: counted like every other block, and kept for the next who asks.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "platform/memory.h"

TEST(Chunk, HoldsAllOfItsBytes) {
    uint8_t *chunk = (uint8_t *)MemAllocChunk();
    ASSERT_NE(nullptr, chunk);
    memset(chunk, 0xA5, 65536);
    EXPECT_EQ(0xA5, chunk[0]);
    EXPECT_EQ(0xA5, chunk[65535]);
    MemFreeChunk(chunk);
}

TEST(Chunk, IsLiveUntilItIsFreed) {
    const int64_t before = MemLiveBlocks();
    void *chunk = MemAllocChunk();
    EXPECT_EQ(before + 1, MemLiveBlocks());
    MemFreeChunk(chunk);
    EXPECT_EQ(before, MemLiveBlocks());
}

TEST(Chunk, FreeingNothingDoesNothing) {
    const int64_t before = MemLiveBlocks();
    MemFreeChunk(NULL);
    EXPECT_EQ(before, MemLiveBlocks());
}

TEST(Chunk, FailsWhenItsTurnToFailHasCome) {
    const int64_t before = MemLiveBlocks();
    MemFailAt(2);
    void *first = MemAllocChunk();
    EXPECT_NE(nullptr, first);
    EXPECT_EQ(nullptr, MemAllocChunk());
    EXPECT_TRUE(MemFailed());
    MemFailAt(0);
    MemFreeChunk(first);
    EXPECT_EQ(before, MemLiveBlocks());
}

#ifndef __SANITIZE_ADDRESS__
TEST(Chunk, ThatWasFreedIsHandedOutNext) {
    void *chunk = MemAllocChunk();
    MemFreeChunk(chunk);
    void *next = MemAllocChunk();
    EXPECT_EQ(chunk, next);
    MemFreeChunk(next);
}
#endif

// More than are kept: those above the limit go back to the system.
TEST(Chunk, ThreeThousandAtOnceAreAllDifferent) {
    std::vector<uint8_t *> chunks;
    for (uint32_t i = 0; i < 3000; i++) {
        uint8_t *chunk = (uint8_t *)MemAllocChunk();
        ASSERT_NE(nullptr, chunk);
        memcpy(chunk, &i, sizeof i);
        chunks.push_back(chunk);
    }
    for (uint32_t i = 0; i < 3000; i++) {
        EXPECT_EQ(0, memcmp(chunks[i], &i, sizeof i));
        MemFreeChunk(chunks[i]);
    }
}

TEST(Chunk, IsNeverHandedToTwoThreads) {
    std::atomic<int> mixed = 0;
    const auto turn = [&mixed](int mark) {
        for (int i = 0; i < 2000; i++) {
            uint8_t *chunk = (uint8_t *)MemAllocChunk();
            memset(chunk, mark, 256);
            std::this_thread::yield();
            for (int at = 0; at < 256; at++) {
                mixed += chunk[at] != mark;
            }
            MemFreeChunk(chunk);
        }
    };
    std::thread one(turn, 1);
    std::thread two(turn, 2);
    turn(3);
    one.join();
    two.join();
    EXPECT_EQ(0, mixed);
}
