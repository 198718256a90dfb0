// One whole conversation of an application with the development server: log on, make a table,
// insert bound values, commit, select into arrays, log off. What goes wrong on the way is up to the
// test that runs it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tavu/oci.h"

// The link text of the server that the test runner has started.
std::string ServerLink();

// What the application does after a call that failed.
enum Manner {
    CAREFUL,  // frees what it has and logs off
    STUBBORN  // goes on with the next call
};

class Conversation {
public:
    // `told` hears of each call and of its result.
    Conversation(const std::string &link, Manner manner,
                 std::function<void(const char *call, int32_t code)> told);

    // Makes the table of many rows that every conversation reads, and drops what an earlier
    // conversation has left behind. Returns the first result that is none of success.
    int32_t Prepare();

    // The conversation itself. All handles are freed at its end.
    void Run();

    // What the application found wrong with the values it got; empty when nothing was.
    const std::string &Problem() const {
        return problem_;
    }
    int64_t rows_read() const {
        return rows_read_;
    }
    int64_t many_rows_read() const {
        return many_rows_read_;
    }

private:
    bool Good(const char *call, int32_t code);
    bool MayGoOn() const;
    bool Open();
    void Close();
    OCIStmt *NewStmt();
    void Free(OCIStmt *stmt);
    void Command(const std::string &sql);
    void Commit();
    void InsertRows();
    void BindRow(OCIStmt *stmt);
    void ReadRows();
    void Describe(OCIStmt *stmt);
    void ReadManyRows();
    void FetchBlocks(OCIStmt *stmt);
    bool PrepareText(OCIStmt *stmt, const std::string &sql);
    void Define(OCIStmt *stmt, uint32_t position, void *values, int32_t value_sz, uint16_t dty,
                void *indicators, uint32_t *lengths);
    void CheckMany(int64_t from, int64_t to);

    std::string link_;
    Manner manner_;
    std::function<void(const char *, int32_t)> told_;
    std::string problem_;
    bool failed_ = false;
    bool all_defined_ = false;
    int32_t first_failure_ = 0;
    int64_t rows_read_ = 0;
    int64_t many_rows_read_ = 0;
    int32_t last_id_ = 0;
    OCIEnv *env_ = nullptr;
    OCIError *err_ = nullptr;
    OCISvcCtx *svc_ = nullptr;
};

// The rows of the table of many rows, more than the first block that a result takes.
constexpr int64_t MANY_ROWS = 3200;

// Whether a call of the conversation may return `code`, whatever fails below it.
bool IsAllowed(const std::string &call, int32_t code);
