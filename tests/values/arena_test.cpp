// Row memory: the three ways in which a request is served, and what a failed one leaves.
#include "values/arena.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "platform/debug.h"
#include "platform/memory.h"

static std::string debug_text;

static void KeepDebugText(const char *text) {
    debug_text += text;
}

// An arena, and a check that it takes all its memory with it.
struct ArenaTest : testing::Test {
    int64_t blocks_before = MemLiveBlocks();
    RowArena *arena = ArenaCreate();

    ArenaTest() {
        debug_text.clear();
        DebugSetHook(KeepDebugText);
    }

    ~ArenaTest() override {
        MemFailAt(0);
        DebugSetHook(nullptr);
        ArenaFree(arena);
        EXPECT_EQ(blocks_before, MemLiveBlocks());
    }

    // Takes from the running chunk until `left` bytes are free in it.
    void LeaveFree(int32_t left) {
        ASSERT_NE(nullptr, ArenaAlloc(arena, arena->current->free - left - 1));
        ASSERT_EQ(left, arena->current->free);
    }

    int Chunks() const {
        int count = 0;
        for (const ArenaChunk *chunk = arena->first; chunk != nullptr; chunk = chunk->next) {
            count++;
        }
        return count;
    }
};

TEST_F(ArenaTest, TheFirstChunkHas65536Bytes) {
    EXPECT_EQ(arena->first, arena->current);
    EXPECT_EQ(65536, arena->first->capacity);
    EXPECT_EQ(0, arena->first->used);
    EXPECT_EQ(65536, arena->first->free);
    EXPECT_EQ(nullptr, arena->first->next);
}

TEST_F(ArenaTest, ARequestCostsOneByteMore) {
    uint8_t *first = (uint8_t *)ArenaAlloc(arena, 10);
    uint8_t *second = (uint8_t *)ArenaAlloc(arena, 0);
    uint8_t *third = (uint8_t *)ArenaAlloc(arena, 1);
    EXPECT_EQ(arena->first->data, first);
    EXPECT_EQ(first + 11, second);
    EXPECT_EQ(second + 1, third);
    EXPECT_EQ(14, arena->current->used);
    EXPECT_EQ(65522, arena->current->free);
}

TEST_F(ArenaTest, AChunkIsUsedToItsLastByte) {
    LeaveFree(101);
    uint8_t *piece = (uint8_t *)ArenaAlloc(arena, 100);
    EXPECT_EQ(arena->first->data + 65536 - 101, piece);
    piece[100] = 0;
    EXPECT_EQ(0, arena->current->free);
    EXPECT_EQ(1, Chunks());
}

TEST_F(ArenaTest, FreeBytesEqualToTheRequestAreNotEnough) {
    LeaveFree(100);
    uint8_t *piece = (uint8_t *)ArenaAlloc(arena, 100);
    EXPECT_EQ(2, Chunks());
    EXPECT_EQ(arena->first->next, arena->current);
    EXPECT_EQ(arena->current->data, piece);
    EXPECT_EQ(101, arena->current->used);
    EXPECT_EQ(65435, arena->current->free);
    EXPECT_EQ(100, arena->first->free);
}

TEST_F(ArenaTest, FortyThousandWithFiftyThousandFreeComesFromTheRunningChunk) {
    LeaveFree(50000);
    uint8_t *large = (uint8_t *)ArenaAlloc(arena, 40000);
    EXPECT_EQ(arena->first->data + 15536, large);
    EXPECT_EQ(1, Chunks());
    EXPECT_EQ(9999, arena->current->free);
}

TEST_F(ArenaTest, ALargeRequestThatWouldWasteMoreThanHalfAChunkGetsItsOwnBuffer) {
    LeaveFree(35000);
    uint8_t *running = arena->current->data;
    uint8_t *large = (uint8_t *)ArenaAlloc(arena, 40000);
    large[40000] = 0;
    EXPECT_EQ(2, Chunks());
    EXPECT_EQ(large, arena->first->data);
    EXPECT_EQ(40001, arena->first->capacity);
    EXPECT_EQ(40001, arena->first->used);
    EXPECT_EQ(0, arena->first->free);
    EXPECT_EQ(arena->first->next, arena->current);
    EXPECT_EQ(running, arena->current->data);
    EXPECT_EQ(65536, arena->current->capacity);
    EXPECT_EQ(30536, arena->current->used);
    EXPECT_EQ(35000, arena->current->free);
    EXPECT_EQ(running + 30536, ArenaAlloc(arena, 7));
}

TEST_F(ArenaTest, FortyThousandWithTenThousandFreeOpensANewChunk) {
    LeaveFree(10000);
    uint8_t *large = (uint8_t *)ArenaAlloc(arena, 40000);
    EXPECT_EQ(2, Chunks());
    EXPECT_EQ(arena->current->data, large);
    EXPECT_EQ(65536, arena->current->capacity);
    EXPECT_EQ(40001, arena->current->used);
    EXPECT_EQ(25535, arena->current->free);
    EXPECT_EQ(large + 40001, ArenaAlloc(arena, 7));
}

TEST_F(ArenaTest, TheWasteThatIsAccepted) {
    LeaveFree(32768);
    ArenaAlloc(arena, 33000);
    EXPECT_EQ(65536, arena->current->capacity);
    EXPECT_EQ(33001, arena->current->used);
}

TEST_F(ArenaTest, TheWasteThatIsNotAccepted) {
    LeaveFree(32769);
    ArenaAlloc(arena, 33000);
    EXPECT_EQ(33001, arena->first->capacity);
    EXPECT_EQ(32769, arena->current->free);
}

TEST_F(ArenaTest, SeventyThousandGetsABufferOf70001) {
    LeaveFree(10000);
    uint8_t *running = arena->current->data;
    uint8_t *large = (uint8_t *)ArenaAlloc(arena, 70000);
    large[70000] = 0;
    EXPECT_EQ(70001, arena->first->capacity);
    EXPECT_EQ(large, arena->first->data);
    EXPECT_EQ(running, arena->current->data);
    EXPECT_EQ(running + 55536, ArenaAlloc(arena, 7));
}

TEST_F(ArenaTest, TheLargestRequestThatAChunkServes) {
    LeaveFree(10);
    ArenaAlloc(arena, 65535);
    EXPECT_EQ(65536, arena->current->used);
    EXPECT_EQ(0, arena->current->free);
    ArenaAlloc(arena, 65536);
    EXPECT_EQ(65537, arena->first->next->capacity);
    EXPECT_EQ(3, Chunks());
}

TEST_F(ArenaTest, OwnBuffersStandInOrderInFrontOfTheRunningChunk) {
    uint8_t *running = arena->current->data;
    uint8_t *first = (uint8_t *)ArenaAlloc(arena, 70000);
    uint8_t *second = (uint8_t *)ArenaAlloc(arena, 80000);
    EXPECT_EQ(first, arena->first->data);
    EXPECT_EQ(second, arena->first->next->data);
    EXPECT_EQ(running, arena->first->next->next->data);
    EXPECT_EQ(arena->first->next->next, arena->current);
    EXPECT_EQ(nullptr, arena->current->next);
}

TEST_F(ArenaTest, NoMemoryForAChunkIsToldAndChangesNothing) {
    LeaveFree(50);
    for (const uint64_t request : {1, 2}) {
        debug_text.clear();
        MemFailAt(request);
        EXPECT_EQ(nullptr, ArenaAlloc(arena, 60));
        EXPECT_EQ("\n here malloc size 65536 failed \n", debug_text);
        EXPECT_EQ(1, Chunks());
        EXPECT_EQ(50, arena->current->free);
    }
    EXPECT_NE(nullptr, ArenaAlloc(arena, 60));
}

TEST_F(ArenaTest, NoMemoryForAnOwnBufferIsToldAndChangesNothing) {
    for (const uint64_t request : {1, 2}) {
        debug_text.clear();
        MemFailAt(request);
        EXPECT_EQ(nullptr, ArenaAlloc(arena, 70000));
        EXPECT_EQ("\n here malloc size 70001 failed \n", debug_text);
        EXPECT_EQ(1, Chunks());
        EXPECT_EQ(65536, arena->current->free);
    }
}

TEST_F(ArenaTest, NoMemoryForAnArenaGivesNone) {
    for (const uint64_t request : {1, 2, 3}) {
        MemFailAt(request);
        EXPECT_EQ(nullptr, ArenaCreate()) << request;
    }
}

TEST_F(ArenaTest, RequestsThatNoBufferCanHaveAreRefused) {
    EXPECT_EQ(nullptr, ArenaAlloc(arena, -1));
    EXPECT_EQ(nullptr, ArenaAlloc(arena, INT_MIN));
    EXPECT_EQ(nullptr, ArenaAlloc(arena, INT_MAX));
    EXPECT_EQ(65536, arena->current->free);
}

TEST(ArenaFree, TakesNull) {
    const int64_t blocks_before = MemLiveBlocks();
    ArenaFree(nullptr);
    EXPECT_EQ(blocks_before, MemLiveBlocks());
}
