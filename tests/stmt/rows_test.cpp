// The row stream: what each letter does, how each type is read, and how the stream ends.
#include "stmt/rows.h"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/memory.h"
#include "platform/wait.h"
#include "stmt/row_rig.h"
#include "tavu/tvci.h"
#include "values/arena.h"
#include "values/types.h"
#include "wire/cipher.h"
#include "wire/connection.h"

// Makes a result with an arena and lets these bytes come behind its field list.
static ResultSet *ResultWith(RowRig *rig, const std::vector<int32_t> &types, const Bytes &rows) {
    ResultSet *result = rig->NewResult(types);
    result->arena = ArenaCreate();
    rig->Arrive(rows);
    return result;
}

static Bytes ImageBytes(const RowImage *row, int32_t first, int32_t count) {
    return Bytes(row + first, row + first + count);
}

// The bytes of a column in external form with the NUL behind them; "NULL" for a NULL.
static std::string ExternalText(const ResultSet *result, RowImage *row, int32_t column) {
    int32_t length = 0;
    const uint8_t *bytes = RowGetValue(row, result->fields, column, &length);
    if (bytes == nullptr) return "NULL";
    EXPECT_TRUE(RowIsExternal(row, column));
    return HexText(Bytes(bytes, bytes + length + 1));
}

TEST(ReadRow, TheImageByteForByte) {
    RowRig rig;
    ResultSet *result = ResultWith(&rig, {5, 30, 4, 6, 3},
                                   Hex("'R' 00000004 01020304  00000002 'ab'  00000000"
                                       " 00000008 1112131415161718  00000001 7F  'K'"));
    RowImage *row = nullptr;
    ASSERT_EQ(0, ReadRow(result, &row));
    EXPECT_EQ(24 + 2 + 4 + 16 + 2 + 8 + 1, result->row_size);
    EXPECT_EQ(HexText(Repeat(Hex("00"), 24)), HexText(ImageBytes(row, 0, 24)));
    // INTEGER: neither bit. CHAR: external. SMALLINT: NULL. BIGINT, TINYINT: neither bit.
    EXPECT_EQ(HexText(Hex("18 00")), HexText(ImageBytes(row, 24, 2)));
    EXPECT_EQ(HexText(Hex("04030201")), HexText(ImageBytes(row, 26, 4)));
    EXPECT_EQ(HexText(Hex("02000000 00000000")), HexText(ImageBytes(row, 30, 8)));
    uint8_t *text;
    memcpy(&text, row + 38, sizeof(text));
    EXPECT_EQ(row + 58, text);
    EXPECT_EQ(HexText(Hex("0000 1817161514131211 7F 00")), HexText(ImageBytes(row, 46, 12)));
    EXPECT_EQ(HexText(Hex("'ab' 00")), HexText(ImageBytes(row, 58, 3)));
    EXPECT_EQ(58 + 3, result->arena->current->used);
    EXPECT_EQ(HexText(Hex("'K'")), HexText(rig.Unread()));
}

// One row with a value of each fixed width type, and what its slot holds.
struct FixedLine {
    int32_t type;
    const char *wire;
    const char *slot;
};

static const FixedLine fixed_lines[] = {
    {2, "'T'", "54"},
    {3, "81", "81"},
    {4, "8182", "8281"},
    {5, "81828384", "84838281"},
    {6, "8182838485868788", "8887868584838281"},
    {8, "BFC00000", "0000C0BF"},
    {9, "BFF8000000000000", "000000000000F8BF"},
    {10, "81828384", "84838281"},
    {11, "81828384", "84838281"},
    {13, "8182838485868788", "8887868584838281"},
    {15, "81828384", "84838281"},
    {16, "81828384", "84838281"},
    {17, "81828384", "84838281"},
    {18, "81828384", "84838281"},
    {19, "81828384", "84838281"},
    {20, "81828384", "84838281"},
    {21, "81828384", "84838281"},
    {22, "81828384", "84838281"},
    {23, "81828384", "84838281"},
    {24, "8182838485868788", "8887868584838281"},
    {25, "8182838485868788", "8887868584838281"},
    {26, "8182838485868788", "8887868584838281"},
    {27, "8182838485868788", "8887868584838281"},
};

// Reads the line's value, announced with `length_word`, in front of a value of 1 byte.
static void ExpectFixed(const FixedLine &line, const char *length_word, size_t piece_bytes) {
    RowRig rig;
    ResultSet *result = rig.NewResult({line.type, 3});
    result->arena = ArenaCreate();
    rig.Arrive(Hex("'R'") + Hex(length_word) + Hex(line.wire) + Hex("00000001 5A 'K'"),
               piece_bytes);
    RowImage *row = nullptr;
    ASSERT_EQ(0, ReadRow(result, &row)) << line.type;
    const Bytes slot = Hex(line.slot);
    const int32_t width = (int32_t)slot.size();
    EXPECT_EQ(HexText(Hex("00") + slot + Hex("5A 00")), HexText(ImageBytes(row, 24, width + 3)))
        << line.type;
    EXPECT_EQ(HexText(Hex("'K'")), HexText(rig.Unread())) << line.type;
}

TEST(ReadRow, EveryFixedWidthTypeFromItsWireBytes) {
    for (const FixedLine &line : fixed_lines) {
        ExpectFixed(line, "00000004", 8192);
    }
}

TEST(ReadRow, EveryFixedWidthTypeByteByByte) {
    for (const FixedLine &line : fixed_lines) {
        ExpectFixed(line, "00000004", 1);
    }
}

TEST(ReadRow, AFixedWidthValueIgnoresItsLengthWord) {
    for (const FixedLine &line : fixed_lines) {
        ExpectFixed(line, "00000001", 8192);
        ExpectFixed(line, "7FFFFFFF", 8192);
    }
}

TEST(ReadRow, EveryOtherTypeIsCarriedAsItCame) {
    for (const int32_t type : {0,  1,  7,  12, 14, 28, 29, 30, 31, 32, 33, 34, 44, 45, 47,
                               48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 58, 59, 60, 61, -1}) {
        RowRig rig;
        ResultSet *result =
            ResultWith(&rig, {type, 3}, Hex("'R' 0000000A 81828384858687888990 00000001 5A 'K'"));
        RowImage *row = nullptr;
        ASSERT_EQ(0, ReadRow(result, &row)) << type;
        EXPECT_EQ(HexText(Hex("02")), HexText(ImageBytes(row, 24, 1))) << type;
        EXPECT_EQ(HexText(Hex("0A000000 00000000")), HexText(ImageBytes(row, 25, 8))) << type;
        EXPECT_EQ(HexText(Hex("8182838485868788899000")), ExternalText(result, row, 0)) << type;
        EXPECT_EQ(0x5A, *RowGetValue(row, result->fields, 1, nullptr)) << type;
    }
}

TEST(ReadRow, HostOrderWhileNoEnvironmentWasMade) {
    RowRig rig;
    ResultSet *result = ResultWith(&rig, {5, 6, 4, 3},
                                   Hex("'R' 04000000 04030201 08000000 1817161514131211"
                                       " 02000000 2221 01000000 31 'K'"));
    swap_bytes = 0;
    RowImage *row = nullptr;
    ASSERT_EQ(0, ReadRow(result, &row));
    swap_bytes = 1;
    EXPECT_EQ(HexText(Hex("00 04030201 1817161514131211 2221 31")),
              HexText(ImageBytes(row, 24, 16)));
}

TEST(ReadRow, WithTheCipherOnAndNoKeystreamTheBytesAreThemselves) {
    RowRig rig;
    ResultSet *result =
        ResultWith(&rig, {5, 30}, Hex("'*' 00000002 'bm' 00000004 01020304 00000002 'ab' 'K'"));
    rig.conn->use_ssl = 1;
    RowImage *row = nullptr;
    ASSERT_EQ(0, ReadRow(result, &row));
    EXPECT_EQ(HexText(Hex("0000 0000 'bm' 00")), HexText(ImageBytes(row, 0, 7)));
    EXPECT_EQ(HexText(Hex("08 04030201")), HexText(ImageBytes(row, 24, 5)));
    EXPECT_EQ(HexText(Hex("'ab' 00")), ExternalText(result, row, 1));
}

// The keystream of the key 00 to 1F in its bytes 3360 to 3471. At 3400 its second block begins.
static const char *const KEYSTREAM_FROM_3360 =
    "025B1EE02336E86E799545CA7F43CA0130C489A79C21ABA17AA283978B7986ED"
    "4362BC2019138FE4C88C944A2EA91F91638E6BABF2888846D5A8D293971CF73E"
    "5F3BE650FD81AD26CC736555FFF759F977ED184298DAE0288FFE744F9545FF85"
    "47A4B278A701CA70908C133E0FADB588";

// Appends `plain` as it stands on the wire from `place` of that keystream on; moves `place`.
static void Encipher(Bytes *wire, const Bytes &plain, size_t *place) {
    const Bytes keystream = Hex(KEYSTREAM_FROM_3360);
    for (const uint8_t byte : plain) {
        wire->push_back((uint8_t)(byte ^ keystream.at(*place - 3360)));
        (*place)++;
    }
}

// Four rows of which the first and the third have a bookmark, enciphered but for the bookmarks.
static Bytes EncipheredRows(size_t place) {
    Bytes wire;
    Encipher(&wire, Hex("'*' 00000004"), &place);
    wire = wire + Hex("'mark'");
    Encipher(&wire,
             Hex("00000004 01020304 00000002 'ab'"
                 " 'R' 00000004 05060708 00000000 '*' 00000019"),
             &place);
    wire = wire + Hex("'abcdefghijklmnopqrstuvwxy'");
    Encipher(&wire,
             Hex("00000004 090A0B0C 00000003 'cde'"
                 " 'R' 00000004 0D0E0F10 00000001 'f' 'K'"),
             &place);
    return wire;
}

// The next row: the room of its bookmark, its integer and its text.
static std::string NextRowText(ResultSet *result) {
    RowImage *row = nullptr;
    EXPECT_EQ(0, ReadRow(result, &row));
    if (row == nullptr) return "none";
    return HexText(ImageBytes(row, 4, 20)) + "; " + HexText(ImageBytes(row, 25, 4)) + "; " +
           ExternalText(result, row, 1);
}

static std::string RowText(const char *bookmark, const char *integer, const char *text) {
    return HexText(Hex(bookmark)) + "; " + HexText(Hex(integer)) + "; " + text;
}

// Reads the four rows at a place of the keystream, their bytes cut once.
static void ExpectEncipheredRows(size_t place, size_t cut) {
    SCOPED_TRACE(std::to_string(place) + ", cut before byte " + std::to_string(cut));
    RowRig rig;
    ResultSet *result = rig.NewResult({5, 30});
    result->arena = ArenaCreate();
    const Bytes key = Hex("000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F");
    rig.conn->use_ssl = 1;
    ASSERT_TRUE(CipherSetup(rig.conn, key.data(), 32));
    Bytes passed(place);
    CipherApplyRecv(rig.conn, passed.data(), (int32_t)place);
    rig.ArriveCut(EncipheredRows(place), cut);
    const char *const none = "0000000000000000000000000000000000000000";
    EXPECT_EQ(RowText("'mark' 00000000000000000000000000000000", "04030201",
                      HexText(Hex("'ab' 00")).c_str()),
              NextRowText(result));
    EXPECT_EQ(RowText(none, "08070605", "NULL"), NextRowText(result));
    EXPECT_EQ(RowText("'abcdefghijklmnopqrst'", "0C0B0A09", HexText(Hex("'cde' 00")).c_str()),
              NextRowText(result));
    EXPECT_EQ(RowText(none, "100F0E0D", HexText(Hex("'f' 00")).c_str()), NextRowText(result));
    RowImage *row = nullptr;
    EXPECT_EQ(101, ReadRow(result, &row));
    EXPECT_EQ('K', rig.conn->pushback);
    // 67 bytes went through the keystream, the 29 of the bookmarks did not.
    EXPECT_EQ((int32_t)(place + 67) % 3400, rig.conn->recv_cipher->pos);
}

TEST(ReadRow, ABookmarkIsNotDecipheredAndTheRowsBehindItGoOnInTheKeystream) {
    for (size_t place = 3360; place <= 3400; place++) {
        ExpectEncipheredRows(place, 0);
    }
    // The second block begins behind the first bookmark's length, and inside the third row.
    for (const size_t place : {3395, 3365, 3400}) {
        for (size_t cut = 1; cut < 96; cut++) {
            ExpectEncipheredRows(place, cut);
        }
    }
}

TEST(ReadRow, Length0OnAVariableColumnIsNull) {
    RowRig rig;
    ResultSet *result = ResultWith(&rig, {30, 3}, Hex("'R' 00000000 00000001 5A 'K'"));
    RowImage *row = nullptr;
    ASSERT_EQ(0, ReadRow(result, &row));
    EXPECT_TRUE(RowIsNull(row, 0));
    EXPECT_FALSE(RowIsExternal(row, 0));
    EXPECT_EQ(0x5A, *RowGetValue(row, result->fields, 1, nullptr));
}

TEST(ReadRow, Length0OnABigintReadsNoPayloadAndIsNull) {
    RowRig rig;
    ResultSet *result = ResultWith(&rig, {6, 3}, Hex("'R' 00000000 00000001 5A 'K'"));
    RowImage *row = nullptr;
    ASSERT_EQ(0, ReadRow(result, &row));
    EXPECT_TRUE(RowIsNull(row, 0));
    EXPECT_EQ(0x5A, *RowGetValue(row, result->fields, 1, nullptr));
}

TEST(ReadRow, ANegativeLengthIsNull) {
    RowRig rig;
    ResultSet *result = ResultWith(&rig, {6, 30, 3}, Hex("'R' FFFFFFFF 80000000 00000001 5A 'K'"));
    RowImage *row = nullptr;
    ASSERT_EQ(0, ReadRow(result, &row));
    EXPECT_EQ(HexText(Hex("05")), HexText(ImageBytes(row, 24, 1)));
    EXPECT_EQ(0x5A, *RowGetValue(row, result->fields, 2, nullptr));
}

TEST(ReadRow, StatusBitsOfNineColumns) {
    RowRig rig;
    ResultSet *result = ResultWith(&rig, {30, 3, 3, 30, 3, 30, 30, 3, 3},
                                   Hex("'R' 00000001 41  00000000  00000001 01  00000001 42"
                                       " 00000000  00000001 43  00000000  00000001 02  00000000"));
    RowImage *row = nullptr;
    ASSERT_EQ(0, ReadRow(result, &row));
    // External, NULL, value, external; NULL, external, NULL, value; NULL.
    EXPECT_EQ(HexText(Hex("86 19 01")), HexText(ImageBytes(row, 24, 3)));
}

TEST(ReadRow, NoColumns) {
    RowRig rig;
    ResultSet *result = ResultWith(&rig, {}, Hex("'RRK'"));
    RowImage *row = nullptr;
    ASSERT_EQ(0, ReadRow(result, &row));
    EXPECT_EQ(25, result->arena->current->used);
    ASSERT_EQ(0, ReadRow(result, &row));
    EXPECT_EQ(101, ReadRow(result, &row));
}

TEST(ReadRow, AStarRowKeepsItsBookmarkAsItCame) {
    RowRig rig;
    ResultSet *result = ResultWith(&rig, {3}, Hex("'*' 00000004 01020304 00000001 5A 'K'"));
    RowImage *row = nullptr;
    ASSERT_EQ(0, ReadRow(result, &row));
    EXPECT_EQ(HexText(Hex("0000 0000 01020304 00")), HexText(ImageBytes(row, 0, 9)));
    EXPECT_EQ(0x5A, *RowGetValue(row, result->fields, 0, nullptr));
}

TEST(ReadRow, OfALongBookmarkTheFirst20BytesAreKept) {
    RowRig rig;
    ResultSet *result =
        ResultWith(&rig, {3}, Hex("'*' 00000019 'abcdefghijklmnopqrstuvwxy' 00000001 5A 'K'"));
    RowImage *row = nullptr;
    ASSERT_EQ(0, ReadRow(result, &row));
    EXPECT_EQ(HexText(Hex("'abcdefghijklmnopqrst' 00 5A")), HexText(ImageBytes(row, 4, 22)));
    EXPECT_EQ(HexText(Hex("'K'")), HexText(rig.Unread()));
}

TEST(ReadRow, ALongBookmarkWritesNothingBehindItsRoom) {
    RowRig rig;
    ResultSet *result =
        ResultWith(&rig, {6}, Hex("'*' 00000019 'abcdefghijklmnopqrstuvwxy' 00000000 'K'"));
    RowImage *row = nullptr;
    ASSERT_EQ(0, ReadRow(result, &row));
    EXPECT_EQ(HexText(Hex("'abcdefghijklmnopqrst' 01 0000000000000000 00")),
              HexText(ImageBytes(row, 4, 30)));
}

TEST(ReadRow, ALongBookmarkOfARowWithoutColumnsLeavesItsSpareByte) {
    RowRig rig;
    ResultSet *result = ResultWith(&rig, {}, Hex("'*' 00000019 'abcdefghijklmnopqrstuvwxy' 'K'"));
    RowImage *row = nullptr;
    ASSERT_EQ(0, ReadRow(result, &row));
    EXPECT_EQ(HexText(Hex("0000 0000 'abcdefghijklmnopqrst' 00")), HexText(ImageBytes(row, 0, 25)));
}

TEST(ReadRow, ABookmarkOf20BytesAndOneOfNone) {
    RowRig rig;
    ResultSet *result = ResultWith(&rig, {3},
                                   Hex("'*' 00000014 'abcdefghijklmnopqrst' 00000001 5A"
                                       " '*' 00000000 00000001 5B"
                                       " '*' 80000000 00000001 5C 'K'"));
    RowImage *row = nullptr;
    ASSERT_EQ(0, ReadRow(result, &row));
    EXPECT_EQ(HexText(Hex("'abcdefghijklmnopqrst' 00 5A")), HexText(ImageBytes(row, 4, 22)));
    ASSERT_EQ(0, ReadRow(result, &row));
    EXPECT_EQ(HexText(Repeat(Hex("00"), 21) + Hex("5B")), HexText(ImageBytes(row, 4, 22)));
    ASSERT_EQ(0, ReadRow(result, &row));
    EXPECT_EQ(HexText(Repeat(Hex("00"), 21) + Hex("5C")), HexText(ImageBytes(row, 4, 22)));
}

TEST(ReadRow, NoticesBetweenRowsAreKeptAndDoNotEndTheStream) {
    for (const char *letter : {"'E'", "'F'", "'M'", "'W'"}) {
        RowRig rig;
        ResultSet *result = ResultWith(
            &rig, {3}, Hex(letter) + Hex("0000000D '[E13001]twice' 'R' 00000001 5A 'K'"));
        RowImage *row = nullptr;
        EXPECT_EQ(0, ReadRow(result, &row)) << letter;
        EXPECT_EQ("E13001: [E13001]twice", rig.Error());
        EXPECT_EQ(0, rig.stmt.rows_complete.load());
        EXPECT_EQ(101, ReadRow(result, &row));
    }
}

TEST(ReadRow, ALaterNoticeReplacesAnEarlierError) {
    RowRig rig;
    ResultSet *result = ResultWith(
        &rig, {3}, Hex("'E' 0000000D '[E13001]twice' 'W' 00000008 '[E1234]w' 'R' 00000001 5A"));
    RowImage *row = nullptr;
    EXPECT_EQ(0, ReadRow(result, &row));
    EXPECT_EQ("E1234: [E1234]w", rig.Error());
}

TEST(ReadRow, ANoticeIsReadByteByByte) {
    RowRig rig;
    ResultSet *result = rig.NewResult({3});
    result->arena = ArenaCreate();
    rig.Arrive(Hex("'E' 0000000D '[E13001]twice' 'R' 00000001 5A 'K'"), 1);
    RowImage *row = nullptr;
    EXPECT_EQ(0, ReadRow(result, &row));
    EXPECT_EQ("E13001: [E13001]twice", rig.Error());
    EXPECT_EQ(0x5A, *RowGetValue(row, result->fields, 0, nullptr));
}

TEST(ReadRow, ANoticeCutShortIsALostConnection) {
    const Bytes notice = Hex("'E' 00000004 'oops'");
    for (size_t came = 0; came < notice.size(); came++) {
        RowRig rig;
        ResultSet *result =
            ResultWith(&rig, {3}, Bytes(notice.begin(), notice.begin() + (ptrdiff_t)came));
        RowImage *row = nullptr;
        EXPECT_EQ(-4, ReadRow(result, &row)) << came;
        EXPECT_EQ("", rig.Error());
    }
}

TEST(ReadRow, ANoticeOfNegativeLengthIsNoMemory) {
    RowRig rig;
    ResultSet *result = ResultWith(&rig, {3}, Hex("'E' FFFFFFFF 'R' 00000001 5A 'K'"));
    RowImage *row = nullptr;
    EXPECT_EQ(-5, ReadRow(result, &row));
    EXPECT_EQ(HexText(Hex("'R' 00000001 5A 'K'")), HexText(rig.Unread()));
}

TEST(ReadRow, ANoticeThatCannotBeKeptIsLostAndTheRowBehindItIsRead) {
    // The text is the first request, the record and its message are the next two.
    for (const uint64_t request : {2, 3}) {
        RowRig rig;
        ResultSet *result =
            ResultWith(&rig, {3}, Hex("'E' 0000000D '[E13001]twice' 'R' 00000001 5A 'K'"));
        RowImage *row = nullptr;
        MemFailAt(request);
        ASSERT_EQ(0, ReadRow(result, &row)) << request;
        EXPECT_TRUE(MemFailed());
        EXPECT_EQ("", rig.Error());
        EXPECT_EQ(0x5A, *RowGetValue(row, result->fields, 0, nullptr));
    }
}

TEST(ReadRow, AnyOtherLetterIsPushedBackAndEndsTheStream) {
    for (int letter = 0; letter < 256; letter++) {
        if (letter != 0 && strchr("R*EFMW", letter) != nullptr) continue;
        RowRig rig;
        ResultSet *result = ResultWith(&rig, {3}, Bytes(1, (uint8_t)letter) + Hex("00000001 5A"));
        RowImage *row = (RowImage *)&rig;
        EXPECT_EQ(101, ReadRow(result, &row)) << letter;
        EXPECT_EQ(nullptr, row);
        EXPECT_EQ(letter, rig.conn->pushback);
        EXPECT_EQ(0, result->arena->current->used);
        EXPECT_EQ(HexText(Hex("00000001 5A")), HexText(rig.Unread()));
    }
}

TEST(ReadRow, APushedBackLetterOpensTheRow) {
    RowRig rig;
    ResultSet *result = ResultWith(&rig, {5}, Hex("00000004 01020304 'K'"));
    rig.conn->pushback = 'R';
    RowImage *row = nullptr;
    ASSERT_EQ(0, ReadRow(result, &row));
    EXPECT_EQ(HexText(Hex("04030201")), HexText(ImageBytes(row, 25, 4)));
    EXPECT_EQ(0, rig.conn->pushback);
}

// A row with a bookmark, a value of each width, texts and a NULL.
static const std::vector<int32_t> mixed_types = {3, 4, 5, 6, 30, 30, 13, 45};

static Bytes MixedRow() {
    return Hex(
        "'*' 00000003 'abc'  00000001 7F  00000002 0102  00000004 01020304"
        " 00000008 0102030405060708  00000005 'hello'  00000000"
        " 00000008 1112131415161718  00000006 'ROW001'");
}

static void ExpectMixedRow(const ResultSet *result, RowImage *row) {
    EXPECT_EQ(HexText(Hex("0000 0000 'abc' 00")), HexText(ImageBytes(row, 0, 8)));
    EXPECT_EQ(HexText(Hex("00 86 7F 0201 04030201 0807060504030201")),
              HexText(ImageBytes(row, 24, 17)));
    EXPECT_EQ(HexText(Hex("'hello' 00")), ExternalText(result, row, 4));
    EXPECT_EQ("NULL", ExternalText(result, row, 5));
    EXPECT_EQ(HexText(Hex("1817161514131211")),
              HexText(ImageBytes(RowGetValue(row, result->fields, 6, nullptr), 0, 8)));
    EXPECT_EQ(HexText(Hex("'ROW001' 00")), ExternalText(result, row, 7));
}

TEST(ReadRow, ARowCutAtAnyByteReadsTheSame) {
    const Bytes stream = MixedRow() + MixedRow() + Hex("'K'");
    for (size_t cut = 1; cut < stream.size(); cut++) {
        RowRig rig;
        ResultSet *result = rig.NewResult(mixed_types);
        result->arena = ArenaCreate();
        rig.ArriveCut(stream, cut);
        for (int n = 0; n < 2; n++) {
            RowImage *row = nullptr;
            ASSERT_EQ(0, ReadRow(result, &row)) << cut;
            ExpectMixedRow(result, row);
        }
        RowImage *row = nullptr;
        EXPECT_EQ(101, ReadRow(result, &row)) << cut;
        EXPECT_EQ('K', rig.conn->pushback);
    }
}

TEST(ReadRow, ARowThatArrivesInPiecesOfAnySizeReadsTheSame) {
    for (size_t piece = 1; piece < 90; piece++) {
        RowRig rig;
        ResultSet *result = rig.NewResult(mixed_types);
        rig.Arrive(Repeat(MixedRow(), 20) + Hex("'K'"), piece);
        ASSERT_EQ(20, ReadFirstRows(result)) << piece;
        for (int64_t n = 0; n < 20; n++) {
            ExpectMixedRow(result, *RowSlot(result, n));
        }
    }
}

TEST(ReadRow, ARowCutShortAtAnyByteIsALostConnection) {
    const Bytes whole = MixedRow();
    for (size_t came = 0; came < whole.size(); came++) {
        RowRig rig;
        ResultSet *result =
            ResultWith(&rig, mixed_types, Bytes(whole.begin(), whole.begin() + (ptrdiff_t)came));
        RowImage *row = (RowImage *)&rig;
        EXPECT_EQ(-4, ReadRow(result, &row)) << came;
        EXPECT_EQ(nullptr, row);
    }
}

TEST(ReadRow, AFailedRowStaysBehindInTheArena) {
    RowRig rig;
    ResultSet *result = ResultWith(&rig, {5}, Hex("'R' 00000004 0102"));
    RowImage *row = nullptr;
    EXPECT_EQ(-4, ReadRow(result, &row));
    EXPECT_EQ(24 + 1 + 4 + 1, result->arena->current->used);
}

TEST(ReadRow, AValueThatNoBufferCanHoldIsNoMemory) {
    RowRig rig;
    ResultSet *result = ResultWith(&rig, {30}, Hex("'R' 7FFFFFFF 'abc'"));
    RowImage *row = nullptr;
    EXPECT_EQ(-5, ReadRow(result, &row));
    EXPECT_EQ(nullptr, row);
    EXPECT_EQ(HexText(Hex("'abc'")), HexText(rig.Unread()));
}

TEST(ReadRow, AValueAsLargeAsNoChunk) {
    RowRig rig;
    const Bytes value = Repeat(Hex("'0123456789'"), 7000);
    ResultSet *result =
        ResultWith(&rig, {33, 3}, Hex("'R' 00011170") + value + Hex("00000001 5A 'K'"));
    RowImage *row = nullptr;
    ASSERT_EQ(0, ReadRow(result, &row));
    EXPECT_EQ(70001, result->arena->first->capacity);
    int32_t length = 0;
    const uint8_t *bytes = RowGetValue(row, result->fields, 0, &length);
    ASSERT_EQ(70000, length);
    EXPECT_EQ(0, memcmp(value.data(), bytes, 70000));
    EXPECT_EQ(0, bytes[70000]);
    EXPECT_EQ(0x5A, *RowGetValue(row, result->fields, 1, nullptr));
}

// `count` rows of an INTEGER that counts from `first`.
static Bytes CountingRows(int32_t first, int32_t count) {
    Bytes rows;
    for (int32_t n = first; n < first + count; n++) {
        const Bytes row = Hex("'R' 00000004") + Int32(n);
        rows.insert(rows.end(), row.begin(), row.end());
    }
    return rows;
}

static int32_t CountAt(ResultSet *result, int64_t n) {
    int32_t value;
    memcpy(&value, RowGetValue(*RowSlot(result, n), result->fields, 0, nullptr), sizeof(value));
    return value;
}

static void ExpectCounting(ResultSet *result, int64_t count) {
    ASSERT_EQ(count, result->store.row_count.load());
    for (int64_t n = 0; n < count; n++) {
        ASSERT_EQ(n, CountAt(result, n));
    }
}

TEST(ReadFirstRows, TakesAtMost2000Rows) {
    const struct {
        int32_t sent;
        int32_t taken;
    } lines[] = {{0, 0}, {1, 1}, {1999, 1999}, {2000, 2000}, {2001, 2000}};
    for (const auto &line : lines) {
        RowRig rig;
        ResultSet *result = rig.NewResult({5});
        rig.Arrive(CountingRows(0, line.sent) + Hex("'K'"));
        EXPECT_EQ(line.taken, ReadFirstRows(result));
        ExpectCounting(result, line.taken);
        uint8_t next = 0;
        EXPECT_TRUE(ConnReadChar(rig.conn, &next));
        EXPECT_EQ(line.sent == 2001 ? 'R' : 'K', next);
    }
}

TEST(ReadFirstRows, GoesOnInTheArenaThatIsThere) {
    RowRig rig;
    ResultSet *result = rig.NewResult({5});
    rig.Arrive(CountingRows(0, 4001) + Hex("'K'"));
    EXPECT_EQ(2000, ReadFirstRows(result));
    const RowArena *arena = result->arena;
    EXPECT_EQ(2000, ReadFirstRows(result));
    EXPECT_EQ(1, ReadFirstRows(result));
    EXPECT_EQ(arena, result->arena);
    ExpectCounting(result, 4001);
}

TEST(ReadFirstRows, AFailedRowStopsItAndTheRowsBeforeStay) {
    RowRig rig;
    ResultSet *result = rig.NewResult({5});
    rig.Arrive(CountingRows(0, 3) + Hex("'R' 00000004 00"));
    EXPECT_EQ(3, ReadFirstRows(result));
    ExpectCounting(result, 3);
}

TEST(ReadFirstRows, ARowThatCannotBeStoredIsLostAndCountedAsRead) {
    RowRig rig;
    ResultSet *result = rig.NewResult({5});
    rig.Arrive(CountingRows(0, 3) + Hex("'K'"));
    // Behind the three blocks of the arena comes the index, for the first row.
    MemFailAt(4);
    EXPECT_EQ(3, ReadFirstRows(result));
    EXPECT_TRUE(MemFailed());
    EXPECT_EQ('K', rig.conn->pushback);
    ASSERT_EQ(2, result->store.row_count.load());
    EXPECT_EQ(1, CountAt(result, 0));
    EXPECT_EQ(2, CountAt(result, 1));
}

TEST(ReadFirstRows, AnyAllocationThatFailsCostsRowsAndNothingElse) {
    const Bytes stream = Hex("'M' 00000007 '[E1]msg'") + Repeat(MixedRow(), 1200) + Hex("'K'");
    bool failed = true;
    for (uint64_t request = 1; failed; request++) {
        RowRig rig;
        ResultSet *result = rig.NewResult(mixed_types);
        rig.Arrive(stream);
        MemFailAt(request);
        const int32_t taken = ReadFirstRows(result);
        failed = MemFailed();
        MemFailAt(0);
        EXPECT_LE(taken, 1200);
        EXPECT_LE(result->store.row_count.load(), taken);
        if (!failed) {
            EXPECT_EQ(1200, taken);
            EXPECT_EQ(1200, result->store.row_count.load());
        }
        for (int64_t n = 0; n < result->store.row_count.load(); n++) {
            ExpectMixedRow(result, *RowSlot(result, n));
        }
    }
}

TEST(ReadRemainingRows, TheLastLetterEndsTheResponse) {
    RowRig rig;
    ResultSet *result = rig.NewResult({5});
    rig.Arrive(CountingRows(0, 5000) + Hex("'K?'"));
    EXPECT_EQ(2000, ReadFirstRows(result));
    EXPECT_EQ(0, ReadRemainingRows(result));
    EXPECT_EQ(1, rig.stmt.rows_complete.load());
    EXPECT_EQ(1, rig.stmt.response_done.load());
    EXPECT_EQ(0, rig.conn->pushback);
    EXPECT_EQ(HexText(Hex("'?'")), HexText(rig.Unread()));
    ExpectCounting(result, 5000);
}

TEST(ReadRemainingRows, ARowThatCannotBeStoredIsLostAndDoesNotEndTheStream) {
    RowRig rig;
    ResultSet *result = ResultWith(&rig, {5}, CountingRows(0, 3) + Hex("'K'"));
    MemFailAt(1);
    EXPECT_EQ(0, ReadRemainingRows(result));
    EXPECT_TRUE(MemFailed());
    EXPECT_EQ(1, rig.stmt.response_done.load());
    ASSERT_EQ(2, result->store.row_count.load());
    EXPECT_EQ(1, CountAt(result, 0));
    EXPECT_EQ(2, CountAt(result, 1));
}

TEST(ReadRemainingRows, AnotherItemBehindTheRowsLeavesTheResponseOpen) {
    RowRig rig;
    ResultSet *result = rig.NewResult({5});
    rig.Arrive(CountingRows(0, 2001) + Hex("'U' 00000001 'K'"));
    EXPECT_EQ(2000, ReadFirstRows(result));
    rig.stmt.response_done = 1;
    EXPECT_EQ(-1, ReadRemainingRows(result));
    EXPECT_EQ(1, rig.stmt.rows_complete.load());
    EXPECT_EQ(0, rig.stmt.response_done.load());
    EXPECT_EQ('U', rig.conn->pushback);
    EXPECT_EQ(HexText(Hex("00000001 'K'")), HexText(rig.Unread()));
    ExpectCounting(result, 2001);
}

TEST(ReadRemainingRows, ALostConnectionLeavesTheResponseOpenAndPushesNothingBack) {
    RowRig rig;
    ResultSet *result = rig.NewResult({5});
    rig.Arrive(CountingRows(0, 2001) + Hex("'R' 00000004 01"));
    EXPECT_EQ(2000, ReadFirstRows(result));
    rig.stmt.response_done = 1;
    EXPECT_EQ(-1, ReadRemainingRows(result));
    EXPECT_EQ(1, rig.stmt.rows_complete.load());
    EXPECT_EQ(0, rig.stmt.response_done.load());
    EXPECT_EQ(0, rig.conn->pushback);
    ExpectCounting(result, 2001);
}

TEST(ReadRemainingRows, TheLetterBehindARowThatFoundNoMemoryDecides) {
    const Bytes rows = Hex("'R' 00000001 'a'  'R' 7FFFFFFF");
    {
        RowRig rig;
        ResultSet *result = ResultWith(&rig, {30}, rows + Hex("'xK'"));
        EXPECT_EQ(-1, ReadRemainingRows(result));
        EXPECT_EQ('x', rig.conn->pushback);
        EXPECT_EQ(1, rig.stmt.rows_complete.load());
        EXPECT_EQ(0, rig.stmt.response_done.load());
        EXPECT_EQ(1, result->store.row_count.load());
    }
    RowRig rig;
    ResultSet *result = ResultWith(&rig, {30}, rows + Hex("'Kx'"));
    EXPECT_EQ(0, ReadRemainingRows(result));
    EXPECT_EQ(1, rig.stmt.response_done.load());
    EXPECT_EQ(1, result->store.row_count.load());
}

// Whether the connection's permit can be had; it is given back.
static bool PermitIsFree(Connection *conn) {
    if (!SemaphoreTryTake(&conn->use_semaphore)) return false;
    SemaphoreRelease(&conn->use_semaphore);
    return true;
}

TEST(BackgroundReaderEntry, ReleasesThePermitHoweverTheRowsEnd) {
    for (const char *end : {"'K'", "'U' 00000001 'K'", "'R' 00000004 01", ""}) {
        RowRig rig;
        ResultSet *result = rig.NewResult({5});
        rig.Arrive(CountingRows(0, 3000) + Hex(end));
        ASSERT_TRUE(SemaphoreTryTake(&rig.conn->use_semaphore));
        EXPECT_EQ(2000, ReadFirstRows(result));
        EXPECT_FALSE(PermitIsFree(rig.conn));
        BackgroundReaderEntry(result);
        EXPECT_TRUE(PermitIsFree(rig.conn)) << end;
        EXPECT_EQ(1, rig.stmt.rows_complete.load());
        ExpectCounting(result, 3000);
    }
}

TEST(BackgroundReaderEntry, RowsAreReadBesideItAsTheyCome) {
    RowRig rig;
    ResultSet *result = rig.NewResult({5});
    rig.Arrive(CountingRows(0, 40000) + Hex("'K'"));
    ASSERT_TRUE(SemaphoreTryTake(&rig.conn->use_semaphore));
    ASSERT_EQ(2000, ReadFirstRows(result));
    const RowImage *first_row = *RowSlot(result, 0);
    ASSERT_TRUE(ConnStartThread(BackgroundReaderEntry, 0, result));
    int64_t position = 0;
    while (position < 40000) {
        if (position >= result->store.row_count.load(std::memory_order_acquire)) continue;
        MutexLock(&rig.stmt.lock);
        RowImage *row = *RowSlot(result, position);
        MutexUnlock(&rig.stmt.lock);
        int32_t value;
        memcpy(&value, RowGetValue(row, result->fields, 0, nullptr), sizeof(value));
        ASSERT_EQ(position, value);
        position++;
    }
    WaitSemaphore(&rig.conn->use_semaphore, WAIT_CONN_PERMIT);
    SemaphoreRelease(&rig.conn->use_semaphore);
    EXPECT_EQ(1, rig.stmt.response_done.load());
    EXPECT_EQ(first_row, *RowSlot(result, 0));
}

TEST(BackgroundReaderEntry, TheResultMayGoAsSoonAsTheResponseIsDone) {
    for (int round = 0; round < 20; round++) {
        RowRig rig;
        ResultSet *result = rig.NewResult({5});
        rig.Arrive(CountingRows(0, 2500) + Hex("'K'"));
        ASSERT_TRUE(SemaphoreTryTake(&rig.conn->use_semaphore));
        ASSERT_EQ(2000, ReadFirstRows(result));
        ASSERT_TRUE(ConnStartThread(BackgroundReaderEntry, 0, result));
        while (rig.stmt.response_done.load(std::memory_order_acquire) == 0) {
        }
        rig.ReleaseAll();
        // The rig's end waits for the permit, then frees the connection.
    }
}

TEST(BackgroundReaderEntry, ReadsOnWhenTheSessionLetsGoOfTheConnection) {
    RowRig rig;
    ResultSet *result = rig.NewResult({5});
    rig.Arrive(CountingRows(0, 3000) + Hex("'K'"));
    ASSERT_TRUE(SemaphoreTryTake(&rig.conn->use_semaphore));
    ASSERT_EQ(2000, ReadFirstRows(result));
    rig.session.conn = nullptr;
    BackgroundReaderEntry(result);
    EXPECT_TRUE(PermitIsFree(rig.conn));
    ExpectCounting(result, 3000);
}

TEST(FreeResultSet, LeavesAResultThatCanBeUsedAgain) {
    RowRig rig;
    ResultSet *result = rig.NewResult({5, 30});
    rig.Arrive(Repeat(Hex("'R' 00000004 00000001 00000001 'x'"), 1500) + Hex("'K'"));
    EXPECT_EQ(1500, ReadFirstRows(result));
    result->current_row = *RowSlot(result, 7);
    FreeResultSet(result);
    EXPECT_EQ(nullptr, result->fields);
    EXPECT_EQ(nullptr, result->arena);
    EXPECT_EQ(nullptr, result->current_row);
    EXPECT_EQ(nullptr, result->store.slots);
    EXPECT_EQ(0, result->store.capacity);
    EXPECT_EQ(0, result->store.row_count.load());
    FreeResultSet(result);
    rig.Arrive(Hex("00000001") + FieldBytes("C", 5) + CountingRows(0, 3) + Hex("'K'"));
    EXPECT_EQ(0, ReadFieldList(result));
    EXPECT_EQ(3, ReadFirstRows(result));
    ExpectCounting(result, 3);
}
