// A logged-on application with its statements, against a scripted peer. Uses exported functions
// only.
#pragma once

#include <string>
#include <vector>

#include "support/call_rig.h"

// One column of a field list: its name, TypeId, size word and flags.
inline Bytes Column(const std::string &name, int32_t type, int32_t size = -1, int32_t flags = 0) {
    return Counted(name) + Int32(type) + Int32(size) + Int32(flags);
}

// 'A' and a field list of these columns with the rowid (TypeId 45) behind them.
inline Bytes Result(const std::vector<Bytes> &columns) {
    Bytes bytes = Ascii("A") + Int32((int32_t)columns.size() + 1);
    for (const Bytes &column : columns) {
        bytes = bytes + column;
    }
    return bytes + Column("ROWID", 45, 8);
}

// A value of a row: its length and its bytes. Without bytes it is NULL.
inline Bytes Value(const Bytes &bytes) {
    return Int32((int32_t)bytes.size()) + bytes;
}

// 'R' and these values with a rowid behind them.
inline Bytes Row(const std::vector<Bytes> &values) {
    Bytes bytes = Ascii("R");
    for (const Bytes &value : values) {
        bytes = bytes + Value(value);
    }
    return bytes + Value(Ascii("AAAA0001"));
}

// 'E', a text and the end of the response.
inline Bytes Refusal(const std::string &text) {
    return Ascii("E") + Counted(text) + Ascii("K");
}

struct StmtRig : CallRig {
    std::vector<OCIStmt *> stmts;
    std::vector<OCILobLocator *> locators;

    // The connection is gone before the handles are, so that freeing them needs no script.
    ~StmtRig() {
        EXPECT_TRUE(peer.Finish()) << peer.Failure();
        for (OCIStmt *stmt : stmts) {
            OCIHandleFree(stmt, OCI_HTYPE_STMT);
        }
        for (OCILobLocator *locator : locators) {
            OCIDescriptorFree(locator, OCI_DTYPE_LOB);
        }
        if (svc != nullptr) {
            EXPECT_EQ(OCI_SUCCESS, OCILogoff(svc, err));
        }
    }

    // Freed by the rig.
    OCIStmt *NewStmt() {
        stmts.push_back(NewHandle<OCIStmt>(env, OCI_HTYPE_STMT));
        return stmts.back();
    }

    OCILobLocator *NewLocator() {
        void *locator = nullptr;
        EXPECT_EQ(OCI_SUCCESS, OCIDescriptorAlloc(env, &locator, OCI_DTYPE_LOB, 0, nullptr));
        locators.push_back((OCILobLocator *)locator);
        return locators.back();
    }

    void Exchange(const Bytes &request, const Bytes &answer) {
        peer.Expect(request);
        peer.Send(answer);
    }

    // Prepares a text without telling the peer's script.
    int32_t PrepareText(OCIStmt *stmt, const std::string &sql) {
        return OCIStmtPrepare(stmt, err, Text(sql.c_str()), (uint32_t)sql.size(), 0, 0);
    }

    // Makes a statement and prepares it as ST<number>.
    OCIStmt *Prepare(const std::string &sql, int number = 0) {
        OCIStmt *stmt = NewStmt();
        Exchange(Frame("PREPARE ST" + std::to_string(number) + " AS " + sql), Ascii("K"));
        EXPECT_EQ(OCI_SUCCESS, PrepareText(stmt, sql)) << Error();
        return stmt;
    }

    // Scripts the execution of ST0 with no parameters.
    void AnswerExecute(const Bytes &answer) {
        Exchange(FrameArgs("? ST0 ", 0), answer);
    }

    int32_t Execute(OCIStmt *stmt, uint32_t iters, uint32_t mode = OCI_DEFAULT) {
        return OCIStmtExecute(svc, stmt, err, iters, 0, nullptr, nullptr, mode);
    }

    int32_t Fetch(OCIStmt *stmt, uint32_t nrows) {
        return OCIStmtFetch(stmt, err, nrows, OCI_FETCH_NEXT, 0);
    }

    int32_t Define(OCIStmt *stmt, uint32_t position, void *values, int32_t value_sz, int dty,
                   void *indp = nullptr, uint32_t *rlenp = nullptr, int32_t *rcodep = nullptr,
                   uint32_t mode = OCI_DEFAULT) {
        OCIDefine *define = nullptr;
        return OCIDefineByPos(stmt, &define, err, position, values, value_sz, (uint16_t)dty, indp,
                              rlenp, rcodep, mode);
    }

    int32_t Bind(OCIStmt *stmt, uint32_t position, void *values, int32_t value_sz, int dty,
                 void *indp = nullptr, uint32_t mode = OCI_DEFAULT) {
        OCIBind *bind = nullptr;
        return OCIBindByPos(stmt, &bind, err, position, values, value_sz, (uint16_t)dty, indp,
                            nullptr, nullptr, 0, nullptr, mode);
    }

    int32_t BindName(OCIStmt *stmt, const char *name, void *values, int32_t value_sz, int dty,
                     void *indp = nullptr) {
        OCIBind *bind = nullptr;
        return OCIBindByName(stmt, &bind, err, Text(name), -1, values, value_sz, (uint16_t)dty,
                             indp, nullptr, nullptr, 0, nullptr, OCI_DEFAULT);
    }
};
