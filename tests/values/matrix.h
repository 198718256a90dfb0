// Which type can be read in which form, and a value of every type to try it with.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>

#include "values/one_value.h"

// A value that every form of its type can read.
inline Value SampleOf(int32_t type) {
    if (type == 12 || type == 14) return 0;
    if (InlineBytes(type) != 0) return 1;
    return type == 7 ? "12" : "abc";
}

// The forms in which a column conversion takes each type: the rows of the conversion table.
struct FormRow {
    int32_t c_type;
    uint64_t types;  // a bit for each
    int32_t length;  // that is reported; -1: that of the text or bytes
};

constexpr uint64_t Types(std::initializer_list<int32_t> types) {
    uint64_t bits = 0;
    for (const int32_t type : types) {
        bits |= UINT64_C(1) << type;
    }
    return bits;
}

constexpr uint64_t BINARY_TYPES =
    Types({30, 32, 33, 34, 48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 58, 59, 60});
constexpr uint64_t LOB_TYPES = BINARY_TYPES & ~Types({30, 33});
constexpr uint64_t INTERVAL_TYPES = Types({15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27});
constexpr uint64_t TEXT_TYPES =
    Types({2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 29, 45}) | INTERVAL_TYPES | BINARY_TYPES;

constexpr int32_t C_TYPES_TRIED = 46;
constexpr int32_t TYPES_TRIED = 63;

// The rows that hold for both conversions.
constexpr FormRow COMMON_ROWS[] = {
    {1, Types({2}), 1},
    {2, TEXT_TYPES, -1},
    {3, Types({2, 3, 4, 5, 6}), 1},
    {4, Types({2, 3, 4, 5, 6, 7}), 2},
    {5, Types({2, 3, 4, 5, 6, 7}), 4},
    {6, Types({2, 3, 4, 5, 6, 7}), 8},
    {7, Types({3, 4, 5, 6, 7, 8, 9}), 4},
    {8, Types({3, 4, 5, 6, 7, 8, 9}), 8},
    {9, Types({7}), -1},
    {10, Types({10}), 12},
    {11, Types({11}), 12},
    {13, Types({10, 11, 13}), 28},
    {15, BINARY_TYPES, -1},
    {21, INTERVAL_TYPES, 24},
    {28, Types({15, 16, 17}), 8},
    {31, Types({18, 19, 20, 21, 22, 23, 24, 25, 26, 27}), 20},
};

inline const FormRow *FindRow(std::span<const FormRow> rows, int32_t c_type) {
    for (const FormRow &row : rows) {
        if (row.c_type == c_type) return &row;
    }
    return NULL;
}

// Tries every form with every type against the rows of a conversion, the common ones and its own; a
// form without a row takes nothing.
inline void CheckMatrix(std::span<const FormRow> own_rows,
                        Outcome (*convert)(OneValue &value, int32_t c_type)) {
    for (int32_t c_type = 1; c_type < C_TYPES_TRIED; c_type++) {
        const FormRow *row = FindRow(COMMON_ROWS, c_type);
        if (row == NULL) row = FindRow(own_rows, c_type);
        for (int32_t type = 0; type < TYPES_TRIED; type++) {
            SCOPED_TRACE(testing::Message() << "form " << c_type << ", type " << type);
            OneValue value(type, SampleOf(type));
            const Outcome outcome = convert(value, c_type);
            const bool listed = row != NULL && (row->types >> type & 1) != 0;
            EXPECT_EQ(listed ? 0 : -3, outcome.status);
            EXPECT_EQ(!listed, outcome.Untouched());
            if (!listed || row->length >= 0) {
                EXPECT_EQ(listed ? row->length : 0, outcome.length);
            } else {
                EXPECT_GT(outcome.length, 0);
            }
        }
    }
}

// A number of each integer type with the bytes of its slot, and what the integer forms read.
struct IntegerCase {
    int32_t type;
    Value value;
    int8_t as_tinyint;
    int16_t as_smallint;
    int32_t as_int;
    int64_t as_bigint;
};

constexpr IntegerCase INTEGER_CASES[] = {
    {2, 'T', 84, 84, 84, 84},
    {2, 0xFF, -1, -1, -1, -1},
    {3, 0, 0, 0, 0, 0},
    {3, INT8_MIN, -128, -128, -128, -128},
    {3, INT8_MAX, 127, 127, 127, 127},
    {4, 300, 44, 300, 300, 300},
    {4, INT16_MIN, 0, -32768, -32768, -32768},
    {4, -1, -1, -1, -1, -1},
    {5, 65536 + 515, 3, 515, 66051, 66051},
    {5, INT32_MIN, 0, 0, INT32_MIN, INT32_MIN},
    {5, INT32_MAX, -1, -1, INT32_MAX, INT32_MAX},
    {6, 0x0102030405060708, 8, 0x0708, 0x05060708, 0x0102030405060708},
    {6, INT64_MIN, 0, 0, 0, INT64_MIN},
    {6, INT64_MAX, -1, -1, -1, INT64_MAX},
};

// A value with what the forms of floating-point numbers read.
struct RealCase {
    int32_t type;
    Value value;
    float as_float;
    double as_double;
};

constexpr RealCase REAL_CASES[] = {
    {3, -128, -128.0f, -128.0},
    {4, 32767, 32767.0f, 32767.0},
    {5, INT32_MIN, -2147483648.0f, -2147483648.0},
    {5, 16777217, 16777216.0f, 16777217.0},
    {6, INT64_MIN, -9223372036854775808.0f, -9223372036854775808.0},
    {7, "-12.5", -12.5f, -12.5},
    {7, "0.1", 0.1f, 0.1},
    {7, "none", 0.0f, 0.0},
    {8, 1.5f, 1.5f, 1.5},
    {8, 0.1f, 0.1f, 0.10000000149011612},
    {9, -2.25, -2.25f, -2.25},
    {9, 0.1, 0.1f, 0.1},
};
