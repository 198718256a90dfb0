// One whole conversation of an application with the development server.
#include "fault/conversation.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>

constexpr uint32_t BLOCK_ROWS = 500;
// More blocks than there are: a fetch that never ends is one that has gone wrong.
constexpr int32_t FETCHES_MAX = 40;
constexpr int32_t WORDS_BYTES = 21;

std::string ServerLink() {
    const char *port = getenv("TAVU_TEST_PORT");
    if (port == nullptr) {
        fprintf(stderr, "TAVU_TEST_PORT is not set\n");
        exit(2);
    }
    return "127.0.0.1:" + std::string(port) + "/SYSTEM";
}

static const OCIText *Text(const std::string &text) {
    return (const OCIText *)text.c_str();
}

bool IsAllowed(const std::string &call, int32_t code) {
    // -1 refused, -3 nothing to ask or to bind, -4 connection lost, -5 out of memory, -24
    // connection replaced, 1 a text was cut short, 100 no (more) rows.
    static const std::map<std::string, std::set<int32_t>> allowed_table = {
        {"OCIEnvCreate", {0, -1, -5}},
        {"OCIHandleAlloc", {0, -1, -5}},
        {"OCILogon", {0, -1}},
        {"OCIStmtPrepare", {0, -1, -4, -5, -24}},
        {"OCIBindByPos", {0, -1, -5}},
        {"OCIBindByName", {0, -1, -5}},
        {"OCIDefineByPos", {0, -1, -5}},
        {"OCIStmtExecute", {0, 1, 100, -1, -3, -4, -5, -24}},
        {"OCIParamGet", {0, 100, -1, -5}},
        {"OCIAttrGet", {0, -3}},
        {"OCIStmtFetch", {0, 100, -1}},
        {"OCIErrorGet", {0}},
        {"OCITransCommit", {0, -1, -4, -5}},
        {"OCILogoff", {0}},
        {"OCIHandleFree", {0}},
    };
    auto found = allowed_table.find(call);
    return found != allowed_table.end() && found->second.count(code) == 1;
}

Conversation::Conversation(const std::string &link, Manner manner,
                           std::function<void(const char *, int32_t)> told)
    : link_(link), manner_(manner), told_(std::move(told)) {}

bool Conversation::MayGoOn() const {
    return manner_ == STUBBORN || !failed_;
}

bool Conversation::Good(const char *call, int32_t code) {
    told_(call, code);
    if (code == OCI_SUCCESS) return true;
    if (!failed_) {
        first_failure_ = code;
    }
    failed_ = true;
    if (err_ != nullptr) {
        OCIText text[512] = "";
        told_("OCIErrorGet",
              OCIErrorGet(err_, 1, nullptr, nullptr, text, sizeof text, OCI_HTYPE_ERROR));
    }
    return false;
}

bool Conversation::Open() {
    if (!Good("OCIEnvCreate",
              OCIEnvCreate(&env_, 0, nullptr, nullptr, nullptr, nullptr, 0, nullptr))) {
        env_ = nullptr;
        return false;
    }
    void *handle = nullptr;
    if (!Good("OCIHandleAlloc", OCIHandleAlloc(env_, &handle, OCI_HTYPE_ERROR, 0, nullptr))) {
        return false;
    }
    err_ = (OCIError *)handle;
    return Good("OCILogon", OCILogon(env_, err_, &svc_, Text("SYSDBA"), 6, Text("SYSDBA"), 6,
                                     Text(link_), (uint32_t)link_.size()));
}

void Conversation::Close() {
    if (err_ != nullptr) {
        Good("OCIHandleFree", OCIHandleFree(err_, OCI_HTYPE_ERROR));
        err_ = nullptr;
    }
    if (env_ != nullptr) {
        Good("OCIHandleFree", OCIHandleFree(env_, OCI_HTYPE_ENV));
        env_ = nullptr;
    }
}

OCIStmt *Conversation::NewStmt() {
    void *handle = nullptr;
    if (!Good("OCIHandleAlloc", OCIHandleAlloc(env_, &handle, OCI_HTYPE_STMT, 0, nullptr))) {
        return nullptr;
    }
    return (OCIStmt *)handle;
}

void Conversation::Free(OCIStmt *stmt) {
    if (stmt != nullptr) {
        Good("OCIHandleFree", OCIHandleFree(stmt, OCI_HTYPE_STMT));
    }
}

bool Conversation::PrepareText(OCIStmt *stmt, const std::string &sql) {
    return Good("OCIStmtPrepare",
                OCIStmtPrepare(stmt, err_, Text(sql), (uint32_t)sql.size(), 1, OCI_DEFAULT));
}

void Conversation::Command(const std::string &sql) {
    if (!MayGoOn()) return;
    OCIStmt *stmt = NewStmt();
    if (stmt == nullptr) return;
    PrepareText(stmt, sql);
    if (MayGoOn()) {
        Good("OCIStmtExecute",
             OCIStmtExecute(svc_, stmt, err_, 1, 0, nullptr, nullptr, OCI_DEFAULT));
    }
    Free(stmt);
}

void Conversation::Commit() {
    if (MayGoOn()) {
        Good("OCITransCommit", OCITransCommit(svc_, err_, OCI_DEFAULT));
    }
}

struct BoundRows {
    int32_t id[3] = {1, 2, 3};
    char words[3][WORDS_BYTES] = {"one", "two", "three"};
    double real8[3] = {0.5, -1.25, 1e9};
    int16_t real8_indicators[3] = {0, -1, 0};
};

void Conversation::InsertRows() {
    if (!MayGoOn()) return;
    OCIStmt *stmt = NewStmt();
    if (stmt == nullptr) return;
    PrepareText(stmt, "INSERT INTO FAULT VALUES (:ID, :WORDS, :REAL8)");
    if (MayGoOn()) {
        BindRow(stmt);
    }
    Free(stmt);
}

void Conversation::BindRow(OCIStmt *stmt) {
    BoundRows rows;
    int32_t binds = 0;
    OCIBind *bind = nullptr;
    binds += Good("OCIBindByName",
                  OCIBindByName(stmt, &bind, err_, Text(":ID"), -1, rows.id, sizeof(int32_t),
                                DTY_INT, nullptr, nullptr, nullptr, 0, nullptr, OCI_DEFAULT));
    if (!MayGoOn()) return;
    bind = nullptr;
    binds += Good("OCIBindByName",
                  OCIBindByName(stmt, &bind, err_, Text(":WORDS"), -1, rows.words, WORDS_BYTES,
                                DTY_STR, nullptr, nullptr, nullptr, 0, nullptr, OCI_DEFAULT));
    if (!MayGoOn()) return;
    bind = nullptr;
    binds += Good("OCIBindByPos",
                  OCIBindByPos(stmt, &bind, err_, 3, rows.real8, sizeof(double), DTY_DOUBLE,
                               rows.real8_indicators, nullptr, nullptr, 0, nullptr, OCI_DEFAULT));
    // Never with a parameter that was not bound: the server would wait for the rest of the frame.
    if (!MayGoOn() || binds != 3) return;
    Good("OCIStmtExecute", OCIStmtExecute(svc_, stmt, err_, 3, 0, nullptr, nullptr, OCI_DEFAULT));
}

void Conversation::Define(OCIStmt *stmt, uint32_t position, void *values, int32_t value_sz,
                          uint16_t dty, void *indicators, uint32_t *lengths) {
    if (!MayGoOn()) return;
    OCIDefine *define = nullptr;
    all_defined_ &=
        Good("OCIDefineByPos", OCIDefineByPos(stmt, &define, err_, position, values, value_sz, dty,
                                              indicators, lengths, nullptr, OCI_DEFAULT));
}

void Conversation::Describe(OCIStmt *stmt) {
    if (!MayGoOn()) return;
    void *column = nullptr;
    if (!Good("OCIParamGet", OCIParamGet(stmt, OCI_HTYPE_STMT, err_, &column, 2))) return;
    char *name = nullptr;
    uint32_t name_bytes = 0;
    Good("OCIAttrGet",
         OCIAttrGet(column, OCI_DTYPE_PARAM, &name, &name_bytes, OCI_ATTR_NAME, err_));
    if (!failed_ && strcmp(name, "WORDS") != 0) {
        problem_ = "column 2 is named " + std::string(name);
    }
}

void Conversation::ReadRows() {
    if (!MayGoOn()) return;
    OCIStmt *stmt = NewStmt();
    if (stmt == nullptr) return;
    int32_t id[4] = {};
    char words[4][WORDS_BYTES] = {};
    double real8[4] = {};
    int16_t indicators[4] = {};
    uint32_t lengths[4] = {};
    all_defined_ = true;
    PrepareText(stmt, "SELECT ID, WORDS, REAL8 FROM FAULT ORDER BY ID");
    Describe(stmt);
    Define(stmt, 1, id, sizeof(int32_t), DTY_INT, nullptr, nullptr);
    Define(stmt, 2, words, WORDS_BYTES, DTY_STR, indicators, lengths);
    Define(stmt, 3, real8, sizeof(double), DTY_DOUBLE, nullptr, nullptr);
    if (MayGoOn()) {
        Good("OCIStmtExecute",
             OCIStmtExecute(svc_, stmt, err_, 0, 0, nullptr, nullptr, OCI_DEFAULT));
    }
    if (MayGoOn()) {
        const int32_t code = OCIStmtFetch(stmt, err_, 4, OCI_FETCH_NEXT, OCI_DEFAULT);
        told_("OCIStmtFetch", code);
        if (code != OCI_NO_DATA) {
            failed_ = true;
        }
    }
    while (rows_read_ < 4 && id[rows_read_] != 0) {
        rows_read_++;
    }
    Free(stmt);
    if (!all_defined_) return;
    if (rows_read_ == 3 && id[0] == 1 && id[2] == 3 && strcmp(words[0], "one") == 0 &&
        strcmp(words[2], "three") == 0 && lengths[2] == 5 && real8[0] == 0.5 && real8[2] == 1e9) {
        return;
    }
    // A row that could not be stored is missing; what is there must be right.
    static const char *const words_table[] = {"", "one", "two", "three"};
    for (int64_t row = 0; row < rows_read_; row++) {
        if (id[row] < 1 || id[row] > 3 || strcmp(words[row], words_table[id[row]]) != 0) {
            problem_ = "row " + std::to_string(row) + " is " + words[row];
        }
    }
}

struct ManyRows {
    int32_t id[BLOCK_ROWS];
    char words[BLOCK_ROWS][WORDS_BYTES];
};

static ManyRows many_rows;

void Conversation::CheckMany(int64_t from, int64_t to) {
    for (int64_t row = from; row < to; row++) {
        const int32_t id = many_rows.id[row - from];
        const std::string words = "row " + std::to_string(id);
        if (id <= last_id_ || id > MANY_ROWS || words != many_rows.words[row - from]) {
            problem_ = "row " + std::to_string(row) + " is " + std::to_string(id) + ", " +
                       many_rows.words[row - from];
            return;
        }
        last_id_ = id;
    }
}

void Conversation::FetchBlocks(OCIStmt *stmt) {
    for (int32_t fetches = 0; fetches < FETCHES_MAX; fetches++) {
        const int32_t code = OCIStmtFetch(stmt, err_, BLOCK_ROWS, OCI_FETCH_NEXT, OCI_DEFAULT);
        told_("OCIStmtFetch", code);
        if (code < 0) {
            failed_ = true;
            return;
        }
        uint32_t total = 0;
        const int32_t count_code =
            OCIAttrGet(stmt, OCI_HTYPE_STMT, &total, nullptr, OCI_ATTR_ROW_COUNT, err_);
        if (all_defined_) {
            CheckMany(many_rows_read_, total);
        }
        many_rows_read_ = total;
        told_("OCIAttrGet", count_code);
        if (code != OCI_SUCCESS) return;
    }
    problem_ = "the fetch does not end";
}

void Conversation::ReadManyRows() {
    if (!MayGoOn()) return;
    OCIStmt *stmt = NewStmt();
    if (stmt == nullptr) return;
    all_defined_ = true;
    PrepareText(stmt, "SELECT ID, WORDS FROM FAULT_MANY ORDER BY ID");
    Define(stmt, 1, many_rows.id, sizeof(int32_t), DTY_INT, nullptr, nullptr);
    Define(stmt, 2, many_rows.words, WORDS_BYTES, DTY_STR, nullptr, nullptr);
    if (MayGoOn()) {
        Good("OCIStmtExecute",
             OCIStmtExecute(svc_, stmt, err_, 0, 0, nullptr, nullptr, OCI_DEFAULT));
    }
    if (MayGoOn()) {
        FetchBlocks(stmt);
    }
    Free(stmt);
}

int32_t Conversation::Prepare() {
    if (Open()) {
        Command("DROP TABLE IF EXISTS FAULT");
        Command("CREATE TABLE IF NOT EXISTS FAULT_MANY (ID INTEGER UNIQUE, WORDS VARCHAR(20))");
        Command(
            "INSERT OR IGNORE INTO FAULT_MANY WITH RECURSIVE N(I) AS (SELECT 1 UNION ALL "
            "SELECT I + 1 FROM N WHERE I < " +
            std::to_string(MANY_ROWS) + ") SELECT I, 'row ' || I FROM N");
        Commit();
        Good("OCILogoff", OCILogoff(svc_, err_));
    }
    Close();
    return first_failure_;
}

void Conversation::Run() {
    const bool logged_on = Open();
    if (logged_on) {
        Command("CREATE TABLE FAULT (ID INTEGER, WORDS VARCHAR(20), REAL8 DOUBLE)");
        InsertRows();
        Commit();
        ReadRows();
        ReadManyRows();
        Command("DROP TABLE FAULT");
        Commit();
        Good("OCILogoff", OCILogoff(svc_, err_));
    } else if (svc_ != nullptr) {
        Good("OCIHandleFree", OCIHandleFree(svc_, OCI_HTYPE_SVCCTX));
    }
    svc_ = nullptr;
    Close();
}
