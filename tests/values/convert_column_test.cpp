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

static Outcome ColumnInto(int32_t type, const Bytes &bytes, int32_t c_type, size_t size) {
    OneValue value(type, bytes);
    return ColumnInto(value, c_type, size);
}

static void CheckTexts(const std::vector<RenderCase> &cases, int32_t c_type) {
    for (const RenderCase &item : cases) {
        const Outcome outcome = Column(item.type, item.value, c_type);
        EXPECT_EQ(0, outcome.status) << "type " << item.type << ", " << item.column_text;
        EXPECT_EQ(item.column_text, outcome.Text()) << "type " << item.type;
        EXPECT_EQ((int32_t)item.column_text.size(), outcome.length) << item.column_text;
    }
}

TEST(ConvertColumn, NumbersAsText) {
    CheckTexts(NumberCases(), TVCI_C_CHAR);
}

TEST(ConvertColumn, DatesAndTimesAsText) {
    CheckTexts(DateCases(), TVCI_C_CHAR);
}

TEST(ConvertColumn, IntervalsAndGuidsAsText) {
    CheckTexts(IntervalCases(), TVCI_C_CHAR);
}

TEST(ConvertColumn, DoublesAsTextHave16Digits) {
    CheckTexts(DoubleRuleCases(), TVCI_C_CHAR);
}

TEST(ConvertColumn, TheZonedFormsAskForText) {
    for (const int32_t c_type : {TVCI_C_TIME_TZ, TVCI_C_DATETIME_TZ}) {
        CheckTexts(NumberCases(), c_type);
        CheckTexts(DateCases(), c_type);
        EXPECT_EQ("abc", Column(30, Ascii("abc"), c_type).Text());
    }
}

TEST(ConvertColumn, EightOClockInZone330ReadsAs1330Plus5) {
    EXPECT_EQ("13:30:00+5", Column(12, WireTime(28800000, 330), TVCI_C_CHAR).Text());
}

TEST(ConvertColumn, EveryPairOfFormAndType) {
    std::vector<FormRow> rows = CommonRows();
    rows.push_back({12, TEXT_TYPES, -1});
    rows.push_back({14, TEXT_TYPES, -1});
    CheckMatrix(rows, [](OneValue &value, int32_t c_type) { return Column(value, c_type); });
}

TEST(ConvertColumn, BooleanLetterInThreeForms) {
    EXPECT_EQ(84, Column(2, Ascii("T"), TVCI_C_TINYINT).As<int8_t>());
    EXPECT_EQ(84, Column(2, Ascii("T"), TVCI_C_INT).As<int32_t>());
    EXPECT_EQ(1, Column(2, Ascii("T"), TVCI_C_BOOL).As<uint8_t>());
    EXPECT_EQ(0, Column(2, Ascii("F"), TVCI_C_BOOL).As<uint8_t>());
}

TEST(ConvertColumn, SmallintOf300AsTinyintIs44AndNothingTells) {
    const Outcome outcome = Column(4, Raw<int16_t>(300), TVCI_C_TINYINT);
    EXPECT_EQ(44, outcome.As<int8_t>());
    EXPECT_EQ(0, outcome.status);
}

TEST(ConvertColumn, IntegersInEveryIntegerForm) {
    for (const IntegerCase &item : IntegerCases()) {
        EXPECT_EQ(item.as_tinyint, Column(item.type, item.value, 3).As<int8_t>());
        EXPECT_EQ(item.as_smallint, Column(item.type, item.value, 4).As<int16_t>());
        EXPECT_EQ(item.as_int, Column(item.type, item.value, 5).As<int32_t>());
        EXPECT_EQ(item.as_bigint, Column(item.type, item.value, 6).As<int64_t>());
    }
}

TEST(ConvertColumn, NumbersInBothRealForms) {
    for (const RealCase &item : RealCases()) {
        EXPECT_EQ(item.as_float, Column(item.type, item.value, TVCI_C_FLOAT).As<float>());
        EXPECT_EQ(item.as_double, Column(item.type, item.value, TVCI_C_DOUBLE).As<double>());
    }
}

TEST(ConvertColumn, NumericAsBigintIsParsedTo32BitsAndWidened) {
    EXPECT_EQ(-539222987, Column(7, Ascii("12345678901"), TVCI_C_BIGINT).As<int64_t>());
    EXPECT_EQ(-5, Column(7, Ascii("-5"), TVCI_C_BIGINT).As<int64_t>());
    EXPECT_EQ(8, Column(7, Ascii("-5"), TVCI_C_BIGINT).length);
}

static std::vector<int32_t> Members(const Outcome &outcome) {
    std::vector<int32_t> members(outcome.buffer.size() / 4);
    memcpy(members.data(), outcome.buffer.data(), outcome.buffer.size());
    return members;
}

constexpr int32_t KEPT = (int32_t)0xEEEEEEEE;
typedef std::vector<int32_t> Ints;

TEST(ConvertColumn, DateAndTimeRecords) {
    EXPECT_EQ((Ints{1972, 2, 29}), Members(Column(10, Raw<int32_t>(789), TVCI_C_DATE)));
    EXPECT_EQ((Ints{1, 2, 3}), Members(Column(11, Raw<int32_t>(3723000), TVCI_C_TIME)));
}

TEST(ConvertColumn, DateTimeRecordKeepsWhatTheTypeDoesNotHave) {
    EXPECT_EQ((Ints{1972, 2, 29, KEPT, KEPT, KEPT, KEPT}),
              Members(Column(10, Raw<int32_t>(789), TVCI_C_DATETIME)));
    EXPECT_EQ((Ints{KEPT, KEPT, KEPT, 1, 2, 3, KEPT}),
              Members(Column(11, Raw<int32_t>(3723000), TVCI_C_DATETIME)));
    EXPECT_EQ((Ints{1969, 12, 31, 23, 59, 59, 999}),
              Members(Column(13, Raw<int64_t>(-1), TVCI_C_DATETIME)));
}

TEST(ConvertColumn, IntervalRecords) {
    EXPECT_EQ((Ints{11, KEPT, 25, 1, KEPT, KEPT}),
              Members(Column(22, Raw<int32_t>(1501), TVCI_C_INTERVAL)));
    EXPECT_EQ((Ints{7, -1, -2, KEPT, KEPT, KEPT}),
              Members(Column(16, Raw<int32_t>(-14), TVCI_C_INTERVAL)));
    EXPECT_EQ((Ints{1, 2, 3, 4, 5}),
              Members(Column(24, Raw<int64_t>(93784000005), TVCI_C_INTERVAL_DS)));
}

TEST(ConvertColumn, YearMonthRecordOfAYearKeepsTheMonth) {
    EXPECT_EQ((Ints{7, KEPT}), Members(Column(15, Raw<int32_t>(7), TVCI_C_INTERVAL_YM)));
    EXPECT_EQ((Ints{KEPT, 7}), Members(Column(17, Raw<int32_t>(7), TVCI_C_INTERVAL_YM)));
}

TEST(ConvertColumn, ASecondReadOfAZonedValueSeesItsBytesSwappedBack) {
    OneValue value(12, Hex("00000001 0100"));
    EXPECT_EQ("4:16:00+4", Column(value, TVCI_C_CHAR).Text());
    EXPECT_EQ("4:40:37+0", Column(value, TVCI_C_CHAR).Text());
    EXPECT_EQ("4:16:00+4", Column(value, TVCI_C_CHAR).Text());
}

TEST(ConvertColumn, ARenderedTextIsAlwaysTerminated) {
    const Outcome shorter = ColumnInto(5, Raw<int32_t>(12345), TVCI_C_CHAR, 4);
    EXPECT_EQ(-2, shorter.status);
    EXPECT_EQ(2, shorter.length);
    EXPECT_EQ(Hex("'123' 00"), shorter.buffer);
    const Outcome equal = ColumnInto(5, Raw<int32_t>(12345), TVCI_C_CHAR, 5);
    EXPECT_EQ(-2, equal.status);
    EXPECT_EQ(1, equal.length);
    EXPECT_EQ(Hex("'1234' 00"), equal.buffer);
    const Outcome longer = ColumnInto(5, Raw<int32_t>(12345), TVCI_C_CHAR, 6);
    EXPECT_EQ(0, longer.status);
    EXPECT_EQ(5, longer.length);
    EXPECT_EQ(Hex("'12345' 00"), longer.buffer);
    const Outcome long_buffer = ColumnInto(5, Raw<int32_t>(12345), TVCI_C_CHAR, 9);
    EXPECT_EQ(Hex("'12345' 00000000"), long_buffer.buffer);
}

TEST(ConvertColumn, TenBytesOfRenderedTextIntoTenAreCutTo9WithLength1) {
    const Outcome outcome = ColumnInto(10, Raw<int32_t>(0), TVCI_C_CHAR, 10);
    EXPECT_EQ(-2, outcome.status);
    EXPECT_EQ(1, outcome.length);
    EXPECT_EQ(Hex("'1970-01-0' 00"), outcome.buffer);
}

TEST(ConvertColumn, RawTextFillsTheBufferAndReportsItsWholeLength) {
    for (const int32_t type : {30, 32, 33, 34, 45, 48, 60}) {
        const Outcome cut = ColumnInto(type, Ascii("abcdefghij"), TVCI_C_CHAR, 9);
        EXPECT_EQ(-2, cut.status);
        EXPECT_EQ(10, cut.length);
        EXPECT_EQ(Ascii("abcdefghi"), cut.buffer);
        const Outcome equal = ColumnInto(type, Ascii("abcdefghij"), TVCI_C_CHAR, 10);
        EXPECT_EQ(0, equal.status);
        EXPECT_EQ(10, equal.length);
        EXPECT_EQ(Ascii("abcdefghij"), equal.buffer);
        const Outcome longer = ColumnInto(type, Ascii("abcdefghij"), TVCI_C_CHAR, 12);
        EXPECT_EQ(0, longer.status);
        EXPECT_EQ(10, longer.length);
        EXPECT_EQ(Hex("'abcdefghij' 0000"), longer.buffer);
    }
}

TEST(ConvertColumn, RawTextKeepsItsTag) {
    OneValue value(32, "cabc");
    value.session.attr.lob_ret = 1;
    EXPECT_EQ("cabc", Column(value, TVCI_C_CHAR).Text());
}

TEST(ConvertColumn, NumericFormNeverWritesBehindTheBuffer) {
    const Outcome equal = ColumnInto(7, Ascii("12.345"), TVCI_C_NUMERIC, 6);
    EXPECT_EQ(0, equal.status);
    EXPECT_EQ(6, equal.length);
    EXPECT_EQ(Ascii("12.345"), equal.buffer);
    const Outcome longer = ColumnInto(7, Ascii("12.345"), TVCI_C_NUMERIC, 66);
    EXPECT_EQ(0, longer.status);
    EXPECT_EQ(6, longer.length);
    EXPECT_EQ(Ascii("12.345") + Bytes(58, 0) + Hex("EEEE"), longer.buffer);
    const Outcome cut = ColumnInto(7, Ascii("12.345"), TVCI_C_NUMERIC, 5);
    EXPECT_EQ(-2, cut.status);
    EXPECT_EQ(6, cut.length);
    EXPECT_EQ(Ascii("12.34"), cut.buffer);
}

TEST(ConvertColumn, TenBytesOfBinaryIntoTenCountAsCutBy0) {
    const Outcome outcome = ColumnInto(33, Hex("00010203040506070809"), TVCI_C_BINARY, 10);
    EXPECT_EQ(-2, outcome.status);
    EXPECT_EQ(0, outcome.length);
    EXPECT_EQ(Hex("00010203040506070809"), outcome.buffer);
}

TEST(ConvertColumn, BinaryFormAtBufferSizesAroundItsLength) {
    for (const int32_t type : BINARY_TYPES) {
        const Outcome cut = ColumnInto(type, Hex("01020304"), TVCI_C_BINARY, 3);
        EXPECT_EQ(-2, cut.status);
        EXPECT_EQ(1, cut.length);
        EXPECT_EQ(Hex("010203"), cut.buffer);
        const Outcome longer = ColumnInto(type, Hex("01020304"), TVCI_C_BINARY, 6);
        EXPECT_EQ(0, longer.status);
        EXPECT_EQ(4, longer.length);
        EXPECT_EQ(Hex("01020304 0000"), longer.buffer);
    }
}

TEST(ConvertColumn, ARowversionHasNoText) {
    EXPECT_EQ(-3, Column(28, Hex("0102030405060708"), TVCI_C_CHAR).status);
}

TEST(ConvertColumn, ANullIsMinusOneWithLength0InEveryForm) {
    for (int32_t c_type = 1; c_type <= 45; c_type++) {
        OneValue value(5, Raw<int32_t>(7));
        value.SetNull();
        const Outcome outcome = Column(value, c_type);
        EXPECT_EQ(-1, outcome.status) << c_type;
        EXPECT_EQ(0, outcome.length) << c_type;
        EXPECT_TRUE(outcome.Untouched()) << c_type;
    }
}

TEST(ConvertColumn, WithoutACurrentRowEveryColumnIsNull) {
    OneValue value(5, Raw<int32_t>(7));
    value.result.current_row = NULL;
    EXPECT_EQ(-1, Column(value, TVCI_C_INT).status);
}

TEST(ConvertColumn, AColumnThatTheResultDoesNotHaveIsNoConversion) {
    OneValue value(5, Raw<int32_t>(7));
    int32_t buffer = 9;
    int32_t length = 9;
    EXPECT_EQ(-3, ConvertColumn(&value.result, TVCI_C_INT, 1, &buffer, 4, &length));
    EXPECT_EQ(9, buffer);
    EXPECT_EQ(0, length);
}

TEST(ConvertColumn, TheLengthHasNoPlaceToGo) {
    OneValue value(5, Raw<int32_t>(7));
    int32_t buffer = 0;
    EXPECT_EQ(0, ConvertColumn(&value.result, TVCI_C_INT, 0, &buffer, 4, NULL));
    EXPECT_EQ(7, buffer);
}

TEST(ConvertColumn, ASizeOf0OrLessHoldsNothing) {
    for (const int32_t size : {0, -1, INT32_MIN}) {
        uint8_t buffer = 0xEE;
        int32_t length = 77;
        OneValue time(11, Raw<int32_t>(0));
        EXPECT_EQ(-2, ConvertColumn(&time.result, TVCI_C_TIME_TZ, 0, &buffer, size, &length));
        EXPECT_EQ(9, length);
        OneValue text(30, "abc");
        EXPECT_EQ(-2, ConvertColumn(&text.result, TVCI_C_TIME_TZ, 0, &buffer, size, &length));
        EXPECT_EQ(3, length);
        EXPECT_EQ(0xEE, buffer);
    }
}
