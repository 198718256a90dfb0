// Attributes of the native handles: the entries, which dispatch on the handle's type word, and the
// tables of environment, statement and pool.
#include "client/attributes.h"

#include "client/handles.h"
#include "client/metadata.h"
#include "diag/error.h"
#include "platform/text.h"
#include "records/statement.h"
#include "tavu/tvci.h"

enum EnvAttribute { ENV_VERSION = 1, ENV_USE_POOL = 2 };
enum PoolAttribute { POOL_MIN_CONN = 5, POOL_MAX_CONN = 6, POOL_TIMEOUT = 7 };
enum StmtAttribute { STMT_SERVER_CURSOR = 42 };

size_t AttrTextBytes(const void *value, int32_t length) {
    if (length < 0) return strlen((const char *)value);
    const void *terminator = memchr(value, '\0', (size_t)length);
    if (terminator == NULL) return (size_t)length;
    return (size_t)((const char *)terminator - (const char *)value);
}

void AttrTextGet(const char *field, void *value, int32_t length) {
    size_t field_bytes = strlen(field) + 1;
    if (field_bytes == 1 || length == 0) return;
    if (length < 0 || (size_t)length >= field_bytes) {
        memcpy(value, field, field_bytes);
    } else {
        TextCopy((char *)value, (size_t)length, field);
    }
}

static int32_t EnvAttrSet(TVCIEnv *env, int32_t attribute, const void *value) {
    uint32_t word = (uint32_t)AttrReadWord(value);
    switch (attribute) {
        case ENV_VERSION:
            env->version_minor = (uint16_t)word;
            env->version_major = (uint16_t)(word >> 16);
            return 0;
        case ENV_USE_POOL: env->use_pool = word != 0; return 0;
        default: ErrInfoRaise(env, "E32201", " no number is : %d Attribute", attribute); return -6;
    }
}

static int32_t EnvAttrGet(const TVCIEnv *env, int32_t attribute, void *value) {
    switch (attribute) {
        case ENV_VERSION:
            AttrWriteWord(value,
                          (int32_t)(env->version_minor | (uint32_t)env->version_major << 16));
            return 0;
        case ENV_USE_POOL: AttrWriteWord(value, env->use_pool); return 0;
        default: return -6;
    }
}

static int32_t StmtAttrSet(TVCIStmt *stmt, int32_t attribute, const void *value) {
    if (attribute != STMT_SERVER_CURSOR) {
        ErrInfoRaise(stmt, "E32221", " Unsupported attr-type %d ", attribute);
        return -6;
    }
    int32_t mode = AttrReadWord(value);
    if (mode < 0 || mode > 2) {
        ErrInfoRaise(stmt, "E32220", " Error attr-value %d ", mode);
        return -1;
    }
    stmt->use_server_cursor = mode != 0;
    stmt->fetch_ahead = mode == 2;
    return 0;
}

static int32_t StmtAttrGet(const TVCIStmt *stmt, int32_t attribute, void *value) {
    if (attribute != STMT_SERVER_CURSOR) return StmtMetadataGet(stmt, attribute, value);
    int32_t mode = 0;
    if (stmt->fetch_ahead != 0) {
        mode = 2;
    } else if (stmt->use_server_cursor != 0) {
        mode = 1;
    }
    AttrWriteWord(value, mode);
    return 0;
}

int32_t PoolAttrSet(TVCIPool *pool, int32_t attribute, const void *value) {
    switch (attribute) {
        case POOL_MIN_CONN: pool->min_conn = AttrReadWord(value); return 0;
        case POOL_MAX_CONN: pool->max_conn = AttrReadWord(value); return 0;
        case POOL_TIMEOUT: pool->pool_timeout = AttrReadWord(value); return 0;
        default: ErrInfoRaise(pool, "E32216", " Unsupported attr-type %d ", attribute); return -6;
    }
}

int32_t TVCIAttrSet(void *handle, int32_t attribute, const void *value, int32_t length) {
    if (handle == NULL) return -2;
    if (value == NULL) {
        ErrInfoRaise(handle, "E32203", " param ValuePtr value pointer can't be NULL ");
        return -3;
    }
    uint32_t type = *(const uint32_t *)handle;
    switch (type) {
        case TVCI_HTYPE_ENV: return EnvAttrSet((TVCIEnv *)handle, attribute, value);
        case TVCI_HTYPE_SERVER:
            return ServerAttrSet((TVCIServer *)handle, attribute, value, length);
        case TVCI_HTYPE_SESSION:
            return SessionAttrSet((TVCISession *)handle, attribute, value, length);
        case TVCI_HTYPE_STMT: return StmtAttrSet((TVCIStmt *)handle, attribute, value);
        case HTYPE_EMPTY: return 0;
        default:
            ErrInfoRaise(handle, "E32204", " this type %d handle Unsupported ", (int32_t)type);
            return -2;
    }
}

// The room that a text may take at the value; without a length the whole field fits.
static int32_t TextRoom(const int32_t *length) {
    return length == NULL ? -1 : *length;
}

// `length` is read for texts of servers and sessions, and written for columns.
static int32_t AttrGet(void *handle, int32_t attribute, void *value, int32_t *length) {
    switch (*(const uint32_t *)handle) {
        case TVCI_HTYPE_ENV: return EnvAttrGet((TVCIEnv *)handle, attribute, value);
        case TVCI_HTYPE_SERVER:
            return ServerAttrGet((TVCIServer *)handle, attribute, value, TextRoom(length));
        case TVCI_HTYPE_SESSION:
            return SessionAttrGet((TVCISession *)handle, attribute, value, TextRoom(length));
        case TVCI_HTYPE_STMT: return StmtAttrGet((TVCIStmt *)handle, attribute, value);
        case TVCI_HTYPE_COLUMN:
            return ColumnMetadataGet((const ColumnHandle *)handle, attribute, value, length);
        default: return -2;
    }
}

int32_t TVCIAttrGet(void *handle, int32_t attribute, void *value, int32_t length) {
    if (handle == NULL || value == NULL) return -3;
    uint32_t type = *(const uint32_t *)handle;
    if (type == HTYPE_EMPTY) return 0;
    if (type == TVCI_HTYPE_COLUMN) return -2;
    return AttrGet(handle, attribute, value, &length);
}

// A handle whose type word is not `handle_type` is refused like a type that is not served, for it
// would be read as a record that it is not.
int32_t TVCIGetResultAttr(void *handle, int32_t handle_type, void *value, int32_t *length,
                          int32_t attribute) {
    if (handle == NULL || value == NULL) return -3;
    if (*(const uint32_t *)handle != (uint32_t)handle_type) return -2;
    return AttrGet(handle, attribute, value, length);
}
