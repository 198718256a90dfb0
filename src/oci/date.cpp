// Operations on the application's dates.
#include "oci/date.h"

#include <cstdio>
#include <cstring>

#include "oci/handles.h"
#include "platform/clock.h"

constexpr int64_t SECONDS_PER_DAY = 86400;
// The last second that the local calendar converts.
constexpr int64_t LOCAL_SECONDS_MAX = 32536850399;
constexpr char DEFAULT_FORMAT[] = "yyyy-mm-dd hh24:mi:ss";

// Reports to an error handle that may be missing.
static int32_t DateFail(OCIError *err, const char *text, int32_t code) {
    return err != NULL ? ErrorFail(err, text, code) : code;
}

static int32_t NullFail(OCIError *err, const char *text) {
    return DateFail(err, text, OCI_INVALID_HANDLE);
}

static bool IsBigMonth(int64_t month) {
    return month == 1 || month == 3 || month == 5 || month == 7 || month == 8 || month == 10 ||
           month == 12;
}

static bool IsLeapYear(int64_t year) {
    return year % 400 == 0 || (year % 4 == 0 && year % 100 != 0);
}

// Month 0, which passes as a month, has 30 days.
static uint8_t LastDay(int64_t year, int64_t month) {
    if (IsBigMonth(month)) return 31;
    if (month != 2) return 30;
    return IsLeapYear(year) ? 29 : 28;
}

static int32_t DateCheck(OCIError *err, const OCIDate *date) {
    if (date->year < 0) return DateFail(err, "Invalid year.", OCI_ERROR);
    if (date->month > 12) return DateFail(err, "Invalid month.", OCI_ERROR);
    if (date->day == 0 || date->day > LastDay(date->year, date->month)) {
        return DateFail(err, "Invalid day.", OCI_ERROR);
    }
    if (date->hour > 23) return DateFail(err, "Invalid hour.", OCI_ERROR);
    if (date->minute > 59) return DateFail(err, "Invalid minute.", OCI_ERROR);
    if (date->second > 59) return DateFail(err, "Invalid second.", OCI_ERROR);
    return OCI_SUCCESS;
}

static void DateFromLocal(const std::tm *local, OCIDate *date) {
    date->year = (int16_t)(local->tm_year + 1900);
    date->month = (uint8_t)(local->tm_mon + 1);
    date->day = (uint8_t)local->tm_mday;
    date->hour = (uint8_t)local->tm_hour;
    date->minute = (uint8_t)local->tm_min;
    date->second = (uint8_t)local->tm_sec;
}

void OciDateGetDate(const OCIDate *date, int16_t *year, uint8_t *month, uint8_t *day) {
    *year = date->year;
    *month = date->month;
    *day = date->day;
}

void OciDateGetTime(const OCIDate *date, uint8_t *hour, uint8_t *minute, uint8_t *second) {
    *hour = date->hour;
    *minute = date->minute;
    *second = date->second;
}

void OciDateSetDate(OCIDate *date, int16_t year, uint8_t month, uint8_t day) {
    date->year = year;
    date->month = month;
    date->day = day;
}

void OciDateSetTime(OCIDate *date, uint8_t hour, uint8_t minute, uint8_t second) {
    date->hour = hour;
    date->minute = minute;
    date->second = second;
}

// By its members: an element of an array has a byte behind them that is not ours.
static void DateCopy(const OCIDate *from, OCIDate *to) {
    OciDateSetDate(to, from->year, from->month, from->day);
    OciDateSetTime(to, from->hour, from->minute, from->second);
}

int32_t OciDateAssign(OCIError *err, const OCIDate *from, OCIDate *to) {
    (void)err;
    if (from == NULL || to == NULL) return OCI_INVALID_HANDLE;
    DateCopy(from, to);
    return OCI_SUCCESS;
}

int32_t OciDateAddDays(OCIError *err, const OCIDate *date, int32_t num_days, OCIDate *result) {
    if (date == NULL) return NullFail(err, "Parameter date is NULL.");
    if (result == NULL) return NullFail(err, "Parameter result is NULL.");
    int32_t status = DateCheck(err, date);
    if (status != OCI_SUCCESS) return status;
    std::tm local = {};
    local.tm_year = date->year - 1900;
    local.tm_mon = date->month - 1;
    local.tm_mday = date->day;
    local.tm_hour = date->hour;
    local.tm_min = date->minute;
    local.tm_sec = date->second;
    local.tm_isdst = -1;
    int64_t seconds = ClockFromLocal(&local);
    if (seconds < 0) {
        return DateFail(err, "Parameter date cannot be earlier than 1970-01-01 08:00:00.",
                        OCI_ERROR);
    }
    seconds += (int64_t)num_days * SECONDS_PER_DAY;
    if (seconds > LOCAL_SECONDS_MAX) return DateFail(err, "Result is too big.", OCI_ERROR);
    if (seconds < 0) {
        return DateFail(err, "Result is earlier than 1970-01-01 00:00:00.", OCI_ERROR);
    }
    // The local calendar of a system may end a little before.
    if (!ClockToLocal(seconds, &local)) return DateFail(err, "Result is too big.", OCI_ERROR);
    DateFromLocal(&local, result);
    return OCI_SUCCESS;
}

int32_t OciDateAddMonths(OCIError *err, const OCIDate *date, int32_t num_months, OCIDate *result) {
    if (date == NULL) return NullFail(err, "Parameter date is NULL.");
    if (result == NULL) return NullFail(err, "Parameter result is NULL.");
    int32_t status = DateCheck(err, date);
    if (status != OCI_SUCCESS) return status;
    int64_t year = date->year;
    int64_t month = (int64_t)date->month + num_months;
    if (num_months < 0 && month <= 0) {
        int64_t before = -month;
        year -= before / 12 + 1;
        month = 12 - before % 12;
    } else if (num_months >= 0 && month >= 13) {
        // A multiple of 12 becomes month 0 of the year behind the right one.
        year += month / 12;
        month = month % 12;
    }
    uint8_t day = date->day;
    if (month == 2 && day >= 29) {
        day = LastDay(year, 2);
    } else if (month != 2 && day >= 31 && !IsBigMonth(month)) {
        day = 30;
    }
    OciDateSetTime(result, date->hour, date->minute, date->second);
    OciDateSetDate(result, (int16_t)(uint16_t)year, (uint8_t)month, day);
    return OCI_SUCCESS;
}

// -1, 0 or 1 as `first` is less than, equal to or greater than `second`.
static int32_t Order(int32_t first, int32_t second) {
    return (first > second) - (first < second);
}

int32_t OciDateCompare(OCIError *err, const OCIDate *date1, const OCIDate *date2, int32_t *result) {
    if (date1 == NULL) return NullFail(err, "Parameter date1 is NULL.");
    if (date2 == NULL) return NullFail(err, "Parameter date2 is NULL.");
    if (result == NULL) return NullFail(err, "Parameter result is NULL.");
    int32_t status = DateCheck(err, date1);
    if (status != OCI_SUCCESS) return status;
    status = DateCheck(err, date2);
    if (status != OCI_SUCCESS) return status;
    const int32_t orders[] = {
        Order(date1->year, date2->year),     Order(date1->month, date2->month),
        Order(date1->day, date2->day),       Order(date1->hour, date2->hour),
        Order(date1->minute, date2->minute), Order(date1->second, date2->second),
    };
    int32_t order = 0;
    for (size_t i = 0; i < sizeof(orders) / sizeof(orders[0]) && order == 0; i++) {
        order = orders[i];
    }
    *result = order;
    return OCI_SUCCESS;
}

int32_t OciDateLastDay(OCIError *err, const OCIDate *date, OCIDate *last_day) {
    if (date == NULL) return NullFail(err, "Parameter date is NULL.");
    if (last_day == NULL) return NullFail(err, "Parameter last_day is NULL.");
    int32_t status = DateCheck(err, date);
    if (status != OCI_SUCCESS) return status;
    DateCopy(date, last_day);
    last_day->day = LastDay(date->year, date->month);
    return OCI_SUCCESS;
}

int32_t OciDateSysDate(OCIError *err, OCIDate *sys_date) {
    if (sys_date == NULL) return NullFail(err, "Parameter sys_date is NULL.");
    std::tm local = {};
    ClockToLocal(ClockSeconds(), &local);
    DateFromLocal(&local, sys_date);
    return OCI_SUCCESS;
}

// A format in lower case with NULs behind it, so that looking ahead needs no test for the end.
struct DateFormat {
    char text[UINT8_MAX + 5];
    size_t bytes;
};

static void FormatLower(const OCIText *fmt, size_t bytes, DateFormat *format) {
    std::memset(format, 0, sizeof(*format));
    format->bytes = bytes;
    for (size_t i = 0; i < bytes; i++) {
        bool upper = fmt[i] >= 'A' && fmt[i] <= 'Z';
        format->text[i] = (char)(upper ? fmt[i] - 'A' + 'a' : fmt[i]);
    }
}

static char *PutTwoDigits(char *out, uint8_t value) {
    *out++ = (char)('0' + value / 10);
    *out++ = (char)('0' + value % 10);
    return out;
}

static uint8_t TwelveHourForm(uint8_t hour) {
    if (hour == 0) return 12;
    return hour < 13 ? hour : (uint8_t)(hour - 12);
}

// Each of these stands at a letter, writes what its element gives and moves `*at` past it.
static char *PutHour(const char *text, size_t *at, uint8_t hour, char *out) {
    if (text[*at + 1] != 'h') {
        *at += 1;
        return out;
    }
    bool twelve = text[*at + 2] == '1' && text[*at + 3] == '2';
    bool twenty_four = text[*at + 2] == '2' && text[*at + 3] == '4';
    *at += twelve || twenty_four ? 4 : 2;
    return PutTwoDigits(out, twenty_four ? hour : TwelveHourForm(hour));
}

static char *PutYear(const char *text, size_t *at, int16_t year, char *out) {
    size_t count = 1;
    while (count < 4 && text[*at + count] == 'y') {
        count++;
    }
    *at += count;
    char digits[8];
    int written = std::snprintf(digits, sizeof(digits), "%04d", year);
    std::memcpy(out, digits + (size_t)written - count, count);
    return out + count;
}

// A letter that counts only when `partner` follows it.
static char *PutPair(const char *text, size_t *at, char partner, uint8_t value, char *out) {
    if (text[*at + 1] != partner) {
        *at += 1;
        return out;
    }
    *at += 2;
    return PutTwoDigits(out, value);
}

static char *PutElement(const char *text, size_t *at, const OCIDate *date, char *out) {
    switch (text[*at]) {
        case 'd': return PutPair(text, at, 'd', date->day, out);
        case 'h': return PutHour(text, at, date->hour, out);
        case 'm':
            if (text[*at + 1] == 'i') return PutPair(text, at, 'i', date->minute, out);
            return PutPair(text, at, 'm', date->month, out);
        case 's': return PutPair(text, at, 's', date->second, out);
        case 'y': return PutYear(text, at, date->year, out);
        // A NUL in the format adds nothing to a text.
        case '\0': *at += 1; return out;
        default:
            *out = text[*at];
            *at += 1;
            return out + 1;
    }
}

int32_t OciDateToText(OCIError *err, const OCIDate *date, const OCIText *fmt, uint8_t fmt_length,
                      const OCIText *lang_name, uint32_t lang_length, uint32_t *buf_size,
                      OCIText *buf) {
    (void)lang_name;
    (void)lang_length;
    if (date == NULL) return NullFail(err, "Parameter date is NULL.");
    if (buf_size == NULL) return NullFail(err, "Parameter buf_size is NULL.");
    if (buf == NULL) return NullFail(err, "Parameter buf is NULL.");
    int32_t status = DateCheck(err, date);
    if (status != OCI_SUCCESS) return status;
    DateFormat format;
    if (fmt != NULL) {
        FormatLower(fmt, fmt_length, &format);
    } else {
        FormatLower((const OCIText *)DEFAULT_FORMAT, sizeof(DEFAULT_FORMAT) - 1, &format);
    }
    // No element gives more characters than its letters take in the format.
    char *out = (char *)buf;
    for (size_t at = 0; at < format.bytes;) {
        out = PutElement(format.text, &at, date, out);
    }
    *out = '\0';
    *buf_size = (uint32_t)(out - (char *)buf);
    return OCI_SUCCESS;
}
