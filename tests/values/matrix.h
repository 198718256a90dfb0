// Which type can be read in which form, and a value of every type to try it with.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "values/one_value.h"

// A value that every form of its type can read.
inline Bytes SampleOf(int32_t type) {
    switch (type) {
        case 12: return Hex("00000000 0000");
        case 14: return Hex("0000000000000000 0000");
        case 7: return Ascii("12");
        default: break;
    }
    return InlineBytes(type) != 0 ? Bytes(InlineBytes(type), 1) : Ascii("abc");
}

// The forms in which a column conversion takes each type: the rows of the conversion table.
struct FormRow {
    int32_t c_type;
    std::vector<int32_t> types;
    int32_t length;  // that is reported; -1: that of the text or bytes
};

inline const std::vector<int32_t> TEXT_TYPES = {
    2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24,
    25, 26, 27, 29, 30, 32, 33, 34, 45, 48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 58, 59, 60};
inline const std::vector<int32_t> BINARY_TYPES = {30, 32, 33, 34, 48, 49, 50, 51, 52,
                                                  53, 54, 55, 56, 57, 58, 59, 60};
inline const std::vector<int32_t> INTERVAL_TYPES = {15, 16, 17, 18, 19, 20, 21,
                                                    22, 23, 24, 25, 26, 27};

// The rows that hold for both conversions.
inline std::vector<FormRow> CommonRows() {
    return {
        {1, {2}, 1},
        {2, TEXT_TYPES, -1},
        {3, {2, 3, 4, 5, 6}, 1},
        {4, {2, 3, 4, 5, 6, 7}, 2},
        {5, {2, 3, 4, 5, 6, 7}, 4},
        {6, {2, 3, 4, 5, 6, 7}, 8},
        {7, {3, 4, 5, 6, 7, 8, 9}, 4},
        {8, {3, 4, 5, 6, 7, 8, 9}, 8},
        {9, {7}, -1},
        {10, {10}, 12},
        {11, {11}, 12},
        {13, {10, 11, 13}, 28},
        {15, BINARY_TYPES, -1},
        {21, INTERVAL_TYPES, 24},
        {28, {15, 16, 17}, 8},
        {31, {18, 19, 20, 21, 22, 23, 24, 25, 26, 27}, 20},
    };
}

// Tries every form with every type against the rows; a form without a row takes nothing.
template <typename Convert>
void CheckMatrix(const std::vector<FormRow> &rows, Convert convert) {
    for (int32_t c_type = 1; c_type <= 45; c_type++) {
        const auto row = std::find_if(rows.begin(), rows.end(), [c_type](const FormRow &candidate) {
            return candidate.c_type == c_type;
        });
        for (int32_t type = 0; type <= 62; type++) {
            OneValue value(type, SampleOf(type));
            const Outcome outcome = convert(value, c_type);
            const bool listed =
                row != rows.end() && std::count(row->types.begin(), row->types.end(), type) != 0;
            if (!listed) {
                EXPECT_EQ(-3, outcome.status) << "form " << c_type << ", type " << type;
                EXPECT_EQ(0, outcome.length) << "form " << c_type << ", type " << type;
                EXPECT_TRUE(outcome.Untouched()) << "form " << c_type << ", type " << type;
                continue;
            }
            EXPECT_EQ(0, outcome.status) << "form " << c_type << ", type " << type;
            EXPECT_FALSE(outcome.Untouched()) << "form " << c_type << ", type " << type;
            if (row->length >= 0) {
                EXPECT_EQ(row->length, outcome.length) << "form " << c_type << ", type " << type;
            } else {
                EXPECT_GT(outcome.length, 0) << "form " << c_type << ", type " << type;
            }
        }
    }
}

// A number of each integer type with the bytes of its slot, and what the integer forms read.
struct IntegerCase {
    int32_t type;
    Bytes value;
    int8_t as_tinyint;
    int16_t as_smallint;
    int32_t as_int;
    int64_t as_bigint;
};

inline std::vector<IntegerCase> IntegerCases() {
    return {
        {2, Ascii("T"), 84, 84, 84, 84},
        {2, Bytes{0xFF}, -1, -1, -1, -1},
        {3, Raw<int8_t>(0), 0, 0, 0, 0},
        {3, Raw<int8_t>(INT8_MIN), -128, -128, -128, -128},
        {3, Raw<int8_t>(INT8_MAX), 127, 127, 127, 127},
        {4, Raw<int16_t>(300), 44, 300, 300, 300},
        {4, Raw<int16_t>(INT16_MIN), 0, -32768, -32768, -32768},
        {4, Raw<int16_t>(-1), -1, -1, -1, -1},
        {5, Raw<int32_t>(65536 + 515), 3, 515, 66051, 66051},
        {5, Raw<int32_t>(INT32_MIN), 0, 0, INT32_MIN, INT32_MIN},
        {5, Raw<int32_t>(INT32_MAX), -1, -1, INT32_MAX, INT32_MAX},
        {6, Raw<int64_t>(0x0102030405060708), 8, 0x0708, 0x05060708, 0x0102030405060708},
        {6, Raw<int64_t>(INT64_MIN), 0, 0, 0, INT64_MIN},
        {6, Raw<int64_t>(INT64_MAX), -1, -1, -1, INT64_MAX},
    };
}

// A value with what the forms of floating-point numbers read.
struct RealCase {
    int32_t type;
    Bytes value;
    float as_float;
    double as_double;
};

inline std::vector<RealCase> RealCases() {
    return {
        {3, Raw<int8_t>(-128), -128.0f, -128.0},
        {4, Raw<int16_t>(32767), 32767.0f, 32767.0},
        {5, Raw<int32_t>(INT32_MIN), -2147483648.0f, -2147483648.0},
        {5, Raw<int32_t>(16777217), 16777216.0f, 16777217.0},
        {6, Raw<int64_t>(INT64_MIN), -9223372036854775808.0f, -9223372036854775808.0},
        {7, Ascii("-12.5"), -12.5f, -12.5},
        {7, Ascii("0.1"), 0.1f, 0.1},
        {7, Ascii("none"), 0.0f, 0.0},
        {8, Raw(1.5f), 1.5f, 1.5},
        {8, Raw(0.1f), 0.1f, 0.10000000149011612},
        {9, Raw(-2.25), -2.25f, -2.25},
        {9, Raw(0.1), 0.1f, 0.1},
    };
}
