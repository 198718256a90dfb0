// The records of the call interface. Each begins with its type code, which all type checks read.
//
// Applications free handles in any order, and threads that share an environment make and free their
// own at the same time. So every link between two records is a RecordName, which the record that it
// names knows of and ends when it goes (see record_links.h).
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/list.h"
#include "records/handles.h"
#include "records/statement.h"
#include "records/values.h"
#include "tavu/oci.h"

constexpr uint32_t CONTEXT_TEXT_BYTES = 128;
constexpr uint32_t ERROR_TEXT_BYTES = 512;

// Where the last error of an OCIError is to be read.
enum ErrorSource { ERROR_NONE = 0, ERROR_OF_SESSION = 3, ERROR_OF_STMT = 5, ERROR_OF_RECORD = 8 };

// The class of a statement text, by its first word.
enum StmtClass { CLASS_OTHER = 0, CLASS_DDL = 1, CLASS_DML = 2, CLASS_SELECT = 3 };

// One user memory block of an environment.
struct UserMemNode {
    void *memory;  // owned; what the application got, 16 bytes behind the start of the block
    UserMemNode *next;
};

// One record naming another, which may be freed first. Zeroed when made.
struct RecordName {
    ListLink link;               // in RecordLink.names of the record that is named
    std::atomic<void *> record;  // borrowed; NULL: nothing is named, or it was freed
    OCIStmt *stmt;  // of a bind or define that names a locator: its statement; else NULL
};

// The part that every record of a handle or locator ends with.
struct RecordLink {
    ListLink link;   // among all records of the process
    ListLink names;  // of RecordName.link: all that name this record
    void *record;    // the record that this belongs to
    RecordName env;  // the environment that it was made from; none for an environment
};

// A block that its owner lost sight of; kept for the life of the record that lists it.
struct LostBlock {
    LostBlock *next;  // owned
};

struct OCIEnv {
    uint32_t type;  // OCI_HTYPE_ENV
    TVCIEnv *native_env;
    OCIServer *server;    // the newest, freed or not: see server_name
    OCISession *session;  // the newest with a native handle, freed or not: see session_name
    OCIMallocFunc malocfp;
    OCIReallocFunc ralocfp;  // never called
    OCIFreeFunc mfreefp;
    void *ctxp;
    UserMemNode first_usermem;
    UserMemNode *usermem_list;
    OCISession **pending_sessions;  // owned array
    int32_t pending_session_count;
    OCIStmt **pending_stmts;  // owned array
    int32_t pending_stmt_count;
    LostBlock *lost_blocks;   // owned; staging buffers of large value writes that never ended
    OCIParam *older_params;   // owned; descriptors that outlived their statement
    RecordName svcctx;        // the newest service context
    RecordName server_name;   // of `server`
    RecordName session_name;  // of `session`
    RecordLink link;
};

struct OCIError {
    uint32_t type;             // OCI_HTYPE_ERROR
    uint32_t source;           // ErrorSource
    RecordName source_handle;  // an OCISession or OCIStmt
    char message[ERROR_TEXT_BYTES];
    RecordLink link;
};

struct OCIServer {
    uint32_t type;  // OCI_HTYPE_SERVER
    TVCIServer *native_server;
    RecordLink link;
};

struct OCISession {
    uint32_t type;                // OCI_HTYPE_SESSION
    TVCISession *native_session;  // NULL while pending
    char user[CONTEXT_TEXT_BYTES];
    char password[CONTEXT_TEXT_BYTES];
    uint8_t logged_on;
    void *usermem;
    RecordLink link;
};

struct OCISvcCtx {
    uint32_t type;        // OCI_HTYPE_SVCCTX
    OCIServer *server;    // as the application set it; handed back unread
    OCISession *session;  // as the application set it; handed back unread
    RecordName stmt;      // the statement that last received a native handle
    char ip[16];
    uint32_t port;
    uint32_t charset;
    RecordName server_name;   // no target unless `server` is a live OCIServer
    RecordName session_name;  // no target unless `session` is a live OCISession
    RecordLink link;
};

struct OCIStmt {
    uint32_t type;          // OCI_HTYPE_STMT
    TVCIStmt *native_stmt;  // NULL while pending
    char *text;             // owned; of a statement that is prepared on the server
    char *ddl_text;         // owned; of a statement that is run directly, behind a LostBlock
    int32_t bind_count;
    OCIBind **binds;
    int32_t define_count;
    OCIDefine **defines;
    OCIDefine *piece_define;  // the define that a piecewise fetch is filling
    uint8_t prepared;
    uint32_t stmt_class;  // StmtClass
    uint8_t defined;
    uint32_t rows_fetched;
    uint32_t rows_total;
    OCIParam *param;  // owned; the newest parameter descriptor
    uint8_t lob_dirty;
    void *usermem;
    LostBlock *spent_texts;  // owned; DDL texts that were run, which the application may still read
    uint8_t had_lobs;        // a large value was defined: fetches keep the two fields below
    const ResultSet *rows;   // where the newest row came from; compared, never read
    uint32_t row_block;      // raised each time that changes
    RecordLink link;
};

struct OCIParam {
    uint32_t type;                // OCI_DTYPE_PARAM
    ColumnHandle *native_column;  // borrowed; NULL past the last column; see ParamColumn in stmt.h
    char name[CONTEXT_TEXT_BYTES];
    OCIStmt *stmt;        // borrowed; NULL once it is freed
    uint32_t generation;  // TVCIStmt.result_generation when `native_column` was taken
    OCIParam *older;      // the statement's earlier descriptor; the application never frees one
};

struct OCIBind {
    uint32_t type;      // OCI_HTYPE_BIND
    uint32_t position;  // 0 for a bind by name
    char *name;         // owned; the placeholder as written
    void *valuep;
    void *value_buffer;  // owned, or the locator's native LOB
    int16_t *indp;
    int32_t actual_length;
    uint32_t piece_length;
    uint32_t value_sz;
    uint32_t dty;
    uint8_t mode;
    uint8_t value_ready;
    OCIStmt *stmt;
    uint8_t *pieces;          // owned; what a data-at-execute large value gathers, or NULL
    RecordName locator_name;  // of the locator whose native LOB `value_buffer` is
};

struct OCIDefine {
    uint32_t type;  // OCI_HTYPE_DEFINE
    uint32_t position;
    void *valuep;
    void *value_buffer;  // owned, or the locator's native LOB
    uint32_t dty;
    int32_t value_sz;
    uint16_t *indp;
    int32_t length;       // of the current row's value; 0: NULL
    int32_t return_code;  // status of the conversion of the current row's value
    uint32_t *rlenp;
    int32_t *rcodep;  // borrowed, or NULL
    uint32_t mode;
    uint32_t lob_bind_position;
    uint32_t piece_offset;
    uint32_t *piece_lengthp;
    void *piece_buffer;
    uint8_t piece_done;
    OCIStmt *stmt;
    RecordName locator_name;  // of the locator whose native LOB `value_buffer` is
    RecordName written_name;  // of the locator whose native LOB the last write-back bound
    uint8_t is_native;        // the native layer fills `value_buffer`
};

struct OCILobLocator {
    uint32_t type;          // OCI_DTYPE_LOB
    LobRecord *native_lob;  // owned
    uint8_t *data;      // the holder's bytes after a callback read, or the staging buffer; or NULL
    uint32_t length;    // bytes of the whole value
    uint32_t position;  // read position, or bytes staged; stops at the largest that it holds
    uint8_t staging;    // `data` is the staging buffer of `length` bytes, behind a LostBlock; owned
    RecordName rows_of;        // the statement in whose rows lies what the holder borrows
    uint32_t rows_generation;  // its result_generation then
    uint32_t rows_block;       // its row_block then
    LobRecord replaced;        // what the holder owned, while a row is fetched into it
    RecordLink link;
};
