// The field list: the descriptions of a result's columns, and the layout of its rows.
#include <cstddef>
#include <cstring>

#include "platform/memory.h"
#include "records/handles.h"
#include "stmt/rows.h"
#include "tavu/tvci.h"
#include "values/types.h"
#include "wire/connection.h"

// Descriptions for which room is made before the first has arrived.
constexpr int32_t FIRST_FIELDS_MAX = 64;

// Parts a column name at its first "%" and, of what is left, at its first ".".
static void SplitName(FieldDesc *desc, char *text) {
    char *attribute = strchr(text, '%');
    if (attribute != NULL) {
        *attribute = '\0';
        desc->attribute = attribute + 1;
    }
    char *column = strchr(text, '.');
    if (column != NULL) {
        *column = '\0';
        desc->table = text;
        desc->name = column + 1;
    } else {
        desc->name = text;
    }
}

static bool ReadWord(Connection *conn, int32_t *word) {
    uint32_t value;
    if (!ConnReadInt32(conn, &value)) return false;
    *word = (int32_t)value;
    return true;
}

int32_t ReadField(Connection *conn, FieldDesc *desc) {
    memset(desc, 0, sizeof(*desc));
    char *text;
    const int32_t status = ConnReadString(conn, &text);
    if (status != TVCI_SUCCESS) return status;
    if (!ReadWord(conn, &desc->type) || !ReadWord(conn, &desc->size) ||
        !ReadWord(conn, &desc->flags)) {
        MemFree(text);
        return TVCI_CONNECTION_LOST;
    }
    SplitName(desc, text);
    desc->app_type = TypeDefaultCType(desc->type);
    return TVCI_SUCCESS;
}

void FieldsFree(FieldDesc *fields, int32_t count) {
    if (fields == NULL) return;
    for (int32_t column = 0; column < count; column++) {
        MemFree(fields[column].table != NULL ? fields[column].table : fields[column].name);
    }
    MemFree(fields);
}

// Doubles the room, up to `count` descriptions.
static int32_t GrowFields(FieldDesc **fields, int32_t *room, int32_t count) {
    const int32_t wanted = *room < count / 2 ? *room * 2 : count;
    FieldDesc *grown = (FieldDesc *)MemRealloc(*fields, (size_t)wanted * sizeof(FieldDesc));
    if (grown == NULL) return TVCI_NO_MEMORY;
    *fields = grown;
    *room = wanted;
    return TVCI_SUCCESS;
}

// Reads `count` descriptions into a new array. The announced count is no reason to ask for memory:
// the room grows with what has arrived.
static int32_t ReadDescriptions(Connection *conn, int32_t count, FieldDesc **fields_out) {
    int32_t room = count < FIRST_FIELDS_MAX ? count : FIRST_FIELDS_MAX;
    FieldDesc *fields = (FieldDesc *)MemAlloc((size_t)room * sizeof(FieldDesc));
    if (fields == NULL) return TVCI_NO_MEMORY;
    for (int32_t arrived = 0; arrived < count; arrived++) {
        int32_t status = TVCI_SUCCESS;
        if (arrived == room) {
            status = GrowFields(&fields, &room, count);
        }
        if (status == TVCI_SUCCESS) {
            status = ReadField(conn, &fields[arrived]);
        }
        if (status != TVCI_SUCCESS) {
            FieldsFree(fields, arrived);
            return status;
        }
    }
    *fields_out = fields;
    return TVCI_SUCCESS;
}

int32_t ReadFields(Connection *conn, int32_t *count, FieldDesc **fields) {
    *count = 0;
    *fields = NULL;
    if (!ReadWord(conn, count)) return TVCI_CONNECTION_LOST;
    if (*count < 0) {
        *count = 0;
        return TVCI_NO_MEMORY;
    }
    return ReadDescriptions(conn, *count, fields);
}

// Gives each column its place in a row and returns the size of the row.
static int64_t LayOutRow(FieldDesc *fields, int32_t count) {
    int64_t offset = ((int64_t)count * 2 + 7) / 8;
    for (int32_t column = 0; column < count; column++) {
        fields[column].value_offset = (int32_t)offset;
        offset += TypeFixedSize(fields[column].type);
        if (offset > INT32_MAX) break;
    }
    return offset + ROW_HEADER_BYTES;
}

int32_t ReadFieldList(ResultSet *result) {
    Connection *conn = result->statement->session->conn;
    // Rows of an earlier list have another layout.
    FreeResultSet(result);
    result->conn = conn;
    int32_t count;
    FieldDesc *fields;
    const int32_t status = ReadFields(conn, &count, &fields);
    result->field_count = count;
    if (status != TVCI_SUCCESS) return status;
    const int64_t row_size = LayOutRow(fields, count);
    // A row costs a byte more than its size.
    if (row_size >= INT32_MAX) {
        FieldsFree(fields, count);
        return TVCI_NO_MEMORY;
    }
    result->row_size = (int32_t)row_size;
    result->fields = fields;
    return TVCI_SUCCESS;
}
