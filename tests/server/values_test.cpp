// The pieces below the sessions: words of SQL, decimal numbers, dates and intervals.
#include <gtest/gtest.h>

#include "server/decimal.h"
#include "server/temporal.h"
#include "server/tokens.h"
#include "server/types.h"

namespace tavud_test {
namespace {

using tavud::CompareDecimal;
using tavud::NormaliseDecimal;
using tavud::SplitStatements;

std::string Decimal(const std::string &text, int32_t size) {
    std::string stored;
    return NormaliseDecimal(text, size, &stored) ? stored : "refused";
}

constexpr int32_t FIVE_TWO = 5 << 16 | 2;

TEST(Decimal, GetsTheDigitsOfItsColumn) {
    EXPECT_EQ("0.00", Decimal("0", FIVE_TWO));
    EXPECT_EQ("0.00", Decimal("-0.001", FIVE_TWO));
    EXPECT_EQ("1.50", Decimal("+1.5", FIVE_TWO));
    EXPECT_EQ("1.50", Decimal("  001.5 ", FIVE_TWO));
    EXPECT_EQ("0.50", Decimal(".5", FIVE_TWO));
    EXPECT_EQ("5.00", Decimal("5.", FIVE_TWO));
    EXPECT_EQ("999.99", Decimal("999.994", FIVE_TWO));
    EXPECT_EQ("-1.01", Decimal("-1.005", FIVE_TWO));
    EXPECT_EQ("10.00", Decimal("9.995", FIVE_TWO));
    EXPECT_EQ("0.01", Decimal("0.005", FIVE_TWO));
    EXPECT_EQ("0.00", Decimal("0.0049", FIVE_TWO));
    EXPECT_EQ("120.00", Decimal("1.2e2", FIVE_TWO));
    EXPECT_EQ("0.12", Decimal("12E-2", FIVE_TWO));
    EXPECT_EQ("0.00", Decimal("1e-300", FIVE_TWO));
}

TEST(Decimal, RefusesTooManyDigitsAndWhatIsNoNumber) {
    for (const char *text : {"1000", "999.995", "1e3", "", " ", "-", ".", "1.2.3", "1e", "1e+",
                             "0x1", "1 2", "--1", "1e99999999999", "nan", "inf"}) {
        EXPECT_EQ("refused", Decimal(text, FIVE_TWO)) << text;
    }
}

TEST(Decimal, WithoutASizeKeepsItsDigitsUpTo38) {
    EXPECT_EQ("1.50", Decimal("1.50", tavud::NO_SIZE));
    EXPECT_EQ("-12300", Decimal("-1.23e4", tavud::NO_SIZE));
    EXPECT_EQ("0.00123", Decimal("1.23e-3", tavud::NO_SIZE));
    EXPECT_EQ("99999999999999999999999999999999999999",
              Decimal("99999999999999999999999999999999999999", tavud::NO_SIZE));
    EXPECT_EQ("refused", Decimal("100000000000000000000000000000000000000", tavud::NO_SIZE));
    EXPECT_EQ("refused", Decimal("1e38", tavud::NO_SIZE));
}

TEST(Decimal, ComparesByValue) {
    EXPECT_EQ(0, CompareDecimal("1.50", "1.5"));
    EXPECT_EQ(0, CompareDecimal("0", "-0.00"));
    EXPECT_EQ(0, CompareDecimal("1e2", "100"));
    EXPECT_LT(CompareDecimal("9", "10"), 0);
    EXPECT_GT(CompareDecimal("-9", "-10"), 0);
    EXPECT_LT(CompareDecimal("-1", "0"), 0);
    EXPECT_GT(CompareDecimal("0.1", "0"), 0);
    EXPECT_LT(CompareDecimal("0.09", "0.1"), 0);
    EXPECT_LT(CompareDecimal("999", "abc"), 0);
    EXPECT_GT(CompareDecimal("abc", "999"), 0);
    EXPECT_EQ(0, CompareDecimal("abc", "abc"));
}

TEST(Split, CutsAtSemicolonsOutsideOfQuotesAndComments) {
    EXPECT_EQ((std::vector<std::string>{"select ';'", "select \"a;b\"", "select [c;d]"}),
              SplitStatements("select ';' ; select \"a;b\"; -- x;y\n select [c;d] /* ; */ ;"));
    EXPECT_EQ((std::vector<std::string>{}), SplitStatements(" ;; "));
    EXPECT_EQ((std::vector<std::string>{"select 'it''s;'"}), SplitStatements("select 'it''s;'"));
    EXPECT_EQ((std::vector<std::string>{"select 'open; end"}),
              SplitStatements("select 'open; end"));
    EXPECT_EQ((std::vector<std::string>{"select 1"}), SplitStatements("select 1 /* open; end"));
}

TEST(Split, KeepsATriggerWhole) {
    const std::string trigger =
        "create temp trigger t after insert on x begin select case when 1 then 2 end; end";
    EXPECT_EQ((std::vector<std::string>{trigger, "select 1"}),
              SplitStatements(trigger + "; select 1"));
}

TEST(Temporal, DatesAroundTheLeapDays) {
    int32_t days = 0;
    EXPECT_TRUE(tavud::ParseDate("1970-01-01", &days));
    EXPECT_EQ(0, days);
    EXPECT_TRUE(tavud::ParseDate("2000-02-29", &days));
    EXPECT_EQ(11016, days);
    EXPECT_TRUE(tavud::ParseDate("1900-03-01", &days));
    EXPECT_EQ(-25508, days);
    EXPECT_FALSE(tavud::ParseDate("1900-02-29", &days));
    EXPECT_FALSE(tavud::ParseDate("2023-02-29", &days));
    EXPECT_FALSE(tavud::ParseDate("2024-1-", &days));
    EXPECT_FALSE(tavud::ParseDate("2024-01-01x", &days));
    EXPECT_FALSE(tavud::ParseDate("10:00:00", &days));
    EXPECT_FALSE(tavud::ParseDate("", &days));
    EXPECT_EQ("2000-02-29", tavud::FormatDate(11016));
    EXPECT_EQ("0001-01-01", tavud::FormatDate(-719162));
    EXPECT_EQ("9999-12-31", tavud::FormatDate(2932896));
}

TEST(Temporal, EveryDayGoesToTextAndBack) {
    for (int32_t days = -719162; days <= 2932896; days += 37) {
        int32_t back = 0;
        ASSERT_TRUE(tavud::ParseDate(tavud::FormatDate(days), &back)) << days;
        ASSERT_EQ(days, back);
    }
}

TEST(Temporal, TimesBefore1970CountBackwards) {
    int64_t milliseconds = 0;
    EXPECT_TRUE(tavud::ParseDateTime("1969-12-31T23:59:59.999", &milliseconds));
    EXPECT_EQ(-1, milliseconds);
    EXPECT_EQ("1969-12-31 23:59:59.999", tavud::FormatDateTime(-1));
    EXPECT_EQ("1969-12-31 00:00:00", tavud::FormatDateTime(-86400000));
    EXPECT_EQ("1969-12-30 23:59:59.999", tavud::FormatDateTime(-86400001));
}

TEST(Temporal, ZonesKeepTheLocalTime) {
    tavud::Zoned value;
    EXPECT_TRUE(tavud::ParseTimeZoned("13:30:00 +05:30", &value));
    EXPECT_EQ(28800000, value.count);
    EXPECT_EQ(330, value.zone_minutes);
    EXPECT_EQ("13:30:00 +05:30", tavud::FormatTimeZoned(value));
    EXPECT_TRUE(tavud::ParseDateTimeZoned("1970-01-01 00:00:00.5 -00:30", &value));
    EXPECT_EQ(1800500000, value.count);
    EXPECT_EQ("1970-01-01 00:00:00.500000 -00:30", tavud::FormatDateTimeZoned(value));
    EXPECT_TRUE(tavud::ParseDateTimeZoned("2024-01-01 10:00Z", &value));
    EXPECT_EQ(0, value.zone_minutes);
    EXPECT_FALSE(tavud::ParseTimeZoned("10:00 +16", &value));
    EXPECT_FALSE(tavud::ParseTimeZoned("10:00 5", &value));
}

TEST(Temporal, IntervalsTakeSignsAsClientsPrintThem) {
    int64_t count = 0;
    EXPECT_TRUE(tavud::ParseInterval(tavud::TYPE_INTERVAL_YEAR_TO_MONTH, "-1--2", &count));
    EXPECT_EQ(-14, count);
    EXPECT_TRUE(tavud::ParseInterval(tavud::TYPE_INTERVAL_YEAR_TO_MONTH, "0--2", &count));
    EXPECT_EQ(-2, count);
    EXPECT_TRUE(tavud::ParseInterval(tavud::TYPE_INTERVAL_YEAR_TO_MONTH, "-0-02", &count));
    EXPECT_EQ(-2, count);
    EXPECT_TRUE(tavud::ParseInterval(tavud::TYPE_INTERVAL_DAY_TO_SECOND, "1 2:03:04.5", &count));
    EXPECT_EQ(93784500000, count);
    EXPECT_TRUE(tavud::ParseInterval(tavud::TYPE_INTERVAL_DAY, "-2147483648", &count));
    EXPECT_EQ(-2147483648LL, count);
    EXPECT_FALSE(tavud::ParseInterval(tavud::TYPE_INTERVAL_DAY, "2147483648", &count));
    EXPECT_FALSE(
        tavud::ParseInterval(tavud::TYPE_INTERVAL_DAY_TO_SECOND, "9999999999 0:00:00", &count));
    EXPECT_EQ("-1-02", tavud::FormatInterval(tavud::TYPE_INTERVAL_YEAR_TO_MONTH, -14));
    EXPECT_EQ("1 02:03:04.500000",
              tavud::FormatInterval(tavud::TYPE_INTERVAL_DAY_TO_SECOND, 93784500000));
    EXPECT_EQ("-0:01", tavud::FormatInterval(tavud::TYPE_INTERVAL_HOUR_TO_MINUTE, -1));
}

TEST(Declaration, SynonymsAndSizes) {
    EXPECT_EQ(tavud::TYPE_DATETIME_ZONED,
              tavud::ParseDeclaration("timestamp(3) WITH time zone")->type_id);
    EXPECT_EQ(tavud::TYPE_DOUBLE, tavud::ParseDeclaration("Double Precision")->type_id);
    const auto text = tavud::ParseDeclaration("character varying ( 20 )");
    ASSERT_TRUE(text.has_value());
    EXPECT_EQ(20, text->size);
    EXPECT_TRUE(text->varying);
    EXPECT_EQ("VARCHAR(20)", tavud::StorageDeclaration(*text));
    EXPECT_FALSE(tavud::ParseDeclaration("numeric(99999999999)").has_value());
    EXPECT_FALSE(tavud::ParseDeclaration("").has_value());
    EXPECT_FALSE(tavud::ParseDeclaration("char(-1)").has_value());
}

TEST(Declaration, TheStorageFormReadsBackAsTheSameType) {
    for (const char *declaration : {"boolean", "integer", "numeric(10,2)", "numeric", "date",
                                    "time with time zone", "interval day to second", "rowversion",
                                    "guid", "char(3)", "varchar", "clob", "binary(4)", "blob"}) {
        const auto type = tavud::ParseDeclaration(declaration);
        ASSERT_TRUE(type.has_value()) << declaration;
        const auto back = tavud::ParseDeclaration(tavud::StorageDeclaration(*type));
        ASSERT_TRUE(back.has_value()) << declaration;
        EXPECT_EQ(type->type_id, back->type_id) << declaration;
        EXPECT_EQ(type->size, back->size) << declaration;
        EXPECT_EQ(type->varying, back->varying) << declaration;
    }
}

}  // namespace
}  // namespace tavud_test
