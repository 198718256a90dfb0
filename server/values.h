// Single values: what fits a column, the form in which it is stored, and its bytes on the wire.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <sqlite3.h>

#include "server/large_object.h"
#include "server/types.h"

namespace tavud {

enum class Fit {
    Refused,    // the value does not fit its column
    AsItIs,     // it fits and is stored as it came
    Rewritten,  // it fits and is stored in another form
};

// The form in which a value is stored when it is not stored as it came.
struct StoredForm {
    enum class Kind { Integer, Text, Blob } kind = Kind::Text;
    int64_t integer = 0;
    std::string bytes;
};

// Whether a value fits a column and how it is stored. NULL fits everything.
Fit FitValue(const DeclaredType &type, sqlite3_value *value, StoredForm *stored);

// Orders two stored texts of a type whose texts do not sort by their bytes.
int CompareStored(int32_t type_id, std::string_view one, std::string_view other);

// Appends the int32 length and the payload of one column of the current row. `type` is what the
// field list announced. False when the value is none of that type; nothing is appended then.
// `giver` says what stands for CLOB and BLOB values; without one it is their bytes.
bool AppendColumn(sqlite3_stmt *statement, int column, const DeclaredType &type,
                  LargeObjectGiver *giver, std::string *row);

// Binds a parameter that came with this type code, NULL when it has no bytes. The bytes are
// borrowed until the statement is bound anew. False when they are no value of the type.
bool BindWireValue(sqlite3_stmt *statement, int index, int32_t type_id, std::string_view bytes);

// The same for a value that is not NULL: without bytes it is an empty text or binary.
bool BindPresentValue(sqlite3_stmt *statement, int index, int32_t type_id, std::string_view bytes);

}  // namespace tavud
