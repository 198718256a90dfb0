// Fetch: every row of the copy table, NULLs, cut values, counters and pieces.
#include <gtest/gtest.h>

#include "oci/stmt.h"
#include "records/statement.h"
#include "support/stmt_rig.h"

// A select of one column, prepared as ST0.
struct FetchRig : StmtRig {
    OCIStmt *stmt = nullptr;

    FetchRig() {
        Logon();
        stmt = Prepare("SELECT A FROM T");
    }

    // Runs the select, whose answer has one column and these values, and fetches nothing yet.
    void Run(const Bytes &column, const std::vector<Bytes> &values) {
        Bytes rows;
        for (const Bytes &value : values) {
            rows = rows + Row({value});
        }
        AnswerExecute(Result({column}) + rows + Ascii("K"));
        ASSERT_EQ(0, Execute(stmt, 0));
    }

    // The same with the defines' indicators set back to `indicator` afterwards.
    void RunAndMark(const Bytes &column, const std::vector<Bytes> &values, uint16_t *indicators,
                    size_t count, uint16_t indicator = 9) {
        Run(column, values);
        for (size_t i = 0; i < count; i++) {
            indicators[i] = indicator;
        }
    }
};

static Bytes CharColumn() {
    return Column("A", 30, 20);
}

TEST(Fetch, ChecksItsArgumentsInOrder) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T");
    EXPECT_EQ(-2, OCIStmtFetch(nullptr, nullptr, 1, 1, 0));
    EXPECT_EQ(-2, OCIStmtFetch(nullptr, rig.err, 1, 1, 0));
    EXPECT_EQ("Parameter stmtp is NULL.", rig.Error());
    for (uint16_t orientation : {(uint16_t)0, (uint16_t)1, (uint16_t)4, (uint16_t)65535}) {
        rig.err->message[0] = '\0';
        EXPECT_EQ(-1, OCIStmtFetch(stmt, rig.err, 1, orientation, 0));
        EXPECT_EQ("Parameter orientation is invalid.", rig.Error());
    }
    EXPECT_EQ(-1, OCIStmtFetch(stmt, rig.err, 1, OCI_FETCH_NEXT, 0));
    EXPECT_EQ("No definition before executing.", rig.Error());
}

TEST(Fetch, SecondFormTakesTheSameWay) {
    FetchRig rig;
    EXPECT_EQ(-2, OCIStmtFetch2(nullptr, nullptr, 1, 2, 0, 0));
    EXPECT_EQ(-1, OCIStmtFetch2(rig.stmt, rig.err, 1, 1, 0, 0));
    EXPECT_EQ("Parameter orientation is invalid.", rig.Error());
    int32_t values[2] = {};
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, values, 4, DTY_INT));
    rig.Run(Column("A", 5), {Int32(4), Int32(5)});
    EXPECT_EQ(0, OCIStmtFetch2(rig.stmt, rig.err, 2, OCI_FETCH_NEXT, -7, 99));
    EXPECT_EQ(4, values[0]);
    EXPECT_EQ(5, values[1]);
}

TEST(Fetch, NoRowsGiveMinus1AndNoText) {
    FetchRig rig;
    int32_t value = 6;
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &value, 4, DTY_INT));
    rig.Run(Column("A", 5), {Int32(4)});
    EXPECT_EQ(-1, rig.Fetch(rig.stmt, 0));
    EXPECT_EQ("", rig.Error());
    EXPECT_EQ(6, value);
    EXPECT_EQ(0u, rig.stmt->rows_total);
}

TEST(Fetch, OrientationOtherThanNextIsInvalid) {
    FetchRig rig;
    EXPECT_EQ(-1, OCIStmtFetch(rig.stmt, rig.err, 1, 1, 0));
    EXPECT_EQ("Parameter orientation is invalid.", rig.Error());
}

TEST(Fetch, WithoutExecutionTheCountersHaveMovedAlready) {
    FetchRig rig;
    int32_t value = 6;
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &value, 4, DTY_INT));
    EXPECT_EQ(-1, rig.Fetch(rig.stmt, 3));
    EXPECT_EQ("Fetch without execution.", rig.Error());
    EXPECT_EQ(1u, rig.stmt->rows_fetched);
    EXPECT_EQ(1u, rig.stmt->rows_total);
    EXPECT_EQ(6, value);
}

TEST(Fetch, OtherClassesNeedNoDefine) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("UPDATE T SET A=1");
    rig.AnswerExecute(Hex("'U' 00000001 'K'"));
    ASSERT_EQ(0, rig.Execute(stmt, 1));
    EXPECT_EQ(-1, rig.Fetch(stmt, 1));
    EXPECT_EQ("Fetch without execution.", rig.Error());
}

TEST(Fetch, OtherNativeCodesGoThroughTheCopyStep) {
    FetchRig rig;
    int32_t values[2] = {6, 6};
    uint16_t indicators[2] = {9, 9};
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, values, 4, DTY_INT, indicators));
    rig.ScriptCommand("DEALLOCATE `ST0`;");
    ASSERT_EQ(0, OCIStmtRelease(rig.stmt, rig.err, nullptr, 0, 0));
    // The session takes the native statement along.
    rig.ScriptCommand("COMMIT;");
    ASSERT_EQ(0, OCILogoff(rig.svc, rig.err));
    rig.svc = nullptr;
    EXPECT_EQ(-2, rig.Fetch(rig.stmt, 2));
    EXPECT_EQ(2u, rig.stmt->rows_fetched);
    EXPECT_EQ(0, values[1]);
    EXPECT_EQ(0, indicators[1]);
    EXPECT_EQ("", rig.Error());
}

TEST(Fetch, EmptyResultGives100AndLeavesTheRowCount) {
    FetchRig rig;
    int32_t values[3] = {};
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, values, 4, DTY_INT));
    rig.Run(Column("A", 5), {});
    rig.stmt->rows_fetched = 8;
    EXPECT_EQ(100, rig.Fetch(rig.stmt, 3));
    EXPECT_EQ(8u, rig.stmt->rows_fetched);
    EXPECT_EQ(0u, rig.stmt->rows_total);
}

TEST(Fetch, FiveRowsWhenThreeRemainGive100WithThreeDelivered) {
    FetchRig rig;
    int32_t values[5] = {9, 9, 9, 9, 9};
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, values, 4, DTY_INT));
    rig.Run(Column("A", 5), {Int32(1), Int32(2), Int32(3), Int32(4)});
    ASSERT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(100, rig.Fetch(rig.stmt, 5));
    EXPECT_EQ(2, values[0]);
    EXPECT_EQ(4, values[2]);
    EXPECT_EQ(9, values[3]);
    EXPECT_EQ(3u, rig.stmt->rows_fetched);
    EXPECT_EQ(4u, rig.stmt->rows_total);
    EXPECT_EQ(100, rig.Fetch(rig.stmt, 5));
    EXPECT_EQ(3u, rig.stmt->rows_fetched);
}

TEST(Fetch, CountersRunOnOverExecutions) {
    FetchRig rig;
    int32_t values[2];
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, values, 4, DTY_INT));
    rig.Run(Column("A", 5), {Int32(1), Int32(2)});
    ASSERT_EQ(0, rig.Fetch(rig.stmt, 2));
    rig.Run(Column("A", 5), {Int32(1)});
    ASSERT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(1u, rig.stmt->rows_fetched);
    EXPECT_EQ(3u, rig.stmt->rows_total);
}

static const Bytes ANSWER_OF_EVERY_TYPE =
    Hex("'A' 0000000B"
        "00000001 'A' 00000003 FFFFFFFF 00000000"
        "00000001 'B' 00000004 FFFFFFFF 00000000"
        "00000001 'C' 00000005 FFFFFFFF 00000000"
        "00000001 'D' 00000006 FFFFFFFF 00000000"
        "00000001 'E' 00000008 FFFFFFFF 00000000"
        "00000001 'F' 00000009 FFFFFFFF 00000000"
        "00000001 'G' 0000001E 0000000A 00000000"
        "00000001 'H' 0000001E 0000000A 00000000"
        "00000001 'I' 00000021 0000000A 00000000"
        "00000001 'J' 0000000D FFFFFFFF 00000000"
        "00000005 'ROWID' 0000002D 00000008 00000000"
        "'R'"
        "00000001 FE"
        "00000002 8000"
        "00000004 7FFFFFFF"
        "00000008 8000000000000001"
        "00000004 C0200000"
        "00000008 400A000000000000"
        "00000003 'abc'"
        "00000004 'text'"
        "00000003 00FF01"
        "00000008 0000018DF4613DB0"
        "00000008 'AAAA0001'"
        " 'K'");

// One select with a column of each kind, its answer written out byte by byte.
TEST(Fetch, EveryTypeOfOneRowArrives) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.NewStmt();
    rig.Exchange(Hex("3F 0000001E 'PREPARE ST0 AS SELECT * FROM T' 00 00000000"), Ascii("K"));
    ASSERT_EQ(0, rig.PrepareText(stmt, "SELECT * FROM T"));
    int8_t tiny = 0;
    int16_t small = 0;
    int32_t number = 0;
    int64_t big = 0;
    float single = 0;
    double wide = 0;
    char text[5];
    char string[6];
    uint8_t bytes[4];
    OCIDate date = {};
    uint32_t lengths[10];
    uint16_t indicators[10];
    struct Target {
        void *values;
        int32_t value_sz;
        int dty;
    };
    const Target targets[] = {
        {&tiny, 1, DTY_INT},  {&small, 2, DTY_INT},    {&number, 4, DTY_INT},
        {&big, 8, DTY_INT},   {&single, 4, DTY_FLOAT}, {&wide, 8, DTY_DOUBLE},
        {text, 5, DTY_CHAR},  {string, 6, DTY_STR},    {bytes, 4, DTY_BIN},
        {&date, 8, DTY_DATE},
    };
    for (uint32_t i = 0; i < 10; i++) {
        ASSERT_EQ(0, rig.Define(stmt, i + 1, targets[i].values, targets[i].value_sz, targets[i].dty,
                                &indicators[i], &lengths[i]));
    }
    rig.Exchange(Hex("3F 00000006 '? ST0 ' 00 00000000"), ANSWER_OF_EVERY_TYPE);
    ASSERT_EQ(0, rig.Execute(stmt, 1)) << rig.Error();
    EXPECT_EQ(-2, tiny);
    EXPECT_EQ(INT16_MIN, small);
    EXPECT_EQ(INT32_MAX, number);
    EXPECT_EQ(INT64_MIN + 1, big);
    EXPECT_EQ(-2.5f, single);
    EXPECT_EQ(3.25, wide);
    EXPECT_EQ(0, memcmp("abc", text, 3));
    EXPECT_STREQ("text", string);
    EXPECT_EQ(0, memcmp("\x00\xFF\x01", bytes, 3));
    EXPECT_EQ(2024, date.year);
    EXPECT_EQ(2, date.month);
    EXPECT_EQ(29, date.day);
    EXPECT_EQ(10, date.hour);
    EXPECT_EQ(20, date.minute);
    EXPECT_EQ(30, date.second);
    const uint32_t expected_lengths[] = {1, 2, 4, 8, 4, 8, 3, 4, 3, 8};
    for (int i = 0; i < 10; i++) {
        EXPECT_EQ(expected_lengths[i], lengths[i]) << i;
        EXPECT_EQ(0, indicators[i]) << i;
    }
}

TEST(Fetch, RowsGoToTheirElements) {
    FetchRig rig;
    uint8_t tiny[3];
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, tiny, 1, DTY_INT));
    rig.Run(Column("A", 5), {Int32(1), Int32(2), Int32(3)});
    ASSERT_EQ(0, rig.Fetch(rig.stmt, 3));
    EXPECT_EQ(3, tiny[2]);

    double wide[3];
    uint32_t lengths[3] = {};
    uint16_t indicators[3];
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, wide, 8, DTY_DOUBLE, indicators, lengths));
    rig.Run(Column("A", 5), {Int32(1), Int32(2), Int32(-3)});
    ASSERT_EQ(0, rig.Fetch(rig.stmt, 3));
    EXPECT_EQ(1.0, wide[0]);
    EXPECT_EQ(-3.0, wide[2]);
    EXPECT_EQ(8u, lengths[2]);
    EXPECT_EQ(0, indicators[2]);

    char texts[3][6];
    memset(texts, '#', sizeof texts);
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, texts, 6, DTY_CHAR, indicators, lengths));
    rig.Run(CharColumn(), {Ascii("one"), Ascii("two"), Ascii("three")});
    ASSERT_EQ(0, rig.Fetch(rig.stmt, 3));
    EXPECT_EQ(0, memcmp("one###two###three#", texts, 18));
    EXPECT_EQ(5u, lengths[2]);

    OCIDate dates[2];
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, dates, 8, DTY_DATE));
    // 19782 days, and one day before 1970.
    rig.Run(Column("A", 10), {Int32(19782), Int32(-1)});
    ASSERT_EQ(0, rig.Fetch(rig.stmt, 2));
    EXPECT_EQ(2024, dates[0].year);
    EXPECT_EQ(29, dates[0].day);
    EXPECT_EQ(1969, dates[1].year);
    EXPECT_EQ(12, dates[1].month);
    EXPECT_EQ(31, dates[1].day);
    EXPECT_EQ(0, dates[1].hour);
}

TEST(Fetch, IntegerOfAnotherSizeFailsWithoutACopy) {
    for (int32_t value_sz : {3, 5, 16, 0}) {
        FetchRig rig;
        uint8_t values[32];
        memset(values, '#', sizeof values);
        uint16_t indicators[2] = {9, 9};
        uint32_t lengths[2] = {9, 9};
        ASSERT_EQ(0, rig.Define(rig.stmt, 1, values, value_sz, DTY_INT, indicators, lengths));
        rig.RunAndMark(Column("A", 5), {Int32(1), Int32(2)}, indicators, 2);
        EXPECT_EQ(-1, rig.Fetch(rig.stmt, 2)) << value_sz;
        EXPECT_EQ("", rig.Error());
        EXPECT_EQ('#', values[0]);
        EXPECT_EQ(0, indicators[1]);
        EXPECT_EQ(9u, lengths[0]);
        EXPECT_EQ(2u, rig.stmt->rows_fetched);
    }
}

TEST(Fetch, TypesWithoutACopyStepLeaveTheirArrays) {
    FetchRig rig;
    uint8_t values[8];
    memset(values, '#', sizeof values);
    uint16_t indicators[1] = {9};
    uint32_t lengths[1] = {9};
    for (int dty : {DTY_NUMERIC, DTY_BIN_2, DTY_LONG_STR}) {
        ASSERT_EQ(0, rig.Define(rig.stmt, 1, values, 0, dty, indicators, lengths));
        rig.RunAndMark(CharColumn(), {Ascii("abc")}, indicators, 1);
        EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
        EXPECT_EQ('#', values[0]);
        EXPECT_EQ(9, indicators[0]);
        EXPECT_EQ(9u, lengths[0]);
    }
}

TEST(Fetch, NullInRow2MarksElement0AndLeavesElement2) {
    FetchRig rig;
    char texts[3][4];
    memset(texts, '#', sizeof texts);
    uint16_t indicators[3];
    uint32_t lengths[3] = {9, 9, 9};
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, texts, 4, DTY_CHAR, indicators, lengths));
    rig.RunAndMark(CharColumn(), {Ascii("a"), Ascii("bb"), Bytes()}, indicators, 3);
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 3));
    EXPECT_EQ(0xFFFF, indicators[0]);
    EXPECT_EQ(0, indicators[1]);
    EXPECT_EQ(9, indicators[2]);
    EXPECT_EQ(0u, lengths[0]);
    EXPECT_EQ(2u, lengths[1]);
    EXPECT_EQ(9u, lengths[2]);
    EXPECT_EQ(0, memcmp("a###bb######", texts, 12));
}

TEST(Fetch, NullStringEmptiesElement0) {
    FetchRig rig;
    char texts[2][4] = {"xxx", "yyy"};
    uint16_t indicators[2];
    uint32_t lengths[2] = {9, 9};
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, texts, 4, DTY_STR, indicators, lengths));
    rig.RunAndMark(CharColumn(), {Ascii("ab"), Bytes()}, indicators, 2);
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 2));
    EXPECT_EQ(0, memcmp("\0b\0", texts[0], 4));
    EXPECT_STREQ("yyy", texts[1]);
    EXPECT_EQ(0xFFFF, indicators[0]);
    EXPECT_EQ(9, indicators[1]);
    EXPECT_EQ(0u, lengths[0]);
    EXPECT_EQ(9u, lengths[1]);
}

TEST(Fetch, NullBinaryMarksElement0) {
    FetchRig rig;
    char values[2][4] = {"xxx", "yyy"};
    uint16_t indicators[2];
    uint32_t lengths[2] = {9, 9};
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, values, 4, DTY_BIN, indicators, lengths));
    rig.RunAndMark(Column("A", 33, 4), {Hex("0102"), Bytes()}, indicators, 2);
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 2));
    EXPECT_EQ(0xFFFF, indicators[0]);
    EXPECT_EQ(9, indicators[1]);
    EXPECT_EQ(0u, lengths[0]);
    EXPECT_EQ(9u, lengths[1]);
    EXPECT_EQ(0, memcmp("\x01\x02x", values[0], 3));
    EXPECT_STREQ("yyy", values[1]);
}

TEST(Fetch, NullNumbersAndDatesRepeatTheLastValueWithIndicator0) {
    {
        FetchRig rig;
        int32_t values[2] = {9, 9};
        uint16_t indicators[2];
        uint32_t lengths[2] = {};
        ASSERT_EQ(0, rig.Define(rig.stmt, 1, values, 4, DTY_INT, indicators, lengths));
        rig.RunAndMark(Column("A", 5), {Int32(7), Bytes()}, indicators, 2);
        EXPECT_EQ(0, rig.Fetch(rig.stmt, 2));
        EXPECT_EQ(7, values[1]);
        EXPECT_EQ(0, indicators[0]);
        EXPECT_EQ(0, indicators[1]);
        EXPECT_EQ(4u, lengths[1]);
    }
    FetchRig rig;
    OCIDate values[2];
    uint16_t indicators[2];
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, values, 8, DTY_DATE, indicators));
    rig.RunAndMark(Column("A", 10), {Int32(19782), Bytes()}, indicators, 2);
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 2));
    EXPECT_EQ(2024, values[1].year);
    EXPECT_EQ(29, values[1].day);
    EXPECT_EQ(0, indicators[1]);
}

TEST(Fetch, StringOfSize0WritesTheLengthOfElement0Only) {
    FetchRig rig;
    char text[4] = "xxx";
    uint16_t indicators[2];
    uint32_t lengths[2] = {9, 9};
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 0, DTY_STR, indicators, lengths));
    rig.RunAndMark(CharColumn(), {Ascii("ab"), Bytes()}, indicators, 2);
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 2));
    EXPECT_STREQ("xxx", text);
    EXPECT_EQ(9, indicators[0]);
    EXPECT_EQ(0u, lengths[0]);
    EXPECT_EQ(9u, lengths[1]);
}

TEST(Fetch, CharOfSize0ReadsAsNull) {
    FetchRig rig;
    char text[4] = "xxx";
    uint16_t indicators[2];
    uint32_t lengths[2] = {9, 9};
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 0, DTY_CHAR, indicators, lengths));
    rig.RunAndMark(CharColumn(), {Ascii("ab"), Ascii("cd")}, indicators, 2);
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 2));
    EXPECT_STREQ("xxx", text);
    EXPECT_EQ(0xFFFF, indicators[0]);
    EXPECT_EQ(9, indicators[1]);
    EXPECT_EQ(0u, lengths[0]);
}

TEST(FetchCut, TenCharactersInAStringOfFiveGiveFourAndANul) {
    FetchRig rig;
    char text[6] = "#####";
    uint32_t length = 9;
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 5, DTY_STR, nullptr, &length));
    rig.Run(CharColumn(), {Ascii("abcdefghij")});
    EXPECT_EQ(1, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("data truncated.", rig.Error());
    EXPECT_EQ(0, memcmp("abcd\0", text, 6));
    EXPECT_EQ(4u, length);
}

TEST(FetchCut, TenCharactersInACharOfFiveGiveFiveWithoutANul) {
    FetchRig rig;
    char text[6] = "#####";
    uint32_t length = 9;
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 5, DTY_CHAR, nullptr, &length));
    text[5] = '#';
    rig.Run(CharColumn(), {Ascii("abcdefghij")});
    EXPECT_EQ(-1, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("data truncated.", rig.Error());
    EXPECT_EQ(0, memcmp("abcde#", text, 6));
    EXPECT_EQ(5u, length);
}

TEST(FetchCut, ExactFitOfACharIsNoCutAndOfAStringOneTooMany) {
    FetchRig rig;
    char text[5];
    uint16_t indicators[1];
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 5, DTY_CHAR, indicators));
    rig.RunAndMark(CharColumn(), {Ascii("abcde")}, indicators, 1);
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(0, indicators[0]);
    EXPECT_EQ(0, memcmp("abcde", text, 5));

    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 5, DTY_STR, indicators));
    rig.RunAndMark(CharColumn(), {Ascii("abcd"), Ascii("abcde")}, indicators, 1);
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(0, indicators[0]);
    EXPECT_STREQ("abcd", text);
    EXPECT_EQ(1, rig.Fetch(rig.stmt, 1));
    EXPECT_STREQ("abcd", text);
}

TEST(FetchCut, RenderedNumberIsCutTheSameWay) {
    FetchRig rig;
    char text[4] = "###";
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 3, DTY_CHAR));
    text[3] = '#';
    rig.Run(Column("A", 5), {Int32(123), Int32(12345)});
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(0, memcmp("123#", text, 4));
    EXPECT_EQ(-1, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(0, memcmp("123#", text, 4));
    EXPECT_EQ("data truncated.", rig.Error());
}

TEST(FetchCut, StringOfSize1HasRoomForTheNulAlone) {
    FetchRig rig;
    char text[2] = "#";
    uint32_t length = 9;
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 1, DTY_STR, nullptr, &length));
    rig.Run(CharColumn(), {Ascii("a")});
    EXPECT_EQ(1, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ('\0', text[0]);
    EXPECT_EQ(0u, length);
}

TEST(FetchCut, IndicatorTellsTheColumnSizeWhileRow0WasItselfCut) {
    for (int dty : {DTY_CHAR, DTY_STR}) {
        FetchRig rig;
        char texts[2][3];
        uint16_t indicators[2] = {9, 9};
        ASSERT_EQ(0, rig.Define(rig.stmt, 1, texts, 3, dty, indicators));
        rig.Run(CharColumn(), {Ascii("abcdef"), Ascii("ghijkl")});
        EXPECT_EQ(20, indicators[0]);
        EXPECT_EQ(dty == DTY_CHAR ? -1 : 1, rig.Fetch(rig.stmt, 2));
        EXPECT_EQ(20, indicators[0]);
        EXPECT_EQ(20, indicators[1]);
    }
}

TEST(FetchCut, IndicatorIs0OnceRow0HasWrittenOverIt) {
    FetchRig rig;
    char texts[2][3];
    uint16_t indicators[2] = {9, 9};
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, texts, 3, DTY_CHAR, indicators));
    rig.Run(CharColumn(), {Ascii("ab"), Ascii("ghijkl")});
    EXPECT_EQ(-1, rig.Fetch(rig.stmt, 2));
    EXPECT_EQ(0, indicators[0]);
    EXPECT_EQ(0, indicators[1]);
}

TEST(FetchCut, EarlierRowLeavesOnlyItsText) {
    FetchRig rig;
    char texts[3][4];
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, texts, 4, DTY_CHAR));
    rig.Run(CharColumn(), {Ascii("a"), Ascii("bcdefg"), Ascii("h")});
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 3));
    EXPECT_EQ("data truncated.", rig.Error());
    EXPECT_EQ('h', texts[2][0]);
    EXPECT_EQ(3u, rig.stmt->rows_fetched);
}

TEST(FetchCut, LastDefineOfARowDecidesTheResult) {
    FetchRig rig;
    char text[4];
    char string[4];
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 3, DTY_CHAR));
    ASSERT_EQ(0, rig.Define(rig.stmt, 2, string, 4, DTY_STR));
    rig.AnswerExecute(Result({CharColumn(), CharColumn()}) +
                      Row({Ascii("abcdef"), Ascii("abcdef")}) + Ascii("K"));
    ASSERT_EQ(0, rig.Execute(rig.stmt, 0));
    EXPECT_EQ(1, rig.Fetch(rig.stmt, 1));
}

TEST(FetchCut, BinaryDeliversWhatWasLeftOverAndSaysNothing) {
    FetchRig rig;
    uint8_t bytes[10];
    memset(bytes, '#', sizeof bytes);
    uint32_t length = 9;
    uint16_t indicators[1];
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, bytes, 10, DTY_BIN, indicators, &length));
    rig.RunAndMark(Column("A", 33, 12),
                   {Hex("0102030405060708090A0B0C"), Hex("0102030405060708090A")}, indicators, 1);
    // 12 bytes in 10 leave 2 over, and 2 is the length that counts.
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(2u, length);
    EXPECT_EQ(0, memcmp("\x01\x02#", bytes, 3));
    EXPECT_EQ(0, indicators[0]);
    EXPECT_EQ("", rig.Error());
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(10u, length);
    EXPECT_EQ(10, bytes[9]);
}

TEST(FetchText, ShorterValueDoesNotShowTheTailOfALongerOne) {
    for (int dty : {DTY_CHAR, DTY_STR}) {
        FetchRig rig;
        char texts[3][8];
        memset(texts, '#', sizeof texts);
        uint32_t lengths[3] = {};
        ASSERT_EQ(0, rig.Define(rig.stmt, 1, texts, 8, dty, nullptr, lengths));
        rig.Run(CharColumn(), {Ascii("01234"), Ascii("abc"), Ascii("01234567")});
        rig.Fetch(rig.stmt, 3);
        EXPECT_EQ(5u, lengths[0]);
        EXPECT_EQ(3u, lengths[1]);
        EXPECT_EQ(0, memcmp("abc", texts[1], 3));
        EXPECT_EQ(dty == DTY_CHAR ? '#' : '\0', texts[1][3]);
    }
}

TEST(FetchText, EmbeddedNulEndsATextAndNotABinaryValue) {
    FetchRig rig;
    char text[8];
    uint8_t bytes[8];
    uint32_t lengths[2] = {};
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 8, DTY_CHAR, nullptr, &lengths[0]));
    ASSERT_EQ(0, rig.Define(rig.stmt, 2, bytes, 8, DTY_BIN, nullptr, &lengths[1]));
    rig.AnswerExecute(Result({CharColumn(), Column("B", 33, 8)}) +
                      Row({Hex("'ab' 00 'cd'"), Hex("'ab' 00 'cd'")}) + Ascii("K"));
    ASSERT_EQ(0, rig.Execute(rig.stmt, 1));
    EXPECT_EQ(2u, lengths[0]);
    EXPECT_EQ(5u, lengths[1]);
    EXPECT_EQ(0, memcmp("ab\0cd", bytes, 5));
}

TEST(FetchText, ArraysMayBeMissing) {
    FetchRig rig;
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, nullptr, 8, DTY_STR));
    rig.Run(CharColumn(), {Ascii("ab"), Bytes(), Ascii("abcdefghij")});
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 2));
    EXPECT_EQ(1, rig.Fetch(rig.stmt, 1));
}

// A define in mode 2 and the buffers that its pieces go to.
struct PieceRig : FetchRig {
    char piece[16] = {};
    uint32_t bytes = 0;

    OCIDefine *DefinePieces(uint32_t position, int32_t value_sz, int dty = DTY_CHAR) {
        EXPECT_EQ(0, Define(stmt, position, nullptr, value_sz, dty, nullptr, nullptr, nullptr,
                            OCI_DYNAMIC_FETCH));
        return stmt->defines[stmt->define_count - 1];
    }

    // Which define is in need, and of which piece.
    OCIDefine *InNeed(uint8_t *code) {
        void *handle = nullptr;
        uint32_t type = 0;
        uint32_t iteration;
        uint32_t index;
        uint8_t in_out;
        if (OCIStmtGetPieceInfo(stmt, err, &handle, &type, &in_out, &iteration, &index, code) !=
            0) {
            return nullptr;
        }
        EXPECT_EQ((uint32_t)OCI_HTYPE_DEFINE, type);
        EXPECT_EQ(2, in_out);
        return (OCIDefine *)handle;
    }

    // Hands the next piece's buffer over and fetches it.
    int32_t Piece(OCIDefine *define, uint32_t size) {
        memset(piece, '#', sizeof piece);
        bytes = size;
        EXPECT_EQ(0, OCIStmtSetPieceInfo(define, OCI_HTYPE_DEFINE, err, piece, &bytes, 0, nullptr,
                                         nullptr));
        return Fetch(stmt, 1);
    }
};

TEST(FetchPieces, DefineInMode2MakesTheFetchReturn99AndTheValueWaits) {
    PieceRig rig;
    OCIDefine *define = rig.DefinePieces(1, 20);
    rig.Run(CharColumn(), {Ascii("abcdefghij"), Ascii("next")});
    EXPECT_EQ(99, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(1u, rig.stmt->rows_total);
    uint8_t code = 9;
    EXPECT_EQ(define, rig.InNeed(&code));
    EXPECT_EQ(OCI_FIRST_PIECE, code);

    EXPECT_EQ(99, rig.Piece(define, 4));
    EXPECT_EQ(4u, rig.bytes);
    EXPECT_EQ(0, memcmp("abcd#", rig.piece, 5));
    EXPECT_EQ(define, rig.InNeed(&code));
    EXPECT_EQ(OCI_NEXT_PIECE, code);

    EXPECT_EQ(99, rig.Piece(define, 4));
    EXPECT_EQ(0, memcmp("efgh#", rig.piece, 5));
    EXPECT_EQ(define, rig.InNeed(&code));
    EXPECT_EQ(OCI_LAST_PIECE, code);

    // The last piece is cut to what is left.
    EXPECT_EQ(0, rig.Piece(define, 4));
    EXPECT_EQ(2u, rig.bytes);
    EXPECT_EQ(0, memcmp("ij#", rig.piece, 3));
    EXPECT_EQ(nullptr, rig.InNeed(&code));
    EXPECT_EQ("No piece info.", rig.Error());
    EXPECT_EQ(nullptr, rig.stmt->piece_define);
    EXPECT_EQ(0u, define->piece_offset);
    // None of this fetched another row.
    EXPECT_EQ(1u, rig.stmt->rows_total);

    // The next row makes the define wanted again.
    EXPECT_EQ(99, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(define, rig.InNeed(&code));
    EXPECT_EQ(OCI_FIRST_PIECE, code);
    EXPECT_EQ(0, rig.Piece(define, 16));
    EXPECT_EQ(4u, rig.bytes);
    EXPECT_EQ(0, memcmp("next#", rig.piece, 5));
}

TEST(FetchPieces, SecondDefineKeepsTheFetchAt99) {
    PieceRig rig;
    OCIDefine *first = rig.DefinePieces(1, 20);
    OCIDefine *second = rig.DefinePieces(2, 20);
    rig.AnswerExecute(Result({CharColumn(), CharColumn()}) + Row({Ascii("one"), Ascii("two")}) +
                      Ascii("K"));
    EXPECT_EQ(99, rig.Execute(rig.stmt, 1));
    EXPECT_EQ(99, rig.Piece(first, 16));
    EXPECT_EQ(0, memcmp("one#", rig.piece, 4));
    uint8_t code = 9;
    EXPECT_EQ(second, rig.InNeed(&code));
    EXPECT_EQ(0, rig.Piece(second, 16));
    EXPECT_EQ(0, memcmp("two#", rig.piece, 4));
}

TEST(FetchPieces, LimitIsTheDefinesSizeOrTheLength) {
    PieceRig rig;
    OCIDefine *define = rig.DefinePieces(1, 4);
    rig.Run(CharColumn(), {Ascii("abcdefghij"), Ascii("abcdef")});
    EXPECT_EQ(99, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(0, rig.Piece(define, 16));
    // 10 characters in 4 leave 6 over, so the size is the smaller.
    EXPECT_EQ(4u, rig.bytes);
    EXPECT_EQ(0, memcmp("abcd#", rig.piece, 5));
    EXPECT_EQ(99, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(0, rig.Piece(define, 16));
    // 6 in 4 leave 2 over.
    EXPECT_EQ(2u, rig.bytes);
    EXPECT_EQ(0, memcmp("ab#", rig.piece, 3));
}

TEST(FetchPieces, NullHandsOverNothing) {
    PieceRig rig;
    OCIDefine *define = rig.DefinePieces(1, 20);
    rig.Run(CharColumn(), {Bytes()});
    EXPECT_EQ(99, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(0, rig.Piece(define, 16));
    EXPECT_EQ(0u, rig.bytes);
    EXPECT_EQ('#', rig.piece[0]);
}

TEST(FetchPieces, LengthOf32BitsDoesNotOverflow) {
    PieceRig rig;
    OCIDefine *define = rig.DefinePieces(1, 20);
    rig.Run(CharColumn(), {Ascii("abcdefghij")});
    EXPECT_EQ(99, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(99, rig.Piece(define, 4));
    EXPECT_EQ(0, rig.Piece(define, UINT32_MAX));
    EXPECT_EQ(6u, rig.bytes);
    EXPECT_EQ(0, memcmp("efghij#", rig.piece, 7));
}

TEST(FetchPieces, DefineOfSize0StaysTheOneBeingFilled) {
    PieceRig rig;
    OCIDefine *first = rig.DefinePieces(1, 0);
    OCIDefine *second = rig.DefinePieces(2, 0);
    rig.AnswerExecute(Result({CharColumn(), CharColumn()}) + Row({Ascii("one"), Ascii("two")}) +
                      Ascii("K"));
    EXPECT_EQ(99, rig.Execute(rig.stmt, 1));
    EXPECT_EQ(99, rig.Piece(first, 16));
    EXPECT_EQ(0u, rig.bytes);
    EXPECT_EQ(1, first->piece_done);
    EXPECT_EQ(first, rig.stmt->piece_define);
    EXPECT_EQ(99, rig.Fetch(rig.stmt, 1));
    // The last of the defines gives -1.
    EXPECT_EQ(-1, rig.Piece(second, 16));
    EXPECT_EQ(0u, rig.bytes);
    EXPECT_EQ(second, rig.stmt->piece_define);
}

TEST(FetchPieces, PreparingAgainEndsThePieces) {
    PieceRig rig;
    OCIDefine *define = rig.DefinePieces(1, 20);
    rig.Run(CharColumn(), {Ascii("abcdefghij")});
    EXPECT_EQ(99, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(99, rig.Piece(define, 4));
    rig.ScriptCommand("DEALLOCATE ST0;");
    rig.ScriptCommand("PREPARE ST1 AS SELECT B FROM T");
    ASSERT_EQ(0, rig.PrepareText(rig.stmt, "SELECT B FROM T"));
    EXPECT_EQ(-1, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("Fetch without execution.", rig.Error());
}

TEST(FetchPieces, DefiningAgainLeavesNothingToHandOver) {
    PieceRig rig;
    OCIDefine *define = rig.DefinePieces(1, 20);
    rig.Run(CharColumn(), {Ascii("abcdefghij")});
    EXPECT_EQ(99, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(99, rig.Piece(define, 4));
    rig.DefinePieces(1, 100, DTY_FLOAT);
    EXPECT_EQ(0, rig.Piece(define, 16));
    EXPECT_EQ(0u, rig.bytes);
}
