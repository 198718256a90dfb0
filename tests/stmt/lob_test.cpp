// The life of a large value's record: what goes with it depends on who owns its data.
#include <gtest/gtest.h>

#include "platform/memory.h"
#include "records/values.h"
#include "tavu/tvci.h"

struct LobFreeTest : testing::Test {
    int64_t blocks_before = MemLiveBlocks();
    LobRecord *lob = TVCILobAlloc();
};

TEST_F(LobFreeTest, ANewRecordIsZeroed) {
    EXPECT_EQ(0U, lob->kind);
    EXPECT_EQ(0, lob->length);
    EXPECT_EQ(nullptr, lob->data);
    EXPECT_EQ(0, lob->remote);
    EXPECT_EQ(nullptr, lob->descriptor);
    EXPECT_EQ(nullptr, lob->session);
    EXPECT_EQ(0, lob->borrowed);
    EXPECT_EQ(0, TVCILobFree(lob));
    EXPECT_EQ(blocks_before, MemLiveBlocks());
}

TEST_F(LobFreeTest, OwnDataAndTheDescriptorOfARemoteValueGoWithIt) {
    lob->data = (uint8_t *)MemCopyText("data");
    lob->descriptor = MemCopyText("descriptor");
    lob->remote = 1;
    EXPECT_EQ(0, TVCILobFree(lob));
    EXPECT_EQ(blocks_before, MemLiveBlocks());
}

TEST_F(LobFreeTest, TheDescriptorOfALocalValueStays) {
    char *descriptor = MemCopyText("descriptor");
    lob->data = (uint8_t *)MemCopyText("data");
    lob->descriptor = descriptor;
    EXPECT_EQ(0, TVCILobFree(lob));
    EXPECT_EQ(blocks_before + 1, MemLiveBlocks());
    MemFree(descriptor);
}

TEST_F(LobFreeTest, BorrowedDataStay) {
    uint8_t data[] = "data";
    lob->data = data;
    lob->borrowed = 1;
    EXPECT_EQ(0, TVCILobFree(lob));
    EXPECT_EQ(blocks_before, MemLiveBlocks());
}

TEST_F(LobFreeTest, DataBehindABorrowedDescriptorWereFetchedAndGo) {
    char descriptor[] = "descriptor";
    lob->data = (uint8_t *)MemCopyText("data");
    lob->descriptor = descriptor;
    lob->remote = 1;
    lob->borrowed = 1;
    EXPECT_EQ(0, TVCILobFree(lob));
    EXPECT_EQ(blocks_before, MemLiveBlocks());
}

TEST_F(LobFreeTest, NullIsRefused) {
    EXPECT_EQ(-3, TVCILobFree(nullptr));
    EXPECT_EQ(0, TVCILobFree(lob));
}

TEST_F(LobFreeTest, NoMemoryGivesNoRecord) {
    MemFailAt(1);
    EXPECT_EQ(nullptr, TVCILobAlloc());
    MemFailAt(0);
    EXPECT_EQ(0, TVCILobFree(lob));
}
