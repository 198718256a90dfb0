// The SQL functions and orderings by which the database checks and compares values of the types
// that it does not have itself.
#include "server/functions.h"

#include <cstdint>
#include <string>
#include <string_view>

#include "server/database.h"
#include "server/errors.h"
#include "server/types.h"
#include "server/values.h"

namespace tavud {

namespace {

// A refused value is quoted up to this length.
constexpr size_t QUOTED_BYTES_MAX = 60;

DeclaredType TypeOfArguments(sqlite3_value **arguments) {
    DeclaredType type;
    type.type_id = sqlite3_value_int(arguments[0]);
    type.size = sqlite3_value_int(arguments[1]);
    type.varying = sqlite3_value_int(arguments[2]) != 0;
    return type;
}

bool IsBinaryNumber(int32_t type_id) {
    return type_id >= TYPE_TINYINT && type_id <= TYPE_DOUBLE && type_id != TYPE_NUMERIC;
}

std::string QuotedValue(sqlite3_value *value) {
    const int kind = sqlite3_value_type(value);
    if (kind == SQLITE_BLOB) {
        return "of " + std::to_string(sqlite3_value_bytes(value)) + " bytes";
    }
    const auto *text = reinterpret_cast<const char *>(sqlite3_value_text(value));
    std::string quoted = text == nullptr ? "" : text;
    if (quoted.size() > QUOTED_BYTES_MAX) quoted = quoted.substr(0, QUOTED_BYTES_MAX) + "...";
    return kind == SQLITE_TEXT ? "'" + quoted + "'" : quoted;
}

void RefuseValue(sqlite3_context *context, const DeclaredType &type, sqlite3_value *value) {
    const std::string text = Bracketed(
        CODE_VALUE, "value " + QuotedValue(value) + " does not fit " + DescribeType(type));
    sqlite3_result_error(context, text.c_str(), static_cast<int>(text.size()));
}

void Fits(sqlite3_context *context, int, sqlite3_value **arguments) {
    const DeclaredType type = TypeOfArguments(arguments);
    StoredForm stored;
    if (FitValue(type, arguments[3], &stored) == Fit::Refused) {
        RefuseValue(context, type, arguments[3]);
    } else {
        sqlite3_result_int(context, 1);
    }
}

void Stored(sqlite3_context *context, int, sqlite3_value **arguments) {
    const DeclaredType type = TypeOfArguments(arguments);
    StoredForm stored;
    // A column of these types turns a text of digits into a number before it gets here. A value
    // that comes from elsewhere has had no such treatment.
    if (IsBinaryNumber(type.type_id)) sqlite3_value_numeric_type(arguments[3]);
    switch (FitValue(type, arguments[3], &stored)) {
        case Fit::Refused: RefuseValue(context, type, arguments[3]); return;
        case Fit::AsItIs: sqlite3_result_value(context, arguments[3]); return;
        case Fit::Rewritten: break;
    }
    switch (stored.kind) {
        case StoredForm::Kind::Integer: sqlite3_result_int64(context, stored.integer); return;
        case StoredForm::Kind::Text:
            sqlite3_result_text64(context, stored.bytes.data(), stored.bytes.size(),
                                  SQLITE_TRANSIENT, SQLITE_UTF8);
            return;
        case StoredForm::Kind::Blob:
            sqlite3_result_blob64(context, stored.bytes.data(), stored.bytes.size(),
                                  SQLITE_TRANSIENT);
            return;
    }
}

int Compare(void *context, int one_bytes, const void *one, int other_bytes, const void *other) {
    const auto type_id = static_cast<int32_t>(reinterpret_cast<intptr_t>(context));
    const auto view = [](const void *text, int bytes) {
        return bytes == 0
                   ? std::string_view()
                   : std::string_view(static_cast<const char *>(text), static_cast<size_t>(bytes));
    };
    return CompareStored(type_id, view(one, one_bytes), view(other, other_bytes));
}

void AddFunction(sqlite3 *database, const char *name,
                 void (*function)(sqlite3_context *, int, sqlite3_value **)) {
    const int flags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS;
    if (sqlite3_create_function_v2(database, name, 4, flags, nullptr, function, nullptr, nullptr,
                                   nullptr) != SQLITE_OK) {
        throw DatabaseFailure(sqlite3_errmsg(database));
    }
}

}  // namespace

void AddFunctions(sqlite3 *database) {
    AddFunction(database, "tavu_fits", Fits);
    AddFunction(database, "tavu_stored", Stored);
    for (intptr_t type_id = TYPE_BOOLEAN; type_id <= TYPE_BLOB; type_id++) {
        const std::string name = CollationName(static_cast<int32_t>(type_id));
        if (name.empty()) continue;
        if (sqlite3_create_collation(database, name.c_str(), SQLITE_UTF8,
                                     reinterpret_cast<void *>(type_id), Compare) != SQLITE_OK) {
            throw DatabaseFailure(sqlite3_errmsg(database));
        }
    }
}

std::string StoredCall(const DeclaredType &type, const std::string &expression) {
    return "tavu_stored(" + std::to_string(type.type_id) + "," + std::to_string(type.size) + "," +
           (type.varying ? "1" : "0") + "," + expression + ")";
}

}  // namespace tavud
