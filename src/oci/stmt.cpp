// Statement prepare, execute and release.
#include "oci/stmt.h"

#include <climits>
#include <cstring>

#include "oci/handles.h"
#include "oci/lob.h"
#include "platform/memory.h"
#include "tavu/tvci.h"

struct ClassEntry {
    const char *word;
    StmtClass stmt_class;
};

// The classes by first word, in lower case.
static const ClassEntry class_table[] = {
    {"create", CLASS_DDL   },
    {"drop",   CLASS_DDL   },
    {"alter",  CLASS_DDL   },
    {"insert", CLASS_DML   },
    {"update", CLASS_DML   },
    {"delete", CLASS_DML   },
    {"select", CLASS_SELECT},
};

static bool IsBlank(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

static bool WordEquals(const char *text, size_t text_bytes, const char *word) {
    size_t i = 0;
    while (i < text_bytes && word[i] != '\0') {
        char character = text[i];
        if (character >= 'A' && character <= 'Z') {
            character = (char)(character - 'A' + 'a');
        }
        if (character != word[i]) return false;
        i++;
    }
    return i == text_bytes && word[i] == '\0';
}

// The class of a text by its first word. The text needs no terminator and ends at the first NUL.
static StmtClass ClassifyText(const char *text, size_t text_bytes) {
    size_t start = 0;
    while (start < text_bytes && IsBlank(text[start])) {
        start++;
    }
    size_t end = start;
    while (end < text_bytes && text[end] != '\0' && !IsBlank(text[end])) {
        end++;
    }
    for (const ClassEntry &entry : class_table) {
        if (WordEquals(text + start, end - start, entry.word)) return entry.stmt_class;
    }
    return CLASS_OTHER;
}

TVCIStmt *StmtNative(const OCIStmt *stmtp) {
    TVCIStmt *native = stmtp->native_stmt;
    return native != NULL && native->type == TVCI_HTYPE_STMT ? native : NULL;
}

// A DDL text lies behind a LostBlock, so that it can be listed once it was run.
static LostBlock *DdlBlock(char *ddl_text) {
    return ddl_text == NULL ? NULL : (LostBlock *)(void *)ddl_text - 1;
}

static char *DdlTextMake(const char *text, size_t text_bytes) {
    LostBlock *block = (LostBlock *)MemAlloc(sizeof(LostBlock) + text_bytes + 1);
    if (block == NULL) return NULL;
    char *copy = (char *)(block + 1);
    memcpy(copy, text, text_bytes);
    return copy;
}

void OciTextsFree(OCIStmt *stmtp) {
    MemFree(stmtp->text);
    stmtp->text = NULL;
    MemFree(DdlBlock(stmtp->ddl_text));
    stmtp->ddl_text = NULL;
    while (stmtp->spent_texts != NULL) {
        LostBlock *block = stmtp->spent_texts;
        stmtp->spent_texts = block->next;
        MemFree(block);
    }
}

// Keeps the text of the statement and lets the server prepare it, or keeps a DDL text until it is
// run.
static int32_t SetText(OCIStmt *stmtp, const char *text, uint32_t text_bytes) {
    if (stmtp->stmt_class == CLASS_DDL) {
        stmtp->ddl_text = DdlTextMake(text, text_bytes);
        return OCI_SUCCESS;
    }
    stmtp->text = MemCopyBytes(text, text_bytes);
    int32_t result = TVCIPrepare(stmtp->native_stmt, text, (int32_t)text_bytes);
    if (result != 0) {
        MemFree(stmtp->text);
        stmtp->text = NULL;
    }
    return result;
}

int32_t OciStmtPrepare(OCIStmt *stmtp, OCIError *errhp, const OCIText *stmt, uint32_t stmt_len,
                       uint32_t language, uint32_t mode) {
    (void)language;
    (void)mode;
    if (errhp == NULL) return OCI_INVALID_HANDLE;
    if (stmtp == NULL) return ErrorFail(errhp, "Parameter stmtp is NULL.", OCI_INVALID_HANDLE);
    if (stmt == NULL) return ErrorFail(errhp, "Parameter stmt is NULL.", OCI_ERROR);
    if (stmt_len == 0 || stmt_len > INT32_MAX) {
        return ErrorFail(errhp, "Parameter stmt_len is invalid.", OCI_ERROR);
    }
    // The application may hand back the text that it read from this very statement, so the old
    // texts go last.
    char *old_text = stmtp->text;
    char *old_ddl_text = stmtp->ddl_text;
    stmtp->text = NULL;
    stmtp->ddl_text = NULL;
    ErrorFromStmt(errhp, stmtp);
    // What else the record holds stays: a text that had defines lets the next one run without.
    OciBindsFree(stmtp);
    OciDefinesFree(stmtp);
    stmtp->prepared = 1;
    stmtp->stmt_class = ClassifyText((const char *)stmt, stmt_len);
    int32_t result = SetText(stmtp, (const char *)stmt, stmt_len);
    MemFree(old_text);
    MemFree(DdlBlock(old_ddl_text));
    return result;
}

// DDL is run once: its text is taken from the statement, but not from an application that reads it
// through a pointer of its own.
static int32_t ExecuteDdl(OCIStmt *stmtp) {
    int32_t result = TVCIExecDirect(stmtp->native_stmt, stmtp->ddl_text, -1);
    LostBlock *block = DdlBlock(stmtp->ddl_text);
    if (block != NULL) {
        block->next = stmtp->spent_texts;
        stmtp->spent_texts = block;
        stmtp->ddl_text = NULL;
    }
    return result;
}

// A failed iteration does not stop the next; the last result is what counts.
static int32_t ExecuteDml(OCIStmt *stmtp, uint32_t iters) {
    int32_t result = OCI_SUCCESS;
    for (uint32_t i = 0; i < iters; i++) {
        BindsLoad(stmtp, i);
        result = TVCIExecute(stmtp->native_stmt);
    }
    return result;
}

// Runs a select and leaves the width of each column in element 0 of its define's indicators, where
// the fetch looks for it when it cuts a text.
static int32_t ExecuteSelect(OCIStmt *stmtp) {
    BindsLoad(stmtp, 0);
    int32_t result = TVCIExecute(stmtp->native_stmt);
    for (int32_t i = 0; i < stmtp->define_count; i++) {
        OCIDefine *define = stmtp->defines[i];
        if (define->indp == NULL) continue;
        void *column = NULL;
        uint32_t width = 0;
        int32_t width_bytes = 0;
        TVCIParamGet(stmtp->native_stmt, OCI_HTYPE_STMT, &column, (int32_t)define->position);
        result =
            TVCIGetResultAttr(column, OCI_DTYPE_PARAM, &width, &width_bytes, OCI_ATTR_DATA_SIZE);
        define->indp[0] = (uint16_t)width;
    }
    return result;
}

static bool PieceMissing(const OCIStmt *stmtp) {
    for (int32_t i = 0; i < stmtp->bind_count; i++) {
        if (stmtp->binds[i]->value_ready == 0) return true;
    }
    return false;
}

int32_t OciStmtExecute(OCISvcCtx *svchp, OCIStmt *stmtp, OCIError *errhp, uint32_t iters,
                       uint32_t rowoff, const void *snap_in, void *snap_out, uint32_t mode) {
    (void)rowoff;
    (void)snap_in;
    (void)snap_out;
    if (errhp == NULL) return OCI_INVALID_HANDLE;
    if (svchp == NULL) return ErrorFail(errhp, "Parameter svchp is NULL.", OCI_INVALID_HANDLE);
    if (stmtp == NULL) return ErrorFail(errhp, "Parameter stmtp is NULL.", OCI_INVALID_HANDLE);
    if (stmtp->prepared == 0) return ErrorFail(errhp, "Execute without preparing.", OCI_ERROR);
    ErrorFromStmt(errhp, stmtp);
    if (PieceMissing(stmtp)) return OCI_NEED_DATA;
    bool needs_iters = stmtp->stmt_class == CLASS_DDL || stmtp->stmt_class == CLASS_DML;
    if (iters == 0 && needs_iters) {
        return ErrorFail(errhp, "iters must be greater than 0.", OCI_ERROR);
    }
    if (!LobsKeepBound(stmtp)) return OCI_ERROR;
    int32_t result = OCI_SUCCESS;
    switch (stmtp->stmt_class) {
        case CLASS_DDL: return ExecuteDdl(stmtp);
        case CLASS_DML: result = ExecuteDml(stmtp, iters); break;
        case CLASS_SELECT: result = ExecuteSelect(stmtp); break;
        default: break;  // anything else was prepared and is not run
    }
    if (mode == OCI_COMMIT_ON_SUCCESS) {
        result = TVCICommit(SvcNativeSession(svchp));
    }
    if (iters > 0 && stmtp->stmt_class == CLASS_SELECT) {
        result = OciStmtFetch(stmtp, errhp, iters, OCI_FETCH_NEXT, OCI_DEFAULT);
    }
    return result;
}

int32_t OciStmtRelease(OCIStmt *stmtp, OCIError *errhp, const OCIText *key, uint32_t keylen,
                       uint32_t mode) {
    (void)key;
    (void)keylen;
    (void)mode;
    if (errhp == NULL) return OCI_INVALID_HANDLE;
    if (stmtp == NULL) return ErrorFail(errhp, "Parameter stmtp is NULL.", OCI_INVALID_HANDLE);
    ErrorFromStmt(errhp, stmtp);
    return TVCIStmtClose(stmtp->native_stmt, 3);
}
