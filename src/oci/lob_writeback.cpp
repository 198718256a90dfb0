// The write-back of changed large values at commit.
//
// The select's text is looked through for words and commas. What stands where a table's or a
// column's name is looked for is taken for that name: aliases, expressions and joins give UPDATEs
// that servers refuse.
#include "oci/lob_writeback.h"

#include <cstring>

#include "oci/lob.h"
#include "oci/record_links.h"
#include "oci/stmt.h"
#include "platform/memory.h"
#include "tavu/tvci.h"
#include "values/bind.h"
#include "values/encode.h"

// Room for the UPDATE at first.
constexpr size_t UPDATE_BYTES = 1024;
// A longer rowid is cut.
constexpr int32_t ROWID_BYTES_MAX = 30;

// A stretch of a text.
struct Span {
    const char *bytes;
    size_t length;
};

// A text that grows.
struct Builder {
    char *text;  // owned; NUL-terminated; NULL once memory was short
    size_t length;
    size_t capacity;
};

static void Append(Builder *builder, const char *bytes, size_t length) {
    if (builder->text == NULL) return;
    if (builder->length + length >= builder->capacity) {
        const size_t capacity = (builder->length + length + 1) * 2;
        char *grown = (char *)MemRealloc(builder->text, capacity);
        if (grown == NULL) {
            MemFree(builder->text);
            builder->text = NULL;
            return;
        }
        builder->text = grown;
        builder->capacity = capacity;
    }
    memcpy(builder->text + builder->length, bytes, length);
    builder->length += length;
    builder->text[builder->length] = '\0';
}

static void AppendText(Builder *builder, const char *text) {
    Append(builder, text, strlen(text));
}

static char Lower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? (char)(letter - 'A' + 'a') : letter;
}

static bool IsBlank(char letter) {
    return letter == ' ' || letter == '\t' || letter == '\r' || letter == '\n';
}

// Where a word, given in lower case, stands first in the text, in any case and in the middle of
// other words too; NULL when it does not.
static const char *FindWord(const char *text, const char *word) {
    const size_t word_length = strlen(word);
    for (; *text != '\0'; text++) {
        size_t same = 0;
        while (same < word_length && Lower(text[same]) == word[same]) {
            same++;
        }
        if (same == word_length) return text;
    }
    return NULL;
}

// The characters from the first one that is no blank to the next blank or the end.
static Span FirstWord(Span text) {
    while (text.length > 0 && IsBlank(*text.bytes)) {
        text.bytes++;
        text.length--;
    }
    size_t length = 0;
    while (length < text.length && !IsBlank(text.bytes[length])) {
        length++;
    }
    return {text.bytes, length};
}

// What stands behind the first "from".
static Span TableName(const char *text) {
    const char *from = FindWord(text, "from");
    if (from == NULL) return {text, 0};
    from += strlen("from");
    return FirstWord({from, strlen(from)});
}

// The select list: from behind "select" to the character before "from", or to the end of the text.
static Span SelectList(const char *text) {
    const char *select = FindWord(text, "select");
    if (select == NULL) return {text, 0};
    const char *start = select + strlen("select");
    const char *from = FindWord(text, "from");
    if (from == NULL) return {start, strlen(start)};
    return {start, from > start + 1 ? (size_t)(from - start) - 1 : 0};
}

// Takes the item up to the next comma off the list. False when the list is used up.
static bool NextItem(Span *list, Span *item) {
    if (list->bytes == NULL || (list->length == 0 && item->bytes == NULL)) return false;
    const char *comma = (const char *)memchr(list->bytes, ',', list->length);
    const size_t length = comma == NULL ? list->length : (size_t)(comma - list->bytes);
    *item = {list->bytes, length};
    if (comma == NULL) {
        *list = {NULL, 0};
    } else {
        *list = {comma + 1, list->length - length - 1};
    }
    return true;
}

// The name of the column at a position (from 1), empty when the list has no such item, and the
// number of items.
static Span ColumnName(const char *text, uint32_t position, int32_t *item_count) {
    Span list = SelectList(text);
    Span item = {NULL, 0};
    Span name = {text, 0};
    *item_count = 0;
    while (NextItem(&list, &item)) {
        ++*item_count;
        if ((uint32_t)*item_count == position) {
            name = FirstWord(item);
        }
    }
    return name;
}

// Numbers the large values and lists them. Whether a comma is due is told by the place of a define
// among all defines: one that is not the first begins the list with a comma. Returns the number of
// columns in the select list.
static int32_t AppendColumns(Builder *builder, const OCIStmt *stmtp) {
    int32_t column_count = 0;
    uint32_t lob_count = 0;
    for (int32_t i = 0; i < stmtp->define_count; i++) {
        OCIDefine *define = stmtp->defines[i];
        if (!IsLobType(define->dty)) continue;
        define->lob_bind_position = ++lob_count;
        const Span name = ColumnName(stmtp->text, define->position, &column_count);
        AppendText(builder, i == 0 ? "\"" : ", \"");
        Append(builder, name.bytes, name.length);
        AppendText(builder, "\" = ?");
    }
    return column_count;
}

char *LobUpdateText(OCIStmt *stmtp) {
    Builder builder = {(char *)MemAlloc(UPDATE_BYTES), 0, UPDATE_BYTES};
    if (builder.text == NULL) return NULL;
    const Span table = TableName(stmtp->text);
    AppendText(&builder, "update \"");
    Append(&builder, table.bytes, table.length);
    AppendText(&builder, "\" set ");
    const int32_t column_count = AppendColumns(&builder, stmtp);
    // The server adds the rowid to every select list. Without a row there is none.
    char rowid[ROWID_BYTES_MAX + 1] = {};
    TVCIGetData(StmtNative(stmtp), column_count + 1, TVCI_C_CHAR, rowid, ROWID_BYTES_MAX, NULL);
    AppendText(&builder, " where rowid = '");
    AppendText(&builder, rowid);
    AppendText(&builder, "'");
    return builder.text;
}

static bool HasLobs(const OCIStmt *stmtp) {
    for (int32_t i = 0; i < stmtp->define_count; i++) {
        if (IsLobType(stmtp->defines[i]->dty)) return true;
    }
    return false;
}

// The parameter of a large value whose locator was freed is a NULL.
static void BindLob(TVCIStmt *native, OCIDefine *define) {
    LobRecord none = {};
    void *value = define->value_buffer != NULL ? define->value_buffer : &none;
    TVCIBindParam(native, (int32_t)define->lob_bind_position, PARAM_KIND_INPUT, value, 0,
                  TVCI_C_LOB, NULL, NULL, BindSqlType(define->dty, 0));
    if (value == &none) {
        BindForget(native, &none);
    }
}

int32_t LobWriteBack(OCIStmt *stmtp) {
    if (stmtp->text == NULL) return OCI_ERROR;
    if (stmtp->stmt_class != CLASS_SELECT || stmtp->lob_dirty == 0 || !HasLobs(stmtp)) {
        return OCI_SUCCESS;
    }
    TVCIStmt *native = StmtNative(stmtp);
    if (native == NULL) return OCI_INVALID_HANDLE;
    char *update_text = LobUpdateText(stmtp);
    for (int32_t i = 0; i < stmtp->define_count; i++) {
        OCIDefine *define = stmtp->defines[i];
        OCILobLocator *locator = (OCILobLocator *)NameRecord(&define->locator_name);
        if (IsLobType(define->dty) && locator != NULL) {
            NameLocator(&define->written_name, locator, stmtp);
        }
    }
    if (!LobsKeepBound(stmtp)) {
        MemFree(update_text);
        return TVCI_NO_MEMORY;
    }
    TVCIPrepare(native, update_text, -1);
    for (int32_t i = 0; i < stmtp->define_count; i++) {
        if (IsLobType(stmtp->defines[i]->dty)) {
            BindLob(native, stmtp->defines[i]);
        }
    }
    MemFree(update_text);
    return TVCIExecute(native);
}
