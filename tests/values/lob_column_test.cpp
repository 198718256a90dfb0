// Column values as large object records, through both conversions.
#include "values/lob_column.h"

#include <gtest/gtest.h>

#include "platform/memory.h"
#include "tavu/tvci.h"
#include "values/arena.h"
#include "values/decode.h"
#include "values/one_value.h"

// The bytes of a record as a test finds it before a conversion.
static LobRecord UsedRecord() {
    LobRecord lob;
    memset(&lob, 0xEE, sizeof(lob));
    lob.borrowed = 0;
    return lob;
}

// One value of a result that has an arena, and the record that it goes to.
struct LobValue : OneValue {
    int64_t blocks = MemLiveBlocks();
    LobRecord lob = UsedRecord();
    int32_t status = 77;
    int32_t length = 77;

    LobValue(int32_t type, const Value &content, bool descriptors = false)
        : OneValue(type, content) {
        session.attr.lob_ret = descriptors;
        result.arena = ArenaCreate();
    }

    ~LobValue() {
        MemFailAt(0);
        ArenaFree(result.arena);
        EXPECT_EQ(blocks, MemLiveBlocks());
    }

    void Define() {
        const DefineRecord define = {0, &lob, 48, TVCI_C_LOB, &status, &length};
        ConvertColumnToDefine(&result, &define);
    }

    void Column() {
        status = ConvertColumn(&result, TVCI_C_LOB, 0, &lob, 48, &length);
    }

    bool IsNull() const {
        return (row[24] & 1) != 0;
    }

    void ExpectOutcome(int32_t wanted_status, int32_t wanted_length) const {
        EXPECT_EQ(wanted_status, status);
        EXPECT_EQ(wanted_length, length);
    }

    // What the record says, but for where its bytes are.
    void ExpectRecord(uint32_t kind, int32_t bytes, uint8_t remote, uint8_t borrowed) const {
        EXPECT_EQ(kind, lob.kind);
        EXPECT_EQ(bytes, lob.length);
        EXPECT_EQ(remote, lob.remote);
        EXPECT_EQ(borrowed, lob.borrowed);
    }

    // That the bytes are here, and none are anywhere else.
    void ExpectInline(const uint8_t *data) const {
        EXPECT_EQ(data, lob.data);
        EXPECT_EQ(nullptr, lob.descriptor);
        EXPECT_EQ(nullptr, lob.session);
    }

    void ExpectDescriptor() const {
        EXPECT_EQ(nullptr, lob.data);
        EXPECT_EQ((const char *)external.data(), lob.descriptor);
        EXPECT_EQ(&session, lob.session);
    }

    Bytes Data() const {
        return Bytes(lob.data, lob.data + lob.length);
    }
};

TEST(DefineLob, WithoutDescriptorsTheValueIsAllThatIsStored) {
    LobValue clob(32, "cabc");
    clob.Define();
    clob.ExpectOutcome(0, 48);
    clob.ExpectRecord(1, 4, 0, 1);
    clob.ExpectInline(clob.external.data());
    EXPECT_FALSE(clob.IsNull());
    LobValue blob(34, "xyz");
    blob.Define();
    blob.ExpectOutcome(0, 48);
    blob.ExpectRecord(2, 3, 0, 1);
    blob.ExpectInline(blob.external.data());
}

TEST(DefineLob, ATaggedValueIsInlineBehindItsTag) {
    LobValue clob(32, "cabc", true);
    clob.Define();
    clob.ExpectOutcome(0, 48);
    clob.ExpectRecord(1, 3, 1, 1);
    clob.ExpectInline(clob.external.data() + 1);
    LobValue blob(34, "b", true);
    blob.Define();
    blob.ExpectRecord(2, 0, 1, 1);
    blob.ExpectInline(blob.external.data() + 1);
}

TEST(DefineLob, AnUntaggedValueIsADescriptor) {
    LobValue clob(32, "1234567890123 42", true);
    clob.Define();
    clob.ExpectOutcome(0, 48);
    clob.ExpectRecord(1, 16, 1, 1);
    clob.ExpectDescriptor();
    EXPECT_FALSE(clob.IsNull());
}

TEST(DefineLob, TheTagOfTheOtherTypeIsNone) {
    LobValue clob(32, "babc", true);
    clob.Define();
    clob.ExpectRecord(1, 4, 1, 1);
    clob.ExpectDescriptor();
    LobValue blob(34, "cabc", true);
    blob.Define();
    blob.ExpectRecord(2, 4, 1, 1);
    blob.ExpectDescriptor();
}

TEST(DefineLob, AGeometryIsDecodedAndGoesWithTheArena) {
    for (int32_t type = 48; type <= 60; type++) {
        for (const bool descriptors : {false, true}) {
            LobValue value(type, "00fFa1", descriptors);
            value.Define();
            value.ExpectOutcome(0, 48);
            value.ExpectRecord(3, 3, 1, 1);
            EXPECT_EQ(Hex("00FFA1"), value.Data());
            value.ExpectInline(value.lob.data);
            EXPECT_FALSE(value.IsNull());
        }
    }
}

TEST(DefineLob, AGeometryThatIsNoHexadecimalTextHasNoData) {
    for (const char *text : {"00f", "0g", "g0", "00ff0x", " 0"}) {
        LobValue value(55, text);
        value.Define();
        value.ExpectOutcome(0, 48);
        value.ExpectRecord(3, (int32_t)strlen(text) / 2, 1, 1);
        value.ExpectInline(nullptr);
    }
}

TEST(DefineLob, AGeometryWithoutMemoryHasNoData) {
    LobValue value(55, "00ff");
    MemFailAt(1);
    value.Define();
    EXPECT_TRUE(MemFailed());
    value.ExpectOutcome(0, 48);
    value.ExpectInline(nullptr);
}

TEST(DefineLob, ANullSetsTheLengthTo0AndNothingElse) {
    LobValue value(32, "abc");
    value.SetNull();
    value.Define();
    value.ExpectOutcome(-1, 0);
    LobRecord wanted = UsedRecord();
    wanted.length = 0;
    EXPECT_EQ(0, memcmp(&wanted, &value.lob, sizeof(wanted)));
    value.lob.length = 9;
    value.result.current_row = NULL;
    value.Define();
    value.ExpectOutcome(-1, 0);
    EXPECT_EQ(0, value.lob.length);
}

TEST(DefineLob, ABufferNeedsNoAlignment) {
    LobValue value(32, "abc");
    alignas(8) uint8_t buffer[56] = {};
    for (size_t offset = 1; offset < 8; offset++) {
        const DefineRecord define = {0, buffer + offset, 48, TVCI_C_LOB, NULL, NULL};
        ConvertColumnToDefine(&value.result, &define);
        memcpy(&value.lob, buffer + offset, sizeof(value.lob));
        value.ExpectRecord(1, 3, 0, 1);
        value.SetNull();
        ConvertColumnToDefine(&value.result, &define);
        memcpy(&value.lob, buffer + offset, sizeof(value.lob));
        EXPECT_EQ(0, value.lob.length);
        value.row[24] = 2;
    }
}

// A value in a block of its own, in a row that has no arena.
struct OwnedLobValue : LobValue {
    OwnedLobValue(int32_t type, const char *text, bool descriptors = false)
        : LobValue(type, text, descriptors) {
        ArenaFree(result.arena);
        result.arena = NULL;
        blocks = MemLiveBlocks();
        block = (uint8_t *)MemCopyText(text);
        memcpy(&row[33], &block, sizeof(block));
    }

    uint8_t *block;
};

// The record frees the bytes that it was given, and the row nothing of them.
static void FreeBoth(OwnedLobValue &value) {
    LobRecord *lob = TVCILobAlloc();
    *lob = value.lob;
    EXPECT_EQ(0, TVCILobFree(lob));
    RowPutBytes(value.row.data(), &value.field, 0, NULL, 0);
}

TEST(DefineLob, WithoutAnArenaTheRecordTakesTheBytes) {
    OwnedLobValue value(32, "abc");
    value.Define();
    value.ExpectOutcome(0, 48);
    value.ExpectRecord(1, 3, 0, 0);
    value.ExpectInline(value.block);
    EXPECT_TRUE(value.IsNull());
    FreeBoth(value);
}

TEST(DefineLob, WithoutAnArenaATaggedValueMovesToTheStartOfItsBlock) {
    OwnedLobValue value(34, "babc", true);
    value.Define();
    value.ExpectRecord(2, 3, 1, 0);
    value.ExpectInline(value.block);
    EXPECT_EQ(Hex("'abc' 00"), Bytes(value.block, value.block + 4));
    EXPECT_TRUE(value.IsNull());
    FreeBoth(value);
}

TEST(DefineLob, WithoutAnArenaTheRecordTakesTheDescriptor) {
    OwnedLobValue value(34, "1234567890123 42", true);
    value.Define();
    value.ExpectRecord(2, 16, 1, 0);
    EXPECT_EQ((char *)value.block, value.lob.descriptor);
    EXPECT_TRUE(value.IsNull());
    FreeBoth(value);
}

TEST(DefineLob, WithoutAnArenaADecodedGeometryIsTheRecordsAndItsTextTheRows) {
    OwnedLobValue value(48, "00ff");
    value.Define();
    value.ExpectRecord(3, 2, 1, 0);
    EXPECT_EQ(Hex("00FF"), value.Data());
    EXPECT_TRUE(value.IsNull());
    FreeBoth(value);
}

TEST(ColumnLob, AWholeValueCanBeReadOnce) {
    LobValue value(32, "cabc");
    value.Column();
    value.ExpectOutcome(0, 4);
    value.ExpectRecord(1, 4, 0, 1);
    value.ExpectInline(value.external.data());
    value.Column();
    value.ExpectOutcome(-1, 0);
    value.ExpectRecord(1, 4, 0, 1);
}

TEST(ColumnLob, ATaggedBlobTellsItsLengthAndATaggedClobNone) {
    LobValue blob(34, "babc", true);
    blob.Column();
    blob.ExpectOutcome(0, 3);
    blob.ExpectRecord(2, 3, 1, 1);
    blob.ExpectInline(blob.external.data() + 1);
    LobValue clob(32, "cabc", true);
    clob.Column();
    clob.ExpectOutcome(0, 77);
    clob.ExpectRecord(1, 3, 1, 1);
    clob.Column();
    clob.ExpectOutcome(0, 77);
}

TEST(ColumnLob, ADescriptorOfABlobTellsTheSizeInItAndThatOfAClobNone) {
    LobValue blob(34, "1234567890123 42", true);
    blob.Column();
    blob.ExpectOutcome(0, 42);
    blob.ExpectRecord(2, 16, 1, 1);
    blob.ExpectDescriptor();
    EXPECT_FALSE(blob.IsNull());
    LobValue clob(32, "1234567890123 42", true);
    clob.Column();
    clob.ExpectOutcome(0, 77);
    clob.ExpectRecord(1, 16, 1, 1);
}

TEST(ColumnLob, ADescriptorWithoutASizeTells0) {
    for (const char *text : {"x", "1234567890123", "1234567890123 ", "1234567890123 x"}) {
        LobValue value(34, text, true);
        value.Column();
        value.ExpectOutcome(0, 0);
    }
}

TEST(ColumnLob, AGeometryTellsTheLengthOfItsTextAndCanBeReadOnce) {
    for (int32_t type = 48; type <= 60; type++) {
        LobValue value(type, "00fFa1");
        value.Column();
        value.ExpectOutcome(0, 6);
        value.ExpectRecord(3, 3, 1, 1);
        EXPECT_EQ(Hex("00FFA1"), value.Data());
        value.Column();
        value.ExpectOutcome(-1, 0);
    }
}

TEST(ColumnLob, ANullLeavesTheRecordAlone) {
    LobValue value(32, "abc");
    value.SetNull();
    value.Column();
    value.ExpectOutcome(-1, 0);
    const LobRecord wanted = UsedRecord();
    EXPECT_EQ(0, memcmp(&wanted, &value.lob, sizeof(wanted)));
}

TEST(ColumnLob, WithoutAnArenaWhoOwnsTheBytesStaysAsTheRecordHasIt) {
    for (const bool borrowed : {false, true}) {
        OwnedLobValue value(32, "abc");
        value.lob.borrowed = borrowed;
        value.Column();
        value.ExpectOutcome(0, 3);
        value.ExpectRecord(1, 3, 0, borrowed);
        EXPECT_TRUE(value.IsNull());
        if (borrowed) MemFree(value.block);
        FreeBoth(value);
    }
}

TEST(ColumnLob, WithoutAnArenaTheRowLendsWhatItKeeps) {
    OwnedLobValue tagged(34, "babc", true);
    tagged.Column();
    tagged.ExpectRecord(2, 3, 1, 1);
    tagged.ExpectInline(tagged.block + 1);
    FreeBoth(tagged);
    OwnedLobValue described(34, "1234567890123 42", true);
    described.Column();
    described.ExpectRecord(2, 16, 1, 1);
    EXPECT_EQ((char *)described.block, described.lob.descriptor);
    FreeBoth(described);
}

TEST(LobColumn, ARecordIsFreedAfterAnyOrderOfRows) {
    for (const char *first : {"1234567890123 42", "babc"}) {
        for (const char *second : {"1234567890123 43", "bxyz"}) {
            LobValue older(34, first, true);
            older.Define();
            LobValue newer(34, second, true);
            newer.lob = older.lob;
            newer.Column();
            LobRecord *lob = TVCILobAlloc();
            *lob = newer.lob;
            EXPECT_EQ(0, TVCILobFree(lob));
        }
    }
}

TEST(HexToBytes, DigitsOfEitherCaseHighOnesFirst) {
    uint8_t *bytes = HexToBytes(NULL, "0123456789abcdefABCDEF", 22);
    ASSERT_NE(nullptr, bytes);
    EXPECT_EQ(Hex("0123456789ABCDEFABCDEF"), Bytes(bytes, bytes + 11));
    MemFree(bytes);
}

TEST(HexToBytes, AnOddLengthAnyOtherByteAndShortMemoryGiveNull) {
    const int64_t blocks = MemLiveBlocks();
    EXPECT_EQ(NULL, HexToBytes(NULL, "012", 3));
    for (const char *text : {"0/", "0:", "0@", "0G", "0`", "0g", "G0", "0 ", "-1"}) {
        EXPECT_EQ(NULL, HexToBytes(NULL, text, 2)) << text;
    }
    EXPECT_EQ(NULL, HexToBytes(NULL, "\xB0\xB1", 2));
    MemFailAt(1);
    EXPECT_EQ(NULL, HexToBytes(NULL, "01", 2));
    MemFailAt(0);
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(HexToBytes, WhatAnArenaHandedOutStaysWithIt) {
    const int64_t blocks = MemLiveBlocks();
    RowArena *arena = ArenaCreate();
    uint8_t *bytes = HexToBytes(arena, "01ff", 4);
    const int64_t kept = MemLiveBlocks();
    EXPECT_EQ(NULL, HexToBytes(arena, "0x", 2));
    EXPECT_EQ(kept + 1, MemLiveBlocks());
    EXPECT_EQ(Hex("01FF"), Bytes(bytes, bytes + 2));
    ArenaFree(arena);
    EXPECT_EQ(blocks, MemLiveBlocks());
}
