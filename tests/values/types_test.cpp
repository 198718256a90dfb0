// The type catalogue, and the row image.
#include "values/types.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "platform/debug.h"
#include "platform/memory.h"
#include "support/bytes.h"
#include "values/arena.h"

struct CatalogueLine {
    int32_t code;
    const char *name;
    int32_t slot_bytes;
    int32_t c_type;
    int32_t sql_type;
};

static const CatalogueLine catalogue[] = {
    {0, "EMPTY", 16, 2, 12},
    {1, "NULL", 16, 2, 12},
    {2, "BOOLEAN", 1, 1, 1},
    {3, "TINYINT", 1, 3, 2},
    {4, "SMALLINT", 2, 4, 3},
    {5, "INTEGER", 4, 5, 4},
    {6, "BIGINT", 8, 6, 5},
    {7, "NUMERIC", 40, 9, 8},
    {8, "FLOAT", 4, 7, 6},
    {9, "DOUBLE", 8, 8, 7},
    {10, "DATE", 4, 10, 9},
    {11, "TIME", 4, 11, 10},
    {12, "TIME WITH TIME ZONE", 16, 12, 18},
    {13, "DATETIME", 8, 13, 11},
    {14, "DATETIME WITH TIME ZONE", 16, 14, 17},
    {15, "INTERVAL YEAR", 4, 21, 20},
    {16, "INTERVAL YEAR TO MONTH", 4, 28, 26},
    {17, "INTERVAL MONTH", 4, 21, 21},
    {18, "INTERVAL DAY", 4, 21, 22},
    {19, "INTERVAL DAY TO HOUR", 4, 21, 28},
    {20, "INTERVAL HOUR", 4, 21, 23},
    {21, "INTERVAL DAY TO MINUTE", 4, 21, 29},
    {22, "INTERVAL HOUR TO MINUTE", 4, 21, 30},
    {23, "INTERVAL MINUTE", 4, 21, 24},
    {24, "INTERVAL DAY TO SECOND", 8, 31, 27},
    {25, "INTERVAL HOUR TO SECOND", 8, 21, 31},
    {26, "INTERVAL MINUTE TO SECOND", 8, 21, 32},
    {27, "INTERVAL SECOND", 8, 21, 25},
    {28, "ROWVERSION", 16, 2, 12},
    {29, "GUID", 16, 2, 12},
    {30, "CHAR", 16, 2, 12},
    {31, "", 16, 2, 12},
    {32, "CLOB", 16, 40, 14},
    {33, "BINARY", 16, 15, 13},
    {34, "BLOB", 16, 40, 16},
    {35, "", 16, 2, 12},
    {36, "", 16, 2, 12},
    {37, "", 16, 2, 12},
    {38, "", 16, 2, 12},
    {39, "", 16, 2, 12},
    {40, "", 16, 2, 12},
    {41, "", 16, 2, 12},
    {42, "", 16, 2, 12},
    {43, "", 16, 2, 12},
    {44, "STREM", 16, 2, 12},
    {45, "ROWID", 16, 2, 12},
    {46, "", 16, 2, 12},
    {47, "", 16, 2, 12},
    {48, "POINT", 16, 40, 33},
    {49, "LESC", 16, 40, 34},
    {50, "LINE", 16, 40, 35},
    {51, "BOX", 16, 40, 36},
    {52, "PATH", 16, 40, 37},
    {53, "POLYGON", 16, 40, 38},
    {54, "CIRCLE", 16, 40, 39},
    {55, "GEOMETRY", 16, 40, 40},
    {56, "GEOGRAPHY", 16, 40, 41},
    {57, "BOX2D", 16, 40, 42},
    {58, "BOX3D", 16, 40, 43},
    {59, "SPHEROID", 16, 2, 44},
    {60, "RASTER", 16, 2, 45},
    {61, "", 16, 2, 12},
    {INT_MAX, "", 16, 2, 12},
    {-1, "", 16, 2, 12},
    {INT_MIN, "", 16, 2, 12},
};

TEST(TypeName, OfEveryCode) {
    for (const CatalogueLine &line : catalogue) {
        EXPECT_STREQ(line.name, TypeName(line.code)) << line.code;
    }
}

TEST(TypeFixedSize, OfEveryCode) {
    for (const CatalogueLine &line : catalogue) {
        EXPECT_EQ(line.slot_bytes, TypeFixedSize(line.code)) << line.code;
    }
}

TEST(TypeDefaultCType, OfEveryCode) {
    for (const CatalogueLine &line : catalogue) {
        EXPECT_EQ(line.c_type, TypeDefaultCType(line.code)) << line.code;
    }
}

TEST(TypeDefaultCType, SpheroidAndRasterReadAsTextUnlikeTheOtherGeometryTypes) {
    EXPECT_EQ(40, TypeDefaultCType(58));
    EXPECT_EQ(2, TypeDefaultCType(59));
    EXPECT_EQ(2, TypeDefaultCType(60));
}

TEST(TypeToSqlType, OfEveryCode) {
    for (const CatalogueLine &line : catalogue) {
        EXPECT_EQ(line.sql_type, TypeToSqlType(line.code)) << line.code;
    }
}

// A row of four columns built by hand: BIGINT at 1, CHAR at 9, NUMERIC at 25, SMALLINT at 65. The
// status map takes one byte.
struct RowTest : testing::Test {
    static constexpr int32_t ROW_BYTES = 24 + 1 + 8 + 16 + 40 + 2;

    int64_t blocks_before = MemLiveBlocks();
    RowArena *arena = ArenaCreate();
    FieldDesc fields[4] = {};
    RowImage *row = nullptr;

    RowTest() {
        const int32_t types[4] = {6, 30, 7, 4};
        const int32_t offsets[4] = {1, 9, 25, 65};
        for (int column = 0; column < 4; column++) {
            fields[column].type = types[column];
            fields[column].value_offset = offsets[column];
        }
        row = RowCreate(arena, ROW_BYTES, 4);
    }

    ~RowTest() override {
        ArenaFree(arena);
        EXPECT_EQ(blocks_before, MemLiveBlocks());
    }

    Bytes RowBytes(int32_t first, int32_t count) const {
        return Bytes(row + first, row + first + count);
    }
};

TEST_F(RowTest, ANewRowIsZeroButForItsNullBits) {
    EXPECT_EQ(HexText(Repeat(Hex("00"), 24) + Hex("55") + Repeat(Hex("00"), 67)),
              HexText(RowBytes(0, ROW_BYTES + 1)));
    EXPECT_EQ(ROW_BYTES + 1, arena->current->used);
}

TEST_F(RowTest, ARowOverOldBytesIsZeroedWithItsSpareByte) {
    memset(arena->current->data + arena->current->used, 0xEE, 200);
    row = RowCreate(arena, ROW_BYTES, 4);
    EXPECT_EQ(HexText(Repeat(Hex("00"), 24) + Hex("55") + Repeat(Hex("00"), 67) + Hex("EE")),
              HexText(RowBytes(0, ROW_BYTES + 2)));
}

TEST_F(RowTest, NoColumnsMakeARowOf24Bytes) {
    const int32_t used = arena->current->used;
    row = RowCreate(arena, 24, 0);
    EXPECT_EQ(25, arena->current->used - used);
    EXPECT_EQ(HexText(Repeat(Hex("00"), 25)), HexText(RowBytes(0, 25)));
}

TEST_F(RowTest, FiveColumnsTakeTwoBytesOfStatus) {
    row = RowCreate(arena, 24 + 2 + 5, 5);
    EXPECT_EQ(HexText(Hex("55 01 00")), HexText(RowBytes(24, 3)));
    RowClearNull(row, 4);
    RowSetExternal(row, 4);
    EXPECT_EQ(HexText(Hex("55 02 00")), HexText(RowBytes(24, 3)));
}

TEST_F(RowTest, NullBitsStandForRealColumnsOnly) {
    const char *const expected[] = {"00 00 00", "01 00 00", "05 00 00", "15 00 00", "55 00 00",
                                    "55 01 00", "55 05 00", "55 15 00", "55 55 00", "55 55 01"};
    for (int32_t columns = 0; columns <= 9; columns++) {
        row = RowCreate(arena, 24 + 3, columns);
        EXPECT_EQ(HexText(Hex(expected[columns])), HexText(RowBytes(24, 3))) << columns;
    }
}

TEST_F(RowTest, StatusBitsOfEachColumn) {
    const uint8_t null_masks[] = {1, 4, 16, 64};
    const uint8_t external_masks[] = {2, 8, 32, 128};
    for (int32_t column = 0; column < 4; column++) {
        row[24] = 0;
        RowSetNull(row, column);
        EXPECT_EQ(null_masks[column], row[24]);
        EXPECT_TRUE(RowIsNull(row, column));
        EXPECT_FALSE(RowIsExternal(row, column));
        RowSetExternal(row, column);
        RowClearNull(row, column);
        EXPECT_EQ(external_masks[column], row[24]);
        EXPECT_FALSE(RowIsNull(row, column));
        EXPECT_TRUE(RowIsExternal(row, column));
        row[24] = 0xFF;
        RowClearExternal(row, column);
        EXPECT_EQ(255 - external_masks[column], row[24]);
        row[24] = 0xFF;
        RowClearNull(row, column);
        EXPECT_EQ(255 - null_masks[column], row[24]);
    }
}

TEST_F(RowTest, NoMemoryGivesNoRow) {
    ArenaAlloc(arena, 65536 - arena->current->used - 1);
    DebugSetHook([](const char *) {});
    MemFailAt(1);
    EXPECT_EQ(nullptr, RowCreate(arena, ROW_BYTES, 4));
    MemFailAt(0);
    DebugSetHook(nullptr);
}

TEST_F(RowTest, ValueOfANullColumnIsNone) {
    int32_t length = 77;
    EXPECT_EQ(nullptr, RowGetValue(row, fields, 0, &length));
    EXPECT_EQ(77, length);
    EXPECT_EQ(0, RowValueSize(row, fields, 0));
}

TEST_F(RowTest, ValueInTheSlot) {
    RowPutInt16(row, fields, 3, 0x1234);
    int32_t length = 0;
    EXPECT_EQ(row + 24 + 65, RowGetValue(row, fields, 3, &length));
    EXPECT_EQ(2, length);
    EXPECT_EQ(row + 24 + 65, RowGetValue(row, fields, 3, nullptr));
}

TEST_F(RowTest, ValueInExternalForm) {
    uint8_t bytes[] = "abc";
    RowStoreExternal(row + 24 + 9, bytes, 3);
    RowClearNull(row, 1);
    RowSetExternal(row, 1);
    int32_t length = 0;
    EXPECT_EQ(bytes, RowGetValue(row, fields, 1, &length));
    EXPECT_EQ(3, length);
    EXPECT_EQ(bytes, RowGetValue(row, fields, 1, nullptr));
    EXPECT_EQ(3, RowValueSize(row, fields, 1));
    EXPECT_EQ(HexText(Hex("03000000 00000000")), HexText(RowBytes(24 + 9, 8)));
    uint8_t *stored;
    memcpy(&stored, row + 24 + 9 + 8, sizeof(stored));
    EXPECT_EQ(bytes, stored);
}

TEST_F(RowTest, ValueSizeOfASmallintInARowThatBeginsWithABigintIs8) {
    RowPutInt16(row, fields, 3, 1);
    EXPECT_EQ(8, RowValueSize(row, fields, 3));
}

// Each put writes its bytes and clears the NULL bit of its column alone.
struct RowPutTest : RowTest {
    void ExpectPut(const char *slot) {
        const Bytes expected = Hex(slot);
        EXPECT_EQ(HexText(expected), HexText(RowBytes(24 + 9, (int32_t)expected.size())));
        EXPECT_EQ(0, row[24 + 9 + expected.size()]);
        EXPECT_EQ(0x51, row[24]);
    }
};

TEST_F(RowPutTest, Int8) {
    RowPutInt8(row, fields, 1, 0x81);
    ExpectPut("81");
}

TEST_F(RowPutTest, Int16) {
    RowPutInt16(row, fields, 1, 0x8182);
    ExpectPut("8281");
}

TEST_F(RowPutTest, Int32) {
    RowPutInt32(row, fields, 1, 0x81828384);
    ExpectPut("84838281");
}

TEST_F(RowPutTest, Int64) {
    RowPutInt64(row, fields, 1, 0x8182838485868788);
    ExpectPut("8887868584838281");
}

TEST_F(RowPutTest, Float) {
    RowPutFloat(row, fields, 1, -1.5F);
    ExpectPut("0000C0BF");
}

TEST_F(RowPutTest, Double) {
    RowPutDouble(row, fields, 1, -1.5);
    ExpectPut("000000000000F8BF");
}

TEST_F(RowTest, PutBytesTakesTheBytesOver) {
    char *bytes = MemCopyText("abc");
    RowPutBytes(row, fields, 1, bytes, 3);
    EXPECT_EQ(0x59, row[24]);
    int32_t length = 0;
    EXPECT_EQ((uint8_t *)bytes, RowGetValue(row, fields, 1, &length));
    EXPECT_EQ(3, length);
    MemFree(bytes);
}

TEST_F(RowTest, PutBytesFreesWhatTheSlotHeld) {
    const int64_t blocks = MemLiveBlocks();
    RowPutBytes(row, fields, 1, MemCopyText("first"), 5);
    RowSetNull(row, 1);
    char *second = MemCopyText("second");
    RowPutBytes(row, fields, 1, second, 6);
    EXPECT_EQ(blocks + 1, MemLiveBlocks());
    EXPECT_EQ((uint8_t *)second, RowGetValue(row, fields, 1, nullptr));
    MemFree(second);
}

TEST_F(RowTest, PutBytesLeavesASlotAloneThatIsTooNarrow) {
    const int64_t blocks = MemLiveBlocks();
    RowPutBytes(row, fields, 3, MemCopyText("abc"), 3);
    EXPECT_EQ(blocks, MemLiveBlocks());
    EXPECT_TRUE(RowIsNull(row, 3));
    EXPECT_EQ(HexText(Hex("00 00 00")), HexText(RowBytes(24 + 65, 3)));
}

TEST_F(RowTest, PutStringCountsTheTerminator) {
    char *text = MemCopyText("abc");
    RowPutString(row, fields, 2, text);
    int32_t length = 0;
    EXPECT_EQ((uint8_t *)text, RowGetValue(row, fields, 2, &length));
    EXPECT_EQ(4, length);
    MemFree(text);
}
