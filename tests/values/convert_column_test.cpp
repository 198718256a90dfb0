// Row values to a buffer that the application names with the column.
#include <gtest/gtest.h>

#include "tavu/tvci.h"
#include "values/decode.h"
#include "values/matrix.h"
#include "values/one_value.h"
#include "values/render_cases.h"

// Converts the value of column 0 into a buffer of exactly `size` bytes.
static Outcome ColumnInto(OneValue &value, int32_t c_type, size_t size) {
    Outcome outcome;
    outcome.buffer.assign(size, 0xEE);
    outcome.status = ConvertColumn(&value.result, c_type, 0, outcome.buffer.data(), (int32_t)size,
                                   &outcome.length);
    return outcome;
}

// The two zoned forms are texts here.
static Outcome Column(OneValue &value, int32_t c_type) {
    const bool as_text = c_type == TVCI_C_TIME_TZ || c_type == TVCI_C_DATETIME_TZ;
    return ColumnInto(value, c_type, as_text ? 100 : FormBytes(c_type));
}

static Outcome Column(int32_t type, const Bytes &bytes, int32_t c_type) {
    OneValue value(type, bytes);
    return Column(value, c_type);
}

static Outcome Column(int32_t type, const Value &content, int32_t c_type) {
    OneValue value(type, content);
    return Column(value, c_type);
}

static Outcome ColumnInto(int32_t type, const Value &content, int32_t c_type, size_t size) {
    OneValue value(type, content);
    return ColumnInto(value, c_type, size);
}

static void CheckTexts(std::span<const RenderCase> cases, int32_t c_type) {
    for (const RenderCase &item : cases) {
        const Outcome outcome = Column(item.type, item.value, c_type);
        EXPECT_EQ(0, outcome.status) << "type " << item.type << ", " << item.column_text;
        EXPECT_EQ(item.column_text, outcome.Text()) << "type " << item.type;
        EXPECT_EQ((int32_t)strlen(item.column_text), outcome.length) << item.column_text;
    }
}

TEST(ConvertColumn, NumbersAsText) {
    CheckTexts(NUMBER_CASES, TVCI_C_CHAR);
}

TEST(ConvertColumn, DatesAndTimesAsText) {
    CheckTexts(DATE_CASES, TVCI_C_CHAR);
}

TEST(ConvertColumn, IntervalsAndGuidsAsText) {
    CheckTexts(INTERVAL_CASES, TVCI_C_CHAR);
}

TEST(ConvertColumn, DoublesAsTextHave16Digits) {
    CheckTexts(DOUBLE_RULE_CASES, TVCI_C_CHAR);
}

TEST(ConvertColumn, TheZonedFormsAskForText) {
    for (const int32_t c_type : {TVCI_C_TIME_TZ, TVCI_C_DATETIME_TZ}) {
        CheckTexts(NUMBER_CASES, c_type);
        CheckTexts(DATE_CASES, c_type);
        Column(30, "abc", c_type).ExpectText("abc");
    }
}

TEST(ConvertColumn, EightOClockInZone330ReadsAs1330Plus5) {
    Column(12, Zoned(28800000, 330), TVCI_C_CHAR).ExpectText("13:30:00+5");
}

TEST(ConvertColumn, EveryPairOfFormAndType) {
    const FormRow own[] = {{12, TEXT_TYPES, -1}, {14, TEXT_TYPES, -1}, {40, LOB_TYPES, 3}};
    CheckMatrix(own, Column);
}

TEST(ConvertColumn, BooleanLetterInThreeForms) {
    Column(2, 'T', TVCI_C_TINYINT).ExpectNumber<int8_t>(84);
    Column(2, 'T', TVCI_C_INT).ExpectNumber<int32_t>(84);
    Column(2, 'T', TVCI_C_BOOL).ExpectNumber<uint8_t>(1);
    Column(2, 'F', TVCI_C_BOOL).ExpectNumber<uint8_t>(0);
}

TEST(ConvertColumn, SmallintOf300AsTinyintIs44AndNothingTells) {
    Column(4, 300, TVCI_C_TINYINT).ExpectNumber<int8_t>(44);
}

TEST(ConvertColumn, IntegersInEveryIntegerForm) {
    for (const IntegerCase &item : INTEGER_CASES) {
        Column(item.type, item.value, 3).ExpectNumber(item.as_tinyint);
        Column(item.type, item.value, 4).ExpectNumber(item.as_smallint);
        Column(item.type, item.value, 5).ExpectNumber(item.as_int);
        Column(item.type, item.value, 6).ExpectNumber(item.as_bigint);
    }
}

TEST(ConvertColumn, NumbersInBothRealForms) {
    for (const RealCase &item : REAL_CASES) {
        Column(item.type, item.value, TVCI_C_FLOAT).ExpectNumber(item.as_float);
        Column(item.type, item.value, TVCI_C_DOUBLE).ExpectNumber(item.as_double);
    }
}

TEST(ConvertColumn, NumericAsBigintIsParsedTo32BitsAndWidened) {
    Column(7, "12345678901", TVCI_C_BIGINT).ExpectNumber<int64_t>(-539222987);
    Column(7, "-5", TVCI_C_BIGINT).ExpectNumber<int64_t>(-5);
}

TEST(ConvertColumn, DateAndTimeRecords) {
    Column(10, 789, TVCI_C_DATE).ExpectHolds({1972, 2, 29});
    Column(11, 3723000, TVCI_C_TIME).ExpectHolds({1, 2, 3});
}

TEST(ConvertColumn, DateTimeRecordKeepsWhatTheTypeDoesNotHave) {
    Column(10, 789, TVCI_C_DATETIME).ExpectHolds({1972, 2, 29, KEPT, KEPT, KEPT, KEPT});
    Column(11, 3723000, TVCI_C_DATETIME).ExpectHolds({KEPT, KEPT, KEPT, 1, 2, 3, KEPT});
    Column(13, -1, TVCI_C_DATETIME).ExpectHolds({1969, 12, 31, 23, 59, 59, 999});
}

TEST(ConvertColumn, IntervalRecords) {
    Column(22, 1501, TVCI_C_INTERVAL).ExpectHolds({11, KEPT, 25, 1, KEPT, KEPT});
    Column(16, -14, TVCI_C_INTERVAL).ExpectHolds({7, -1, -2, KEPT, KEPT, KEPT});
    Column(24, INT64_C(93784000005), TVCI_C_INTERVAL_DS).ExpectHolds({1, 2, 3, 4, 5});
}

TEST(ConvertColumn, YearMonthRecordOfAYearKeepsTheMonth) {
    Column(15, 7, TVCI_C_INTERVAL_YM).ExpectHolds({7, KEPT});
    Column(17, 7, TVCI_C_INTERVAL_YM).ExpectHolds({KEPT, 7});
}

TEST(ConvertColumn, ASecondReadOfAZonedValueSeesItsBytesSwappedBack) {
    OneValue value(12, Hex("00000001 0100"));
    Column(value, TVCI_C_CHAR).ExpectText("4:16:00+4");
    Column(value, TVCI_C_CHAR).ExpectText("4:40:37+0");
    Column(value, TVCI_C_CHAR).ExpectText("4:16:00+4");
}

TEST(ConvertColumn, ARenderedTextIsAlwaysTerminated) {
    ColumnInto(5, 12345, TVCI_C_CHAR, 4).ExpectIs(-2, 2, "'123' 00");
    ColumnInto(5, 12345, TVCI_C_CHAR, 5).ExpectIs(-2, 1, "'1234' 00");
    ColumnInto(5, 12345, TVCI_C_CHAR, 6).ExpectIs(0, 5, "'12345' 00");
    const Outcome long_buffer = ColumnInto(5, 12345, TVCI_C_CHAR, 9);
    EXPECT_EQ(Hex("'12345' 00000000"), long_buffer.buffer);
}

TEST(ConvertColumn, TenBytesOfRenderedTextIntoTenAreCutTo9WithLength1) {
    ColumnInto(10, 0, TVCI_C_CHAR, 10).ExpectIs(-2, 1, "'1970-01-0' 00");
}

TEST(ConvertColumn, RawTextFillsTheBufferAndReportsItsWholeLength) {
    for (const int32_t type : {30, 32, 33, 34, 45, 48, 60}) {
        ColumnInto(type, "abcdefghij", TVCI_C_CHAR, 9).ExpectIs(-2, 10, "'abcdefghi'");
        ColumnInto(type, "abcdefghij", TVCI_C_CHAR, 10).ExpectIs(0, 10, "'abcdefghij'");
        ColumnInto(type, "abcdefghij", TVCI_C_CHAR, 12).ExpectIs(0, 10, "'abcdefghij' 0000");
    }
}

TEST(ConvertColumn, RawTextKeepsItsTag) {
    OneValue value(32, "cabc");
    value.session.attr.lob_ret = 1;
    Column(value, TVCI_C_CHAR).ExpectText("cabc");
}

TEST(ConvertColumn, NumericFormNeverWritesBehindTheBuffer) {
    ColumnInto(7, "12.345", TVCI_C_NUMERIC, 6).ExpectIs(0, 6, "'12.345'");
    const Outcome longer = ColumnInto(7, "12.345", TVCI_C_NUMERIC, 66);
    EXPECT_EQ(0, longer.status);
    EXPECT_EQ(6, longer.length);
    EXPECT_EQ(Ascii("12.345") + Bytes(58, 0) + Hex("EEEE"), longer.buffer);
    ColumnInto(7, "12.345", TVCI_C_NUMERIC, 5).ExpectIs(-2, 6, "'12.34'");
}

TEST(ConvertColumn, TenBytesOfBinaryIntoTenCountAsCutBy0) {
    ColumnInto(33, "abcdefghij", TVCI_C_BINARY, 10).ExpectIs(-2, 0, "'abcdefghij'");
}

TEST(ConvertColumn, BinaryFormAtBufferSizesAroundItsLength) {
    for (int32_t type = 0; type < TYPES_TRIED; type++) {
        if ((BINARY_TYPES >> type & 1) == 0) continue;
        ColumnInto(type, "abcd", TVCI_C_BINARY, 3).ExpectIs(-2, 1, "'abc'");
        ColumnInto(type, "abcd", TVCI_C_BINARY, 6).ExpectIs(0, 4, "'abcd' 0000");
    }
}

TEST(ConvertColumn, ARowversionHasNoText) {
    EXPECT_EQ(-3, Column(28, Hex("0102030405060708"), TVCI_C_CHAR).status);
}

TEST(ConvertColumn, ANullIsMinusOneWithLength0InEveryForm) {
    for (int32_t c_type = 1; c_type <= 45; c_type++) {
        OneValue value(5, 7);
        value.SetNull();
        const Outcome outcome = Column(value, c_type);
        EXPECT_EQ(-1, outcome.status) << c_type;
        EXPECT_EQ(0, outcome.length) << c_type;
        EXPECT_TRUE(outcome.Untouched()) << c_type;
    }
}

TEST(ConvertColumn, WithoutACurrentRowEveryColumnIsNull) {
    OneValue value(5, 7);
    value.result.current_row = NULL;
    EXPECT_EQ(-1, Column(value, TVCI_C_INT).status);
}

TEST(ConvertColumn, AColumnThatTheResultDoesNotHaveIsNoConversion) {
    OneValue value(5, 7);
    int32_t buffer = 9;
    int32_t length = 9;
    EXPECT_EQ(-3, ConvertColumn(&value.result, TVCI_C_INT, 1, &buffer, 4, &length));
    EXPECT_EQ(9, buffer);
    EXPECT_EQ(0, length);
}

TEST(ConvertColumn, TheLengthHasNoPlaceToGo) {
    OneValue value(5, 7);
    int32_t buffer = 0;
    EXPECT_EQ(0, ConvertColumn(&value.result, TVCI_C_INT, 0, &buffer, 4, NULL));
    EXPECT_EQ(7, buffer);
}

TEST(ConvertColumn, ASizeOf0OrLessHoldsNothing) {
    for (const int32_t size : {0, -1, INT32_MIN}) {
        uint8_t buffer = 0xEE;
        int32_t length = 77;
        OneValue time(11, 0);
        EXPECT_EQ(-2, ConvertColumn(&time.result, TVCI_C_TIME_TZ, 0, &buffer, size, &length));
        EXPECT_EQ(9, length);
        OneValue text(30, "abc");
        EXPECT_EQ(-2, ConvertColumn(&text.result, TVCI_C_TIME_TZ, 0, &buffer, size, &length));
        EXPECT_EQ(3, length);
        EXPECT_EQ(0xEE, buffer);
    }
}
