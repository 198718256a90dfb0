// The native statement, its parameters, their binds and its defined columns.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/list.h"
#include "platform/lock.h"
#include "records/result.h"

struct ErrInfo;
struct TVCISession;
struct TVCIStmt;

// Where one bound value lies in the application. On the statement's list of binds.
struct BindRecord {
    ListLink link;  // in TVCIStmt.binds
    TVCIStmt *stmt;
    void *value;         // borrowed
    int32_t value_size;  // bytes
    int32_t c_type;
    int32_t *return_code;    // borrowed, or NULL
    int32_t *return_length;  // borrowed, or NULL; for an array bind one element for each row
    int32_t array_rows;      // elements at `value`; 0 for a bind of one value
};

// One parameter of a statement.
struct ParamRecord {
    uint8_t bound;
    int32_t kind;     // direction: 1 input, 2 output
    char *name;       // owned; NULL for a question mark
    int32_t ordinal;  // from 1
    int32_t sql_type;
    BindRecord *bind;  // owned through TVCIStmt.binds; NULL while unbound
};

// One defined column: where the fetch puts its value.
struct DefineRecord {
    int32_t column;       // index, from 0
    void *buffer;         // borrowed
    int32_t buffer_size;  // bytes
    int32_t c_type;
    int32_t *return_code;    // borrowed, or NULL
    int32_t *return_length;  // borrowed, or NULL
};

// A column descriptor handed out by TVCIParamGet.
struct ColumnHandle {
    uint32_t type;     // 10
    int32_t position;  // from 1
    FieldDesc *field;  // borrowed from the result
};

enum StmtState { STMT_TEXT_SET = 0, STMT_PREPARED = 1, STMT_SENT = 3 };

constexpr int32_t PARAM_COUNT_MAX = 4000;

// What a fetch-ahead reader may do.
enum AheadState {
    AHEAD_MAY_START = 0,     // fetch a block into `ahead_result`
    AHEAD_FETCHING = 1,      // nothing, but for the one that has the turn: `ahead_result` is its
    AHEAD_BLOCK_WAITS = 2,   // nothing: `ahead_result` holds a block
    AHEAD_BLOCK_TAKEN = 3,   // empty `ahead_result`, the used block, and fetch the next into it
    AHEAD_NO_MORE_ROWS = 7,  // end
};

// What a statement shares with the threads that fetch ahead for its cursors. The last of them frees
// it: the reader of a cursor that was closed early sleeps at AHEAD_BLOCK_WAITS for good, unless a
// later cursor of the same statement changes the state, and reads no other memory while it sleeps.
struct AheadShare {
    std::atomic<int32_t> state;    // AheadState; hands `ahead_result` over, with what it owns
    std::atomic<int32_t> holders;  // the statement and each reader
    TVCIStmt *stmt;                // borrowed; there while a reader has or may take the turn
};

struct TVCIStmt {
    uint32_t type;         // 5
    ListLink link;         // in TVCISession.stmts
    TVCISession *session;  // parent
    char *sql;             // owned, or NULL
    ResultLink results;    // head of the circular list of ResultSet; empty: points to itself
    ResultLink *copies;    // borrowed; first of the copies handed out, the last one's next is NULL
    ResultSet *current;    // borrowed from `results`, or NULL
    int32_t state;         // StmtState
    char *cursor_name;     // owned, or NULL
    char prepared_name[16];
    uint8_t use_server_cursor;
    uint8_t cursor_declared;
    uint8_t cursor_open;
    uint8_t fetch_ahead;
    uint8_t prepared;
    std::atomic<uint8_t> rows_complete;  // no more rows will arrive; release by the reader
    std::atomic<uint8_t> response_done;  // the response is over; release by the reader
    int32_t param_count;
    ParamRecord *params;  // owned; param_count long
    ListLink binds;       // of BindRecord.link; owned
    int32_t bound_column_count;
    DefineRecord *bound_columns;  // owned
    ErrInfo *err;                 // owned; reached through diag/error.h only, a reader may write it
    Mutex lock;                   // guards the growth of the row index
    uint32_t array_rows;          // rows of an array execution, as the last array bind said
    uint8_t *row_buffer;  // owned; where an array execution gathers a row; NULL before the first
    size_t row_buffer_bytes;       // that it holds
    AheadShare *ahead;             // held; NULL until a cursor is first fetched with `fetch_ahead`
    ResultSet *ahead_result;       // borrowed from `results`, or NULL; the block after `current`
    ColumnHandle *column_handles;  // owned; column_handle_count long, or NULL
    int32_t column_handle_count;
    uint32_t result_generation;  // raised each time the results and column handles are released
    void **owner_slot;           // borrowed; the pointer above that names this handle, or NULL
};
