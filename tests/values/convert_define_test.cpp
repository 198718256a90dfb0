// Row values to the buffers of defined columns.
#include <gtest/gtest.h>

#include "tavu/tvci.h"
#include "values/decode.h"
#include "values/matrix.h"
#include "values/one_value.h"
#include "values/render.h"
#include "values/render_cases.h"

// Converts the value of column 0 into a buffer of exactly `size` bytes.
static Outcome DefineInto(OneValue &value, int32_t c_type, size_t size) {
    Outcome outcome;
    outcome.buffer.assign(size, 0xEE);
    const DefineRecord define = {0,      outcome.buffer.data(), (int32_t)size,
                                 c_type, &outcome.status,       &outcome.length};
    ConvertColumnToDefine(&value.result, &define);
    return outcome;
}

static Outcome Define(OneValue &value, int32_t c_type) {
    return DefineInto(value, c_type, FormBytes(c_type));
}

static Outcome Define(int32_t type, const Bytes &bytes, int32_t c_type) {
    OneValue value(type, bytes);
    return Define(value, c_type);
}

static Outcome Define(int32_t type, const Value &content, int32_t c_type) {
    OneValue value(type, content);
    return Define(value, c_type);
}

static Outcome DefineInto(int32_t type, const Value &content, int32_t c_type, size_t size) {
    OneValue value(type, content);
    return DefineInto(value, c_type, size);
}

static void CheckTexts(std::span<const RenderCase> cases) {
    for (const RenderCase &item : cases) {
        const Outcome outcome = Define(item.type, item.value, TVCI_C_CHAR);
        EXPECT_EQ(0, outcome.status) << "type " << item.type << ", " << item.define_text;
        EXPECT_EQ(item.define_text, outcome.Text()) << "type " << item.type;
        EXPECT_EQ((int32_t)strlen(item.define_text), outcome.length) << item.define_text;
    }
}

TEST(ConvertColumnToDefine, NumbersAsText) {
    CheckTexts(NUMBER_CASES);
}

TEST(ConvertColumnToDefine, DatesAndTimesAsText) {
    CheckTexts(DATE_CASES);
}

TEST(ConvertColumnToDefine, IntervalsAndGuidsAsText) {
    CheckTexts(INTERVAL_CASES);
}

TEST(ConvertColumnToDefine, DoublesAsTextHave16Digits) {
    CheckTexts(DOUBLE_RULE_CASES);
}

TEST(ConvertColumnToDefine, DoubleTenthReadsAs0100000000000000) {
    Define(9, 0.1, TVCI_C_CHAR).ExpectText("0.100000000000000");
}

TEST(DoubleToText, TheLargestNumberKeepsAllItsDigits) {
    char text[DOUBLE_TEXT_BYTES];
    DoubleToText(text, -DBL_MAX);
    EXPECT_EQ(317u, strlen(text));
    EXPECT_EQ(0, strncmp("-179769313486231570814527", text, 25));
    EXPECT_STREQ("368.000000", text + 307);
}

TEST(ConvertColumnToDefine, EveryPairOfFormAndType) {
    const FormRow own[] = {
        {12, Types({11, 12}), 20}, {14, Types({10, 11, 12, 13, 14}), 36}, {40, LOB_TYPES, 48}};
    CheckMatrix(own, Define);
}

TEST(ConvertColumnToDefine, BooleanLetterInThreeForms) {
    Define(2, 'T', TVCI_C_TINYINT).ExpectNumber<int8_t>(84);
    Define(2, 'T', TVCI_C_INT).ExpectNumber<int32_t>(84);
    Define(2, 'T', TVCI_C_BOOL).ExpectNumber<uint8_t>(1);
    Define(2, 'F', TVCI_C_BOOL).ExpectNumber<uint8_t>(0);
    Define(2, 't', TVCI_C_BOOL).ExpectNumber<uint8_t>(0);
}

TEST(ConvertColumnToDefine, SmallintOf300AsTinyintIs44AndNothingTells) {
    Define(4, 300, TVCI_C_TINYINT).ExpectNumber<int8_t>(44);
}

TEST(ConvertColumnToDefine, IntegersInEveryIntegerForm) {
    for (const IntegerCase &item : INTEGER_CASES) {
        Define(item.type, item.value, 3).ExpectNumber(item.as_tinyint);
        Define(item.type, item.value, 4).ExpectNumber(item.as_smallint);
        Define(item.type, item.value, 5).ExpectNumber(item.as_int);
        Define(item.type, item.value, 6).ExpectNumber(item.as_bigint);
    }
}

TEST(ConvertColumnToDefine, NumbersInBothRealForms) {
    for (const RealCase &item : REAL_CASES) {
        Define(item.type, item.value, TVCI_C_FLOAT).ExpectNumber(item.as_float);
        Define(item.type, item.value, TVCI_C_DOUBLE).ExpectNumber(item.as_double);
    }
}

TEST(ConvertColumnToDefine, NumericTextParsedToIntegers) {
    Define(7, "-42.9", TVCI_C_SMALLINT).ExpectNumber<int16_t>(-42);
    Define(7, "70000", TVCI_C_SMALLINT).ExpectNumber<int16_t>(4464);
    Define(7, "2147483647", TVCI_C_INT).ExpectNumber<int32_t>(2147483647);
    Define(7, "abc", TVCI_C_INT).ExpectNumber<int32_t>(0);
    Define(7, "12345678901", TVCI_C_INT).ExpectNumber<int32_t>(-539222987);
}

TEST(ConvertColumnToDefine, NumericAsBigintIsParsedTo64Bits) {
    Define(7, "12345678901", TVCI_C_BIGINT).ExpectNumber<int64_t>(12345678901);
}

TEST(ConvertColumnToDefine, DateAndTimeRecords) {
    Define(10, 789, TVCI_C_DATE).ExpectHolds({1972, 2, 29});
    Define(11, 3723000, TVCI_C_TIME).ExpectHolds({1, 2, 3});
}

TEST(ConvertColumnToDefine, DateTimeRecordFromADateClearsTheTimeAndKeepsTheFraction) {
    Define(10, 789, TVCI_C_DATETIME).ExpectHolds({1972, 2, 29, 0, 0, 0, KEPT});
}

TEST(ConvertColumnToDefine, DateTimeRecordFromATimeClearsTheDateAndKeepsTheFraction) {
    Define(11, 3723000, TVCI_C_DATETIME).ExpectHolds({0, 0, 0, 1, 2, 3, KEPT});
}

TEST(ConvertColumnToDefine, DateTimeRecordFromADateTimeSetsAllSeven) {
    Define(13, -1, TVCI_C_DATETIME).ExpectHolds({1969, 12, 31, 23, 59, 59, 999});
}

TEST(ConvertColumnToDefine, TimeTzRecordFromATimeHasNoZone) {
    Define(11, 3723000, TVCI_C_TIME_TZ).ExpectHolds({1, 2, 3, 0, 0});
}

TEST(ConvertColumnToDefine, TimeTzRecordWithItsZone) {
    Define(12, Zoned(28800000, 330), 12).ExpectHolds({13, 30, 0, 5, 30});
    Define(12, Zoned(28800000, -330), 12).ExpectHolds({2, 30, 0, -5, 30});
    Define(12, Zoned(28800000, -30), 12).ExpectHolds({7, 30, 0, 0, -30});
    Define(12, Zoned(28800000, 30), 12).ExpectHolds({8, 30, 0, 0, 30});
}

TEST(ConvertColumnToDefine, DateTimeTzRecordFromEveryDateType) {
    Define(10, 789, 14).ExpectHolds({1972, 2, 29, 0, 0, 0, 0, 0, 0});
    Define(11, 3723000, 14).ExpectHolds({0, 0, 0, 1, 2, 3, 0, 0, 0});
    Define(12, Zoned(28800000, 330), 14).ExpectHolds({0, 0, 0, 13, 30, 0, 0, 5, 30});
    Define(13, -1, 14).ExpectHolds({1969, 12, 31, 23, 59, 59, 999, 0, 0});
    Define(14, Zoned(1250999, 330), 14).ExpectHolds({1970, 1, 1, 5, 30, 1, 250, 5, 30});
    Define(14, Zoned(0, -30), 14).ExpectHolds({1969, 12, 31, 23, 30, 0, 0, 0, -30});
}

TEST(ConvertColumnToDefine, ASecondReadOfAZonedValueSeesItsBytesSwappedBack) {
    OneValue value(12, Hex("00000001 0100"));
    Define(value, TVCI_C_CHAR).ExpectText("4:16:00 +4:00");
    EXPECT_EQ(Hex("01000000 0001"), value.Stored());
    Define(value, TVCI_C_CHAR).ExpectText("4:40:37 +0:00");
    EXPECT_EQ(Hex("00000001 0100"), value.Stored());
}

TEST(ConvertColumnToDefine, ARefusedFormLeavesAZonedValueAsItWas) {
    OneValue value(14, Zoned(1, 330));
    EXPECT_EQ(-3, Define(value, TVCI_C_INT).status);
    EXPECT_EQ(Hex("0000000000000001 014A"), value.Stored());
}

TEST(ConvertColumnToDefine, WithoutTheSwapFlagAZonedValueIsReadAsItLies) {
    OneValue value(12, Hex("80EE3600 3C00"));
    swap_bytes.store(0);
    Define(value, TVCI_C_CHAR).ExpectText("2:00:00 +1:00");
    EXPECT_EQ(Hex("80EE3600 3C00"), value.Stored());
    swap_bytes.store(1);
}

TEST(ConvertColumnToDefine, WhatAShortZonedValueLacksCountsAs0) {
    Define(12, Hex("01"), TVCI_C_CHAR).ExpectText("4:39:37 +0:00");
    Define(12, Hex("01B77400 003C"), TVCI_C_CHAR).ExpectText("9:00:00 +1:00");
    Define(12, Hex("01B77400 00"), TVCI_C_CHAR).ExpectText("8:00:00 +0:00");
    Define(14, Hex("00000000 000F4240"), TVCI_C_CHAR).ExpectText("1970-01-01 00:00:01 +0:00");
    OneValue value(14, Hex("0000000000000000 01"));
    Define(value, TVCI_C_DATETIME_TZ).ExpectHolds({1970, 1, 1, 4, 16, 0, 0, 4, 16});
    EXPECT_EQ(0, value.external[9]);
}

TEST(ConvertColumnToDefine, BytesBehindAZonedValueAreNotRead) {
    Define(12, Hex("01B77400 014A FFFFFFFF"), TVCI_C_CHAR).ExpectText("13:30:00 +5:00");
}

TEST(ConvertColumnToDefine, IntervalRecordsOfEveryKind) {
    const int64_t micros = 93784000005;
    Define(15, -7, TVCI_C_INTERVAL).ExpectHolds({1, -7, KEPT, KEPT, KEPT, KEPT});
    Define(16, -14, TVCI_C_INTERVAL).ExpectHolds({7, -1, -2, KEPT, KEPT, KEPT});
    Define(17, 7, TVCI_C_INTERVAL).ExpectHolds({2, KEPT, 7, KEPT, KEPT, KEPT});
    Define(18, 7, TVCI_C_INTERVAL).ExpectHolds({3, 7, KEPT, KEPT, KEPT, KEPT});
    Define(19, 26, TVCI_C_INTERVAL).ExpectHolds({8, 1, 2, KEPT, KEPT, KEPT});
    Define(20, 7, TVCI_C_INTERVAL).ExpectHolds({4, KEPT, 7, KEPT, KEPT, KEPT});
    Define(21, 1563, TVCI_C_INTERVAL).ExpectHolds({9, 1, 2, 3, KEPT, KEPT});
    Define(22, 1501, TVCI_C_INTERVAL).ExpectHolds({11, KEPT, 25, 1, KEPT, KEPT});
    Define(23, 7, TVCI_C_INTERVAL).ExpectHolds({5, KEPT, KEPT, 7, KEPT, KEPT});
    Define(24, micros, TVCI_C_INTERVAL).ExpectHolds({10, 1, 2, 3, 4, 5});
    Define(25, micros, TVCI_C_INTERVAL).ExpectHolds({12, KEPT, 26, 3, 4, 5});
    Define(26, micros, TVCI_C_INTERVAL).ExpectHolds({13, KEPT, KEPT, 1563, 4, 5});
    Define(27, -1999999, TVCI_C_INTERVAL).ExpectHolds({6, KEPT, KEPT, KEPT, -1, KEPT});
}

TEST(ConvertColumnToDefine, YearMonthRecords) {
    Define(15, 7, TVCI_C_INTERVAL_YM).ExpectHolds({7, 0});
    Define(16, -14, TVCI_C_INTERVAL_YM).ExpectHolds({-1, -2});
    Define(17, 7, TVCI_C_INTERVAL_YM).ExpectHolds({KEPT, 7});
}

TEST(ConvertColumnToDefine, DaySecondRecords) {
    const int64_t micros = 93784000005;
    Define(18, 7, 31).ExpectHolds({7, KEPT, KEPT, KEPT, KEPT});
    Define(19, 26, 31).ExpectHolds({1, 2, KEPT, KEPT, KEPT});
    Define(20, 7, 31).ExpectHolds({KEPT, 7, KEPT, KEPT, KEPT});
    Define(21, 1563, 31).ExpectHolds({1, 2, 3, KEPT, KEPT});
    Define(22, 1501, 31).ExpectHolds({KEPT, 25, 1, KEPT, KEPT});
    Define(23, 7, 31).ExpectHolds({KEPT, KEPT, 7, KEPT, KEPT});
    Define(24, micros, 31).ExpectHolds({1, 2, 3, 4, 5});
    Define(25, micros, 31).ExpectHolds({KEPT, 26, 3, 4, 5});
    Define(26, micros, 31).ExpectHolds({KEPT, KEPT, 1563, 4, 5});
    Define(27, micros, 31).ExpectHolds({KEPT, KEPT, KEPT, 93784, KEPT});
    Define(27, INT64_MAX, 31).ExpectHolds({KEPT, KEPT, KEPT, 2077252342, KEPT});
}

TEST(ConvertColumnToDefine, ARenderedTextAtBufferSizesAroundItsLength) {
    DefineInto(5, 12345, TVCI_C_CHAR, 4).ExpectIs(-2, 1, "'1234'");
    DefineInto(5, 12345, TVCI_C_CHAR, 5).ExpectIs(0, 5, "'12345'");
    DefineInto(5, 12345, TVCI_C_CHAR, 6).ExpectIs(0, 5, "'12345' 00");
    const Outcome long_buffer = DefineInto(5, 12345, TVCI_C_CHAR, 10);
    EXPECT_EQ(Hex("'12345' 0000000000"), long_buffer.buffer);
}

TEST(ConvertColumnToDefine, TenBytesOfTextIntoTenAreDoneWithoutATerminator) {
    DefineInto(30, "abcdefghij", TVCI_C_CHAR, 10).ExpectIs(0, 10, "'abcdefghij'");
    DefineInto(10, -1, TVCI_C_CHAR, 10).ExpectIs(0, 10, "'1969-12-31'");
}

TEST(ConvertColumnToDefine, RawTextIsCopiedWithoutAZeroFill) {
    for (const int32_t type : {30, 33, 45, 48, 55, 60}) {
        DefineInto(type, "abcdefghij", TVCI_C_CHAR, 9).ExpectIs(-2, 1, "'abcdefghi'");
        DefineInto(type, "abcdefghij", TVCI_C_CHAR, 12).ExpectIs(0, 10, "'abcdefghij' EEEE");
    }
}

// A CLOB or BLOB of a session that gets large values as descriptors.
static Outcome DefineTagged(int32_t type, const char *text, size_t size) {
    OneValue value(type, text);
    value.session.attr.lob_ret = 1;
    return DefineInto(value, TVCI_C_CHAR, size);
}

TEST(ConvertColumnToDefine, LargeTextLeavesOneByteOfTheBuffer) {
    for (const int32_t type : {32, 34}) {
        DefineInto(type, "cbcdefghij", TVCI_C_CHAR, 9).ExpectIs(-2, 2, "'cbcdefgh' EE");
        DefineInto(type, "cbcdefghij", TVCI_C_CHAR, 10).ExpectIs(-2, 1, "'cbcdefghi' EE");
        DefineInto(type, "cbcdefghij", TVCI_C_CHAR, 11).ExpectIs(0, 10, "'cbcdefghij' EE");
    }
}

TEST(ConvertColumnToDefine, LargeTextLosesItsTagInDescriptorMode) {
    for (const char *text : {"cabcdefghi", "babcdefghi"}) {
        for (const int32_t type : {32, 34}) {
            DefineTagged(type, text, 9).ExpectIs(-2, 1, "'abcdefgh' EE");
            DefineTagged(type, text, 10).ExpectIs(-2, 0, "'abcdefghi' EE");
            DefineTagged(type, text, 11).ExpectIs(0, 9, "'abcdefghi' EEEE");
        }
    }
}

TEST(ConvertColumnToDefine, ADescriptorIsTextWithoutATag) {
    DefineTagged(32, "00000000000001", 20).ExpectIs(0, 14, "'00000000000001' EEEEEEEEEEEE");
}

TEST(ConvertColumnToDefine, OnlyLargeTextHasATag) {
    OneValue value(30, "cab");
    value.session.attr.lob_ret = 1;
    EXPECT_EQ(3, Define(value, TVCI_C_CHAR).length);
    EXPECT_EQ(3, Define(value, TVCI_C_BINARY).length);
}

TEST(ConvertColumnToDefine, AResultWithoutASessionHasNoTags) {
    OneValue value(32, "cab");
    value.stmt.session = NULL;
    EXPECT_EQ(3, Define(value, TVCI_C_CHAR).length);
    value.result.statement = NULL;
    EXPECT_EQ(3, Define(value, TVCI_C_CHAR).length);
}

TEST(ConvertColumnToDefine, NumericFormAtBufferSizesAroundItsLength) {
    DefineInto(7, "12.345", TVCI_C_NUMERIC, 5).ExpectIs(-2, 1, "'12.34'");
    DefineInto(7, "12.345", TVCI_C_NUMERIC, 6).ExpectIs(0, 6, "'12.345'");
    const Outcome longer = DefineInto(7, "12.345", TVCI_C_NUMERIC, 7);
    EXPECT_EQ(6, longer.length);
    EXPECT_EQ(Hex("'12.345' 00"), longer.buffer);
}

TEST(ConvertColumnToDefine, NumericFormClears64BytesAtMost) {
    const Outcome outcome = DefineInto(7, "1", TVCI_C_NUMERIC, 66);
    EXPECT_EQ(Ascii("1") + Bytes(63, 0) + Hex("EEEE"), outcome.buffer);
}

TEST(ConvertColumnToDefine, BinaryFormAtBufferSizesAroundItsLength) {
    for (int32_t type = 0; type < TYPES_TRIED; type++) {
        if ((BINARY_TYPES >> type & 1) == 0) continue;
        DefineInto(type, "abcd", TVCI_C_BINARY, 3).ExpectIs(-2, 1, "'abc'");
        const Outcome equal = DefineInto(type, "abcd", TVCI_C_BINARY, 4);
        EXPECT_EQ(0, equal.status);
        EXPECT_EQ(4, equal.length);
        DefineInto(type, "abcd", TVCI_C_BINARY, 5).ExpectIs(0, 4, "'abcd' EE");
    }
}

TEST(ConvertColumnToDefine, BinaryFormKeepsTheTag) {
    OneValue value(34, "babc");
    value.session.attr.lob_ret = 1;
    EXPECT_EQ(4, Define(value, TVCI_C_BINARY).length);
}

TEST(ConvertColumnToDefine, ARowversionHasNoText) {
    const Outcome outcome = Define(28, Hex("0102030405060708"), TVCI_C_CHAR);
    EXPECT_EQ(-3, outcome.status);
    EXPECT_EQ(0, outcome.length);
    EXPECT_TRUE(outcome.Untouched());
}

TEST(ConvertColumnToDefine, AnEmptyTextIsNoConversion) {
    EXPECT_EQ(-3, Define(29, Bytes{0, 'a'}, TVCI_C_CHAR).status);
    EXPECT_EQ(-3, Define(7, Bytes{0, '1'}, TVCI_C_CHAR).status);
}

TEST(ConvertColumnToDefine, ANullIsMinusOneWithLength0InEveryForm) {
    for (int32_t c_type = 1; c_type <= 45; c_type++) {
        if (c_type == TVCI_C_LOB) continue;
        OneValue value(5, 7);
        value.SetNull();
        const Outcome outcome = Define(value, c_type);
        EXPECT_EQ(-1, outcome.status) << c_type;
        EXPECT_EQ(0, outcome.length) << c_type;
        EXPECT_TRUE(outcome.Untouched()) << c_type;
    }
}

TEST(ConvertColumnToDefine, ANullLargeObjectHasALengthOf0) {
    OneValue value(32, "abc");
    value.SetNull();
    const Outcome outcome = Define(value, TVCI_C_LOB);
    EXPECT_EQ(-1, outcome.status);
    EXPECT_EQ(0, outcome.length);
    EXPECT_EQ(Hex("EEEEEEEE 00000000") + Bytes(40, 0xEE), outcome.buffer);
}

TEST(ConvertColumnToDefine, WithoutACurrentRowEveryColumnIsNull) {
    OneValue value(5, 7);
    value.result.current_row = NULL;
    const Outcome outcome = Define(value, TVCI_C_INT);
    EXPECT_EQ(-1, outcome.status);
    EXPECT_EQ(0, outcome.length);
    EXPECT_TRUE(outcome.Untouched());
}

TEST(ConvertColumnToDefine, AColumnThatTheResultDoesNotHaveIsNoConversion) {
    OneValue value(5, 7);
    for (const int32_t column : {1, 2, 1000, INT32_MAX, -1}) {
        Outcome outcome;
        outcome.buffer.assign(48, 0xEE);
        const DefineRecord define = {column,     outcome.buffer.data(), 48,
                                     TVCI_C_LOB, &outcome.status,       &outcome.length};
        ConvertColumnToDefine(&value.result, &define);
        EXPECT_EQ(-3, outcome.status);
        EXPECT_EQ(0, outcome.length);
        EXPECT_TRUE(outcome.Untouched());
    }
}

TEST(ConvertColumnToDefine, StatusAndLengthHaveNoPlaceToGo) {
    OneValue value(5, 7);
    int32_t buffer = 0;
    const DefineRecord define = {0, &buffer, 4, TVCI_C_INT, NULL, NULL};
    ConvertColumnToDefine(&value.result, &define);
    EXPECT_EQ(7, buffer);
}

TEST(ConvertColumnToDefine, ASizeBelow0HoldsNothing) {
    OneValue value(7, "12");
    Outcome outcome;
    outcome.buffer.assign(4, 0xEE);
    const DefineRecord define = {
        0, outcome.buffer.data(), -5, TVCI_C_NUMERIC, &outcome.status, &outcome.length};
    ConvertColumnToDefine(&value.result, &define);
    EXPECT_EQ(-2, outcome.status);
    EXPECT_EQ(2, outcome.length);
    EXPECT_TRUE(outcome.Untouched());
}
