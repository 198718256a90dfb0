// Large value records: their life, what is stored in them, copies of them, and what local ones hand
// out.
#include "stmt/lob.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/memory.h"
#include "records/values.h"
#include "tavu/tvci.h"

struct LobRecordTest : testing::Test {
    int64_t blocks_before = MemLiveBlocks();
    LobRecord *lob = TVCILobAlloc();

    ~LobRecordTest() override {
        MemFailAt(0);
        if (lob != nullptr) {
            EXPECT_EQ(0, TVCILobFree(lob));
        }
        EXPECT_EQ(blocks_before, MemLiveBlocks());
    }

    // Frees the record early, to count what is left.
    void Free() {
        EXPECT_EQ(0, TVCILobFree(lob));
        lob = nullptr;
    }

    static uint8_t *Owned(const char *text) {
        return (uint8_t *)MemCopyText(text);
    }

    static std::string BytesOf(const LobRecord *record) {
        return std::string((const char *)record->data, (size_t)record->length);
    }
};

TEST_F(LobRecordTest, ANewRecordIsZeroed) {
    EXPECT_EQ(0U, lob->kind);
    EXPECT_EQ(0, lob->length);
    EXPECT_EQ(nullptr, lob->data);
    EXPECT_EQ(0, lob->remote);
    EXPECT_EQ(nullptr, lob->descriptor);
    EXPECT_EQ(nullptr, lob->session);
    EXPECT_EQ(0, lob->borrowed);
}

TEST_F(LobRecordTest, NoMemoryGivesNoRecord) {
    MemFailAt(1);
    EXPECT_EQ(nullptr, TVCILobAlloc());
}

TEST_F(LobRecordTest, FreeAndResetRefuseNull) {
    EXPECT_EQ(-3, TVCILobFree(nullptr));
    EXPECT_EQ(-3, TVCILobReset(nullptr));
}

TEST_F(LobRecordTest, FreeReleasesOwnDataAndTheDescriptorOfARemoteValue) {
    lob->data = Owned("data");
    lob->descriptor = MemCopyText("descriptor");
    lob->remote = 1;
    Free();
    EXPECT_EQ(blocks_before, MemLiveBlocks());
}

TEST_F(LobRecordTest, FreeLeavesTheDescriptorOfALocalValue) {
    char *descriptor = MemCopyText("descriptor");
    lob->data = Owned("data");
    lob->descriptor = descriptor;
    Free();
    EXPECT_EQ(blocks_before + 1, MemLiveBlocks());
    MemFree(descriptor);
}

TEST_F(LobRecordTest, FreeLeavesBorrowedData) {
    uint8_t data[] = "data";
    lob->data = data;
    lob->borrowed = 1;
    Free();
    EXPECT_STREQ("data", (const char *)data);
}

TEST_F(LobRecordTest, FreeReleasesDataThatWereFetchedForABorrowedDescriptor) {
    char descriptor[] = "descriptor";
    lob->data = Owned("data");
    lob->descriptor = descriptor;
    lob->remote = 1;
    lob->borrowed = 1;
    Free();
    EXPECT_EQ(blocks_before, MemLiveBlocks());
    EXPECT_STREQ("descriptor", descriptor);
}

TEST_F(LobRecordTest, ResetReleasesTheValueAndKeepsTheRecord) {
    lob->kind = LOB_KIND_BLOB;
    lob->data = Owned("data");
    lob->length = 4;
    lob->descriptor = MemCopyText("descriptor");
    lob->remote = 1;
    EXPECT_EQ(0, TVCILobReset(lob));
    EXPECT_EQ(blocks_before + 1, MemLiveBlocks());
    EXPECT_EQ(0, lob->length);
    EXPECT_EQ(nullptr, lob->data);
    EXPECT_EQ(nullptr, lob->descriptor);
    EXPECT_EQ(1, lob->remote);
    EXPECT_EQ(LOB_KIND_BLOB, lob->kind);
    EXPECT_EQ(0, TVCILobReset(lob)) << "an empty record too";
}

TEST_F(LobRecordTest, ResetForgetsWhatIsBorrowed) {
    uint8_t data[] = "data";
    lob->data = data;
    lob->length = 4;
    lob->borrowed = 1;
    EXPECT_EQ(0, TVCILobReset(lob));
    EXPECT_EQ(0, lob->length);
    EXPECT_EQ(nullptr, lob->data);
    char descriptor[] = "descriptor";
    lob->descriptor = descriptor;
    lob->data = Owned("fetched");
    lob->remote = 1;
    EXPECT_EQ(0, TVCILobReset(lob));
    EXPECT_EQ(blocks_before + 1, MemLiveBlocks());
    EXPECT_EQ(nullptr, lob->descriptor);
    EXPECT_STREQ("descriptor", descriptor);
}

TEST_F(LobRecordTest, WriteRefusesBadArguments) {
    EXPECT_EQ(-3, TVCILobWrite(NULL, 1, "a"));
    EXPECT_EQ(-3, TVCILobWrite(lob, 1, NULL));
    EXPECT_EQ(-3, TVCILobWrite(lob, -1, "a"));
}

TEST_F(LobRecordTest, WriteReplacesTheValueByACopy) {
    char bytes[] = "abc";
    EXPECT_EQ(0, TVCILobWrite(lob, 3, bytes));
    bytes[0] = 'x';
    EXPECT_EQ("abc", BytesOf(lob));
    EXPECT_EQ(0, TVCILobWrite(lob, 2, "de"));
    EXPECT_EQ("de", BytesOf(lob));
    EXPECT_EQ(0, TVCILobWrite(lob, 0, "f"));
    EXPECT_EQ(0, lob->length);
    EXPECT_NE(nullptr, lob->data);
    EXPECT_EQ(blocks_before + 2, MemLiveBlocks());
}

TEST_F(LobRecordTest, WriteOf2146435072BytesReturnsMinus1) {
    EXPECT_EQ(0, TVCILobWrite(lob, 3, "abc"));
    EXPECT_EQ(-1, TVCILobWrite(lob, 2146435072, "a"));
    EXPECT_EQ("abc", BytesOf(lob)) << "what it held stays";
}

TEST_F(LobRecordTest, WriteWithoutMemoryGivesMinus5AndAnEmptyRecord) {
    EXPECT_EQ(0, TVCILobWrite(lob, 3, "abc"));
    MemFailAt(1);
    EXPECT_EQ(-5, TVCILobWrite(lob, 3, "def"));
    EXPECT_EQ(0, lob->length);
    EXPECT_EQ(nullptr, lob->data);
}

TEST_F(LobRecordTest, WriteDropsBorrowedDataAndOwnsItsOwn) {
    uint8_t rows[] = "row";
    lob->data = rows;
    lob->length = 3;
    lob->borrowed = 1;
    EXPECT_EQ(0, TVCILobWrite(lob, 2, "ab"));
    EXPECT_EQ(0, lob->borrowed);
    EXPECT_EQ("ab", BytesOf(lob));
    EXPECT_STREQ("row", (const char *)rows);
}

TEST_F(LobRecordTest, WriteEndsTheBorrowingOfADescriptor) {
    char descriptor[] = "0123456789ABC:5";
    lob->descriptor = descriptor;
    lob->data = Owned("hello");
    lob->remote = 1;
    lob->borrowed = 1;
    EXPECT_EQ(0, TVCILobWrite(lob, 2, "ab"));
    EXPECT_EQ(nullptr, lob->descriptor) << "it would be freed with the record";
    EXPECT_EQ(1, lob->remote);
    EXPECT_EQ(blocks_before + 2, MemLiveBlocks());
}

TEST_F(LobRecordTest, CopyRefusesNull) {
    EXPECT_EQ(-3, TVCILobCopy(NULL, lob));
    EXPECT_EQ(-3, TVCILobCopy(lob, NULL));
}

TEST_F(LobRecordTest, CopyOfALocalValueIsDeep) {
    LobRecord *copy = TVCILobAlloc();
    ASSERT_EQ(0, TVCILobWrite(copy, 3, "old"));
    lob->kind = LOB_KIND_CLOB;
    ASSERT_EQ(0, TVCILobWrite(lob, 5, "hello"));
    EXPECT_EQ(0, TVCILobCopy(lob, copy));
    EXPECT_NE(lob->data, copy->data);
    EXPECT_EQ("hello", BytesOf(copy));
    EXPECT_EQ('\0', copy->data[5]);
    EXPECT_EQ(LOB_KIND_CLOB, copy->kind);
    EXPECT_EQ(0, copy->borrowed);
    EXPECT_EQ(0, copy->remote);
    EXPECT_EQ(0, TVCILobFree(copy));
}

TEST_F(LobRecordTest, CopyOfARemoteValueCopiesItsDescriptor) {
    LobRecord *copy = TVCILobAlloc();
    TVCISession *session = (TVCISession *)(uintptr_t)0x40;
    lob->kind = LOB_KIND_BLOB;
    lob->remote = 1;
    lob->length = 15;
    lob->descriptor = MemCopyText("0123456789ABC:5");
    lob->session = session;
    EXPECT_EQ(0, TVCILobCopy(lob, copy));
    EXPECT_STREQ("0123456789ABC:5", copy->descriptor);
    EXPECT_NE(lob->descriptor, copy->descriptor);
    EXPECT_EQ(1, copy->remote);
    EXPECT_EQ(15, copy->length);
    EXPECT_EQ(session, copy->session);
    EXPECT_EQ(nullptr, copy->data);
    EXPECT_EQ(0, TVCILobFree(copy));
}

TEST_F(LobRecordTest, CopyOfABorrowedValueOwnsItsBytesWhileItsFlagSaysOtherwise) {
    LobRecord *copy = TVCILobAlloc();
    uint8_t rows[] = "row";
    lob->data = rows;
    lob->length = 3;
    lob->borrowed = 1;
    EXPECT_EQ(0, TVCILobCopy(lob, copy));
    memcpy(rows, "xxx", 3);
    EXPECT_EQ("row", BytesOf(copy)) << "it outlives the rows";
    EXPECT_EQ(1, copy->borrowed);
    uint8_t *bytes = copy->data;
    EXPECT_EQ(0, TVCILobFree(copy));
    EXPECT_EQ(blocks_before + 2, MemLiveBlocks()) << "the bytes are not freed with the copy";
    MemFree(bytes);
}

TEST_F(LobRecordTest, CopyToItselfChangesNothing) {
    ASSERT_EQ(0, TVCILobWrite(lob, 3, "abc"));
    EXPECT_EQ(0, TVCILobCopy(lob, lob));
    EXPECT_EQ("abc", BytesOf(lob));
}

TEST_F(LobRecordTest, CopyWithoutMemoryReturns0AndHasNoBytes) {
    LobRecord *copy = TVCILobAlloc();
    ASSERT_EQ(0, TVCILobWrite(lob, 3, "abc"));
    MemFailAt(1);
    EXPECT_EQ(0, TVCILobCopy(lob, copy));
    EXPECT_EQ(nullptr, copy->data);
    char buffer[4] = "zzz";
    int32_t read = 7;
    EXPECT_EQ(0, TVCILobRead(copy, 0, 3, buffer, &read));
    EXPECT_EQ(0, read);
    EXPECT_EQ(0, TVCILobFree(copy));
}

TEST_F(LobRecordTest, GetGivesLengthAndDataInAnyCombination) {
    int32_t length = 7;
    void *data = lob;
    EXPECT_EQ(-3, TVCILobGet(NULL, &length, &data));
    EXPECT_EQ(-3, TVCILobGet(lob, NULL, NULL));
    EXPECT_EQ(0, TVCILobGet(lob, &length, &data));
    EXPECT_EQ(0, length);
    EXPECT_EQ(nullptr, data);
    EXPECT_EQ(0, TVCILobWrite(lob, 3, "abc"));
    EXPECT_EQ(0, TVCILobGet(lob, &length, NULL));
    EXPECT_EQ(3, length);
    EXPECT_EQ(0, TVCILobGet(lob, NULL, &data));
    EXPECT_EQ(0, memcmp("abc", data, 4)) << "with a byte behind them";
}

TEST_F(LobRecordTest, GetSkipsTheLeadByteOfARemoteValueUnlessItIsKind3) {
    EXPECT_EQ(0, TVCILobWrite(lob, 3, "abc"));
    lob->remote = 1;
    int32_t length = 0;
    void *data = NULL;
    EXPECT_EQ(0, TVCILobGet(lob, &length, &data));
    EXPECT_EQ(3, length);
    EXPECT_EQ(lob->data + 1, data);
    EXPECT_EQ(0, memcmp("bc", data, 3)) << "the last of the bytes handed out is a spare one";
    lob->kind = LOB_KIND_GEOMETRY;
    EXPECT_EQ(0, TVCILobGet(lob, &length, &data));
    EXPECT_EQ(lob->data, data);
    lob->kind = LOB_KIND_BLOB;
    lob->remote = 0;
    EXPECT_EQ(0, TVCILobGet(lob, &length, &data));
    EXPECT_EQ(lob->data, data);
}

TEST_F(LobRecordTest, GetOfARemoteValueWithoutASessionOrADescriptorFetchesNothing) {
    lob->kind = LOB_KIND_GEOMETRY;
    lob->remote = 1;
    lob->length = 6;
    int32_t length = 0;
    void *data = lob;
    EXPECT_EQ(0, TVCILobGet(lob, &length, &data));
    EXPECT_EQ(6, length);
    EXPECT_EQ(nullptr, data);
    char buffer[6];
    EXPECT_EQ(0, TVCILobRead(lob, 0, 6, buffer, &length));
    EXPECT_EQ(0, length);
    lob->descriptor = MemCopyText("0123456789ABC:5");
    EXPECT_EQ(0, TVCILobGet(lob, &length, &data));
    EXPECT_EQ(6, length);
    EXPECT_EQ(nullptr, data);
}

TEST_F(LobRecordTest, ReadRefusesBadArguments) {
    char buffer[1];
    int32_t read = 7;
    EXPECT_EQ(-3, TVCILobRead(NULL, 0, 1, buffer, &read));
    EXPECT_EQ(-3, TVCILobRead(lob, 0, 1, NULL, &read));
    EXPECT_EQ(-3, TVCILobRead(lob, -1, 1, buffer, &read));
    EXPECT_EQ(7, read);
}

TEST_F(LobRecordTest, ReadCopiesAPieceIntoAZeroedBuffer) {
    ASSERT_EQ(0, TVCILobWrite(lob, 5, "hello"));
    char buffer[9] = "zzzzzzzz";
    int32_t read = 7;
    EXPECT_EQ(0, TVCILobRead(lob, 1, 3, buffer, &read));
    EXPECT_EQ(3, read);
    EXPECT_EQ(0, memcmp("ellzzzzz", buffer, 8));
    EXPECT_EQ(0, TVCILobRead(lob, 3, 7, buffer, &read));
    EXPECT_EQ(2, read);
    EXPECT_EQ(0, memcmp("lo\0\0\0\0\0z", buffer, 8)) << "zeroed as far as was asked for";
    EXPECT_EQ(0, TVCILobRead(lob, 0, 2, buffer, NULL)) << "the count is not needed";
    EXPECT_EQ(0, memcmp("he", buffer, 2));
}

TEST_F(LobRecordTest, ReadWithOffsetEqualToLengthReturns0BytesAndResult0) {
    ASSERT_EQ(0, TVCILobWrite(lob, 5, "hello"));
    char buffer[2] = "z";
    int32_t read = 7;
    EXPECT_EQ(0, TVCILobRead(lob, 5, 1, buffer, &read));
    EXPECT_EQ(0, read);
    EXPECT_EQ('\0', buffer[0]);
}

TEST_F(LobRecordTest, ReadBeyondALocalValueIsMinus1) {
    ASSERT_EQ(0, TVCILobWrite(lob, 5, "hello"));
    char buffer[2] = "z";
    int32_t read = 7;
    EXPECT_EQ(-1, TVCILobRead(lob, 6, 1, buffer, &read));
    EXPECT_EQ(0, read);
    EXPECT_EQ('z', buffer[0]);
}

TEST_F(LobRecordTest, ReadOfNoAmountTouchesNothing) {
    ASSERT_EQ(0, TVCILobWrite(lob, 5, "hello"));
    char buffer[2] = "z";
    int32_t read = 7;
    EXPECT_EQ(0, TVCILobRead(lob, 0, 0, buffer, &read));
    EXPECT_EQ(0, read);
    EXPECT_EQ(0, TVCILobRead(lob, 0, -1, buffer, &read));
    EXPECT_EQ(0, read);
    EXPECT_EQ('z', buffer[0]);
}

TEST_F(LobRecordTest, ReadSkipsNoLeadByte) {
    ASSERT_EQ(0, TVCILobWrite(lob, 5, "hello"));
    lob->remote = 1;
    char buffer[5];
    int32_t read = 0;
    EXPECT_EQ(0, TVCILobRead(lob, 0, 5, buffer, &read));
    EXPECT_EQ(0, memcmp("hello", buffer, 5));
    EXPECT_EQ(0, TVCILobRead(lob, 6, 5, buffer, &read)) << "beyond a remote value";
    EXPECT_EQ(0, read);
}

TEST_F(LobRecordTest, OwnCopiesWhatIsBorrowed) {
    uint8_t rows[] = "row";
    lob->data = rows;
    lob->length = 3;
    lob->borrowed = 1;
    EXPECT_TRUE(LobOwn(lob));
    memcpy(rows, "xxx", 3);
    EXPECT_EQ("row", BytesOf(lob));
    EXPECT_EQ(0, lob->borrowed);
    const uint8_t *bytes = lob->data;
    EXPECT_TRUE(LobOwn(lob));
    EXPECT_EQ(bytes, lob->data) << "what it owns is not copied again";
}

TEST_F(LobRecordTest, OwnCopiesABorrowedDescriptorAndKeepsWhatWasFetched) {
    char descriptor[] = "0123456789ABC:5";
    lob->remote = 1;
    lob->length = 15;
    lob->descriptor = descriptor;
    lob->borrowed = 1;
    EXPECT_TRUE(LobOwn(lob));
    EXPECT_NE(descriptor, lob->descriptor);
    EXPECT_STREQ("0123456789ABC:5", lob->descriptor);
    EXPECT_EQ(nullptr, lob->data);
    EXPECT_EQ(0, TVCILobReset(lob));
    uint8_t *fetched = Owned("hello");
    lob->descriptor = descriptor;
    lob->data = fetched;
    lob->length = 5;
    lob->borrowed = 1;
    EXPECT_TRUE(LobOwn(lob));
    EXPECT_EQ(fetched, lob->data);
}

TEST_F(LobRecordTest, OwnWithoutMemoryLeavesTheRecordAsItWas) {
    uint8_t rows[] = "row";
    lob->data = rows;
    lob->length = 3;
    lob->borrowed = 1;
    MemFailAt(1);
    EXPECT_FALSE(LobOwn(lob));
    EXPECT_EQ(rows, lob->data);
    EXPECT_EQ(1, lob->borrowed);
    char descriptor[] = "0123456789ABC:5";
    lob->data = nullptr;
    lob->remote = 1;
    lob->descriptor = descriptor;
    MemFailAt(1);
    EXPECT_FALSE(LobOwn(lob));
    EXPECT_EQ(descriptor, lob->descriptor);
}
