// A result of one row and one column, laid out by hand, for tests of the column conversions.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <source_location>
#include <string>

#include "records/handles.h"
#include "records/result.h"
#include "records/statement.h"
#include "support/bytes.h"
#include "wire/connection.h"

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

// A value of a column, as its type says it: a count, a letter, a number or a text. Tables of values
// are written with it, since they need no code to be built.
struct Value {
    int64_t count = 0;
    int16_t zone = 0;
    double real = 0;
    const char *text = NULL;

    constexpr Value(int number) : count(number), real(number) {}
    constexpr Value(int64_t number) : count(number) {}
    constexpr Value(double number) : real(number) {}
    constexpr Value(const char *characters) : text(characters) {}
};

// A zoned value.
constexpr Value Zoned(int64_t count, int16_t zone) {
    Value value(count);
    value.zone = zone;
    return value;
}

// The bytes of a value as a row holds them: in host order, but for the zoned ones, which lie as
// they came off the wire.
inline Bytes StoredBytes(int32_t type, const Value &value) {
    if (value.text != NULL) return Ascii(value.text);
    Bytes zone = {(uint8_t)((uint16_t)value.zone >> 8), (uint8_t)value.zone};
    if (type == 12) return Int32((int32_t)value.count) + zone;
    if (type == 14) return Int64(value.count) + zone;
    Bytes bytes(InlineBytes(type));
    const float narrow = (float)value.real;
    const void *source = &value.count;
    if (type == 8) source = &narrow;
    if (type == 9) source = &value.real;
    memcpy(bytes.data(), source, bytes.size());
    return bytes;
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

    OneValue(int32_t type, const Value &value) : OneValue(type, StoredBytes(type, value)) {}

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

    // Status, length and the whole buffer. Like the next one a plain call, for the time that
    // assertions take to compile.
    void ExpectIs(int32_t wanted_status, int32_t wanted_length, const char *wanted_buffer,
                  std::source_location place = std::source_location::current()) const {
        if (status == wanted_status && length == wanted_length && buffer == Hex(wanted_buffer)) {
            return;
        }
        ADD_FAILURE_AT(place.file_name(), (int)place.line())
            << "status " << status << ", length " << length << ", " << HexText(buffer);
    }
    // A record of these members, whose length is told as well.
    void ExpectHolds(std::initializer_list<int32_t> members,
                     std::source_location place = std::source_location::current()) const {
        const uint8_t *bytes = (const uint8_t *)members.begin();
        const size_t record_bytes = sizeof(int32_t) * members.size();
        if (status == 0 && length == (int32_t)record_bytes &&
            buffer == Bytes(bytes, bytes + record_bytes)) {
            return;
        }
        ADD_FAILURE_AT(place.file_name(), (int)place.line())
            << "status " << status << ", length " << length << ", " << HexText(buffer);
    }
    void ExpectText(const char *wanted,
                    std::source_location place = std::source_location::current()) const {
        if (Text() == wanted) return;
        ADD_FAILURE_AT(place.file_name(), (int)place.line())
            << "status " << status << ", " << HexText(buffer) << "\nwanted " << wanted;
    }
    // A number of this width, in host order.
    template <typename T>
    void ExpectNumber(T wanted,
                      std::source_location place = std::source_location::current()) const {
        const uint8_t *bytes = (const uint8_t *)&wanted;
        if (status == 0 && length == (int32_t)sizeof(wanted) &&
            buffer == Bytes(bytes, bytes + sizeof(wanted))) {
            return;
        }
        ADD_FAILURE_AT(place.file_name(), (int)place.line())
            << "status " << status << ", length " << length << ", " << HexText(buffer)
            << "\nwanted " << wanted;
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

// A member of a record that no conversion wrote to.
constexpr int32_t KEPT = (int32_t)0xEEEEEEEE;

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
