// The type catalogue: the type codes of the wire, and what a column of a table may be declared as.
#include "server/types.h"

#include <charconv>
#include <vector>

#include "server/tokens.h"

namespace tavud {

namespace {

struct TypeEntry {
    int32_t type_id;
    const char *name;
    // What the column is declared as in the database. The database derives its treatment of values
    // from parts of this word: INT, then CHAR, CLOB or TEXT, then BLOB, then REAL, FLOA or DOUB.
    const char *storage;
    uint32_t fixed_bytes;
};

constexpr TypeEntry type_table[] = {
    {TYPE_BOOLEAN,                   "BOOLEAN",                   "BOOLEAN",               1},
    {TYPE_TINYINT,                   "TINYINT",                   "TINYINT",               1},
    {TYPE_SMALLINT,                  "SMALLINT",                  "SMALLINT",              2},
    {TYPE_INTEGER,                   "INTEGER",                   "INTEGER",               4},
    {TYPE_BIGINT,                    "BIGINT",                    "BIGINT",                8},
    {TYPE_NUMERIC,                   "NUMERIC",                   "NUMERIC_TEXT",          0},
    {TYPE_FLOAT,                     "FLOAT",                     "FLOAT",                 4},
    {TYPE_DOUBLE,                    "DOUBLE",                    "DOUBLE",                8},
    {TYPE_DATE,                      "DATE",                      "DATE_TEXT",             4},
    {TYPE_TIME,                      "TIME",                      "TIME_TEXT",             4},
    {TYPE_TIME_ZONED,                "TIME WITH TIME ZONE",       "TIME_ZONE_TEXT",        0},
    {TYPE_DATETIME,                  "DATETIME",                  "DATETIME_TEXT",         8},
    {TYPE_DATETIME_ZONED,            "DATETIME WITH TIME ZONE",   "DATETIME_ZONE_TEXT",    0},
    {TYPE_INTERVAL_YEAR,             "INTERVAL YEAR",             "SPAN_YEAR_TEXT",        4},
    {TYPE_INTERVAL_YEAR_TO_MONTH,    "INTERVAL YEAR TO MONTH",    "SPAN_YEAR_MONTH_TEXT",  4},
    {TYPE_INTERVAL_MONTH,            "INTERVAL MONTH",            "SPAN_MONTH_TEXT",       4},
    {TYPE_INTERVAL_DAY,              "INTERVAL DAY",              "SPAN_DAY_TEXT",         4},
    {TYPE_INTERVAL_DAY_TO_HOUR,      "INTERVAL DAY TO HOUR",      "SPAN_DAY_HOUR_TEXT",    4},
    {TYPE_INTERVAL_HOUR,             "INTERVAL HOUR",             "SPAN_HOUR_TEXT",        4},
    {TYPE_INTERVAL_DAY_TO_MINUTE,    "INTERVAL DAY TO MINUTE",    "SPAN_DAY_MIN_TEXT",     4},
    {TYPE_INTERVAL_HOUR_TO_MINUTE,   "INTERVAL HOUR TO MINUTE",   "SPAN_HOUR_MIN_TEXT",    4},
    {TYPE_INTERVAL_MINUTE,           "INTERVAL MINUTE",           "SPAN_MIN_TEXT",         4},
    {TYPE_INTERVAL_DAY_TO_SECOND,    "INTERVAL DAY TO SECOND",    "SPAN_DAY_SECOND_TEXT",  8},
    {TYPE_INTERVAL_HOUR_TO_SECOND,   "INTERVAL HOUR TO SECOND",   "SPAN_HOUR_SECOND_TEXT", 8},
    {TYPE_INTERVAL_MINUTE_TO_SECOND, "INTERVAL MINUTE TO SECOND", "SPAN_MIN_SECOND_TEXT",  8},
    {TYPE_INTERVAL_SECOND,           "INTERVAL SECOND",           "SPAN_SECOND_TEXT",      8},
    {TYPE_ROWVERSION,                "ROWVERSION",                "ROWVERSION_BLOB",       0},
    {TYPE_GUID,                      "GUID",                      "GUID_TEXT",             0},
    {TYPE_CHAR,                      "CHAR",                      "CHAR",                  0},
    {TYPE_CLOB,                      "CLOB",                      "CLOB",                  0},
    {TYPE_BINARY,                    "BINARY",                    "BINARY_BLOB",           0},
    {TYPE_BLOB,                      "BLOB",                      "BLOB",                  0},
};

struct Synonym {
    const char *name;
    int32_t type_id;
    bool varying;
};

// INT, NUM, REAL and TEXT are also what the database itself declares the columns of a
// CREATE TABLE ... AS SELECT as; there they stand for the widest of their kind. A user's own INT
// and REAL never get that far, because StorageDeclaration turns them into INTEGER and FLOAT.
constexpr Synonym synonym_table[] = {
    {"BOOL",                     TYPE_BOOLEAN,        false},
    {"INT",                      TYPE_INTEGER,        false},
    {"DECIMAL",                  TYPE_NUMERIC,        false},
    {"DEC",                      TYPE_NUMERIC,        false},
    {"NUMBER",                   TYPE_NUMERIC,        false},
    {"REAL",                     TYPE_FLOAT,          false},
    {"DOUBLE PRECISION",         TYPE_DOUBLE,         false},
    {"TIMESTAMP",                TYPE_DATETIME,       false},
    {"TIMESTAMP WITH TIME ZONE", TYPE_DATETIME_ZONED, false},
    {"CHARACTER",                TYPE_CHAR,           false},
    {"VARCHAR",                  TYPE_CHAR,           true },
    {"VARCHAR2",                 TYPE_CHAR,           true },
    {"CHARACTER VARYING",        TYPE_CHAR,           true },
    {"TEXT",                     TYPE_CHAR,           true },
    {"VARBINARY",                TYPE_BINARY,         false},
};

const TypeEntry *EntryOf(int32_t type_id) {
    for (const TypeEntry &entry : type_table) {
        if (entry.type_id == type_id) return &entry;
    }
    return nullptr;
}

// The words of a declaration joined by single blanks, and the numbers of its first parenthesis.
struct Declaration {
    std::string words;
    std::vector<int32_t> numbers;
    bool sound = true;
};

Declaration ReadDeclaration(std::string_view text) {
    Declaration result;
    const TokenisedText all = Tokenise(text);
    int parentheses = 0;
    bool inside = false;
    for (size_t i = 0; i < all.tokens.size(); i++) {
        const std::string_view token = all.TextOf(i);
        if (all.IsPunctuation(i, '(')) {
            parentheses++;
            inside = true;
        } else if (all.IsPunctuation(i, ')')) {
            inside = false;
        } else if (inside && all.tokens[i].kind == TokenKind::Number) {
            int32_t number = 0;
            const auto parsed = std::from_chars(token.data(), token.data() + token.size(), number);
            result.sound &= parsed.ec == std::errc() && parsed.ptr == token.data() + token.size();
            if (parentheses == 1) result.numbers.push_back(number);
        } else if (!inside && all.tokens[i].kind == TokenKind::Word) {
            if (!result.words.empty()) result.words += ' ';
            result.words += UpperCase(token);
        } else if (!all.IsPunctuation(i, ',')) {
            result.sound = false;
        }
    }
    return result;
}

bool FindType(std::string_view words, DeclaredType *type) {
    for (const TypeEntry &entry : type_table) {
        if (words == entry.name || words == entry.storage) {
            type->type_id = entry.type_id;
            return true;
        }
    }
    for (const Synonym &synonym : synonym_table) {
        if (words == synonym.name) {
            type->type_id = synonym.type_id;
            type->varying = synonym.varying;
            return true;
        }
    }
    return false;
}

bool SizeNumeric(const std::vector<int32_t> &numbers, DeclaredType *type) {
    if (numbers.empty()) return true;
    const int32_t digits = numbers[0];
    const int32_t behind_point = numbers.size() > 1 ? numbers[1] : 0;
    if (digits < 1 || digits > NUMERIC_DIGITS_MAX) return false;
    if (behind_point < 0 || behind_point > digits) return false;
    type->size = digits << 16 | behind_point;
    return true;
}

bool SizeBytes(const std::vector<int32_t> &numbers, DeclaredType *type) {
    if (!numbers.empty()) {
        type->size = numbers[0];
        return numbers[0] >= 1;
    }
    if (type->type_id == TYPE_CHAR && !type->varying) type->size = 1;
    return true;
}

}  // namespace

std::optional<DeclaredType> ParseDeclaration(std::string_view declaration) {
    const Declaration read = ReadDeclaration(declaration);
    DeclaredType type;
    if (!read.sound || !FindType(read.words, &type)) return std::nullopt;
    switch (type.type_id) {
        case TYPE_NUMERIC:
            if (!SizeNumeric(read.numbers, &type)) return std::nullopt;
            break;
        case TYPE_CHAR:
        case TYPE_BINARY:
            if (!SizeBytes(read.numbers, &type)) return std::nullopt;
            break;
        default: break;
    }
    return type;
}

std::string StorageDeclaration(const DeclaredType &type) {
    const std::string word = type.varying ? "VARCHAR" : EntryOf(type.type_id)->storage;
    if (type.size == NO_SIZE) return word;
    if (type.type_id != TYPE_NUMERIC) return word + "(" + std::to_string(type.size) + ")";
    return word + "(" + std::to_string(type.size >> 16) + "," + std::to_string(type.size & 0xFFFF) +
           ")";
}

std::string CollationName(int32_t type_id) {
    const bool dated = type_id >= TYPE_DATE && type_id <= TYPE_INTERVAL_SECOND;
    if (!dated && type_id != TYPE_NUMERIC) return "";
    return "TAVU_" + std::string(EntryOf(type_id)->storage);
}

bool IsNormalised(int32_t type_id) {
    switch (type_id) {
        case TYPE_BOOLEAN:
        case TYPE_NUMERIC:
        case TYPE_ROWVERSION:
        case TYPE_GUID:
        case TYPE_BINARY:
        case TYPE_BLOB: return true;
        default: return type_id >= TYPE_DATE && type_id <= TYPE_INTERVAL_SECOND;
    }
}

bool IsInterval(int32_t type_id) {
    return type_id >= TYPE_INTERVAL_YEAR && type_id <= TYPE_INTERVAL_SECOND;
}

std::string DescribeType(const DeclaredType &type) {
    const TypeEntry *entry = EntryOf(type.type_id);
    if (entry == nullptr) return "type " + std::to_string(type.type_id);
    std::string text = type.varying ? "VARCHAR" : entry->name;
    if (type.size == NO_SIZE) return text;
    if (type.type_id != TYPE_NUMERIC) return text + "(" + std::to_string(type.size) + ")";
    return text + "(" + std::to_string(type.size >> 16) + "," + std::to_string(type.size & 0xFFFF) +
           ")";
}

uint32_t FixedBytes(int32_t type_id) {
    const TypeEntry *entry = EntryOf(type_id);
    return entry == nullptr ? 0 : entry->fixed_bytes;
}

}  // namespace tavud
