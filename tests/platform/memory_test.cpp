// The heap and its seam.
#include "platform/memory.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(MemAlloc, GivesZeroedBytes) {
    char *block = (char *)MemAlloc(1000);
    ASSERT_NE(nullptr, block);
    for (int i = 0; i < 1000; i++) {
        ASSERT_EQ(0, block[i]);
    }
    MemFree(block);
}

TEST(MemAlloc, GivesABlockForNoBytes) {
    void *block = MemAlloc(0);
    EXPECT_NE(nullptr, block);
    MemFree(block);
}

TEST(MemExpectFill, ChangesNoByteOfABlockOfAnySize) {
    for (const size_t bytes : {(size_t)0, (size_t)1, (size_t)1000, (size_t)5 << 20}) {
        char *block = (char *)MemAlloc(bytes);
        ASSERT_NE(nullptr, block);
        memset(block, 'x', bytes / 2);
        MemExpectFill(block, bytes);
        for (size_t i = 0; i < bytes; i++) {
            ASSERT_EQ(i < bytes / 2 ? 'x' : '\0', block[i]);
        }
        memset(block, 'y', bytes);
        MemFree(block);
    }
}

TEST(MemRealloc, KeepsWhatTheBlockHeld) {
    char *block = (char *)MemRealloc(nullptr, 4);
    memcpy(block, "abc", 4);
    block = (char *)MemRealloc(block, 4000);
    EXPECT_STREQ("abc", block);
    MemFree(block);
}

TEST(MemCopyBytes, PutsATerminatorBehindTheBytes) {
    char *copy = MemCopyBytes("abcdef", 3);
    EXPECT_STREQ("abc", copy);
    MemFree(copy);
    copy = MemCopyBytes(nullptr, 0);
    EXPECT_STREQ("", copy);
    MemFree(copy);
}

TEST(MemFree, IgnoresNull) {
    int64_t live = MemLiveBlocks();
    MemFree(nullptr);
    EXPECT_EQ(live, MemLiveBlocks());
}

TEST(MemFailAt, FailsTheNthRequestAndNoOther) {
    MemFailAt(2);
    void *first = MemAlloc(1);
    EXPECT_FALSE(MemFailed());
    void *second = MemAllocRaw(1);
    EXPECT_TRUE(MemFailed());
    void *third = MemRealloc(nullptr, 1);
    EXPECT_NE(nullptr, first);
    EXPECT_EQ(nullptr, second);
    EXPECT_NE(nullptr, third);
    MemFree(first);
    MemFree(third);
    MemFailAt(0);
}

TEST(MemLiveBlocks, CountsWhatIsNotReleased) {
    int64_t before = MemLiveBlocks();
    void *first = MemAlloc(1);
    void *second = MemRealloc(nullptr, 1);
    second = MemRealloc(second, 100);
    char *third = MemCopyText("text");
    EXPECT_EQ(before + 3, MemLiveBlocks());
    MemFree(first);
    MemFree(second);
    MemFree(third);
    EXPECT_EQ(before, MemLiveBlocks());
}
