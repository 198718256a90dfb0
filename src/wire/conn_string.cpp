// The connection string: how its text is taken apart, and what a login is sent of it.
#include "wire/conn_string.h"

#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/lock.h"
#include "platform/memory.h"
#include "platform/text.h"

// Shorter texts say nothing.
constexpr size_t TEXT_BYTES_MIN = 5;
// Room for an item with its NUL, save for the address list, which may have any length.
constexpr size_t ITEM_BYTES = 128;
constexpr size_t IPS_KEY_BYTES = 4;

// How the value of a key goes into its field.
enum ValueForm {
    VALUE_TEXT,           // cut to the field
    VALUE_RAW,            // its bytes alone, over what the field holds
    VALUE_NUMBER,         // of a 32-bit field
    VALUE_ON_TRUE,        // 1 for "on" and "true"
    VALUE_ON_YES_TRUE,    // 1 for "on", "yes" and "true"
    VALUE_NOT_OFF_FALSE,  // 0 for "off" and "false"
};

struct KeyEntry {
    const char *key;
    ValueForm form;
    size_t offset;  // of the field in the record
    size_t bytes;   // of the field
};

#define FIELD(name) offsetof(ConnStringAttrs, name), sizeof(ConnStringAttrs::name)

static const KeyEntry key_table[] = {
  // key            form                 field
    {"DB",              VALUE_TEXT,          FIELD(database)         },
    {"DataBase",        VALUE_TEXT,          FIELD(database)         },
    {"USER",            VALUE_TEXT,          FIELD(user)             },
    {"UID",             VALUE_TEXT,          FIELD(user)             },
    {"USERID",          VALUE_TEXT,          FIELD(user)             },
    {"PWD",             VALUE_TEXT,          FIELD(password)         },
    {"PASSWORD",        VALUE_TEXT,          FIELD(password)         },
    {"PORT",            VALUE_NUMBER,        FIELD(port)             },
    {"SERVER",          VALUE_TEXT,          FIELD(ip)               },
    {"IP",              VALUE_TEXT,          FIELD(ip)               },
    {"AUTO_COMMIT",     VALUE_ON_TRUE,       FIELD(auto_commit)      },
    {"autocommit",      VALUE_ON_TRUE,       FIELD(auto_commit)      },
    {"use_ssl",         VALUE_ON_YES_TRUE,   FIELD(use_ssl)          },
    {"USESSL",          VALUE_ON_YES_TRUE,   FIELD(use_ssl)          },
    {"CHAR_SET",        VALUE_TEXT,          FIELD(char_set)         },
    {"CHARACTER_SET",   VALUE_TEXT,          FIELD(char_set)         },
    {"CHARSET",         VALUE_TEXT,          FIELD(char_set)         },
    {"TIME_ZONE",       VALUE_TEXT,          FIELD(time_zone)        },
    {"timezone",        VALUE_TEXT,          FIELD(time_zone)        },
    {"ENCRYPTOR",       VALUE_TEXT,          FIELD(encryptor)        },
    {"ISO_LEVEL",       VALUE_TEXT,          FIELD(iso_level)        },
    {"ISOLEVEL",        VALUE_TEXT,          FIELD(iso_level)        },
    {"RETURN_SCHEMA",   VALUE_ON_TRUE,       FIELD(return_schema)    },
    {"RETSCHEMA",       VALUE_ON_TRUE,       FIELD(return_schema)    },
    {"USECACHERET",     VALUE_ON_TRUE,       FIELD(use_cache_ret)    },
    {"RETURN_ASCHAR",   VALUE_ON_TRUE,       FIELD(return_as_char)   },
    {"RETASCHAR",       VALUE_ON_TRUE,       FIELD(return_as_char)   },
    {"CACHEDNUM",       VALUE_NUMBER,        FIELD(cached_num)       },
    {"STRICTCOMMIT",    VALUE_ON_TRUE,       FIELD(strict_commit)    },
    {"RETURN_ROWID",    VALUE_ON_TRUE,       FIELD(return_rowid)     },
    {"RETROWID",        VALUE_ON_TRUE,       FIELD(return_rowid)     },
    {"LOB_RET",         VALUE_ON_TRUE,       FIELD(lob_ret)          },
    {"LOBRET",          VALUE_ON_TRUE,       FIELD(lob_ret)          },
    {"LOCKTIMEOUT",     VALUE_RAW,           FIELD(lock_timeout)     },
    {"LOCK_TIMEOUT",    VALUE_RAW,           FIELD(lock_timeout)     },
    {"retcursorid",     VALUE_NOT_OFF_FALSE, FIELD(return_cursor_id) },
    {"RETURN_CURSORID", VALUE_NOT_OFF_FALSE, FIELD(return_cursor_id) },
    {"useservercursor", VALUE_NOT_OFF_FALSE, FIELD(use_server_cursor)},
    {"USE_SRVCURSOR",   VALUE_NOT_OFF_FALSE, FIELD(use_server_cursor)},
};

static bool IsOneOf(const char *value, const char *first, const char *second) {
    return TextEqualNoCase(value, first) || TextEqualNoCase(value, second);
}

// The number at the beginning of a text; 0 without one. What passes 32 bits is their limit.
static int32_t NumberOf(const char *text) {
    long long number = strtoll(text, NULL, 10);
    if (number > INT32_MAX) return INT32_MAX;
    if (number < INT32_MIN) return INT32_MIN;
    return (int32_t)number;
}

// Stores a flag or a number in a field of one byte or four.
static void StoreNumber(uint8_t *field, size_t field_bytes, uint32_t number) {
    if (field_bytes == sizeof(number)) {
        memcpy(field, &number, sizeof(number));
    } else {
        *field = (uint8_t)number;
    }
}

static void StoreRaw(uint8_t *field, size_t field_bytes, const char *value) {
    size_t value_bytes = strlen(value);
    memcpy(field, value, value_bytes < field_bytes ? value_bytes : field_bytes - 1);
}

static void StoreValue(ConnStringAttrs *attrs, const KeyEntry *entry, const char *value) {
    uint8_t *field = (uint8_t *)attrs + entry->offset;
    size_t bytes = entry->bytes;
    switch (entry->form) {
        case VALUE_TEXT: TextCopy((char *)field, bytes, value); break;
        case VALUE_RAW: StoreRaw(field, bytes, value); break;
        case VALUE_NUMBER: StoreNumber(field, bytes, (uint32_t)NumberOf(value)); break;
        case VALUE_ON_TRUE: StoreNumber(field, bytes, IsOneOf(value, "on", "true")); break;
        case VALUE_ON_YES_TRUE:
            StoreNumber(field, bytes,
                        IsOneOf(value, "on", "true") || TextEqualNoCase(value, "yes"));
            break;
        case VALUE_NOT_OFF_FALSE: StoreNumber(field, bytes, !IsOneOf(value, "off", "false")); break;
    }
}

// Acts on the first key that fits; an unknown one is passed over.
static void TakeItem(ConnStringAttrs *attrs, const char *key, const char *value) {
    for (const KeyEntry &entry : key_table) {
        if (TextEqualNoCase(key, entry.key)) {
            StoreValue(attrs, &entry, value);
            return;
        }
    }
}

static const char *SkipBlanks(const char *text) {
    return text + strspn(text, " ");
}

// Copies the bytes without the blanks at either end, cut to ITEM_PART_BYTES.
static void CopyTrimmed(char *part, const char *bytes, size_t count) {
    while (count > 0 && *bytes == ' ') {
        bytes++;
        count--;
    }
    while (count > 0 && bytes[count - 1] == ' ') {
        count--;
    }
    TextCopyBytes(part, ITEM_PART_BYTES, bytes, count);
}

int32_t ConnStringItem(const char *item, char *key, char *value) {
    memset(key, 0, ITEM_PART_BYTES);
    memset(value, 0, ITEM_PART_BYTES);
    const char *sign = strchr(item, '=');
    if (sign == NULL) return 0;
    CopyTrimmed(key, item, (size_t)(sign - item));
    CopyTrimmed(value, sign + 1, strlen(sign + 1));
    return 1;
}

// The separator of the items; NUL when the text has none.
static char ItemSeparator(const char *text) {
    if (strchr(text, ';') != NULL) return ';';
    return strchr(text, ',') != NULL ? ',' : '\0';
}

void ConnStringParse(const char *text, ConnStringAttrs *attrs) {
    char separator = ItemSeparator(text);
    if (strlen(text) < TEXT_BYTES_MIN || separator == '\0') return;
    char *copy = MemCopyText(text);
    char *next = copy;
    // An item that does not fit leaves the one before it here, which is then taken once more.
    char item[ITEM_BYTES] = "";
    while (next != NULL) {
        const char *piece = next;
        next = strchr(next, separator);
        if (next != NULL) {
            *next++ = '\0';
        }
        if (strstr(piece, "IPS=") != NULL || strstr(piece, "ips=") != NULL) {
            attrs->has_ips = 1;
            attrs->ips = IpTextListMake(piece);
            continue;
        }
        if (strlen(piece) < sizeof(item)) {
            TextCopy(item, sizeof(item), piece);
        }
        char key[ITEM_PART_BYTES];
        char value[ITEM_PART_BYTES];
        if (ConnStringItem(item, key, value) != 0) {
            TakeItem(attrs, key, value);
        }
    }
    MemFree(copy);
}

// Appends an address for which the list has room.
static bool AppendAddress(IpTextList *list, const char *text, size_t text_bytes) {
    char *copy = MemCopyBytes(text, text_bytes);
    if (copy == NULL) return false;
    list->items[list->count++] = copy;
    return true;
}

// Gives the list its full room.
static bool GrowList(IpTextList *list) {
    char **grown = (char **)MemRealloc(list->items, (size_t)IPS_MAX * sizeof(char *));
    if (grown == NULL) return false;
    list->items = grown;
    return true;
}

int32_t IpsParse(IpTextList *list, int32_t capacity, const char *item) {
    assert(capacity >= IPS_FIRST_CAPACITY);
    // The last index that may be taken by an address with another behind it: the one behind finds
    // room for itself.
    int32_t index_limit = IPS_FIRST_CAPACITY - 2;
    list->items = (char **)MemAlloc((size_t)capacity * sizeof(char *));
    if (list->items == NULL) return 0;
    const char *address = item + strnlen(item, IPS_KEY_BYTES);
    for (const char *comma; (comma = strchr(address, ',')) != NULL; address = comma + 1) {
        if (list->count > IPS_MAX - 2) {
            fputs("set ips error \n", stdout);
            return 0;
        }
        if (list->count > index_limit) {
            if (!GrowList(list)) return 0;
            index_limit = IPS_MAX - 2;
        }
        if (!AppendAddress(list, address, (size_t)(comma - address))) return 0;
    }
    if (!AppendAddress(list, address, strlen(address))) return 0;
    list->flags = (int32_t *)MemAlloc((size_t)list->count * sizeof(int32_t));
    return list->flags != NULL ? 1 : 0;
}

// A list, and the one that was made before it.
struct KeptList {
    IpTextList list;
    KeptList *next;
};

static Mutex kept_lists_lock = MUTEX_INITIALIZER;
static KeptList *kept_lists = NULL;

IpTextList *IpTextListMake(const char *item) {
    KeptList *kept = (KeptList *)MemAlloc(sizeof(KeptList));
    if (kept == NULL) return NULL;
    MutexLock(&kept_lists_lock);
    kept->next = kept_lists;
    kept_lists = kept;
    MutexUnlock(&kept_lists_lock);
    IpsParse(&kept->list, IPS_FIRST_CAPACITY, SkipBlanks(item));
    return &kept->list;
}

void ConnStringCopyField(char *target, size_t target_bytes, const char *field, size_t field_bytes) {
    TextCopyBytes(target, target_bytes, field, strnlen(field, field_bytes));
}

// Copies a field, or a text in place of an empty one.
static void CopyFieldOr(char *target, size_t target_bytes, const char *field, size_t field_bytes,
                        const char *empty_text) {
    if (field[0] == '\0') {
        TextCopy(target, target_bytes, empty_text);
    } else {
        ConnStringCopyField(target, target_bytes, field, field_bytes);
    }
}

void ConnStringToAttr(ConnAttr *attr, const ConnStringAttrs *attrs) {
    attr->use_ssl = attrs->use_ssl;
    ConnStringCopyField(attr->user, sizeof(attr->user), attrs->user, sizeof(attrs->user));
    ConnStringCopyField(attr->password, sizeof(attr->password), attrs->password,
                        sizeof(attrs->password));
    CopyFieldOr(attr->char_set, sizeof(attr->char_set), attrs->char_set, sizeof(attrs->char_set),
                "GBK");
    ConnStringCopyField(attr->encryptor, sizeof(attr->encryptor), attrs->encryptor,
                        sizeof(attrs->encryptor));
    CopyFieldOr(attr->time_zone, sizeof(attr->time_zone), attrs->time_zone,
                sizeof(attrs->time_zone), "GTM+08:00");
    // Spelled as the server receives it.
    CopyFieldOr(attr->iso_level, sizeof(attr->iso_level), attrs->iso_level,
                sizeof(attrs->iso_level), "READ COMMITED");
    TextCopy(attr->version, sizeof(attr->version), "301");
    char lock_timeout[sizeof(attrs->lock_timeout) + 1];
    ConnStringCopyField(lock_timeout, sizeof(lock_timeout), attrs->lock_timeout,
                        sizeof(attrs->lock_timeout));
    attr->lock_timeout = NumberOf(lock_timeout);
    attr->auto_commit = attrs->auto_commit != 0;
    attr->return_rowid = attrs->return_rowid;
    attr->return_schema = attrs->return_schema;
    attr->lob_ret = attrs->lob_ret;
    attr->return_cursor_id = attrs->return_cursor_id;
}
