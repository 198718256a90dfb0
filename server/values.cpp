// Single values: what fits a column, the form in which it is stored, and its bytes on the wire.
#include "server/values.h"

#include <bit>
#include <cmath>
#include <limits>

#include "server/channel.h"
#include "server/decimal.h"
#include "server/temporal.h"
#include "server/tokens.h"

namespace tavud {

namespace {

constexpr size_t ROWVERSION_BYTES_MAX = 8;
constexpr size_t GUID_DIGITS = 32;
constexpr int32_t MILLIS_PER_DAY = 86400000;

std::string_view TextOf(sqlite3_value *value) {
    const auto *text = reinterpret_cast<const char *>(sqlite3_value_text(value));
    return text == nullptr
               ? std::string_view()
               : std::string_view(text, static_cast<size_t>(sqlite3_value_bytes(value)));
}

Fit StoreText(std::string text, std::string_view given, bool given_is_text, StoredForm *stored) {
    if (given_is_text && text == given) return Fit::AsItIs;
    stored->kind = StoredForm::Kind::Text;
    stored->bytes = std::move(text);
    return Fit::Rewritten;
}

bool IntegerRange(int32_t type_id, int64_t *lowest, int64_t *highest) {
    switch (type_id) {
        case TYPE_TINYINT:
            *lowest = std::numeric_limits<int8_t>::min();
            *highest = std::numeric_limits<int8_t>::max();
            return true;
        case TYPE_SMALLINT:
            *lowest = std::numeric_limits<int16_t>::min();
            *highest = std::numeric_limits<int16_t>::max();
            return true;
        case TYPE_INTEGER:
            *lowest = std::numeric_limits<int32_t>::min();
            *highest = std::numeric_limits<int32_t>::max();
            return true;
        default:
            *lowest = std::numeric_limits<int64_t>::min();
            *highest = std::numeric_limits<int64_t>::max();
            return true;
    }
}

Fit FitInteger(const DeclaredType &type, sqlite3_value *value) {
    // The column's own treatment has turned a text of digits into an integer before this.
    if (sqlite3_value_type(value) != SQLITE_INTEGER) return Fit::Refused;
    int64_t lowest = 0;
    int64_t highest = 0;
    IntegerRange(type.type_id, &lowest, &highest);
    const int64_t number = sqlite3_value_int64(value);
    return number >= lowest && number <= highest ? Fit::AsItIs : Fit::Refused;
}

Fit FitBoolean(sqlite3_value *value, StoredForm *stored) {
    if (sqlite3_value_type(value) == SQLITE_INTEGER) {
        const int64_t number = sqlite3_value_int64(value);
        return number == 0 || number == 1 ? Fit::AsItIs : Fit::Refused;
    }
    if (sqlite3_value_type(value) != SQLITE_TEXT) return Fit::Refused;
    const std::string word = UpperCase(TextOf(value));
    stored->kind = StoredForm::Kind::Integer;
    stored->integer = word == "TRUE" || word == "T" ? 1 : 0;
    const bool known = stored->integer == 1 || word == "FALSE" || word == "F";
    return known ? Fit::Rewritten : Fit::Refused;
}

Fit FitReal(const DeclaredType &type, sqlite3_value *value) {
    const int kind = sqlite3_value_type(value);
    if (kind != SQLITE_FLOAT && kind != SQLITE_INTEGER) return Fit::Refused;
    const double number = sqlite3_value_double(value);
    if (!std::isfinite(number)) return Fit::Refused;
    const bool wide = type.type_id == TYPE_DOUBLE;
    const auto limit = static_cast<double>(std::numeric_limits<float>::max());
    return wide || std::abs(number) <= limit ? Fit::AsItIs : Fit::Refused;
}

// Dates, times and intervals, which all have one text for one value.
bool StoredTemporal(int32_t type_id, std::string_view text, std::string *stored) {
    int32_t small = 0;
    int64_t wide = 0;
    Zoned zoned;
    switch (type_id) {
        case TYPE_DATE:
            if (!ParseDate(text, &small)) return false;
            *stored = FormatDate(small);
            return true;
        case TYPE_TIME:
            if (!ParseTime(text, &small)) return false;
            *stored = FormatTime(small);
            return true;
        case TYPE_DATETIME:
            if (!ParseDateTime(text, &wide)) return false;
            *stored = FormatDateTime(wide);
            return true;
        case TYPE_TIME_ZONED:
            if (!ParseTimeZoned(text, &zoned)) return false;
            *stored = FormatTimeZoned(zoned);
            return true;
        case TYPE_DATETIME_ZONED:
            if (!ParseDateTimeZoned(text, &zoned)) return false;
            *stored = FormatDateTimeZoned(zoned);
            return true;
        default:
            if (!ParseInterval(type_id, text, &wide)) return false;
            *stored = FormatInterval(type_id, wide);
            return true;
    }
}

// Thirty-two hexadecimal digits with or without the usual dashes, stored in capitals with them.
bool StoredGuid(std::string_view text, std::string *stored) {
    std::string digits;
    for (const char c : text) {
        if (c == '-') continue;
        const bool hexadecimal =
            (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
        if (!hexadecimal) return false;
        digits.push_back(c);
    }
    if (digits.size() != GUID_DIGITS) return false;
    *stored = UpperCase(digits);
    for (const size_t at : {20, 16, 12, 8}) {
        stored->insert(at, 1, '-');
    }
    return text.size() == GUID_DIGITS || (text.size() == stored->size() && text[8] == '-' &&
                                          text[13] == '-' && text[18] == '-' && text[23] == '-');
}

Fit FitText(const DeclaredType &type, sqlite3_value *value) {
    if (sqlite3_value_type(value) != SQLITE_TEXT) return Fit::Refused;
    if (type.size == NO_SIZE) return Fit::AsItIs;
    return sqlite3_value_bytes(value) <= type.size ? Fit::AsItIs : Fit::Refused;
}

Fit FitBytes(const DeclaredType &type, sqlite3_value *value, StoredForm *stored) {
    const int kind = sqlite3_value_type(value);
    if (kind != SQLITE_BLOB && kind != SQLITE_TEXT) return Fit::Refused;
    const int bytes = sqlite3_value_bytes(value);
    if (type.size != NO_SIZE && bytes > type.size) return Fit::Refused;
    if (type.type_id == TYPE_ROWVERSION && static_cast<size_t>(bytes) > ROWVERSION_BYTES_MAX) {
        return Fit::Refused;
    }
    if (kind == SQLITE_BLOB) return Fit::AsItIs;
    stored->kind = StoredForm::Kind::Blob;
    stored->bytes = TextOf(value);
    return Fit::Rewritten;
}

// What is stored as text in a form of its own: the value may come as text or, for numbers and
// single-field intervals, as a number that the database has turned into text or left as it was.
Fit FitRewrittenText(const DeclaredType &type, sqlite3_value *value, StoredForm *stored) {
    const int kind = sqlite3_value_type(value);
    if (kind == SQLITE_BLOB) return Fit::Refused;
    const std::string_view given = TextOf(value);
    std::string text;
    bool fits = false;
    switch (type.type_id) {
        case TYPE_NUMERIC: fits = NormaliseDecimal(given, type.size, &text); break;
        case TYPE_GUID: fits = StoredGuid(given, &text); break;
        default: fits = StoredTemporal(type.type_id, given, &text); break;
    }
    return fits ? StoreText(std::move(text), given, kind == SQLITE_TEXT, stored) : Fit::Refused;
}

template <typename Count>
int CompareCounts(Count one, Count other) {
    return one < other ? -1 : static_cast<int>(one > other);
}

// A count by which values of the type sort; false when the text is none of them.
bool SortingCount(int32_t type_id, std::string_view text, int64_t *count) {
    int32_t small = 0;
    Zoned zoned;
    bool sound = false;
    switch (type_id) {
        case TYPE_DATE:
            sound = ParseDate(text, &small);
            *count = small;
            return sound;
        case TYPE_TIME:
            sound = ParseTime(text, &small);
            *count = small;
            return sound;
        case TYPE_DATETIME: return ParseDateTime(text, count);
        case TYPE_TIME_ZONED:
            sound = ParseTimeZoned(text, &zoned);
            *count = zoned.count;
            return sound;
        case TYPE_DATETIME_ZONED:
            sound = ParseDateTimeZoned(text, &zoned);
            *count = zoned.count;
            return sound;
        default: return ParseInterval(type_id, text, count);
    }
}

void AppendInteger(int32_t type_id, int64_t number, std::string *row) {
    const uint32_t width = FixedBytes(type_id);
    AppendInt32(row, static_cast<int32_t>(width));
    for (uint32_t shift = width * 8; shift > 0; shift -= 8) {
        row->push_back(static_cast<char>((static_cast<uint64_t>(number) >> (shift - 8)) & 0xFF));
    }
}

void AppendCounted(std::string_view bytes, std::string *row) {
    AppendInt32(row, static_cast<int32_t>(bytes.size()));
    row->append(bytes);
}

std::string_view ColumnText(sqlite3_stmt *statement, int column) {
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(statement, column));
    if (text == nullptr) return {};
    return {text, static_cast<size_t>(sqlite3_column_bytes(statement, column))};
}

std::string_view ColumnBytes(sqlite3_stmt *statement, int column) {
    const auto *bytes = static_cast<const char *>(sqlite3_column_blob(statement, column));
    if (bytes == nullptr) return {};
    return {bytes, static_cast<size_t>(sqlite3_column_bytes(statement, column))};
}

bool AppendIntegerColumn(sqlite3_stmt *statement, int column, int32_t type_id, std::string *row) {
    const int kind = sqlite3_column_type(statement, column);
    const int64_t number = sqlite3_column_int64(statement, column);
    if (kind == SQLITE_FLOAT) {
        // The sum of a column can turn from whole numbers to reals from one row to the next.
        if (static_cast<double>(number) != sqlite3_column_double(statement, column)) return false;
    } else if (kind != SQLITE_INTEGER) {
        return false;
    }
    int64_t lowest = 0;
    int64_t highest = 0;
    IntegerRange(type_id, &lowest, &highest);
    if (number < lowest || number > highest) return false;
    AppendInteger(type_id, number, row);
    return true;
}

bool AppendRealColumn(sqlite3_stmt *statement, int column, int32_t type_id, std::string *row) {
    const int kind = sqlite3_column_type(statement, column);
    if (kind != SQLITE_FLOAT && kind != SQLITE_INTEGER) return false;
    const double number = sqlite3_column_double(statement, column);
    if (type_id == TYPE_FLOAT) {
        AppendInteger(type_id, std::bit_cast<int32_t>(static_cast<float>(number)), row);
    } else {
        AppendInteger(type_id, std::bit_cast<int64_t>(number), row);
    }
    return true;
}

bool AppendZonedColumn(int32_t type_id, std::string_view text, std::string *row) {
    Zoned zoned;
    if (type_id == TYPE_TIME_ZONED) {
        if (!ParseTimeZoned(text, &zoned)) return false;
        AppendInt32(row, 6);
        AppendInt32(row, static_cast<int32_t>(zoned.count));
    } else {
        if (!ParseDateTimeZoned(text, &zoned)) return false;
        AppendInt32(row, 10);
        AppendInt64(row, zoned.count);
    }
    AppendInt16(row, zoned.zone_minutes);
    return true;
}

bool AppendTemporalColumn(int32_t type_id, std::string_view text, std::string *row) {
    if (type_id == TYPE_TIME_ZONED || type_id == TYPE_DATETIME_ZONED) {
        return AppendZonedColumn(type_id, text, row);
    }
    int64_t count = 0;
    if (!SortingCount(type_id, text, &count)) return false;
    AppendInteger(type_id, count, row);
    return true;
}

void AppendLargeColumn(std::string_view bytes, int32_t type_id, LargeObjectGiver *giver,
                       std::string *row) {
    if (giver == nullptr) {
        AppendCounted(bytes, row);
    } else {
        giver->Append(bytes, type_id, row);
    }
}

bool BindText(sqlite3_stmt *statement, int index, std::string_view text) {
    return sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_TRANSIENT,
                               SQLITE_UTF8) == SQLITE_OK;
}

bool BindBorrowedText(sqlite3_stmt *statement, int index, std::string_view text) {
    return sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_STATIC,
                               SQLITE_UTF8) == SQLITE_OK;
}

bool BindFixed(sqlite3_stmt *statement, int index, int32_t type_id, std::string_view bytes) {
    const int64_t number = LoadInteger(bytes, bytes.size());
    switch (type_id) {
        case TYPE_BOOLEAN:
            if (bytes[0] != 'T' && bytes[0] != 'F') return false;
            return sqlite3_bind_int(statement, index, bytes[0] == 'T' ? 1 : 0) == SQLITE_OK;
        case TYPE_FLOAT: {
            const auto narrow = std::bit_cast<float>(static_cast<int32_t>(number));
            return sqlite3_bind_double(statement, index, static_cast<double>(narrow)) == SQLITE_OK;
        }
        case TYPE_DOUBLE:
            return sqlite3_bind_double(statement, index, std::bit_cast<double>(number)) ==
                   SQLITE_OK;
        case TYPE_DATE:
            return IsDay(number) &&
                   BindText(statement, index, FormatDate(static_cast<int32_t>(number)));
        case TYPE_TIME:
            return number >= 0 && number < MILLIS_PER_DAY &&
                   BindText(statement, index, FormatTime(static_cast<int32_t>(number)));
        case TYPE_DATETIME: {
            const int64_t days = number / MILLIS_PER_DAY - (number % MILLIS_PER_DAY < 0 ? 1 : 0);
            return IsDay(days) && BindText(statement, index, FormatDateTime(number));
        }
        default:
            if (IsInterval(type_id)) {
                return BindText(statement, index, FormatInterval(type_id, number));
            }
            return sqlite3_bind_int64(statement, index, number) == SQLITE_OK;
    }
}

}  // namespace

Fit FitValue(const DeclaredType &type, sqlite3_value *value, StoredForm *stored) {
    if (sqlite3_value_type(value) == SQLITE_NULL) return Fit::AsItIs;
    switch (type.type_id) {
        case TYPE_BOOLEAN: return FitBoolean(value, stored);
        case TYPE_TINYINT:
        case TYPE_SMALLINT:
        case TYPE_INTEGER:
        case TYPE_BIGINT: return FitInteger(type, value);
        case TYPE_FLOAT:
        case TYPE_DOUBLE: return FitReal(type, value);
        case TYPE_CHAR:
        case TYPE_CLOB: return FitText(type, value);
        case TYPE_ROWVERSION:
        case TYPE_BINARY:
        case TYPE_BLOB: return FitBytes(type, value, stored);
        default: return FitRewrittenText(type, value, stored);
    }
}

int CompareStored(int32_t type_id, std::string_view one, std::string_view other) {
    if (type_id == TYPE_NUMERIC) return CompareDecimal(one, other);
    int64_t a = 0;
    int64_t b = 0;
    const bool a_sound = SortingCount(type_id, one, &a);
    const bool b_sound = SortingCount(type_id, other, &b);
    if (a_sound && b_sound) return CompareCounts(a, b);
    if (a_sound != b_sound) return a_sound ? -1 : 1;
    return one.compare(other);
}

bool AppendColumn(sqlite3_stmt *statement, int column, const DeclaredType &type,
                  LargeObjectGiver *giver, std::string *row) {
    if (sqlite3_column_type(statement, column) == SQLITE_NULL) {
        AppendInt32(row, 0);
        return true;
    }
    switch (type.type_id) {
        case TYPE_BOOLEAN:
            if (sqlite3_column_type(statement, column) != SQLITE_INTEGER) return false;
            AppendCounted(sqlite3_column_int64(statement, column) != 0 ? "T" : "F", row);
            return true;
        case TYPE_TINYINT:
        case TYPE_SMALLINT:
        case TYPE_INTEGER:
        case TYPE_BIGINT: return AppendIntegerColumn(statement, column, type.type_id, row);
        case TYPE_FLOAT:
        case TYPE_DOUBLE: return AppendRealColumn(statement, column, type.type_id, row);
        case TYPE_NUMERIC:
        case TYPE_GUID:
        case TYPE_ROWID:
        case TYPE_CHAR: AppendCounted(ColumnText(statement, column), row); return true;
        case TYPE_CLOB:
            AppendLargeColumn(ColumnText(statement, column), type.type_id, giver, row);
            return true;
        case TYPE_BLOB:
            AppendLargeColumn(ColumnBytes(statement, column), type.type_id, giver, row);
            return true;
        case TYPE_ROWVERSION:
        case TYPE_BINARY: AppendCounted(ColumnBytes(statement, column), row); return true;
        default: return AppendTemporalColumn(type.type_id, ColumnText(statement, column), row);
    }
}

bool BindWireValue(sqlite3_stmt *statement, int index, int32_t type_id, std::string_view bytes) {
    if (bytes.empty()) return sqlite3_bind_null(statement, index) == SQLITE_OK;
    return BindPresentValue(statement, index, type_id, bytes);
}

bool BindPresentValue(sqlite3_stmt *statement, int index, int32_t type_id, std::string_view bytes) {
    const uint32_t width = FixedBytes(type_id);
    if (width != 0) {
        return bytes.size() == width && BindFixed(statement, index, type_id, bytes);
    }
    switch (type_id) {
        case TYPE_TIME_ZONED: {
            if (bytes.size() != 6) return false;
            const Zoned zoned = {LoadInteger(bytes, 4),
                                 static_cast<int16_t>(LoadInteger(bytes.substr(4), 2))};
            return IsZonedTime(zoned) && BindText(statement, index, FormatTimeZoned(zoned));
        }
        case TYPE_DATETIME_ZONED: {
            if (bytes.size() != 10) return false;
            const Zoned zoned = {LoadInteger(bytes, 8),
                                 static_cast<int16_t>(LoadInteger(bytes.substr(8), 2))};
            return IsZonedDateTime(zoned) && BindText(statement, index, FormatDateTimeZoned(zoned));
        }
        case TYPE_NUMERIC:
        case TYPE_GUID:
        case TYPE_CHAR:
        case TYPE_CLOB:
        case TYPE_ROWID: return BindBorrowedText(statement, index, bytes);
        case TYPE_ROWVERSION:
        case TYPE_BINARY:
        case TYPE_BLOB:
            return sqlite3_bind_blob64(statement, index, bytes.data(), bytes.size(),
                                       SQLITE_STATIC) == SQLITE_OK;
        default: return false;
    }
}

}  // namespace tavud
