// The date functions, as an application calls them.
#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <string>

#include "support/call_rig.h"

// An environment with an error handle; no server is needed.
class Dates : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(OCI_SUCCESS, OCIEnvInit(&env_, 0, 0, nullptr));
        err_ = NewHandle<OCIError>(env_, OCI_HTYPE_ERROR);
    }

    void TearDown() override {
        OCIHandleFree(err_, OCI_HTYPE_ERROR);
        OCIHandleFree(env_, OCI_HTYPE_ENV);
    }

    std::string Error() const {
        return ErrorOf(err_);
    }

    OCIEnv *env_ = nullptr;
    OCIError *err_ = nullptr;
};

static OCIDate Day(int year, int month, int day) {
    return {(int16_t)year, (uint8_t)month, (uint8_t)day, 0, 0, 0};
}

static OCIDate Moment(int year, int month, int day, int hour, int minute, int second) {
    return {(int16_t)year, (uint8_t)month,  (uint8_t)day,
            (uint8_t)hour, (uint8_t)minute, (uint8_t)second};
}

static std::string Show(const OCIDate &date) {
    char text[64];
    snprintf(text, sizeof(text), "%d-%d-%d %d:%d:%d", date.year, date.month, date.day, date.hour,
             date.minute, date.second);
    return text;
}

static std::string ToText(OCIError *err, const OCIDate &date, const std::string &format) {
    OCIText text[512];
    memset(text, 0x5A, sizeof(text));
    uint32_t bytes = 0x5A5A5A5A;
    EXPECT_EQ(OCI_SUCCESS, OCIDateToText(err, &date, Text(format.data()), (uint8_t)format.size(),
                                         nullptr, 0, &bytes, text));
    std::string shown = reinterpret_cast<const char *>(text);
    EXPECT_EQ(bytes, shown.size());
    return shown;
}

TEST_F(Dates, GetAndSetCopyFieldsAndTestNothing) {
    OCIDate date = Moment(1, 1, 1, 1, 1, 1);
    OCIDateSetDate(&date, -5, 200, 255);
    OCIDateSetTime(&date, 99, 98, 97);
    EXPECT_EQ("-5-200-255 99:98:97", Show(date));
    int16_t year = 0;
    uint8_t month = 0, day = 0, hour = 0, minute = 0, second = 0;
    OCIDateGetDate(&date, &year, &month, &day);
    OCIDateGetTime(&date, &hour, &minute, &second);
    EXPECT_EQ(-5, year);
    EXPECT_EQ(200, month);
    EXPECT_EQ(255, day);
    EXPECT_EQ(99, hour);
    EXPECT_EQ(98, minute);
    EXPECT_EQ(97, second);
}

TEST_F(Dates, AssignCopiesAndIgnoresTheErrorHandle) {
    OCIDate from = Moment(-7, 13, 40, 25, 61, 62);
    OCIDate to = {};
    EXPECT_EQ(OCI_SUCCESS, OCIDateAssign(nullptr, &from, &to));
    EXPECT_EQ("-7-13-40 25:61:62", Show(to));
    EXPECT_EQ(-2, OCIDateAssign(err_, nullptr, &to));
    EXPECT_EQ(-2, OCIDateAssign(err_, &from, nullptr));
    EXPECT_EQ("", Error());
}

TEST_F(Dates, AssignLeavesTheByteBehindAnElement) {
    uint8_t array[8];
    memset(array, 0x5A, sizeof(array));
    OCIDate from = Moment(258, 3, 4, 5, 6, 7);
    EXPECT_EQ(OCI_SUCCESS, OCIDateAssign(nullptr, &from, reinterpret_cast<OCIDate *>(array)));
    const uint8_t expected[8] = {0x02, 0x01, 3, 4, 5, 6, 7, 0x5A};
    EXPECT_EQ(0, memcmp(expected, array, sizeof(array)));
}

TEST_F(Dates, NullArgumentsHaveTheirTextsInOrder) {
    OCIDate date = Day(2024, 1, 1);
    OCIDate out = {};
    int32_t order = 0;
    uint32_t bytes = 0;
    OCIText text[64];
    EXPECT_EQ(-2, OCIDateAddDays(err_, nullptr, 1, nullptr));
    EXPECT_EQ("Parameter date is NULL.", Error());
    EXPECT_EQ(-2, OCIDateAddDays(err_, &date, 1, nullptr));
    EXPECT_EQ("Parameter result is NULL.", Error());
    EXPECT_EQ(-2, OCIDateAddMonths(err_, nullptr, 1, nullptr));
    EXPECT_EQ("Parameter date is NULL.", Error());
    EXPECT_EQ(-2, OCIDateAddMonths(err_, &date, 1, nullptr));
    EXPECT_EQ("Parameter result is NULL.", Error());
    EXPECT_EQ(-2, OCIDateCompare(err_, nullptr, nullptr, nullptr));
    EXPECT_EQ("Parameter date1 is NULL.", Error());
    EXPECT_EQ(-2, OCIDateCompare(err_, &date, nullptr, nullptr));
    EXPECT_EQ("Parameter date2 is NULL.", Error());
    EXPECT_EQ(-2, OCIDateCompare(err_, &date, &date, nullptr));
    EXPECT_EQ("Parameter result is NULL.", Error());
    EXPECT_EQ(-2, OCIDateLastDay(err_, nullptr, nullptr));
    EXPECT_EQ("Parameter date is NULL.", Error());
    EXPECT_EQ(-2, OCIDateLastDay(err_, &date, nullptr));
    EXPECT_EQ("Parameter last_day is NULL.", Error());
    EXPECT_EQ(-2, OCIDateSysDate(err_, nullptr));
    EXPECT_EQ("Parameter sys_date is NULL.", Error());
    EXPECT_EQ(-2, OCIDateToText(err_, nullptr, nullptr, 0, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ("Parameter date is NULL.", Error());
    EXPECT_EQ(-2, OCIDateToText(err_, &date, nullptr, 0, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ("Parameter buf_size is NULL.", Error());
    EXPECT_EQ(-2, OCIDateToText(err_, &date, nullptr, 0, nullptr, 0, &bytes, nullptr));
    EXPECT_EQ("Parameter buf is NULL.", Error());
    EXPECT_EQ(-2, OCIDateCompare(nullptr, nullptr, &date, &order));
    EXPECT_EQ(-2, OCIDateToText(nullptr, nullptr, nullptr, 0, nullptr, 0, &bytes, text));
    EXPECT_EQ(-2, OCIDateLastDay(nullptr, nullptr, &out));
}

TEST_F(Dates, NullResultComesBeforeAnInvalidDate) {
    OCIDate date = Day(-1, 13, 0);
    EXPECT_EQ(-2, OCIDateAddDays(err_, &date, 1, nullptr));
    EXPECT_EQ("Parameter result is NULL.", Error());
    EXPECT_EQ(-2, OCIDateCompare(err_, &date, nullptr, nullptr));
    EXPECT_EQ("Parameter date2 is NULL.", Error());
}

TEST_F(Dates, ValidationNamesTheFirstFault) {
    struct Case {
        OCIDate date;
        const char *text;
    };
    const Case cases[] = {
        {Moment(-1, 13, 0, 24, 60, 60), "Invalid year."},
        {Moment(2024, 13, 0, 24, 60, 60), "Invalid month."},
        {Moment(2024, 255, 1, 0, 0, 0), "Invalid month."},
        {Moment(2024, 1, 0, 24, 60, 60), "Invalid day."},
        {Moment(2024, 1, 32, 0, 0, 0), "Invalid day."},
        {Moment(2024, 3, 32, 0, 0, 0), "Invalid day."},
        {Moment(2024, 5, 32, 0, 0, 0), "Invalid day."},
        {Moment(2024, 7, 32, 0, 0, 0), "Invalid day."},
        {Moment(2024, 8, 32, 0, 0, 0), "Invalid day."},
        {Moment(2024, 10, 32, 0, 0, 0), "Invalid day."},
        {Moment(2024, 12, 32, 0, 0, 0), "Invalid day."},
        {Moment(2024, 4, 31, 0, 0, 0), "Invalid day."},
        {Moment(2024, 6, 31, 0, 0, 0), "Invalid day."},
        {Moment(2024, 9, 31, 0, 0, 0), "Invalid day."},
        {Moment(2024, 11, 31, 0, 0, 0), "Invalid day."},
        {Moment(2024, 0, 31, 0, 0, 0), "Invalid day."},
        {Moment(2024, 2, 30, 0, 0, 0), "Invalid day."},
        {Moment(2023, 2, 29, 0, 0, 0), "Invalid day."},
        {Moment(1900, 2, 29, 0, 0, 0), "Invalid day."},
        {Moment(2024, 1, 1, 24, 60, 60), "Invalid hour."},
        {Moment(2024, 1, 1, 23, 60, 60), "Invalid minute."},
        {Moment(2024, 1, 1, 23, 59, 60), "Invalid second."},
    };
    for (const Case &one : cases) {
        OCIDate out = Day(1, 2, 3);
        EXPECT_EQ(-1, OCIDateLastDay(err_, &one.date, &out)) << Show(one.date);
        EXPECT_EQ(one.text, Error()) << Show(one.date);
        EXPECT_EQ("1-2-3 0:0:0", Show(out)) << "a refused date leaves the result alone";
        EXPECT_EQ(-1, OCIDateLastDay(nullptr, &one.date, &out)) << "without an error handle";
    }
}

TEST_F(Dates, TheLastDayOfEachMonthIsValid) {
    const uint8_t last[13] = {30, 31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    for (uint8_t month = 0; month <= 12; month++) {
        OCIDate date = Moment(2024, month, last[month], 23, 59, 59);
        OCIDate out = {};
        EXPECT_EQ(OCI_SUCCESS, OCIDateLastDay(err_, &date, &out)) << (int)month;
        EXPECT_EQ(last[month], out.day) << (int)month;
    }
}

TEST_F(Dates, Year0IsValidAndALeapYear) {
    OCIDate date = Day(0, 2, 29);
    OCIDate out = {};
    EXPECT_EQ(OCI_SUCCESS, OCIDateLastDay(err_, &date, &out));
    EXPECT_EQ(29, out.day);
}

TEST_F(Dates, YearMinus1IsAnInvalidYear) {
    OCIDate date = Day(-1, 1, 1);
    OCIDate out = {};
    EXPECT_EQ(-1, OCIDateAddMonths(err_, &date, 1, &out));
    EXPECT_EQ("Invalid year.", Error());
}

TEST_F(Dates, LastDayKeepsTheTime) {
    OCIDate date = Moment(2023, 2, 1, 4, 5, 6);
    OCIDate out = {};
    EXPECT_EQ(OCI_SUCCESS, OCIDateLastDay(err_, &date, &out));
    EXPECT_EQ("2023-2-28 4:5:6", Show(out));
    date = Moment(1900, 2, 1, 4, 5, 6);
    EXPECT_EQ(OCI_SUCCESS, OCIDateLastDay(err_, &date, &date)) << "into the same date";
    EXPECT_EQ("1900-2-28 4:5:6", Show(date));
    date = Day(2000, 2, 1);
    EXPECT_EQ(OCI_SUCCESS, OCIDateLastDay(err_, &date, &out));
    EXPECT_EQ(29, out.day);
}

TEST_F(Dates, CompareOrdersByEachField) {
    struct Case {
        OCIDate less, more;
    };
    const Case cases[] = {
        {Moment(2023, 12, 31, 23, 59, 59), Moment(2024, 1, 1, 0, 0, 0)},
        {Moment(2024, 1, 31, 23, 59, 59), Moment(2024, 2, 1, 0, 0, 0)},
        {Moment(2024, 1, 1, 23, 59, 59), Moment(2024, 1, 2, 0, 0, 0)},
        {Moment(2024, 1, 1, 1, 59, 59), Moment(2024, 1, 1, 2, 0, 0)},
        {Moment(2024, 1, 1, 1, 1, 59), Moment(2024, 1, 1, 1, 2, 0)},
        {Moment(2024, 1, 1, 1, 1, 1), Moment(2024, 1, 1, 1, 1, 2)},
    };
    for (const Case &one : cases) {
        int32_t order = 7;
        EXPECT_EQ(OCI_SUCCESS, OCIDateCompare(err_, &one.less, &one.more, &order));
        EXPECT_EQ(-1, order) << Show(one.less);
        EXPECT_EQ(OCI_SUCCESS, OCIDateCompare(err_, &one.more, &one.less, &order));
        EXPECT_EQ(1, order) << Show(one.less);
        EXPECT_EQ(OCI_SUCCESS, OCIDateCompare(err_, &one.more, &one.more, &order));
        EXPECT_EQ(0, order) << Show(one.less);
    }
}

TEST_F(Dates, CompareChecksTheFirstDateAndThenTheSecond) {
    OCIDate good = Day(2024, 1, 1);
    OCIDate bad_year = Day(-1, 1, 1);
    OCIDate bad_month = Day(2024, 13, 1);
    int32_t order = 7;
    EXPECT_EQ(-1, OCIDateCompare(err_, &bad_year, &bad_month, &order));
    EXPECT_EQ("Invalid year.", Error());
    EXPECT_EQ(-1, OCIDateCompare(err_, &good, &bad_month, &order));
    EXPECT_EQ("Invalid month.", Error());
    EXPECT_EQ(7, order);
}

TEST_F(Dates, AddMonthsOf20240131Plus1Is20240229) {
    OCIDate date = Moment(2024, 1, 31, 4, 5, 6);
    OCIDate out = {};
    EXPECT_EQ(OCI_SUCCESS, OCIDateAddMonths(err_, &date, 1, &out));
    EXPECT_EQ("2024-2-29 4:5:6", Show(out));
}

TEST_F(Dates, AddMonthsOf20231215Plus12IsMonth0Of2025) {
    OCIDate date = Day(2023, 12, 15);
    OCIDate out = {};
    EXPECT_EQ(OCI_SUCCESS, OCIDateAddMonths(err_, &date, 12, &out));
    EXPECT_EQ("2025-0-15 0:0:0", Show(out));
}

TEST_F(Dates, AddMonthsOf20240310Minus3Is20231210) {
    OCIDate date = Day(2024, 3, 10);
    OCIDate out = {};
    EXPECT_EQ(OCI_SUCCESS, OCIDateAddMonths(err_, &date, -3, &out));
    EXPECT_EQ("2023-12-10 0:0:0", Show(out));
}

TEST_F(Dates, AddMonthsOf20240131Plus3Is20240430) {
    OCIDate date = Day(2024, 1, 31);
    OCIDate out = {};
    EXPECT_EQ(OCI_SUCCESS, OCIDateAddMonths(err_, &date, 3, &out));
    EXPECT_EQ("2024-4-30 0:0:0", Show(out));
}

TEST_F(Dates, AddMonthsOnBothSidesOfAYearsEnd) {
    struct Case {
        OCIDate date;
        int32_t months;
        const char *sum;
    };
    const Case cases[] = {
        {Day(2024, 1, 31), 0, "2024-1-31 0:0:0"},    {Day(2024, 1, 31), 11, "2024-12-31 0:0:0"},
        {Day(2024, 1, 31), 12, "2025-1-31 0:0:0"},   {Day(2024, 6, 1), 18, "2026-0-1 0:0:0"},
        {Day(2024, 6, 1), 19, "2026-1-1 0:0:0"},     {Day(2024, 3, 10), -2, "2024-1-10 0:0:0"},
        {Day(2024, 3, 31), -1, "2024-2-29 0:0:0"},   {Day(2023, 3, 31), -1, "2023-2-28 0:0:0"},
        {Day(2024, 3, 10), -14, "2023-1-10 0:0:0"},  {Day(2024, 3, 10), -15, "2022-12-10 0:0:0"},
        {Day(2024, 3, 31), -16, "2022-11-30 0:0:0"}, {Day(2024, 0, 30), 0, "2024-0-30 0:0:0"},
        {Day(2024, 0, 30), -1, "2023-11-30 0:0:0"},  {Day(2024, 0, 30), 2, "2024-2-29 0:0:0"},
        {Day(2023, 12, 31), 24, "2026-0-30 0:0:0"},  {Day(1900, 1, 29), 1, "1900-2-28 0:0:0"},
        {Day(2024, 1, 28), 1, "2024-2-28 0:0:0"},    {Day(1, 1, 1), -13, "-1-12-1 0:0:0"},
    };
    for (const Case &one : cases) {
        OCIDate out = {};
        EXPECT_EQ(OCI_SUCCESS, OCIDateAddMonths(err_, &one.date, one.months, &out));
        EXPECT_EQ(one.sum, Show(out)) << Show(one.date) << " and " << one.months;
        out = one.date;
        EXPECT_EQ(OCI_SUCCESS, OCIDateAddMonths(err_, &out, one.months, &out));
        EXPECT_EQ(one.sum, Show(out)) << "into the same date";
    }
}

TEST_F(Dates, AddMonthsStoresTheLow16BitsOfTheYear) {
    OCIDate date = Day(32767, 12, 1);
    OCIDate out = {};
    EXPECT_EQ(OCI_SUCCESS, OCIDateAddMonths(err_, &date, 1, &out));
    EXPECT_EQ("-32768-1-1 0:0:0", Show(out));
    // 12 + 2147483647 is 178956971 years and 7 months; 32767 more are 0x0AAB2AAA.
    EXPECT_EQ(OCI_SUCCESS, OCIDateAddMonths(err_, &date, 2147483647, &out));
    EXPECT_EQ("10922-7-1 0:0:0", Show(out));
    // 2147483648 - 12 months back from December: 178956969 whole years and 8 months, and one year.
    EXPECT_EQ(OCI_SUCCESS, OCIDateAddMonths(err_, &date, -2147483647 - 1, &out));
    EXPECT_EQ("-10923-4-1 0:0:0", Show(out));
}

TEST_F(Dates, AddDaysMovesAcrossMonthsAndYears) {
    struct Case {
        OCIDate date;
        int32_t days;
        const char *sum;
    };
    const Case cases[] = {
        {Moment(2024, 2, 28, 12, 30, 45), 1, "2024-2-29 12:30:45"},
        {Moment(2024, 2, 28, 12, 30, 45), 2, "2024-3-1 12:30:45"},
        {Moment(2023, 2, 28, 12, 30, 45), 1, "2023-3-1 12:30:45"},
        {Moment(2023, 12, 31, 12, 0, 0), 1, "2024-1-1 12:0:0"},
        {Moment(2024, 1, 1, 12, 0, 0), -1, "2023-12-31 12:0:0"},
        {Moment(2024, 1, 1, 12, 0, 0), 0, "2024-1-1 12:0:0"},
        {Moment(2024, 1, 15, 12, 0, 0), 366, "2025-1-15 12:0:0"},
        {Moment(2024, 0, 15, 12, 0, 0), 0, "2023-12-15 12:0:0"},
    };
    for (const Case &one : cases) {
        OCIDate out = {};
        EXPECT_EQ(OCI_SUCCESS, OCIDateAddDays(err_, &one.date, one.days, &out));
        EXPECT_EQ(one.sum, Show(out)) << Show(one.date) << " and " << one.days;
    }
}

TEST_F(Dates, AddDaysBeforeTheEpochFailsWithTheFixedTextInAnyZone) {
    OCIDate date = Day(1969, 12, 30);
    OCIDate out = Day(1, 2, 3);
    EXPECT_EQ(-1, OCIDateAddDays(err_, &date, 1000, &out));
    EXPECT_EQ("Parameter date cannot be earlier than 1970-01-01 08:00:00.", Error());
    EXPECT_EQ("1-2-3 0:0:0", Show(out));
    EXPECT_EQ(-1, OCIDateAddDays(nullptr, &date, 1000, &out));
}

TEST_F(Dates, AddDaysRefusesASumOutsideItsRange) {
    OCIDate date = Day(3000, 12, 1);
    OCIDate out = Day(1, 2, 3);
    EXPECT_EQ(-1, OCIDateAddDays(err_, &date, 60, &out));
    EXPECT_EQ("Result is too big.", Error());
    EXPECT_EQ(-1, OCIDateAddDays(err_, &date, 2147483647, &out));
    EXPECT_EQ("Result is too big.", Error());
    date = Day(1970, 1, 5);
    EXPECT_EQ(-1, OCIDateAddDays(err_, &date, -10, &out));
    EXPECT_EQ("Result is earlier than 1970-01-01 00:00:00.", Error());
    EXPECT_EQ(-1, OCIDateAddDays(err_, &date, -2147483647 - 1, &out));
    EXPECT_EQ("Result is earlier than 1970-01-01 00:00:00.", Error());
    EXPECT_EQ("1-2-3 0:0:0", Show(out));
}

TEST_F(Dates, AddDaysValidatesFirst) {
    OCIDate date = Moment(2024, 2, 29, 24, 0, 0);
    OCIDate out = {};
    EXPECT_EQ(-1, OCIDateAddDays(err_, &date, 1, &out));
    EXPECT_EQ("Invalid hour.", Error());
}

TEST_F(Dates, SysDateIsTheLocalTime) {
    OCIDate date = {};
    time_t before = time(nullptr);
    EXPECT_EQ(OCI_SUCCESS, OCIDateSysDate(nullptr, &date));
    time_t after = time(nullptr);
    std::tm local = {};
    local.tm_year = date.year - 1900;
    local.tm_mon = date.month - 1;
    local.tm_mday = date.day;
    local.tm_hour = date.hour;
    local.tm_min = date.minute;
    local.tm_sec = date.second;
    local.tm_isdst = -1;
    time_t shown = mktime(&local);
    EXPECT_LE(before, shown);
    EXPECT_GE(after, shown);
}

TEST_F(Dates, ToTextWithoutAFormatUsesTheDefaultOne) {
    OCIDate date = Moment(24, 3, 4, 15, 6, 7);
    OCIText text[64];
    uint32_t bytes = 0;
    EXPECT_EQ(OCI_SUCCESS, OCIDateToText(err_, &date, nullptr, 200, Text("any"), 3, &bytes, text));
    EXPECT_STREQ("0024-03-04 15:06:07", reinterpret_cast<char *>(text));
    EXPECT_EQ(19u, bytes);
}

TEST_F(Dates, ToTextAtHalfPastMidnightGives12AndZero) {
    OCIDate date = Moment(2024, 1, 1, 0, 30, 0);
    EXPECT_EQ("12", ToText(err_, date, "hh"));
    EXPECT_EQ("00", ToText(err_, date, "hh24"));
    EXPECT_EQ("12", ToText(err_, date, "HH12"));
    EXPECT_EQ("12", ToText(err_, date, "hh12"));
}

TEST_F(Dates, ToTextOfEveryHour) {
    const char *const twelve[24] = {"12", "01", "02", "03", "04", "05", "06", "07",
                                    "08", "09", "10", "11", "12", "01", "02", "03",
                                    "04", "05", "06", "07", "08", "09", "10", "11"};
    const char *const twenty_four[24] = {"00", "01", "02", "03", "04", "05", "06", "07",
                                         "08", "09", "10", "11", "12", "13", "14", "15",
                                         "16", "17", "18", "19", "20", "21", "22", "23"};
    for (int hour = 0; hour < 24; hour++) {
        OCIDate date = Moment(2024, 1, 1, hour, 0, 0);
        EXPECT_EQ(twelve[hour], ToText(err_, date, "hh"));
        EXPECT_EQ(twelve[hour], ToText(err_, date, "hh12"));
        EXPECT_EQ(twenty_four[hour], ToText(err_, date, "hh24"));
    }
}

TEST_F(Dates, ToTextOfYearsByTheirCount) {
    OCIDate date = Day(2024, 1, 1);
    EXPECT_EQ("4", ToText(err_, date, "y"));
    EXPECT_EQ("24", ToText(err_, date, "yy"));
    EXPECT_EQ("024", ToText(err_, date, "yyy"));
    EXPECT_EQ("2024", ToText(err_, date, "yyyy"));
    EXPECT_EQ("20242024", ToText(err_, date, "yyyyyyyy"));
    OCIDate late = Day(12345, 1, 1);
    EXPECT_EQ("2345", ToText(err_, late, "yyyy")) << "the last four digits of five";
}

TEST_F(Dates, ToTextOfFiveYearLettersGivesARunOfOneMore) {
    OCIDate date = Day(2024, 1, 1);
    EXPECT_EQ("20244", ToText(err_, date, "yyyyy"));
}

TEST_F(Dates, ToTextDropsLettersThatStandAlone) {
    OCIDate date = Moment(2024, 11, 12, 13, 14, 15);
    EXPECT_EQ("-", ToText(err_, date, "d-m"));
    EXPECT_EQ("-", ToText(err_, date, "h-s"));
    EXPECT_EQ("", ToText(err_, date, "d"));
    EXPECT_EQ("12", ToText(err_, date, "h12")) << "a lone h, then two characters";
    EXPECT_EQ("12", ToText(err_, date, "ddd")) << "a pair, then a lone one";
}

TEST_F(Dates, ToTextOfEveryElement) {
    OCIDate date = Moment(2024, 1, 2, 15, 4, 5);
    EXPECT_EQ("02", ToText(err_, date, "dd"));
    EXPECT_EQ("01", ToText(err_, date, "mm"));
    EXPECT_EQ("04", ToText(err_, date, "mi"));
    EXPECT_EQ("05", ToText(err_, date, "ss"));
    EXPECT_EQ("0104", ToText(err_, date, "mmmi"));
    EXPECT_EQ("02/01/2024 03:04:05", ToText(err_, date, "DD/MM/YYYY HH:MI:SS"));
    EXPECT_EQ("031", ToText(err_, date, "hh1")) << "not the form with 12";
    EXPECT_EQ("0323", ToText(err_, date, "hh23"));
    EXPECT_EQ("quarter 03 at", ToText(err_, date, "QUARTER HH AT"));
}

TEST_F(Dates, ToTextWithAFormatOfLength0GivesTheEmptyText) {
    OCIDate date = Day(2024, 1, 1);
    OCIText text[8];
    memset(text, 0x5A, sizeof(text));
    uint32_t bytes = 77;
    EXPECT_EQ(OCI_SUCCESS, OCIDateToText(err_, &date, Text("yyyy"), 0, nullptr, 0, &bytes, text));
    EXPECT_EQ(0u, bytes);
    EXPECT_STREQ("", reinterpret_cast<char *>(text));
}

TEST_F(Dates, ToTextReadsNoMoreThanTheFormatsLength) {
    OCIDate date = Day(2024, 5, 6);
    OCIText text[64];
    uint32_t bytes = 0;
    EXPECT_EQ(OCI_SUCCESS, OCIDateToText(err_, &date, Text("ddmm"), 3, nullptr, 0, &bytes, text));
    EXPECT_STREQ("06", reinterpret_cast<char *>(text)) << "the m at the end stands alone";
}

TEST_F(Dates, ToTextUsesALongFormatWhole) {
    OCIDate date = Day(2024, 5, 6);
    std::string format(253, '.');
    EXPECT_EQ(format + "06", ToText(err_, date, format + "dd"));
    EXPECT_EQ(std::string(127, '.') + "2024", ToText(err_, date, std::string(127, '.') + "yyyy"));
}

TEST_F(Dates, ToTextValidatesTheDate) {
    OCIDate date = Day(2024, 13, 1);
    OCIText text[8] = "kept";
    uint32_t bytes = 77;
    EXPECT_EQ(-1, OCIDateToText(err_, &date, nullptr, 0, nullptr, 0, &bytes, text));
    EXPECT_EQ("Invalid month.", Error());
    EXPECT_EQ(77u, bytes);
    EXPECT_STREQ("kept", reinterpret_cast<char *>(text));
}
