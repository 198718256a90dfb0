// Attributes of a session: what its login sends and how its connection behaves.
#include <cstdlib>

#include "client/attributes.h"
#include "diag/error.h"
#include "platform/text.h"

enum SessionAttribute {
    SESSION_CHAR_SET = 33,
    SESSION_TIME_ZONE = 34,
    SESSION_ENCRYPTOR = 35,
    SESSION_ISO_LEVEL = 36,
    SESSION_USE_SSL = 37,
    SESSION_AUTO_COMMIT = 38,
    SESSION_TIMEOUT = 39,
    SESSION_LOB_RET = 40,
    SESSION_VERSION = 41,
    SESSION_RECONNECT = 43,
    SESSION_RETURN_CURSOR_ID = 44,
    SESSION_LOCK_TIMEOUT = 45,
    SESSION_RETURN_ROWID = 46,
    SESSION_RETURN_SCHEMA = 47
};

constexpr int32_t VERSION_BYTES_MAX = 64;

// The character sets by their codes, which begin at 1.
static const char *const char_set_table[] = {"GBK", "GB2312", "UTF8"};
constexpr int32_t CHAR_SET_COUNT = 3;
static_assert(sizeof(char_set_table) / sizeof(char_set_table[0]) == CHAR_SET_COUNT);

static int32_t SetCharSet(TVCISession *session, int32_t code) {
    if (code < 1 || code > CHAR_SET_COUNT) {
        ErrInfoRaise(session, "E32211", " Unsupported char-set type %d ", code);
        return -1;
    }
    TextCopy(session->attr.char_set, sizeof(session->attr.char_set), char_set_table[code - 1]);
    return 0;
}

// Any other text leaves the value alone.
static void GetCharSet(const TVCISession *session, void *value) {
    for (int32_t code = 1; code <= CHAR_SET_COUNT; code++) {
        if (strcmp(session->attr.char_set, char_set_table[code - 1]) == 0) {
            AttrWriteWord(value, code);
        }
    }
}

static int32_t SetIsoLevel(TVCISession *session, int32_t level) {
    if (level < 1 || level > 4) {
        ErrInfoRaise(session, "E32212", " Unsupported Isolevel type %d ", level);
        return -1;
    }
    const char text[] = {(char)('0' + level), '\0'};
    TextCopy(session->attr.iso_level, sizeof(session->attr.iso_level), text);
    return 0;
}

// Stores a word that must be 0 or 1.
static bool SetSwitch(uint8_t *field, int32_t word) {
    if (word != 0 && word != 1) return false;
    *field = (uint8_t)word;
    return true;
}

static int32_t SetUseSsl(TVCISession *session, int32_t word) {
    if (SetSwitch(&session->attr.use_ssl, word)) return 0;
    ErrInfoRaise(session, "E32213", " Unsupported Ssl type %d ", word);
    return -1;
}

static int32_t SetAutoCommit(TVCISession *session, int32_t word) {
    if (SetSwitch(&session->attr.auto_commit, word)) return 0;
    ErrInfoRaise(session, "E32214", " Unsupported auto_commit type %d ", word);
    return -1;
}

static int32_t SetReconnect(TVCISession *session, int32_t word) {
    if (SetSwitch(&session->attr.reconnect, word)) return 0;
    ErrInfoRaise(session, "E32217", " Unsupported reconnect type %d ", word);
    return -1;
}

static int32_t SetVersion(TVCISession *session, const char *text, int32_t length) {
    size_t bytes = AttrTextBytes(text, length);
    if (length > VERSION_BYTES_MAX || bytes > VERSION_BYTES_MAX) {
        ErrInfoRaise(session, "E32210", " the version is %.*s ",
                     (int)(bytes < ERROR_DETAIL_BYTES ? bytes : ERROR_DETAIL_BYTES), text);
        return -1;
    }
    TextCopyBytes(session->attr.version, sizeof(session->attr.version), text, bytes);
    return 0;
}

// Stores a text, cut at the field.
static int32_t SetText(char *field, size_t field_bytes, const void *value, int32_t length) {
    TextCopyBytes(field, field_bytes, (const char *)value, AttrTextBytes(value, length));
    return 0;
}

static int32_t SetFlag(uint8_t *field, const void *value) {
    *field = AttrReadWord(value) != 0;
    return 0;
}

static int32_t SetWord(int32_t *field, const void *value) {
    *field = AttrReadWord(value);
    return 0;
}

int32_t SessionAttrSet(TVCISession *session, int32_t attribute, const void *value, int32_t length) {
    ConnAttr *attr = &session->attr;
    switch (attribute) {
        case SESSION_CHAR_SET: return SetCharSet(session, AttrReadWord(value));
        case SESSION_TIME_ZONE:
            return SetText(attr->time_zone, sizeof(attr->time_zone), value, length);
        case SESSION_ENCRYPTOR:
            return SetText(attr->encryptor, sizeof(attr->encryptor), value, length);
        case SESSION_ISO_LEVEL: return SetIsoLevel(session, AttrReadWord(value));
        case SESSION_USE_SSL: return SetUseSsl(session, AttrReadWord(value));
        case SESSION_AUTO_COMMIT: return SetAutoCommit(session, AttrReadWord(value));
        case SESSION_TIMEOUT: return SetWord(&attr->timeout, value);
        case SESSION_LOB_RET: return SetFlag(&attr->lob_ret, value);
        case SESSION_VERSION: return SetVersion(session, (const char *)value, length);
        case SESSION_RECONNECT: return SetReconnect(session, AttrReadWord(value));
        case SESSION_RETURN_CURSOR_ID: return SetFlag(&attr->return_cursor_id, value);
        case SESSION_LOCK_TIMEOUT: return SetWord(&attr->lock_timeout, value);
        case SESSION_RETURN_ROWID: return SetFlag(&attr->return_rowid, value);
        case SESSION_RETURN_SCHEMA: return SetFlag(&attr->return_schema, value);
        default:
            ErrInfoRaise(session, "E32215", " Unsupported attr-type %d ", attribute);
            return -6;
    }
}

int32_t SessionAttrGet(const TVCISession *session, int32_t attribute, void *value, int32_t length) {
    const ConnAttr *attr = &session->attr;
    switch (attribute) {
        case SESSION_CHAR_SET: GetCharSet(session, value); return 0;
        case SESSION_TIME_ZONE: AttrTextGet(attr->time_zone, value, length); return 0;
        case SESSION_ENCRYPTOR: AttrTextGet(attr->encryptor, value, length); return 0;
        case SESSION_ISO_LEVEL:
            AttrWriteWord(value, (int32_t)strtol(attr->iso_level, NULL, 10));
            return 0;
        case SESSION_USE_SSL: AttrWriteWord(value, attr->use_ssl); return 0;
        case SESSION_AUTO_COMMIT: AttrWriteWord(value, attr->auto_commit); return 0;
        case SESSION_TIMEOUT: AttrWriteWord(value, attr->timeout); return 0;
        case SESSION_LOB_RET: AttrWriteWord(value, attr->lob_ret); return 0;
        case SESSION_RECONNECT: AttrWriteWord(value, attr->reconnect); return 0;
        case SESSION_RETURN_CURSOR_ID: AttrWriteWord(value, attr->return_cursor_id); return 0;
        case SESSION_LOCK_TIMEOUT: AttrWriteWord(value, attr->lock_timeout); return 0;
        default: return -6;
    }
}
