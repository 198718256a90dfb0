// Values with the texts that the two column conversions make of them.
#pragma once

#include <cfloat>
#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "values/one_value.h"

struct RenderCase {
    int32_t type;
    Bytes value;
    std::string define_text;
    std::string column_text;
};

inline RenderCase Same(int32_t type, const Bytes &value, const std::string &text) {
    return {type, value, text, text};
}

// A zoned value as it came off the wire.
inline Bytes WireTime(int32_t milliseconds, int16_t zone) {
    const uint32_t count = (uint32_t)milliseconds;
    const uint16_t offset = (uint16_t)zone;
    return {(uint8_t)(count >> 24), (uint8_t)(count >> 16), (uint8_t)(count >> 8),
            (uint8_t)count,         (uint8_t)(offset >> 8), (uint8_t)offset};
}

inline Bytes WireDateTime(int64_t microseconds, int16_t zone) {
    Bytes bytes = Int64(microseconds);
    const uint16_t offset = (uint16_t)zone;
    bytes.push_back((uint8_t)(offset >> 8));
    bytes.push_back((uint8_t)offset);
    return bytes;
}

inline std::vector<RenderCase> NumberCases() {
    return {
        Same(2, Ascii("T"), "TRUE"),
        Same(2, Ascii("F"), "FALSE"),
        Same(2, Ascii("X"), "UNKNOWN"),
        Same(2, Bytes{0}, "UNKNOWN"),
        Same(3, Raw<int8_t>(0), "0"),
        Same(3, Raw<int8_t>(-1), "-1"),
        Same(3, Raw<int8_t>(INT8_MIN), "-128"),
        Same(3, Raw<int8_t>(INT8_MAX), "127"),
        Same(4, Raw<int16_t>(0), "0"),
        Same(4, Raw<int16_t>(-1), "-1"),
        Same(4, Raw<int16_t>(INT16_MIN), "-32768"),
        Same(4, Raw<int16_t>(INT16_MAX), "32767"),
        Same(5, Raw<int32_t>(0), "0"),
        Same(5, Raw<int32_t>(-1), "-1"),
        Same(5, Raw<int32_t>(INT32_MIN), "-2147483648"),
        Same(5, Raw<int32_t>(INT32_MAX), "2147483647"),
        Same(6, Raw<int64_t>(0), "0"),
        Same(6, Raw<int64_t>(-1), "-1"),
        Same(6, Raw<int64_t>(INT64_MIN), "-9223372036854775808"),
        Same(6, Raw<int64_t>(INT64_MAX), "9223372036854775807"),
        Same(7, Ascii("0"), "0"),
        Same(7, Ascii("-1"), "-1"),
        Same(7, Ascii("12345678901234567890.50"), "12345678901234567890.50"),
        Same(7, Repeat(Ascii("9"), 63), std::string(63, '9')),
        Same(7, Repeat(Ascii("9"), 64), std::string(63, '9')),
        Same(7, Repeat(Ascii("9"), 200), std::string(63, '9')),
        Same(8, Raw(0.0f), "0.000000"),
        Same(8, Raw(-1.0f), "-1.000000"),
        Same(8, Raw(1.5f), "1.500000"),
        Same(8, Raw(FLT_MIN), "0.000000"),
        Same(8, Raw(FLT_MAX), "340282346638528859811704183484516925440.000000"),
        Same(8, Raw(-FLT_MAX), "-340282346638528859811704183484516925440.000000"),
        Same(9, Raw(0.0), "0.000000000000000"),
        Same(9, Raw(-1.0), "-1.000000000000000"),
        Same(9, Raw(0.1), "0.100000000000000"),
        Same(9, Raw(DBL_MIN), "0.000000000000000"),
        Same(9, Raw(DBL_MAX), "179769313486231570814527423731704356798070567525844996598917476"),
        Same(9, Raw(-DBL_MAX), "-17976931348623157081452742373170435679807056752584499659891747"),
    };
}

inline std::vector<RenderCase> DateCases() {
    return {
        {10, Raw<int32_t>(0), "1970-1-1", "1970-01-01"},
        {10, Raw<int32_t>(-1), "1969-12-31", "1969-12-31"},
        {10, Raw<int32_t>(789), "1972-2-29", "1972-02-29"},
        {10, Raw<int32_t>(-732), "1967-12-30", "1967-12-30"},
        {10, Raw<int32_t>(-719162), "1-1-1", "0001-01-01"},
        {10, Raw<int32_t>(2932896), "9999-12-31", "9999-12-31"},
        {10, Raw<int32_t>(INT32_MAX), "5881580-7-11", "5881580-07-11"},
        {10, Raw<int32_t>(INT32_MIN), "-5877641-6-22", "-5877641-06-22"},
        {11, Raw<int32_t>(0), "0:0:0", "00:00:00"},
        {11, Raw<int32_t>(-1), "0:0:0", "00:00:00"},
        {11, Raw<int32_t>(3723000), "1:2:3", "01:02:03"},
        {11, Raw<int32_t>(-3723000), "-1:-2:-3", "-1:-2:-3"},
        {11, Raw<int32_t>(86399999), "23:59:59", "23:59:59"},
        {11, Raw<int32_t>(INT32_MAX), "596:31:23", "596:31:23"},
        {11, Raw<int32_t>(INT32_MIN), "-596:-31:-23", "-596:-31:-23"},
        {12, WireTime(28800000, 330), "13:30:00 +5:00", "13:30:00+5"},
        {12, WireTime(28800000, 480), "16:00:00 +8:00", "16:00:00+8"},
        {12, WireTime(28800000, -480), "0:00:00 -8:00", "0:00:00-8"},
        {12, WireTime(28800000, 0), "8:00:00 +0:00", "8:00:00+0"},
        {12, WireTime(28800000, -30), "7:30:00 +0:00", "7:30:00+0"},
        {12, WireTime(0, 720), "12:00:00 +12:00", "12:00:00+12"},
        {12, WireTime(-1, 0), "0:00:00 +0:00", "0:00:00+0"},
        {12, WireTime(INT32_MAX, INT16_MAX), "1142:38:23 +546:00", "1142:38:23+546"},
        {12, WireTime(INT32_MIN, INT16_MIN), "-1142:-39:-23 -546:00", "-1142:-39:-23-546"},
        {13, Raw<int64_t>(0), "1970-01-01 00:00:00.000", "1970-01-01 00:00:00"},
        {13, Raw<int64_t>(-1), "1969-12-31 23:59:59.999", "1969-12-31 23:59:59"},
        {13, Raw<int64_t>(90061001), "1970-01-02 01:01:01.001", "1970-01-02 01:01:01"},
        {13, Raw<int64_t>(951782400000), "2000-02-29 00:00:00.000", "2000-02-29 00:00:00"},
        {13, Raw<int64_t>(-62135596800000), "1-01-01 00:00:00.000", "0001-01-01 00:00:00"},
        {13, Raw<int64_t>(INT64_MAX), "-1701532-04-05 07:12:55.807", "-1701532-04-05 07:12:55"},
        {13, Raw<int64_t>(INT64_MIN), "1705471-09-26 16:47:04.192", "1705471-09-26 16:47:04"},
        {14, WireDateTime(0, 480), "1970-01-01 08:00:00 +8:00", "1970-01-01 08:00:00+8"},
        {14, WireDateTime(0, -330), "1969-12-31 18:30:00 -5:00", "1969-12-31 18:30:00-5"},
        {14, WireDateTime(0, 0), "1970-01-01 00:00:00 +0:00", "1970-01-01 00:00:00+0"},
        {14, WireDateTime(-1, 0), "1970-01-01 00:00:00 +0:00", "1970-01-01 00:00:00+0"},
        {14, WireDateTime(-1000, 0), "1969-12-31 23:59:59 +0:00", "1969-12-31 23:59:59+0"},
        {14, WireDateTime(-62135596800000000, 0), "1-01-01 00:00:00 +0:00", "1-01-01 00:00:00+0"},
        {14, WireDateTime(INT64_MAX, 0), "294247-01-10 04:00:54 +0:00", "294247-01-10 04:00:54+0"},
        {14, WireDateTime(INT64_MIN, 0), "-290308-12-20 19:59:05 +0:00",
         "-290308-12-20 19:59:05+0"},
        {14, WireDateTime(INT64_MAX, INT16_MAX), "-290307-01-12 14:06:05 +546:00",
         "-290307-01-12 14:06:05+546"},
    };
}

inline std::vector<RenderCase> IntervalCases() {
    std::vector<RenderCase> cases;
    for (const int32_t type : {15, 17, 18, 20, 23}) {
        cases.push_back(Same(type, Raw<int32_t>(0), "0"));
        cases.push_back(Same(type, Raw<int32_t>(-1), "-1"));
        cases.push_back(Same(type, Raw<int32_t>(INT32_MIN), "-2147483648"));
        cases.push_back(Same(type, Raw<int32_t>(INT32_MAX), "2147483647"));
    }
    const std::vector<RenderCase> spanning = {
        Same(16, Raw<int32_t>(0), "0-00"),
        Same(16, Raw<int32_t>(-1), "0--1"),
        Same(16, Raw<int32_t>(-14), "-1--2"),
        Same(16, Raw<int32_t>(INT32_MAX), "178956970-07"),
        Same(16, Raw<int32_t>(INT32_MIN), "-178956970--8"),
        Same(19, Raw<int32_t>(0), "0 00"),
        Same(19, Raw<int32_t>(-1), "0 -1"),
        Same(19, Raw<int32_t>(-25), "-1 -1"),
        Same(19, Raw<int32_t>(INT32_MAX), "89478485 07"),
        Same(19, Raw<int32_t>(INT32_MIN), "-89478485 -8"),
        Same(21, Raw<int32_t>(0), "0 00:00"),
        Same(21, Raw<int32_t>(-1), "0 00:-1"),
        Same(21, Raw<int32_t>(1501), "1 01:01"),
        Same(21, Raw<int32_t>(INT32_MAX), "1491308 02:07"),
        Same(21, Raw<int32_t>(INT32_MIN), "-1491308 -2:-8"),
        Same(22, Raw<int32_t>(0), "0:00"),
        Same(22, Raw<int32_t>(-1), "0:-1"),
        Same(22, Raw<int32_t>(61), "1:01"),
        Same(22, Raw<int32_t>(INT32_MAX), "35791394:07"),
        Same(22, Raw<int32_t>(INT32_MIN), "-35791394:-8"),
        Same(24, Raw<int64_t>(0), "0 0:00:00"),
        Same(24, Raw<int64_t>(-1), "0 0:00:00"),
        Same(24, Raw<int64_t>(-1000000), "0 0:00:-1"),
        Same(24, Raw<int64_t>(93784999999), "1 2:03:04"),
        Same(24, Raw<int64_t>(INT64_MAX), "24042 6:32:22"),
        Same(24, Raw<int64_t>(INT64_MIN), "-24042 -6:-32:-22"),
        Same(25, Raw<int64_t>(0), "0:00:00"),
        Same(25, Raw<int64_t>(-1), "0:00:00"),
        Same(25, Raw<int64_t>(3661000000), "1:01:01"),
        Same(25, Raw<int64_t>(INT64_MAX), "577014:32:22"),
        Same(25, Raw<int64_t>(INT64_MIN), "-577014:-32:-22"),
        Same(26, Raw<int64_t>(0), "0:00"),
        Same(26, Raw<int64_t>(-1), "0:00"),
        Same(26, Raw<int64_t>(3662000000), "61:02"),
        Same(26, Raw<int64_t>(INT64_MAX), "34620872:22"),
        Same(26, Raw<int64_t>(INT64_MIN), "-34620872:-22"),
        Same(27, Raw<int64_t>(0), "0"),
        Same(27, Raw<int64_t>(-1), "0"),
        Same(27, Raw<int64_t>(-1000000), "-1"),
        Same(27, Raw<int64_t>(INT64_MAX), "9223372036854"),
        Same(27, Raw<int64_t>(INT64_MIN), "-9223372036854"),
        Same(29, Ascii("550e8400-e29b-41d4-a716-446655440000"),
             "550e8400-e29b-41d4-a716-446655440000"),
        Same(29, Repeat(Ascii("g"), 64), std::string(63, 'g')),
    };
    cases.insert(cases.end(), spanning.begin(), spanning.end());
    return cases;
}

// The double rule: the digits before the point, as rounding shows them, fix the decimals.
inline std::vector<RenderCase> DoubleRuleCases() {
    return {
        Same(9, Raw(2.5), "2.500000000000000"),
        Same(9, Raw(9.75), "9.75000000000000"),
        Same(9, Raw(22.5), "22.50000000000000"),
        Same(9, Raw(99.75), "99.7500000000000"),
        Same(9, Raw(222.5), "222.5000000000000"),
        Same(9, Raw(2222.5), "2222.500000000000"),
        Same(9, Raw(22222.5), "22222.50000000000"),
        Same(9, Raw(222222.5), "222222.5000000000"),
        Same(9, Raw(2222222.5), "2222222.500000000"),
        Same(9, Raw(22222222.5), "22222222.50000000"),
        Same(9, Raw(222222222.5), "222222222.5000000"),
        Same(9, Raw(2222222222.5), "2222222222.500000"),
        Same(9, Raw(22222222222.5), "22222222222.50000"),
        Same(9, Raw(222222222222.5), "222222222222.5000"),
        Same(9, Raw(2222222222222.5), "2222222222222.500"),
        Same(9, Raw(22222222222222.5), "22222222222222.50"),
        Same(9, Raw(222222222222222.5), "222222222222222.5"),
        Same(9, Raw(2222222222222222.0), "2222222222222222.000000"),
        Same(9, Raw(22222222222222220.0), "22222222222222220.000000"),
        Same(9, Raw(-22.5), "-22.50000000000000"),
        Same(9, Raw(-222222222222222.5), "-222222222222222.5"),
        Same(9, Raw(-0.0), "-0.000000000000000"),
        Same(9, Raw(0.5), "0.500000000000000"),
        Same(9, Raw(-0.25), "-0.250000000000000"),
        Same(9, Raw(1e22), "10000000000000000000000.000000"),
    };
}
