// The date functions where they meet the clock and the local zone.
#include "oci/date.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "platform/clock.h"
#include "platform/memory.h"

static const char before_epoch_text[] =
    "Parameter date cannot be earlier than 1970-01-01 08:00:00.";

// An error handle is only written to here; one on the stack serves.
struct DateErrors {
    OCIError err = {};
    std::string Take() {
        std::string text = err.message;
        EXPECT_EQ((uint32_t)ERROR_OF_RECORD, err.source);
        err.message[0] = '\0';
        return text;
    }
};

TEST(OciDate, SysDateReadsTheClock) {
    std::tm local = {};
    local.tm_year = 2001 - 1900;
    local.tm_mon = 1;
    local.tm_mday = 3;
    local.tm_hour = 4;
    local.tm_min = 5;
    local.tm_sec = 6;
    local.tm_isdst = -1;
    ClockSetForTest((int64_t)mktime(&local));
    OCIDate date = {};
    EXPECT_EQ(OCI_SUCCESS, OciDateSysDate(NULL, &date));
    ClockSetForTest(-1);
    EXPECT_EQ(2001, date.year);
    EXPECT_EQ(2, date.month);
    EXPECT_EQ(3, date.day);
    EXPECT_EQ(4, date.hour);
    EXPECT_EQ(5, date.minute);
    EXPECT_EQ(6, date.second);
}

TEST(OciDate, AFailureGoesToTheErrorHandleAsItsOwnText) {
    DateErrors errors;
    errors.err.source = ERROR_OF_STMT;
    OCIDate date = {2024, 13, 1, 0, 0, 0};
    EXPECT_EQ(OCI_ERROR, OciDateLastDay(&errors.err, &date, &date));
    EXPECT_EQ("Invalid month.", errors.Take());
}

TEST(OciDate, ANulInAFormatAddsNothing) {
    OCIDate date = {2024, 5, 6, 0, 0, 0};
    const OCIText format[] = {'d', 'd', 0, 'm', 'm'};
    OCIText text[16];
    uint32_t bytes = 0;
    EXPECT_EQ(OCI_SUCCESS, OciDateToText(NULL, &date, format, 5, NULL, 0, &bytes, text));
    EXPECT_STREQ("0605", (const char *)text);
    EXPECT_EQ(4u, bytes);
}

#ifndef _WIN32
// Sets the zone of the process for one test.
class OciDateZones : public testing::Test {
protected:
    void SetUp() override {
        const char *zone = getenv("TZ");
        had_zone_ = zone != nullptr;
        zone_ = had_zone_ ? zone : "";
    }

    void TearDown() override {
        if (had_zone_) {
            setenv("TZ", zone_.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }

    static void SetZone(const char *zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

private:
    bool had_zone_ = false;
    std::string zone_;
};

TEST_F(OciDateZones, TheEpochIsThatOfTheLocalZoneAndTheTextIsFixed) {
    struct Case {
        const char *zone;
        OCIDate first;  // the epoch in that zone
        OCIDate before;
    };
    const Case cases[] = {
        {"UTC0", {1970, 1, 1, 0, 0, 0}, {1969, 12, 31, 23, 59, 59}},
        {"EAST-8", {1970, 1, 1, 8, 0, 0}, {1970, 1, 1, 7, 59, 59}},
        {"WEST5", {1969, 12, 31, 19, 0, 0}, {1969, 12, 31, 18, 59, 59}},
    };
    for (const Case &one : cases) {
        SetZone(one.zone);
        DateErrors errors;
        OCIDate out = {};
        EXPECT_EQ(OCI_SUCCESS, OciDateAddDays(&errors.err, &one.first, 0, &out)) << one.zone;
        EXPECT_EQ(one.first.hour, out.hour) << one.zone;
        EXPECT_EQ(one.first.day, out.day) << one.zone;
        EXPECT_EQ(OCI_ERROR, OciDateAddDays(&errors.err, &one.before, 0, &out)) << one.zone;
        EXPECT_EQ(before_epoch_text, errors.Take()) << one.zone;
    }
}

TEST_F(OciDateZones, AddDaysCountsDaysOf86400SecondsAcrossAClockChange) {
    // The clock goes from 2:00 to 3:00 on the last Sunday in March.
    SetZone("MID-1SUMMER,M3.5.0/2,M10.5.0/3");
    OCIDate date = {2024, 3, 30, 12, 0, 0};
    OCIDate out = {};
    EXPECT_EQ(OCI_SUCCESS, OciDateAddDays(NULL, &date, 1, &out));
    EXPECT_EQ(31, out.day);
    EXPECT_EQ(13, out.hour);
}

TEST_F(OciDateZones, TheSystemDecidesOnDaylightSaving) {
    SetZone("MID-1SUMMER,M3.5.0/2,M10.5.0/3");
    for (uint8_t month = 1; month <= 12; month++) {
        OCIDate date = {2024, month, 15, 12, 0, 0};
        OCIDate out = {};
        EXPECT_EQ(OCI_SUCCESS, OciDateAddDays(NULL, &date, 0, &out));
        EXPECT_EQ(12, out.hour) << (int)month;
    }
}

TEST_F(OciDateZones, TheUpperLimitIsOneSecond) {
    SetZone("UTC0");
    // 32536850399 seconds are 3001-01-19 21:59:59.
    OCIDate last = {3001, 1, 18, 21, 59, 59};
    OCIDate over = {3001, 1, 18, 22, 0, 0};
    OCIDate out = {};
    DateErrors errors;
    EXPECT_EQ(OCI_SUCCESS, OciDateAddDays(&errors.err, &last, 1, &out));
    EXPECT_EQ(3001, out.year);
    EXPECT_EQ(19, out.day);
    EXPECT_EQ(59, out.second);
    EXPECT_EQ(OCI_ERROR, OciDateAddDays(&errors.err, &over, 1, &out));
    EXPECT_EQ("Result is too big.", errors.Take());
}

TEST_F(OciDateZones, TheLowerLimitIsTheEpoch) {
    SetZone("UTC0");
    OCIDate date = {1970, 1, 2, 0, 0, 0};
    OCIDate out = {};
    DateErrors errors;
    EXPECT_EQ(OCI_SUCCESS, OciDateAddDays(&errors.err, &date, -1, &out));
    EXPECT_EQ(1970, out.year);
    EXPECT_EQ(1, out.day);
    EXPECT_EQ(OCI_ERROR, OciDateAddDays(&errors.err, &date, -2, &out));
    EXPECT_EQ("Result is earlier than 1970-01-01 00:00:00.", errors.Take());
}
#endif
