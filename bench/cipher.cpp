// What an enciphered conversation costs for a byte, below the socket.
//
//   bench_cipher [thousands of rows]
//
// Printed are the processor time for a byte of keystream applied to long runs and to pieces of 8
// bytes, and of the row reader on the same rows in the clear and enciphered. The rows are those of
// bench_fetch, put into the receive buffer by hand. Each figure is the least of several repeats.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "platform/memory.h"
#include "records/handles.h"
#include "stmt/rows.h"
#include "support/replay.h"
#include "values/arena.h"
#include "wire/cipher.h"
#include "wire/connection.h"

static constexpr int64_t DEFAULT_THOUSANDS = 200;
static constexpr int REPEATS = 7;
// Rows that are put into the receive buffer together, and whose memory goes together.
static constexpr int64_t CHUNK_ROWS = 100;
static constexpr int32_t RUN_BYTES = 65536;
static constexpr int32_t PIECE_BYTES = 8;

static void Must(bool done, const char *what) {
    if (done) return;
    fprintf(stderr, "%s failed\n", what);
    exit(1);
}

static std::string Field(const std::string &name, int32_t type, int32_t size) {
    return WireText(name) + WireInt32(type) + WireInt32(size) + WireInt32(0);
}

static std::string FieldList() {
    return WireInt32(6) + Field("SMALL", 5, -1) + Field("LARGE", 6, -1) + Field("REAL", 9, -1) +
           Field("WORDS", 30, 20) + Field("MOMENT", 13, -1) + Field("ROWID", 45, -1);
}

// The rows, and where each chunk of them begins; the end stands last.
struct Rows {
    std::string bytes;
    std::vector<size_t> chunks;
};

static Rows MakeRows(int64_t count) {
    Rows rows;
    std::mt19937_64 random(20240229);
    for (int64_t row = 0; row < count; row++) {
        if (row % CHUNK_ROWS == 0) {
            rows.chunks.push_back(rows.bytes.size());
        }
        char words[21];
        snprintf(words, sizeof words, "%020llu", (unsigned long long)random());
        rows.bytes += 'R';
        rows.bytes += WireInt32(4) + WireInt32((int32_t)random());
        rows.bytes += WireInt32(8) + WireInt64((int64_t)random());
        rows.bytes += WireInt32(8) + WireDouble((double)(random() % 1000000) / 64);
        rows.bytes += WireText(words);
        rows.bytes += WireInt32(8) + WireInt64((int64_t)(random() % 4000000000000));
        rows.bytes += WireText(std::to_string(row + 1));
    }
    rows.chunks.push_back(rows.bytes.size());
    return rows;
}

static Connection *MakeConnection() {
    Connection *conn = (Connection *)MemAlloc(sizeof(Connection));
    Must(conn != NULL && ConnInit(conn), "ConnInit");
    swap_bytes = 1;
    return conn;
}

static void FreeConnection(Connection *conn) {
    ConnFree(conn);
    MemFree(conn);
}

// Starts both keystreams from their beginning.
static void StartKeystreams(Connection *conn) {
    uint8_t key[32];
    for (size_t i = 0; i < sizeof key; i++) {
        key[i] = (uint8_t)i;
    }
    CipherFree(conn);
    Must(CipherSetup(conn, key, sizeof key), "CipherSetup");
    conn->use_ssl = 1;
}

static void PutIntoBuffer(Connection *conn, const char *bytes, size_t count) {
    Must(count <= RECV_BUFFER_BYTES, "a chunk of rows");
    memcpy(conn->recv_buf, bytes, count);
    conn->recv_fill = (int32_t)count;
    conn->recv_pos = 0;
}

struct Measured {
    double ns_for_a_byte;
    uint64_t checksum;
};

// Applies the keystream to so many bytes, `piece` of them in one call.
static Measured ApplyKeystream(int64_t bytes, int32_t piece) {
    Connection *conn = MakeConnection();
    std::string run(RUN_BYTES, '\0');
    Measured measured = {1e9, 0};
    for (int repeat = 0; repeat < REPEATS; repeat++) {
        StartKeystreams(conn);
        std::fill(run.begin(), run.end(), '\0');
        const int64_t before = CpuNs();
        for (int64_t done = 0; done < bytes; done += RUN_BYTES) {
            for (int32_t start = 0; start < RUN_BYTES; start += piece) {
                CipherApplyRecv(conn, run.data() + start, piece);
            }
        }
        const double used = (double)(CpuNs() - before);
        measured.ns_for_a_byte = std::min(measured.ns_for_a_byte, used / (double)bytes);
    }
    for (const char byte : run) {
        measured.checksum = measured.checksum * 31 + (uint8_t)byte;
    }
    FreeConnection(conn);
    return measured;
}

// Reads all rows once, a chunk at a time, and returns a checksum of their fixed columns.
static uint64_t ReadRows(Connection *conn, ResultSet *result, const Rows &rows) {
    uint64_t checksum = 0;
    for (size_t chunk = 0; chunk + 1 < rows.chunks.size(); chunk++) {
        const size_t start = rows.chunks[chunk];
        PutIntoBuffer(conn, rows.bytes.data() + start, rows.chunks[chunk + 1] - start);
        result->arena->current->used = 0;
        result->arena->current->free = result->arena->current->capacity;
        while (conn->recv_fill != 0) {
            RowImage *row;
            Must(ReadRow(result, &row) == 0, "ReadRow");
            uint64_t slot;
            memcpy(&slot, row + ROW_HEADER_BYTES + 2, sizeof slot);
            checksum = checksum * 31 + slot;
        }
    }
    return checksum;
}

static Measured ReadAllRows(const Rows &plain, bool enciphered) {
    Connection *conn = MakeConnection();
    TVCISession session = {};
    session.conn = conn;
    TVCIStmt stmt = {};
    stmt.session = &session;
    stmt.results.next = &stmt.results;
    ResultSet *result = NewResultSet(&stmt);
    Must(result != NULL, "NewResultSet");
    const std::string fields = FieldList();
    PutIntoBuffer(conn, fields.data(), fields.size());
    Must(ReadFieldList(result) == 0, "ReadFieldList");
    result->arena = ArenaCreate();
    Must(result->arena != NULL, "ArenaCreate");
    Rows rows = plain;
    if (enciphered) {
        StartKeystreams(conn);
        CipherApplySend(conn, rows.bytes.data(), (int32_t)rows.bytes.size());
    }
    Measured measured = {1e9, 0};
    for (int repeat = 0; repeat < REPEATS; repeat++) {
        if (enciphered) {
            StartKeystreams(conn);
        }
        const int64_t before = CpuNs();
        measured.checksum = ReadRows(conn, result, rows);
        const double used = (double)(CpuNs() - before);
        measured.ns_for_a_byte = std::min(measured.ns_for_a_byte, used / (double)rows.bytes.size());
    }
    FreeResultSet(result);
    MemFree(result);
    FreeConnection(conn);
    return measured;
}

int main(int argc, char **argv) {
    const int64_t thousands = argc > 1 ? atoll(argv[1]) : DEFAULT_THOUSANDS;
    if (thousands < 1 || thousands > 20000) {
        fprintf(stderr, "usage: bench_cipher [thousands of rows, 1 to 20000]\n");
        return 2;
    }
    const Rows rows = MakeRows(thousands * 1000);
    const int64_t bytes = (int64_t)rows.bytes.size() / RUN_BYTES * RUN_BYTES + RUN_BYTES;
    printf("rows %lld, bytes %zu\n", (long long)thousands * 1000, rows.bytes.size());
    const Measured runs = ApplyKeystream(bytes, RUN_BYTES);
    printf("keystream on runs of %d %.3f ns/byte; checksum %016llx\n", RUN_BYTES,
           runs.ns_for_a_byte, (unsigned long long)runs.checksum);
    const Measured pieces = ApplyKeystream(bytes, PIECE_BYTES);
    printf("keystream on pieces of %d %.3f ns/byte; checksum %016llx\n", PIECE_BYTES,
           pieces.ns_for_a_byte, (unsigned long long)pieces.checksum);
    const Measured plain = ReadAllRows(rows, false);
    const Measured enciphered = ReadAllRows(rows, true);
    printf("row reader plain %.3f ns/byte, enciphered %.3f, difference %.3f; checksum %016llx\n",
           plain.ns_for_a_byte, enciphered.ns_for_a_byte,
           enciphered.ns_for_a_byte - plain.ns_for_a_byte, (unsigned long long)plain.checksum);
    if (plain.checksum != enciphered.checksum || runs.checksum != pieces.checksum) {
        fprintf(stderr, "the checksums differ\n");
        return 1;
    }
    return 0;
}
