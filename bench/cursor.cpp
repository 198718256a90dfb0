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
#include <random>
#include <string>

#include "support/replay.h"
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
    char rowid[16];
};

static std::string Field(const std::string &name, int32_t type, int32_t size) {
    return WireText("T." + name) + WireInt32(type) + WireInt32(size) + WireInt32(0);
}

static std::string FieldList() {
    return "A" + WireInt32(6) + Field("SMALL", 5, -1) + Field("LARGE", 6, -1) +
           Field("REAL", 9, -1) + Field("WORDS", 30, 20) + Field("MOMENT", 13, -1) +
           Field("ROWID", 45, -1);
}

// The values of a row are drawn from a fixed seed.
static ReplayResult MakeResult(int64_t rows) {
    ReplayResult result = {};
    result.field_list = FieldList();
    std::mt19937_64 random(20240229);
    for (int64_t row = 0; row < rows; row++) {
        char words[21];
        char rowid[24];
        snprintf(words, sizeof words, "%020llu", (unsigned long long)random());
        snprintf(rowid, sizeof rowid, "%08lld", (long long)row);
        std::string &bytes = result.rows;
        bytes += 'R';
        bytes += WireInt32(4) + WireInt32((int32_t)random());
        bytes += WireInt32(8) + WireInt64((int64_t)random());
        bytes += WireInt32(8) + WireDouble((double)(random() % 1000000) / 64);
        bytes += WireText(words);
        bytes += WireInt32(8) + WireInt64((int64_t)(random() % 4000000000000));
        bytes += WireText(rowid);
        if (row == 0) {
            result.row_bytes = bytes.size();
        }
        if (row < BLOCK_ROWS) {
            result.first_block_bytes = bytes.size();
        }
    }
    return result;
}

static void Must(int32_t status, const char *what) {
    if (status == TVCI_SUCCESS) return;
    fprintf(stderr, "%s gives %d\n", what, (int)status);
    exit(1);
}

struct Client {
    TVCIEnv *env = NULL;
    TVCIStmt *stmt = NULL;
};

// Logs on and prepares the statement.
static Client Connect(const Replay &replay, int32_t cursor_mode, Row *row) {
    Client client;
    TVCIServer *server = NULL;
    TVCISession *session = NULL;
    uint32_t port = replay.port;
    Must(TVCIHandleAlloc(NULL, (void **)&client.env, TVCI_HTYPE_ENV), "environment");
    Must(TVCIHandleAlloc(client.env, (void **)&server, TVCI_HTYPE_SERVER), "server");
    Must(TVCIAttrSet(server, 21, "127.0.0.1", -1), "address");
    Must(TVCIAttrSet(server, 22, &port, -1), "port");
    Must(TVCIHandleAlloc(server, (void **)&session, TVCI_HTYPE_SESSION), "session");
    Must(TVCIConnect(session, "SYSDBA", "SYSDBA"), "TVCIConnect");
    Must(TVCIHandleAlloc(session, (void **)&client.stmt, TVCI_HTYPE_STMT), "statement");
    TVCIStmt *stmt = client.stmt;
    Must(TVCIAttrSet(stmt, SERVER_CURSOR, &cursor_mode, -1), "cursor mode");
    Must(TVCIPrepare(stmt, "SELECT SMALL, LARGE, REAL, WORDS, MOMENT FROM T", -1), "TVCIPrepare");
    TVCIDefineColumn(stmt, 1, &row->small, 4, TVCI_C_INT, NULL, NULL);
    TVCIDefineColumn(stmt, 2, &row->large, 8, TVCI_C_BIGINT, NULL, NULL);
    TVCIDefineColumn(stmt, 3, &row->real, 8, TVCI_C_DOUBLE, NULL, NULL);
    TVCIDefineColumn(stmt, 4, row->words, 20, TVCI_C_CHAR, NULL, NULL);
    TVCIDefineColumn(stmt, 5, &row->moment, sizeof row->moment, TVCI_C_DATETIME, NULL, NULL);
    TVCIDefineColumn(stmt, 6, row->rowid, 8, TVCI_C_CHAR, NULL, NULL);
    return client;
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
    Must(TVCIExecute(client.stmt), "TVCIExecute");
    while (measured.rows < rows_max && TVCIFetch(client.stmt) == TVCI_SUCCESS) {
        uint64_t bits;
        memcpy(&bits, &row.real, sizeof bits);
        measured.checksum += (uint32_t)row.small + (uint64_t)row.large + bits +
                             (uint8_t)row.words[19] + (uint32_t)row.moment.day +
                             (uint8_t)row.rowid[7];
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
    const ReplayResult result = MakeResult(rows);
    Replay replay = ReplayStart(result);
    printf("rows %lld, bytes a row %zu\n", (long long)rows, result.row_bytes);
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
