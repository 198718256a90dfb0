// The scan of a statement's text for parameter markers, and the parameters that come of it.
#include <cstring>

#include "diag/error.h"
#include "platform/memory.h"
#include "stmt/prepare.h"
#include "values/bind.h"
#include "values/scan.h"

// Names that the table of distinct names holds before it grows.
constexpr int32_t NAME_TABLE_START = 200;

enum MarkerStyle { STYLE_NONE = 0, STYLE_QUESTION = 1, STYLE_NAMED = 2 };
enum ScanOutcome { SCAN_DONE, SCAN_CONFLICT, SCAN_NO_MEMORY };

struct MarkerScan {
    int32_t style;     // MarkerStyle
    int32_t count;     // parameters so far
    char **names;      // owned, and so are the names; NULL unless the text holds a ":"
    int32_t capacity;  // of `names`
};

static void MarkerScanFree(MarkerScan *scan) {
    if (scan->names != NULL) {
        for (int32_t i = 0; i < scan->capacity; i++) {
            MemFree(scan->names[i]);
        }
    }
    MemFree(scan->names);
    *scan = {};
}

static bool NameTableGrow(MarkerScan *scan) {
    const int32_t capacity = scan->capacity == 0 ? NAME_TABLE_START : scan->capacity * 2;
    char **names = (char **)MemAlloc((size_t)capacity * sizeof(char *));
    if (names == NULL) return false;
    if (scan->names != NULL) {
        memcpy(names, scan->names, (size_t)scan->capacity * sizeof(char *));
    }
    MemFree(scan->names);
    scan->names = names;
    scan->capacity = capacity;
    return true;
}

// Enters the name into the table unless it is there; names are told apart by case.
static bool NameTableAdd(MarkerScan *scan, const char *name, size_t name_bytes) {
    for (int32_t i = 0; i < scan->count; i++) {
        if (strncmp(scan->names[i], name, name_bytes) == 0 && scan->names[i][name_bytes] == '\0') {
            return true;
        }
    }
    if (scan->count == scan->capacity && !NameTableGrow(scan)) return false;
    scan->names[scan->count] = MemCopyBytes(name, name_bytes);
    if (scan->names[scan->count] == NULL) return false;
    scan->count++;
    return true;
}

static const char *SkipLineComment(const char *text) {
    return text + strcspn(text, "\r\n");
}

static const char *SkipBlockComment(const char *text) {
    const char *end = strstr(text + 2, "*/");
    return end == NULL ? text + strlen(text) : end + 2;
}

// Steps over an ordinary character and a "::" behind it, which is a cast. A "::" that the walk
// itself meets is none: of that, the second colon opens a marker.
static const char *SkipOrdinary(const char *text) {
    text++;
    return text[0] == ':' && text[1] == ':' ? text + 2 : text;
}

static bool IsNamedMarker(const char *text) {
    return text[0] == ':' && text[1] != '=' && text[1] != ':';
}

static ScanOutcome WalkMarkers(const char *text, MarkerScan *scan) {
    while (*text != '\0') {
        if (*text == '\'') {
            text = SkipSingleQuoted(text);
        } else if (*text == '"') {
            text = SkipDoubleQuoted(text);
        } else if (text[0] == '-' && text[1] == '-') {
            text = SkipLineComment(text);
        } else if (text[0] == '/' && text[1] == '*') {
            text = SkipBlockComment(text);
        } else if (*text == '?') {
            if (scan->style == STYLE_NAMED) return SCAN_CONFLICT;
            scan->style = STYLE_QUESTION;
            scan->count++;
            text++;
        } else if (IsNamedMarker(text)) {
            if (scan->style == STYLE_QUESTION) return SCAN_CONFLICT;
            scan->style = STYLE_NAMED;
            const char *name_end = SkipBareWord(text);
            const char *name = text + 1;
            if (!NameTableAdd(scan, name, (size_t)(name_end - name))) {
                return SCAN_NO_MEMORY;
            }
            text = name_end;
        } else {
            text = SkipOrdinary(text);
        }
    }
    return SCAN_DONE;
}

// The records of the parameters that the scan found; takes the names over. NULL when memory is
// short.
static ParamRecord *ParamsFromScan(MarkerScan *scan) {
    ParamRecord *params = (ParamRecord *)MemAlloc((size_t)scan->count * sizeof(ParamRecord));
    if (params == NULL) return NULL;
    for (int32_t i = 0; i < scan->count; i++) {
        params[i].ordinal = i + 1;
        if (scan->style == STYLE_NAMED) {
            params[i].name = scan->names[i];
            scan->names[i] = NULL;
        }
    }
    return params;
}

// An error that is already there stays.
static void RaiseUnlessPresent(TVCIStmt *stmt, const char *code, const char *message) {
    if (!ErrInfoPresent(&stmt->err)) {
        ErrInfoReplace(&stmt->err, code, message);
    }
}

// Makes the parameters of the statement's text without touching those that it has. No parameters
// give a NULL array.
static bool ScanText(TVCIStmt *stmt, ParamRecord **params, int32_t *count) {
    *params = NULL;
    *count = 0;
    if (strpbrk(stmt->sql, "?:") == NULL) return true;

    MarkerScan scan = {};
    ScanOutcome outcome = SCAN_DONE;
    if (strchr(stmt->sql, ':') != NULL && !NameTableGrow(&scan)) {
        outcome = SCAN_NO_MEMORY;
    } else {
        outcome = WalkMarkers(stmt->sql, &scan);
    }
    if (outcome == SCAN_DONE && scan.count > 0) {
        *params = ParamsFromScan(&scan);
        if (*params == NULL) {
            outcome = SCAN_NO_MEMORY;
        } else {
            *count = scan.count;
        }
    }
    MarkerScanFree(&scan);
    switch (outcome) {
        case SCAN_DONE: return true;
        case SCAN_NO_MEMORY: RaiseUnlessPresent(stmt, "E19960", "Memory allocate error "); break;
        case SCAN_CONFLICT:
            RaiseUnlessPresent(stmt, "E19963", " params bind  conflicted in execute sql");
            break;
    }
    return false;
}

bool ParamScan(TVCIStmt *stmt) {
    ParamRecord *params;
    int32_t count;
    if (!ScanText(stmt, &params, &count)) return false;
    ParamsFree(stmt);
    stmt->params = params;
    stmt->param_count = count;
    return true;
}

static ParamRecord *FindParam(ParamRecord *params, int32_t count, const char *name) {
    for (int32_t i = 0; name != NULL && i < count; i++) {
        if (strcmp(params[i].name, name) == 0) return &params[i];
    }
    return NULL;
}

// Copies the binds of the statement's parameters to the new ones of the same names. False when one
// of the old names is not among the new.
static bool MoveBindsByName(const TVCIStmt *stmt, ParamRecord *params, int32_t count) {
    for (int32_t i = 0; i < stmt->param_count; i++) {
        const ParamRecord *from = &stmt->params[i];
        ParamRecord *to = FindParam(params, count, from->name);
        if (to == NULL) return false;
        to->bound = from->bound;
        to->kind = from->kind;
        to->sql_type = from->sql_type;
        to->bind = from->bind;
    }
    return true;
}

bool ParamsForDirect(TVCIStmt *stmt) {
    ParamRecord *params;
    int32_t count;
    if (!ScanText(stmt, &params, &count)) {
        RaiseUnlessPresent(stmt, "E19961", " params bind  conflict with execute sql");
        return false;
    }
    if (count == 0) {
        ParamsFree(stmt);
        return true;
    }
    if (count != stmt->param_count) {
        RaiseUnlessPresent(stmt, "E19962", " params bind num conflict with execute sql");
        // The new parameters stay, unbound, so that the same text passes the next time.
        ParamsFree(stmt);
        stmt->params = params;
        stmt->param_count = count;
        return false;
    }
    if (params[0].name == NULL) {
        ParamArrayFree(params, count);
        return true;
    }
    if (!MoveBindsByName(stmt, params, count)) {
        ParamArrayFree(params, count);
        return false;
    }
    ParamArrayFree(stmt->params, stmt->param_count);
    stmt->params = params;
    return true;
}
