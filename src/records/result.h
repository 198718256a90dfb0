// Results: the result set of one response item, its columns, its row index and its row memory.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/lock.h"

struct Connection;
struct TVCIStmt;

// Rows of the first block of a response, and of every block that a server cursor fetches.
constexpr int32_t FIRST_ROWS_MAX = 2000;
// The fetch side stays at least this many rows behind a running row reader.
constexpr int64_t ROWS_AHEAD = 100;

constexpr int32_t ROW_HEADER_BYTES = 24;
constexpr int32_t ROW_BOOKMARK_OFFSET = 4;
constexpr int32_t ROW_BOOKMARK_BYTES = 20;

enum ResultKind { RESULT_INSERT = 1, RESULT_ROWS = 2, RESULT_UPDATE = 3, RESULT_DELETE = 4 };

// One column of a result. Zeroed when made.
struct FieldDesc {
    char *table;       // owns the text buffer if set; NULL if the wire name had no "."
    char *name;        // owns the text buffer if `table` is NULL
    char *attribute;   // in the same buffer; what stood behind the "%", NULL if there was none
    int32_t type;      // TypeId
    int32_t app_type;  // the CType that the column reads as by default
    int32_t size;      // declared size word; -1 where the column has none
    int32_t flags;
    int32_t value_offset;  // of the slot, counted from the first byte of the null bitmap
};

// A stretch of row memory.
struct ArenaChunk {
    ArenaChunk *next;
    int32_t capacity;  // bytes at `data`
    int32_t used;
    int32_t free;
    uint8_t *data;  // owned
};

// A block that goes with an arena and lies outside its chunks; the bytes are behind this record.
struct KeptBlock {
    KeptBlock *next;
};

// Memory of the rows of one result: released in one sweep.
struct RowArena {
    ArenaChunk *first;
    ArenaChunk *current;
    KeptBlock *kept;  // owned; touched by the thread that converts, not by the row reader
};

constexpr int32_t ROW_INDEX_SLOTS = 1024;

// One stored row, by address: header, null bitmap and slots, as the value catalogue lays them out.
typedef uint8_t RowImage;

// Where the rows of a result are: slot 0 of `slots` points to the number of blocks in use, slots 1
// to 1023 to blocks of row pointers. Rows and blocks never move.
struct RowStore {
    void **slots;                    // owned; NULL until the first row
    int64_t capacity;                // rows that the blocks hold; touched by the row reader only
    std::atomic<int64_t> row_count;  // rows stored; a row is complete before it is counted
};

struct ResultLink {
    ResultLink *next;
};

// One item of a response. Made by NewResultSet, freed by FreeResultSet and ReleaseResults.
struct ResultSet {
    ResultLink link;         // in TVCIStmt.results, the head after the last; a copy: in .copies
    ResultSet *next_result;  // for TVCINextResult
    TVCIStmt *statement;     // borrowed
    Connection *conn;  // borrowed; where the rows come from. A row reader asks no session, for
                       // the session may be disconnected beside it
    int32_t kind;      // ResultKind
    int32_t field_count;
    FieldDesc *fields;  // owned
    int32_t row_size;   // bytes of one row image
    int32_t position;   // index of the row that the next fetch hands out
    RowStore store;
    RowImage **next_slot;   // borrowed from the store: the place of row `position`; NULL when the
                            // index must be asked
    RowImage *current_row;  // borrowed from the arena; NULL at the end of the data
    uint32_t affected;      // rows, for all kinds but rows
    Mutex count_lock;       // guards the increment of store.row_count
    RowArena *arena;        // owned; NULL until the first rows are read
    void **text_cache;      // owned, field_count long; NULL but in a copy that was handed out
};
