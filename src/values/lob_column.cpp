// Column values as large object records.
#include "values/lob_column.h"

#include "platform/memory.h"
#include "records/handles.h"
#include "records/statement.h"
#include "values/arena.h"

bool HasDescriptors(const ResultSet *result) {
    const TVCIStmt *stmt = result->statement;
    return stmt != NULL && stmt->session != NULL && stmt->session->attr.lob_ret != 0;
}

// The value of a digit, or -1.
static int32_t HexDigit(uint8_t letter) {
    if (letter >= '0' && letter <= '9') return letter - '0';
    if (letter >= 'A' && letter <= 'F') return letter - 'A' + 10;
    if (letter >= 'a' && letter <= 'f') return letter - 'a' + 10;
    return -1;
}

static bool DecodeHex(const uint8_t *digits, int32_t byte_count, uint8_t *bytes) {
    for (int32_t i = 0; i < byte_count; i++) {
        const int32_t high = HexDigit(digits[2 * i]);
        const int32_t low = HexDigit(digits[2 * i + 1]);
        if (high < 0 || low < 0) return false;
        bytes[i] = (uint8_t)(high << 4 | low);
    }
    return true;
}

uint8_t *HexToBytes(RowArena *arena, const void *text, int32_t length) {
    if (length < 0 || length % 2 != 0) return NULL;
    const size_t byte_count = (size_t)length / 2;
    void *bytes = arena != NULL ? ArenaKeep(arena, byte_count) : MemAllocRaw(byte_count);
    if (bytes == NULL) return NULL;
    if (DecodeHex((const uint8_t *)text, length / 2, (uint8_t *)bytes)) return (uint8_t *)bytes;
    // What an arena has handed out stays with it.
    if (arena == NULL) {
        MemFree(bytes);
    }
    return NULL;
}

// A value of the server's large object types. The record lets go of what it named before: a name
// that was left there would say that the record owns the data beside it.
static LobContent FillLargeObject(const ResultSet *result, const ColumnValue *value, uint8_t tag,
                                  LobRecord *lob) {
    lob->length = value->length;
    lob->data = value->bytes;
    lob->descriptor = NULL;
    lob->session = NULL;
    lob->remote = HasDescriptors(result);
    if (!lob->remote) return LOB_CONTENT_WHOLE;
    if (value->length > 0 && value->bytes[0] == tag) {
        lob->length = value->length - 1;
        lob->data = value->bytes + 1;
        return LOB_CONTENT_TAGGED;
    }
    lob->data = NULL;
    lob->descriptor = (char *)value->bytes;
    lob->session = result->statement->session;
    return LOB_CONTENT_DESCRIPTOR;
}

LobContent FillLob(const ResultSet *result, const ColumnValue *value, LobRecord *lob) {
    if (value->type == TYPE_CLOB) {
        lob->kind = LOB_KIND_CLOB;
        return FillLargeObject(result, value, LOB_TAG_CLOB, lob);
    }
    if (value->type == TYPE_BLOB) {
        lob->kind = LOB_KIND_BLOB;
        return FillLargeObject(result, value, LOB_TAG_BLOB, lob);
    }
    if (value->type < TYPE_POINT || value->type > TYPE_RASTER) return LOB_CONTENT_NONE;
    lob->kind = LOB_KIND_GEOMETRY;
    lob->length = value->length / 2;
    lob->data = HexToBytes(result->arena, value->bytes, value->length);
    lob->remote = 1;
    lob->descriptor = NULL;
    lob->session = NULL;
    return LOB_CONTENT_HEX;
}
