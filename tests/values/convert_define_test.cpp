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

static Outcome DefineInto(int32_t type, const Bytes &bytes, int32_t c_type, size_t size) {
    OneValue value(type, bytes);
    return DefineInto(value, c_type, size);
}

static void CheckTexts(const std::vector<RenderCase> &cases) {
    for (const RenderCase &item : cases) {
        const Outcome outcome = Define(item.type, item.value, TVCI_C_CHAR);
        EXPECT_EQ(0, outcome.status) << "type " << item.type << ", " << item.define_text;
        EXPECT_EQ(item.define_text, outcome.Text()) << "type " << item.type;
        EXPECT_EQ((int32_t)item.define_text.size(), outcome.length) << item.define_text;
    }
}

TEST(ConvertColumnToDefine, NumbersAsText) {
    CheckTexts(NumberCases());
}

TEST(ConvertColumnToDefine, DatesAndTimesAsText) {
    CheckTexts(DateCases());
}

TEST(ConvertColumnToDefine, IntervalsAndGuidsAsText) {
    CheckTexts(IntervalCases());
}

TEST(ConvertColumnToDefine, DoublesAsTextHave16Digits) {
    CheckTexts(DoubleRuleCases());
}

TEST(ConvertColumnToDefine, DoubleTenthReadsAs0100000000000000) {
    EXPECT_EQ("0.100000000000000", Define(9, Raw(0.1), TVCI_C_CHAR).Text());
}

TEST(DoubleToText, TheLargestNumberKeepsAllItsDigits) {
    char text[DOUBLE_TEXT_BYTES];
    DoubleToText(text, -DBL_MAX);
    EXPECT_EQ(317u, strlen(text));
    EXPECT_EQ(0, strncmp("-179769313486231570814527", text, 25));
    EXPECT_STREQ("368.000000", text + 307);
}

TEST(ConvertColumnToDefine, EveryPairOfFormAndType) {
    std::vector<FormRow> rows = CommonRows();
    rows.push_back({12, {11, 12}, 20});
    rows.push_back({14, {10, 11, 12, 13, 14}, 36});
    CheckMatrix(rows, [](OneValue &value, int32_t c_type) { return Define(value, c_type); });
}

TEST(ConvertColumnToDefine, BooleanLetterInThreeForms) {
    EXPECT_EQ(84, Define(2, Ascii("T"), TVCI_C_TINYINT).As<int8_t>());
    EXPECT_EQ(84, Define(2, Ascii("T"), TVCI_C_INT).As<int32_t>());
    EXPECT_EQ(1, Define(2, Ascii("T"), TVCI_C_BOOL).As<uint8_t>());
    EXPECT_EQ(0, Define(2, Ascii("F"), TVCI_C_BOOL).As<uint8_t>());
    EXPECT_EQ(0, Define(2, Ascii("t"), TVCI_C_BOOL).As<uint8_t>());
}

TEST(ConvertColumnToDefine, SmallintOf300AsTinyintIs44AndNothingTells) {
    const Outcome outcome = Define(4, Raw<int16_t>(300), TVCI_C_TINYINT);
    EXPECT_EQ(44, outcome.As<int8_t>());
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ(1, outcome.length);
}

TEST(ConvertColumnToDefine, IntegersInEveryIntegerForm) {
    for (const IntegerCase &item : IntegerCases()) {
        EXPECT_EQ(item.as_tinyint, Define(item.type, item.value, 3).As<int8_t>());
        EXPECT_EQ(item.as_smallint, Define(item.type, item.value, 4).As<int16_t>());
        EXPECT_EQ(item.as_int, Define(item.type, item.value, 5).As<int32_t>());
        EXPECT_EQ(item.as_bigint, Define(item.type, item.value, 6).As<int64_t>());
    }
}

TEST(ConvertColumnToDefine, NumbersInBothRealForms) {
    for (const RealCase &item : RealCases()) {
        EXPECT_EQ(item.as_float, Define(item.type, item.value, TVCI_C_FLOAT).As<float>());
        EXPECT_EQ(item.as_double, Define(item.type, item.value, TVCI_C_DOUBLE).As<double>());
    }
}

TEST(ConvertColumnToDefine, NumericTextParsedToIntegers) {
    EXPECT_EQ(-42, Define(7, Ascii("-42.9"), TVCI_C_SMALLINT).As<int16_t>());
    EXPECT_EQ(4464, Define(7, Ascii("70000"), TVCI_C_SMALLINT).As<int16_t>());
    EXPECT_EQ(2147483647, Define(7, Ascii("2147483647"), TVCI_C_INT).As<int32_t>());
    EXPECT_EQ(0, Define(7, Ascii("abc"), TVCI_C_INT).As<int32_t>());
    EXPECT_EQ(0, Define(7, Ascii("abc"), TVCI_C_INT).status);
    EXPECT_EQ(-539222987, Define(7, Ascii("12345678901"), TVCI_C_INT).As<int32_t>());
}

TEST(ConvertColumnToDefine, NumericAsBigintIsParsedTo64Bits) {
    EXPECT_EQ(12345678901, Define(7, Ascii("12345678901"), TVCI_C_BIGINT).As<int64_t>());
}

TEST(ConvertColumnToDefine, DateAndTimeRecords) {
    const DateRec date = Define(10, Raw<int32_t>(789), TVCI_C_DATE).As<DateRec>();
    EXPECT_EQ(1972, date.year);
    EXPECT_EQ(2, date.month);
    EXPECT_EQ(29, date.day);
    const TimeRec time = Define(11, Raw<int32_t>(3723000), TVCI_C_TIME).As<TimeRec>();
    EXPECT_EQ(1, time.hour);
    EXPECT_EQ(2, time.minute);
    EXPECT_EQ(3, time.second);
}

// The seven members, or nine, of a date record.
static std::vector<int32_t> Members(const Outcome &outcome) {
    std::vector<int32_t> members(outcome.buffer.size() / 4);
    memcpy(members.data(), outcome.buffer.data(), outcome.buffer.size());
    return members;
}

constexpr int32_t KEPT = (int32_t)0xEEEEEEEE;
typedef std::vector<int32_t> Ints;

TEST(ConvertColumnToDefine, DateTimeRecordFromADateClearsTheTimeAndKeepsTheFraction) {
    EXPECT_EQ((Ints{1972, 2, 29, 0, 0, 0, KEPT}),
              Members(Define(10, Raw<int32_t>(789), TVCI_C_DATETIME)));
}

TEST(ConvertColumnToDefine, DateTimeRecordFromATimeClearsTheDateAndKeepsTheFraction) {
    EXPECT_EQ((Ints{0, 0, 0, 1, 2, 3, KEPT}),
              Members(Define(11, Raw<int32_t>(3723000), TVCI_C_DATETIME)));
}

TEST(ConvertColumnToDefine, DateTimeRecordFromADateTimeSetsAllSeven) {
    EXPECT_EQ((Ints{1969, 12, 31, 23, 59, 59, 999}),
              Members(Define(13, Raw<int64_t>(-1), TVCI_C_DATETIME)));
}

TEST(ConvertColumnToDefine, TimeTzRecordFromATimeHasNoZone) {
    EXPECT_EQ((Ints{1, 2, 3, 0, 0}), Members(Define(11, Raw<int32_t>(3723000), TVCI_C_TIME_TZ)));
}

TEST(ConvertColumnToDefine, TimeTzRecordWithItsZone) {
    EXPECT_EQ((Ints{13, 30, 0, 5, 30}), Members(Define(12, WireTime(28800000, 330), 12)));
    EXPECT_EQ((Ints{2, 30, 0, -5, 30}), Members(Define(12, WireTime(28800000, -330), 12)));
    EXPECT_EQ((Ints{7, 30, 0, 0, -30}), Members(Define(12, WireTime(28800000, -30), 12)));
    EXPECT_EQ((Ints{8, 30, 0, 0, 30}), Members(Define(12, WireTime(28800000, 30), 12)));
}

TEST(ConvertColumnToDefine, DateTimeTzRecordFromEveryDateType) {
    EXPECT_EQ((Ints{1972, 2, 29, 0, 0, 0, 0, 0, 0}), Members(Define(10, Raw<int32_t>(789), 14)));
    EXPECT_EQ((Ints{0, 0, 0, 1, 2, 3, 0, 0, 0}), Members(Define(11, Raw<int32_t>(3723000), 14)));
    EXPECT_EQ((Ints{0, 0, 0, 13, 30, 0, 0, 5, 30}),
              Members(Define(12, WireTime(28800000, 330), 14)));
    EXPECT_EQ((Ints{1969, 12, 31, 23, 59, 59, 999, 0, 0}),
              Members(Define(13, Raw<int64_t>(-1), 14)));
    EXPECT_EQ((Ints{1970, 1, 1, 5, 30, 1, 250, 5, 30}),
              Members(Define(14, WireDateTime(1250999, 330), 14)));
    EXPECT_EQ((Ints{1969, 12, 31, 23, 30, 0, 0, 0, -30}),
              Members(Define(14, WireDateTime(0, -30), 14)));
}

TEST(ConvertColumnToDefine, ASecondReadOfAZonedValueSeesItsBytesSwappedBack) {
    OneValue value(12, Hex("00000001 0100"));
    EXPECT_EQ("4:16:00 +4:00", Define(value, TVCI_C_CHAR).Text());
    EXPECT_EQ(Hex("01000000 0001"), value.Stored());
    EXPECT_EQ("4:40:37 +0:00", Define(value, TVCI_C_CHAR).Text());
    EXPECT_EQ(Hex("00000001 0100"), value.Stored());
}

TEST(ConvertColumnToDefine, ARefusedFormLeavesAZonedValueAsItWas) {
    OneValue value(14, WireDateTime(1, 330));
    EXPECT_EQ(-3, Define(value, TVCI_C_INT).status);
    EXPECT_EQ(WireDateTime(1, 330), value.Stored());
}

TEST(ConvertColumnToDefine, WithoutTheSwapFlagAZonedValueIsReadAsItLies) {
    OneValue value(12, Hex("80EE3600 3C00"));
    swap_bytes.store(0);
    EXPECT_EQ("2:00:00 +1:00", Define(value, TVCI_C_CHAR).Text());
    EXPECT_EQ(Hex("80EE3600 3C00"), value.Stored());
    swap_bytes.store(1);
}

TEST(ConvertColumnToDefine, WhatAShortZonedValueLacksCountsAs0) {
    EXPECT_EQ("4:39:37 +0:00", Define(12, Hex("01"), TVCI_C_CHAR).Text());
    EXPECT_EQ("9:00:00 +1:00", Define(12, Hex("01B77400 003C"), TVCI_C_CHAR).Text());
    EXPECT_EQ("8:00:00 +0:00", Define(12, Hex("01B77400 00"), TVCI_C_CHAR).Text());
    EXPECT_EQ("1970-01-01 00:00:01 +0:00",
              Define(14, Hex("00000000 000F4240"), TVCI_C_CHAR).Text());
    OneValue value(14, Hex("0000000000000000 01"));
    EXPECT_EQ((Ints{1970, 1, 1, 4, 16, 0, 0, 4, 16}), Members(Define(value, TVCI_C_DATETIME_TZ)));
    EXPECT_EQ(0, value.external[9]);
}

TEST(ConvertColumnToDefine, BytesBehindAZonedValueAreNotRead) {
    EXPECT_EQ("13:30:00 +5:00",
              Define(12, WireTime(28800000, 330) + Hex("FFFFFFFF"), TVCI_C_CHAR).Text());
}

TEST(ConvertColumnToDefine, IntervalRecordsOfEveryKind) {
    const int64_t micros = 93784000005;
    const struct {
        int32_t type;
        Bytes value;
        Ints members;
    } cases[] = {
        {15, Raw<int32_t>(-7), {1, -7, KEPT, KEPT, KEPT, KEPT}},
        {16, Raw<int32_t>(-14), {7, -1, -2, KEPT, KEPT, KEPT}},
        {17, Raw<int32_t>(7), {2, KEPT, 7, KEPT, KEPT, KEPT}},
        {18, Raw<int32_t>(7), {3, 7, KEPT, KEPT, KEPT, KEPT}},
        {19, Raw<int32_t>(26), {8, 1, 2, KEPT, KEPT, KEPT}},
        {20, Raw<int32_t>(7), {4, KEPT, 7, KEPT, KEPT, KEPT}},
        {21, Raw<int32_t>(1563), {9, 1, 2, 3, KEPT, KEPT}},
        {22, Raw<int32_t>(1501), {11, KEPT, 25, 1, KEPT, KEPT}},
        {23, Raw<int32_t>(7), {5, KEPT, KEPT, 7, KEPT, KEPT}},
        {24, Raw<int64_t>(micros), {10, 1, 2, 3, 4, 5}},
        {25, Raw<int64_t>(micros), {12, KEPT, 26, 3, 4, 5}},
        {26, Raw<int64_t>(micros), {13, KEPT, KEPT, 1563, 4, 5}},
        {27, Raw<int64_t>(-1999999), {6, KEPT, KEPT, KEPT, -1, KEPT}},
    };
    for (const auto &item : cases) {
        EXPECT_EQ(item.members, Members(Define(item.type, item.value, 21))) << item.type;
    }
}

TEST(ConvertColumnToDefine, YearMonthRecords) {
    EXPECT_EQ((Ints{7, 0}), Members(Define(15, Raw<int32_t>(7), TVCI_C_INTERVAL_YM)));
    EXPECT_EQ((Ints{-1, -2}), Members(Define(16, Raw<int32_t>(-14), TVCI_C_INTERVAL_YM)));
    EXPECT_EQ((Ints{KEPT, 7}), Members(Define(17, Raw<int32_t>(7), TVCI_C_INTERVAL_YM)));
}

TEST(ConvertColumnToDefine, DaySecondRecords) {
    const int64_t micros = 93784000005;
    EXPECT_EQ((Ints{7, KEPT, KEPT, KEPT, KEPT}), Members(Define(18, Raw<int32_t>(7), 31)));
    EXPECT_EQ((Ints{1, 2, KEPT, KEPT, KEPT}), Members(Define(19, Raw<int32_t>(26), 31)));
    EXPECT_EQ((Ints{KEPT, 7, KEPT, KEPT, KEPT}), Members(Define(20, Raw<int32_t>(7), 31)));
    EXPECT_EQ((Ints{1, 2, 3, KEPT, KEPT}), Members(Define(21, Raw<int32_t>(1563), 31)));
    EXPECT_EQ((Ints{KEPT, 25, 1, KEPT, KEPT}), Members(Define(22, Raw<int32_t>(1501), 31)));
    EXPECT_EQ((Ints{KEPT, KEPT, 7, KEPT, KEPT}), Members(Define(23, Raw<int32_t>(7), 31)));
    EXPECT_EQ((Ints{1, 2, 3, 4, 5}), Members(Define(24, Raw(micros), 31)));
    EXPECT_EQ((Ints{KEPT, 26, 3, 4, 5}), Members(Define(25, Raw(micros), 31)));
    EXPECT_EQ((Ints{KEPT, KEPT, 1563, 4, 5}), Members(Define(26, Raw(micros), 31)));
    EXPECT_EQ((Ints{KEPT, KEPT, KEPT, 93784, KEPT}), Members(Define(27, Raw(micros), 31)));
    EXPECT_EQ((Ints{KEPT, KEPT, KEPT, 2077252342, KEPT}),
              Members(Define(27, Raw<int64_t>(INT64_MAX), 31)));
}

TEST(ConvertColumnToDefine, ARenderedTextAtBufferSizesAroundItsLength) {
    const Outcome shorter = DefineInto(5, Raw<int32_t>(12345), TVCI_C_CHAR, 4);
    EXPECT_EQ(-2, shorter.status);
    EXPECT_EQ(1, shorter.length);
    EXPECT_EQ(Ascii("1234"), shorter.buffer);
    const Outcome equal = DefineInto(5, Raw<int32_t>(12345), TVCI_C_CHAR, 5);
    EXPECT_EQ(0, equal.status);
    EXPECT_EQ(5, equal.length);
    EXPECT_EQ(Ascii("12345"), equal.buffer);
    const Outcome longer = DefineInto(5, Raw<int32_t>(12345), TVCI_C_CHAR, 6);
    EXPECT_EQ(0, longer.status);
    EXPECT_EQ(5, longer.length);
    EXPECT_EQ(Hex("'12345' 00"), longer.buffer);
    const Outcome long_buffer = DefineInto(5, Raw<int32_t>(12345), TVCI_C_CHAR, 10);
    EXPECT_EQ(Hex("'12345' 0000000000"), long_buffer.buffer);
}

TEST(ConvertColumnToDefine, TenBytesOfTextIntoTenAreDoneWithoutATerminator) {
    const Outcome outcome = DefineInto(30, Ascii("abcdefghij"), TVCI_C_CHAR, 10);
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ(10, outcome.length);
    EXPECT_EQ(Ascii("abcdefghij"), outcome.buffer);
    const Outcome rendered = DefineInto(10, Raw<int32_t>(-1), TVCI_C_CHAR, 10);
    EXPECT_EQ(0, rendered.status);
    EXPECT_EQ(10, rendered.length);
    EXPECT_EQ(Ascii("1969-12-31"), rendered.buffer);
}

TEST(ConvertColumnToDefine, RawTextIsCopiedWithoutAZeroFill) {
    for (const int32_t type : {30, 33, 45, 48, 55, 60}) {
        const Outcome cut = DefineInto(type, Ascii("abcdefghij"), TVCI_C_CHAR, 9);
        EXPECT_EQ(-2, cut.status);
        EXPECT_EQ(1, cut.length);
        EXPECT_EQ(Ascii("abcdefghi"), cut.buffer);
        const Outcome whole = DefineInto(type, Ascii("abcdefghij"), TVCI_C_CHAR, 12);
        EXPECT_EQ(0, whole.status);
        EXPECT_EQ(10, whole.length);
        EXPECT_EQ(Hex("'abcdefghij' EEEE"), whole.buffer);
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
        const Outcome cut = DefineInto(type, Ascii("cbcdefghij"), TVCI_C_CHAR, 9);
        EXPECT_EQ(-2, cut.status);
        EXPECT_EQ(2, cut.length);
        EXPECT_EQ(Hex("'cbcdefgh' EE"), cut.buffer);
        const Outcome equal = DefineInto(type, Ascii("cbcdefghij"), TVCI_C_CHAR, 10);
        EXPECT_EQ(-2, equal.status);
        EXPECT_EQ(1, equal.length);
        EXPECT_EQ(Hex("'cbcdefghi' EE"), equal.buffer);
        const Outcome whole = DefineInto(type, Ascii("cbcdefghij"), TVCI_C_CHAR, 11);
        EXPECT_EQ(0, whole.status);
        EXPECT_EQ(10, whole.length);
        EXPECT_EQ(Hex("'cbcdefghij' EE"), whole.buffer);
    }
}

TEST(ConvertColumnToDefine, LargeTextLosesItsTagInDescriptorMode) {
    for (const char *text : {"cabcdefghi", "babcdefghi"}) {
        for (const int32_t type : {32, 34}) {
            const Outcome cut = DefineTagged(type, text, 9);
            EXPECT_EQ(-2, cut.status);
            EXPECT_EQ(1, cut.length);
            EXPECT_EQ(Hex("'abcdefgh' EE"), cut.buffer);
            const Outcome equal = DefineTagged(type, text, 10);
            EXPECT_EQ(-2, equal.status);
            EXPECT_EQ(0, equal.length);
            EXPECT_EQ(Hex("'abcdefghi' EE"), equal.buffer);
            const Outcome whole = DefineTagged(type, text, 11);
            EXPECT_EQ(0, whole.status);
            EXPECT_EQ(9, whole.length);
            EXPECT_EQ(Hex("'abcdefghi' EEEE"), whole.buffer);
        }
    }
}

TEST(ConvertColumnToDefine, ADescriptorIsTextWithoutATag) {
    const Outcome outcome = DefineTagged(32, "00000000000001", 20);
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ(14, outcome.length);
    EXPECT_EQ(Hex("'00000000000001' EEEEEEEEEEEE"), outcome.buffer);
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
    const Outcome cut = DefineInto(7, Ascii("12.345"), TVCI_C_NUMERIC, 5);
    EXPECT_EQ(-2, cut.status);
    EXPECT_EQ(1, cut.length);
    EXPECT_EQ(Ascii("12.34"), cut.buffer);
    const Outcome equal = DefineInto(7, Ascii("12.345"), TVCI_C_NUMERIC, 6);
    EXPECT_EQ(0, equal.status);
    EXPECT_EQ(6, equal.length);
    EXPECT_EQ(Ascii("12.345"), equal.buffer);
    const Outcome longer = DefineInto(7, Ascii("12.345"), TVCI_C_NUMERIC, 7);
    EXPECT_EQ(6, longer.length);
    EXPECT_EQ(Hex("'12.345' 00"), longer.buffer);
}

TEST(ConvertColumnToDefine, NumericFormClears64BytesAtMost) {
    const Outcome outcome = DefineInto(7, Ascii("1"), TVCI_C_NUMERIC, 66);
    EXPECT_EQ(Ascii("1") + Bytes(63, 0) + Hex("EEEE"), outcome.buffer);
}

TEST(ConvertColumnToDefine, BinaryFormAtBufferSizesAroundItsLength) {
    for (const int32_t type : BINARY_TYPES) {
        const Outcome cut = DefineInto(type, Hex("00010203"), TVCI_C_BINARY, 3);
        EXPECT_EQ(-2, cut.status);
        EXPECT_EQ(1, cut.length);
        EXPECT_EQ(Hex("000102"), cut.buffer);
        const Outcome equal = DefineInto(type, Hex("00010203"), TVCI_C_BINARY, 4);
        EXPECT_EQ(0, equal.status);
        EXPECT_EQ(4, equal.length);
        const Outcome longer = DefineInto(type, Hex("00010203"), TVCI_C_BINARY, 5);
        EXPECT_EQ(0, longer.status);
        EXPECT_EQ(4, longer.length);
        EXPECT_EQ(Hex("00010203 EE"), longer.buffer);
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
        OneValue value(5, Raw<int32_t>(7));
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
    OneValue value(5, Raw<int32_t>(7));
    value.result.current_row = NULL;
    const Outcome outcome = Define(value, TVCI_C_INT);
    EXPECT_EQ(-1, outcome.status);
    EXPECT_EQ(0, outcome.length);
    EXPECT_TRUE(outcome.Untouched());
}

TEST(ConvertColumnToDefine, AColumnThatTheResultDoesNotHaveIsNoConversion) {
    OneValue value(5, Raw<int32_t>(7));
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
    OneValue value(5, Raw<int32_t>(7));
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
