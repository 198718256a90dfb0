// The type catalogue: the type codes of the wire, and what a column of a table may be declared as.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavud {

// The type codes of the wire that the server sends or receives.
enum TypeId : int32_t {
    TYPE_EMPTY = 0,
    TYPE_NULL = 1,
    TYPE_BOOLEAN = 2,
    TYPE_TINYINT = 3,
    TYPE_SMALLINT = 4,
    TYPE_INTEGER = 5,
    TYPE_BIGINT = 6,
    TYPE_NUMERIC = 7,
    TYPE_FLOAT = 8,
    TYPE_DOUBLE = 9,
    TYPE_DATE = 10,
    TYPE_TIME = 11,
    TYPE_TIME_ZONED = 12,
    TYPE_DATETIME = 13,
    TYPE_DATETIME_ZONED = 14,
    TYPE_INTERVAL_YEAR = 15,
    TYPE_INTERVAL_YEAR_TO_MONTH = 16,
    TYPE_INTERVAL_MONTH = 17,
    TYPE_INTERVAL_DAY = 18,
    TYPE_INTERVAL_DAY_TO_HOUR = 19,
    TYPE_INTERVAL_HOUR = 20,
    TYPE_INTERVAL_DAY_TO_MINUTE = 21,
    TYPE_INTERVAL_HOUR_TO_MINUTE = 22,
    TYPE_INTERVAL_MINUTE = 23,
    TYPE_INTERVAL_DAY_TO_SECOND = 24,
    TYPE_INTERVAL_HOUR_TO_SECOND = 25,
    TYPE_INTERVAL_MINUTE_TO_SECOND = 26,
    TYPE_INTERVAL_SECOND = 27,
    TYPE_ROWVERSION = 28,
    TYPE_GUID = 29,
    TYPE_CHAR = 30,
    TYPE_CLOB = 32,
    TYPE_BINARY = 33,
    TYPE_BLOB = 34,
    TYPE_ROWID = 45,
};

inline constexpr int32_t NO_SIZE = -1;
inline constexpr int32_t NUMERIC_DIGITS_MAX = 38;

// What a column is declared as.
struct DeclaredType {
    int32_t type_id = TYPE_EMPTY;  // TYPE_EMPTY: not declared, each value has its own type
    // CHAR, VARCHAR, BINARY: bytes at most. NUMERIC: digits << 16 | digits behind the point.
    int32_t size = NO_SIZE;
    bool varying = false;  // VARCHAR, which shares its code with CHAR
};

// Reads a declaration as users write it ("VARCHAR(20)", "TIME WITH TIME ZONE") and as
// StorageDeclaration writes it. Nothing when there is no such type or its numbers are out of range.
std::optional<DeclaredType> ParseDeclaration(std::string_view declaration);

// The declaration under which the database keeps the column: its words choose how the database
// itself treats the values, and ParseDeclaration reads them back.
std::string StorageDeclaration(const DeclaredType &type);

// The name of the ordering that compares stored values of the type, or "" for the plain one.
std::string CollationName(int32_t type_id);

// Whether values of the type are brought into one form when they are stored.
bool IsNormalised(int32_t type_id);

bool IsInterval(int32_t type_id);

// "VARCHAR(3)", for the texts of refusals.
std::string DescribeType(const DeclaredType &type);

// Bytes of a fixed-width value on the wire, 0 for a type of varying length.
uint32_t FixedBytes(int32_t type_id);

}  // namespace tavud
