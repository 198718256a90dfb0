// A result of one row and one column, laid out by hand, for tests of the column conversions.
#pragma once

#include <cstring>
#include <string>

#include "records/handles.h"
#include "records/result.h"
#include "records/statement.h"
#include "support/bytes.h"
#include "wire/connection.h"

// The bytes of a value in host order.
template <typename T>
Bytes Raw(T value) {
    Bytes bytes(sizeof(value));
    memcpy(bytes.data(), &value, sizeof(value));
    return bytes;
}

// Bytes of a slot of fixed width; 0 for the types whose bytes lie elsewhere.
inline size_t InlineBytes(int32_t type) {
    if (type == 2 || type == 3) return 1;
    if (type == 4) return 2;
    if (type == 5 || type == 8 || type == 10 || type == 11) return 4;
    if (type == 6 || type == 9 || type == 13) return 8;
    if (type >= 15 && type <= 23) return 4;
    if (type >= 24 && type <= 27) return 8;
    return 0;
}

struct OneValue {
    FieldDesc field = {};
    ResultSet result = {};
    TVCIStmt stmt = {};
    TVCISession session = {};
    Bytes row;
    Bytes external;

    // A header of 24 bytes, one byte of status map and the slot.
    OneValue(int32_t type, const Bytes &value) {
        swap_bytes.store(1);
        field.type = type;
        field.value_offset = 1;
        row.assign(25, 0);
        if (InlineBytes(type) != 0) {
            row.insert(row.end(), value.begin(), value.end());
            row.resize(25 + InlineBytes(type));
        } else {
            external = value;
            external.push_back(0);
            row.resize(25 + (type == 7 ? 40 : 16));
            row[24] = 2;
            const int32_t length = (int32_t)value.size();
            const uint8_t *bytes = external.data();
            memcpy(&row[25], &length, sizeof(length));
            memcpy(&row[33], &bytes, sizeof(bytes));
        }
        stmt.session = &session;
        result.statement = &stmt;
        result.field_count = 1;
        result.fields = &field;
        result.row_size = (int32_t)row.size();
        result.current_row = row.data();
    }

    OneValue(int32_t type, const std::string &text) : OneValue(type, Ascii(text)) {}

    void SetNull() {
        row[24] |= 1;
    }

    // What the row holds of the value now.
    Bytes Stored() const {
        return Bytes(external.begin(), external.end() - 1);
    }
};

// What a conversion left behind. The buffer was filled with 0xEE before.
struct Outcome {
    int32_t status = 77;
    int32_t length = 77;
    Bytes buffer;

    template <typename T>
    T As() const {
        T value;
        EXPECT_EQ(sizeof(value), buffer.size());
        memcpy(&value, buffer.data(), sizeof(value));
        return value;
    }
    // The text before the first NUL.
    std::string Text() const {
        const std::string text(buffer.begin(), buffer.end());
        return text.substr(0, text.find('\0'));
    }
    bool Untouched() const {
        return buffer == Bytes(buffer.size(), 0xEE);
    }
};

// Bytes of the form that a CType asks for; 100 for texts and bytes.
inline size_t FormBytes(int32_t c_type) {
    switch (c_type) {
        case 1: return 1;
        case 3: return 1;
        case 4: return 2;
        case 5: return 4;
        case 6: return 8;
        case 7: return 4;
        case 8: return 8;
        case 10: return 12;
        case 11: return 12;
        case 12: return 20;
        case 13: return 28;
        case 14: return 36;
        case 21: return 24;
        case 28: return 8;
        case 31: return 20;
        case 40: return 48;
        default: return 100;
    }
}
