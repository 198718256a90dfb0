// A server cursor beside a plain fetch of the same rows, through the native calls, against a
// replayed result.
//
//   bench_cursor [rows [rows fetched ahead]]
//
// A row is an int32, an int64, a double, a text of 20, a DATETIME and the rowid, all defined.
// Printed is the processor time that the client's process uses for a row: when all rows come in one
// response, when a cursor pulls them in blocks of 2000, and when a second thread pulls the block
// that comes next. The two sides of the last one look for each other once a second, so it gets
// fewer rows and its wall time is told for a block.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/native.h"
#include "support/replay.h"
#include "support/rows.h"
#include "tavu/tvci.h"

static constexpr int64_t DEFAULT_ROWS = 1000000;
static constexpr int64_t DEFAULT_AHEAD_ROWS = 10000;
static constexpr int64_t BLOCK_ROWS = 2000;
static constexpr int REPEATS = 3;
static constexpr int32_t SERVER_CURSOR = 42;

struct Row {
    int32_t small;
    int64_t large;
    double real;
    char words[21];
    DateTimeRec moment;
    char rowid[16];  // its digits
};

struct Client {
    TVCIEnv *env;
    TVCIStmt *stmt;
};

// Logs on and prepares the statement.
static Client Connect(const Replay &replay, int32_t cursor_mode, Row *row) {
    const NativeClient native = NativeClientMake(replay.port, false);
    TVCISession *session = NativeSessionMake(native, false);
    TVCIStmt *stmt = NULL;
    NativeMust(TVCIConnect(session, "SYSDBA", "SYSDBA"), "TVCIConnect");
    NativeMust(TVCIHandleAlloc(session, (void **)&stmt, TVCI_HTYPE_STMT), "statement");
    NativeMust(TVCIAttrSet(stmt, SERVER_CURSOR, &cursor_mode, -1), "cursor mode");
    NativeMust(TVCIPrepare(stmt, "SELECT SMALL, LARGE, REAL, WORDS, MOMENT FROM T", -1),
               "TVCIPrepare");
    TVCIDefineColumn(stmt, 1, &row->small, 4, TVCI_C_INT, NULL, NULL);
    TVCIDefineColumn(stmt, 2, &row->large, 8, TVCI_C_BIGINT, NULL, NULL);
    TVCIDefineColumn(stmt, 3, &row->real, 8, TVCI_C_DOUBLE, NULL, NULL);
    TVCIDefineColumn(stmt, 4, row->words, 20, TVCI_C_CHAR, NULL, NULL);
    TVCIDefineColumn(stmt, 5, &row->moment, sizeof row->moment, TVCI_C_DATETIME, NULL, NULL);
    TVCIDefineColumn(stmt, 6, row->rowid, 8, TVCI_C_CHAR, NULL, NULL);
    return {native.env, stmt};
}

struct Measured {
    int64_t rows;
    int64_t cpu_ns;
    int64_t wall_ns;
    uint64_t checksum;
};

// Fetches up to `rows_max` rows.
static Measured Fetch(const Replay &replay, int32_t cursor_mode, int64_t rows_max) {
    static Row row;
    Measured measured = {};
    const Client client = Connect(replay, cursor_mode, &row);
    const int64_t cpu_before = CpuNs();
    const int64_t wall_before = NowNs();
    NativeMust(TVCIExecute(client.stmt), "TVCIExecute");
    while (measured.rows < rows_max && TVCIFetch(client.stmt) == TVCI_SUCCESS) {
        uint64_t bits;
        memcpy(&bits, &row.real, sizeof bits);
        measured.checksum += (uint32_t)row.small + (uint64_t)row.large + bits +
                             (uint8_t)row.words[19] + (uint32_t)row.moment.day +
                             (uint8_t)row.rowid[0];
        measured.rows++;
    }
    measured.cpu_ns = CpuNs() - cpu_before;
    measured.wall_ns = NowNs() - wall_before;
    TVCIHandleFree(client.env);
    return measured;
}

static void Print(const char *what, const Measured &measured, int64_t rows) {
    if (measured.rows != rows) {
        fprintf(stderr, "%s: fetched %lld rows\n", what, (long long)measured.rows);
        exit(1);
    }
    printf("%s: client cpu %.1f ns/row, wall %.3f s; checksum %016llx\n", what,
           (double)measured.cpu_ns / (double)rows, (double)measured.wall_ns / 1e9,
           (unsigned long long)measured.checksum);
}

int main(int argc, char **argv) {
    const int64_t rows = argc > 1 ? atoll(argv[1]) : DEFAULT_ROWS;
    int64_t ahead_rows = argc > 2 ? atoll(argv[2]) : DEFAULT_AHEAD_ROWS;
    if (rows < 1 || ahead_rows < 1) {
        fprintf(stderr, "usage: bench_cursor [rows [rows fetched ahead]]\n");
        return 2;
    }
    ahead_rows = ahead_rows < rows ? ahead_rows : rows;
    const ReplayResult result = MakeRows(rows);
    Replay replay = ReplayStart(result);
    printf("rows %lld, bytes a row %.1f\n", (long long)rows,
           (double)result.rows.size() / (double)rows);
    for (int repeat = 0; repeat < REPEATS; repeat++) {
        const Measured plain = Fetch(replay, 0, rows);
        const Measured cursor = Fetch(replay, 1, rows);
        Print("plain", plain, rows);
        Print("cursor", cursor, rows);
        if (plain.checksum != cursor.checksum) {
            fprintf(stderr, "the rows differ\n");
            return 1;
        }
        printf("difference %.1f ns/row, ratio %.2f\n",
               (double)(cursor.cpu_ns - plain.cpu_ns) / (double)rows,
               (double)cursor.cpu_ns / (double)plain.cpu_ns);
    }
    const Measured ahead = Fetch(replay, 2, ahead_rows);
    Print("fetching ahead", ahead, ahead_rows);
    printf("wall %.3f s for each of %lld blocks\n",
           (double)ahead.wall_ns / 1e9 / (double)((ahead_rows + BLOCK_ROWS - 1) / BLOCK_ROWS),
           (long long)((ahead_rows + BLOCK_ROWS - 1) / BLOCK_ROWS));
    ReplayStop(&replay);
    return 0;
}
