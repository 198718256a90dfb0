// Attributes of the native handles by number: one setter and one getter for each handle type.
//
// Setters take a value that is not NULL, and for texts its length in bytes, where a negative length
// means up to the terminator. Getters of texts treat the length as the room at `value`, where a
// negative length vouches for the whole field. Integers are 32-bit words and ignore the length.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "records/handles.h"

inline int32_t AttrReadWord(const void *value) {
    int32_t word;
    memcpy(&word, value, sizeof(word));
    return word;
}

inline void AttrWriteWord(void *value, int32_t word) {
    memcpy(value, &word, sizeof(word));
}

// Bytes of a text value: `length` of them, but none behind its terminator.
size_t AttrTextBytes(const void *value, int32_t length);

// Copies a field to the application with its terminator, cut to `length` bytes. An empty field
// leaves the value alone.
void AttrTextGet(const char *field, void *value, int32_t length);

int32_t ServerAttrSet(TVCIServer *server, int32_t attribute, const void *value, int32_t length);
int32_t ServerAttrGet(const TVCIServer *server, int32_t attribute, void *value, int32_t length);
int32_t SessionAttrSet(TVCISession *session, int32_t attribute, const void *value, int32_t length);
int32_t SessionAttrGet(const TVCISession *session, int32_t attribute, void *value, int32_t length);

// The limits of a pool: 5 `min_conn`, 6 `max_conn`, 7 `pool_timeout`. TVCIAttrSet refuses pools, so
// this is reached from inside only.
int32_t PoolAttrSet(TVCIPool *pool, int32_t attribute, const void *value);
