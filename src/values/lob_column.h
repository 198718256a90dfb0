// Column values as large object records.
#pragma once

#include "records/values.h"
#include "values/column_value.h"

// The letters in front of content that came in place of a descriptor.
constexpr uint8_t LOB_TAG_CLOB = 'c';
constexpr uint8_t LOB_TAG_BLOB = 'b';

// Where the content of a large value is.
enum LobContent {
    LOB_CONTENT_NONE,        // the type is no large object
    LOB_CONTENT_WHOLE,       // the stored bytes
    LOB_CONTENT_TAGGED,      // the stored bytes behind their tag
    LOB_CONTENT_DESCRIPTOR,  // on the server; the stored bytes name it
    LOB_CONTENT_HEX          // the stored bytes are digits; they were decoded
};

// Whether the session's large values come with a tag in front of them, or as descriptors.
bool HasDescriptors(const ResultSet *result);

// Fills in a record; who owns the bytes is the caller's to say, and `borrowed` stays as it was. The
// record of a type that is no large object stays as it was altogether.
LobContent FillLob(const ResultSet *result, const ColumnValue *value, LobRecord *lob);

// The bytes that pairs of hexadecimal digits in either case stand for. They go with the arena, or
// are to be freed where that is NULL. NULL for an odd length, for anything but digits and when
// memory is short.
uint8_t *HexToBytes(RowArena *arena, const void *text, int32_t length);
