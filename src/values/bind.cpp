// The bind table and the define table of a statement.
//
// Binds lie on one list of the statement, so that it finds what to release; parameters point at
// them. Both tables grow by one element at a time.
#include "values/bind.h"

#include <cstddef>
#include <cstring>

#include "diag/error.h"
#include "platform/memory.h"
#include "tavu/tvci.h"
#include "values/encode.h"

static bool IsStmt(const TVCIStmt *stmt) {
    return stmt != NULL && stmt->type == TVCI_HTYPE_STMT;
}

static BindRecord *BindOfLink(ListLink *link) {
    return (BindRecord *)((char *)link - offsetof(BindRecord, link));
}

// Texts and bytes are bounded by their buffer, so that one needs a size.
static bool NeedsSize(int32_t c_type) {
    return c_type == TVCI_C_CHAR || c_type == TVCI_C_BINARY;
}

void BindFree(ParamRecord *param) {
    if (param->bind != NULL) {
        ListRemove(&param->bind->link);
        MemFree(param->bind);
    }
    param->bind = NULL;
    param->bound = 0;
}

void ParamArrayFree(ParamRecord *params, int32_t count) {
    if (params == NULL) return;
    for (int32_t i = 0; i < count; i++) {
        MemFree(params[i].name);
    }
    MemFree(params);
}

void ParamsFree(TVCIStmt *stmt) {
    // By the list: of two parameters with one name, a direct execution keeps the bind of one.
    while (stmt->binds.next != &stmt->binds) {
        BindRecord *bind = BindOfLink(stmt->binds.next);
        ListRemove(&bind->link);
        MemFree(bind);
    }
    ParamArrayFree(stmt->params, stmt->param_count);
    stmt->params = NULL;
    stmt->param_count = 0;
    MemFree(stmt->row_buffer);
    stmt->row_buffer = NULL;
    stmt->row_buffer_bytes = 0;
}

void DefinesFree(TVCIStmt *stmt) {
    MemFree(stmt->bound_columns);
    stmt->bound_columns = NULL;
    stmt->bound_column_count = 0;
}

void DefineForget(TVCIStmt *stmt, int32_t column) {
    int32_t kept = 0;
    for (int32_t i = 0; i < stmt->bound_column_count; i++) {
        if (stmt->bound_columns[i].column == column) continue;
        stmt->bound_columns[kept++] = stmt->bound_columns[i];
    }
    stmt->bound_column_count = kept;
}

void BindForget(TVCIStmt *stmt, const void *value) {
    for (ListLink *link = stmt->binds.next; link != &stmt->binds; link = link->next) {
        BindRecord *bind = BindOfLink(link);
        if (bind->value != value) continue;
        bind->value = NULL;
        bind->return_code = NULL;
        bind->return_length = NULL;
    }
}

// What a bind call says of the value and its declaration.
struct BindValue {
    int32_t kind;
    void *value;
    int32_t value_size;
    int32_t c_type;
    int32_t *return_code;
    int32_t *return_length;
    int32_t sql_type;
    int32_t array_rows;  // 0: one value
};

static int32_t CheckBind(const TVCIStmt *stmt, const BindValue *value) {
    if (!IsStmt(stmt)) return TVCI_INVALID_HANDLE;
    if (value->value == NULL || value->c_type < 1 || value->sql_type < 1) {
        return TVCI_INVALID_ARGUMENT;
    }
    if (NeedsSize(value->c_type) && value->value_size < 1) return TVCI_INVALID_ARGUMENT;
    return TVCI_SUCCESS;
}

// Makes a bind that no parameter has yet.
static BindRecord *BindCreate(TVCIStmt *stmt, const BindValue *value) {
    BindRecord *bind = (BindRecord *)MemAlloc(sizeof(BindRecord));
    if (bind == NULL) return NULL;
    bind->stmt = stmt;
    bind->value = value->value;
    bind->value_size = value->value_size;
    bind->c_type = value->c_type;
    bind->return_code = value->return_code;
    bind->return_length = value->return_length;
    bind->array_rows = value->array_rows;
    return bind;
}

// Puts a new bind in the place of the parameter's old one.
static int32_t BindAttach(ParamRecord *param, BindRecord *bind, const BindValue *value) {
    BindFree(param);
    ListAppend(&bind->stmt->binds, &bind->link);
    param->bind = bind;
    param->bound = 1;
    param->kind = value->kind;
    param->sql_type = value->sql_type;
    return TVCI_SUCCESS;
}

// Adds an unbound parameter behind the others, with a copy of the name unless that is NULL.
static ParamRecord *ParamAppend(TVCIStmt *stmt, const char *name) {
    const size_t count = (size_t)stmt->param_count;
    ParamRecord *params = (ParamRecord *)MemRealloc(stmt->params, (count + 1) * sizeof(*params));
    if (params == NULL) return NULL;
    stmt->params = params;
    ParamRecord *param = &params[count];
    *param = {};
    if (name != NULL) {
        param->name = MemCopyText(name);
        if (param->name == NULL) return NULL;
    }
    stmt->param_count++;
    param->ordinal = stmt->param_count;
    return param;
}

static ParamRecord *ParamByName(TVCIStmt *stmt, const char *name) {
    for (int32_t i = 0; stmt->params != NULL && i < stmt->param_count; i++) {
        ParamRecord *param = &stmt->params[i];
        if (param->name != NULL && strcmp(param->name, name) == 0) return param;
    }
    return NULL;
}

int32_t TVCIBindParamByName(TVCIStmt *stmt, const char *name, int32_t kind, void *value,
                            int32_t value_size, int32_t c_type, int32_t *return_code,
                            int32_t *return_length, int32_t sql_type) {
    const BindValue bound = {kind,        value,         value_size, c_type,
                             return_code, return_length, sql_type,   0};
    const int32_t checked = CheckBind(stmt, &bound);
    if (checked != TVCI_SUCCESS) return checked;
    if (name == NULL) return TVCI_INVALID_ARGUMENT;
    ParamRecord *param = ParamByName(stmt, name);
    if (param == NULL && stmt->prepared != 0) return TVCI_ERROR;
    BindRecord *bind = BindCreate(stmt, &bound);
    if (bind == NULL) return TVCI_NO_MEMORY;
    if (param == NULL) param = ParamAppend(stmt, name);
    if (param == NULL) {
        MemFree(bind);
        return TVCI_NO_MEMORY;
    }
    return BindAttach(param, bind, &bound);
}

int32_t TVCIBindParam(TVCIStmt *stmt, int32_t position, int32_t kind, void *value,
                      int32_t value_size, int32_t c_type, int32_t *return_code,
                      int32_t *return_length, int32_t sql_type) {
    const BindValue bound = {kind,        value,         value_size, c_type,
                             return_code, return_length, sql_type,   0};
    const int32_t checked = CheckBind(stmt, &bound);
    if (checked != TVCI_SUCCESS) return checked;
    if (position < 1) return TVCI_INVALID_POSITION;
    const bool exists = position <= stmt->param_count;
    if (exists && stmt->params == NULL) return TVCI_INVALID_POSITION;
    if (!exists && stmt->prepared != 0) return TVCI_INVALID_POSITION;
    if (position - 1 > stmt->param_count) return TVCI_INVALID_POSITION;
    BindRecord *bind = BindCreate(stmt, &bound);
    if (bind == NULL) return TVCI_NO_MEMORY;
    ParamRecord *param = exists ? &stmt->params[position - 1] : ParamAppend(stmt, NULL);
    if (param == NULL) {
        MemFree(bind);
        return TVCI_NO_MEMORY;
    }
    return BindAttach(param, bind, &bound);
}

// Array binds are input only.
static int32_t CheckArrayBind(const TVCIStmt *stmt, const BindValue *value) {
    const int32_t checked = CheckBind(stmt, value);
    if (checked != TVCI_SUCCESS) return checked;
    if (value->kind != PARAM_KIND_INPUT || value->array_rows < 0) return TVCI_INVALID_ARGUMENT;
    return TVCI_SUCCESS;
}

// Sees to the parameters that array binds go to: a prepared statement has them, and any other gets
// them all, unbound, with its first array bind.
static int32_t ParamsForArray(TVCIStmt *stmt, int32_t param_count) {
    if (stmt->prepared != 0) {
        return param_count == stmt->param_count ? TVCI_SUCCESS : TVCI_INVALID_POSITION;
    }
    if (stmt->params != NULL || param_count < 1) return TVCI_SUCCESS;
    stmt->params = (ParamRecord *)MemAlloc((size_t)param_count * sizeof(ParamRecord));
    if (stmt->params == NULL) return TVCI_NO_MEMORY;
    stmt->param_count = param_count;
    return TVCI_SUCCESS;
}

static int32_t BindArray(TVCIStmt *stmt, int32_t index, const BindValue *value) {
    BindRecord *bind = BindCreate(stmt, value);
    if (bind == NULL) return TVCI_NO_MEMORY;
    // An array of no rows has no element that could be read as a single value.
    if (value->array_rows == 0) {
        bind->value = NULL;
    }
    stmt->params[index].ordinal = index + 1;
    stmt->array_rows = (uint32_t)value->array_rows;
    return BindAttach(&stmt->params[index], bind, value);
}

int32_t TVCIBindParamArray(TVCIStmt *stmt, int32_t position, int32_t param_count, int32_t kind,
                           int32_t rows, void *value, int32_t value_size, int32_t c_type,
                           int32_t *return_code, int32_t *lengths, int32_t sql_type) {
    const BindValue bound = {kind, value, value_size, c_type, return_code, lengths, sql_type, rows};
    int32_t result = CheckArrayBind(stmt, &bound);
    if (result != TVCI_SUCCESS) return result;
    if (position < 1) return TVCI_INVALID_POSITION;
    result = ParamsForArray(stmt, param_count);
    if (result != TVCI_SUCCESS) return result;
    if (stmt->params == NULL || position > stmt->param_count) return TVCI_INVALID_POSITION;
    return BindArray(stmt, position - 1, &bound);
}

// The index of the parameter with this name. On a statement that is not prepared the first one
// without a name is given it. `*index` is `param_count` when there is none.
static int32_t FindArrayParam(TVCIStmt *stmt, const char *name, int32_t *index) {
    for (*index = 0; stmt->params != NULL && *index < stmt->param_count; ++*index) {
        ParamRecord *param = &stmt->params[*index];
        if (param->name != NULL) {
            if (strcmp(param->name, name) == 0) return TVCI_SUCCESS;
        } else if (stmt->prepared == 0) {
            param->name = MemCopyText(name);
            return param->name == NULL ? TVCI_NO_MEMORY : TVCI_SUCCESS;
        }
    }
    *index = stmt->param_count;
    return TVCI_SUCCESS;
}

int32_t TVCIBindParamArrayByName(TVCIStmt *stmt, const char *name, int32_t param_count,
                                 int32_t kind, int32_t rows, void *value, int32_t value_size,
                                 int32_t c_type, int32_t *return_code, int32_t *lengths,
                                 int32_t sql_type) {
    const BindValue bound = {kind, value, value_size, c_type, return_code, lengths, sql_type, rows};
    int32_t result = CheckArrayBind(stmt, &bound);
    if (result != TVCI_SUCCESS) return result;
    if (name == NULL) return TVCI_INVALID_ARGUMENT;
    result = ParamsForArray(stmt, param_count);
    if (result == TVCI_INVALID_POSITION) return TVCI_ERROR;
    if (result != TVCI_SUCCESS) return result;
    int32_t index;
    result = FindArrayParam(stmt, name, &index);
    if (result != TVCI_SUCCESS) return result;
    if (index < stmt->param_count) return BindArray(stmt, index, &bound);
    if (!ErrInfoPresent(&stmt->err)) {
        ErrInfoReplace(&stmt->err, "E19964", " paramname bind  conflict with execute sql");
    }
    return TVCI_ERROR;
}

static DefineRecord *DefineOfColumn(TVCIStmt *stmt, int32_t column_index) {
    for (int32_t i = 0; i < stmt->bound_column_count; i++) {
        if (stmt->bound_columns[i].column == column_index) return &stmt->bound_columns[i];
    }
    const size_t count = (size_t)stmt->bound_column_count;
    DefineRecord *defines =
        (DefineRecord *)MemRealloc(stmt->bound_columns, (count + 1) * sizeof(*defines));
    if (defines == NULL) return NULL;
    stmt->bound_columns = defines;
    stmt->bound_column_count++;
    return &defines[count];
}

int32_t TVCIDefineColumn(TVCIStmt *stmt, int32_t column, void *buffer, int32_t buffer_size,
                         int32_t c_type, int32_t *return_code, int32_t *return_length) {
    if (!IsStmt(stmt)) return TVCI_INVALID_HANDLE;
    if (column < 1 || buffer == NULL || c_type < 1) return TVCI_INVALID_ARGUMENT;
    if (NeedsSize(c_type) && buffer_size < 1) return TVCI_INVALID_ARGUMENT;
    DefineRecord *define = DefineOfColumn(stmt, column - 1);
    if (define == NULL) return TVCI_NO_MEMORY;
    *define = {column - 1, buffer, buffer_size, c_type, return_code, return_length};
    return TVCI_SUCCESS;
}
