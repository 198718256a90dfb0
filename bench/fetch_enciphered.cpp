// Rows fetched through the native calls from an enciphered connection, beside the same rows from a
// plain one.
//
//   bench_fetch_enciphered [rows]
//
// Printed are the processor time that the client's process uses for a row in both forms, the
// difference for a byte, and what the keystream alone costs for a byte in memory. The rows are
// those of bench_fetch.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "support/native.h"
#include "support/replay.h"
#include "support/rows.h"
#include "wire/cipher.h"

static constexpr int64_t DEFAULT_ROWS = 1000000;
static constexpr int REPEATS = 4;
static constexpr size_t MEMORY_BYTES = 1 << 20;
static constexpr int MEMORY_ROUNDS = 64;

struct Row {
    int32_t small;
    int64_t large;
    double real;
    char text[21];
    DateTimeRec when;
};

struct Measured {
    int64_t cpu_ns;
    int64_t rows;
    uint64_t checksum;
};

static uint64_t ChecksumOf(const Row &row) {
    uint64_t bits;
    memcpy(&bits, &row.real, sizeof bits);
    return (uint32_t)row.small + (uint64_t)row.large + bits + (uint8_t)row.text[19] +
           (uint32_t)row.when.second;
}

static Measured FetchAll(const Replay &replay, bool enciphered) {
    const NativeClient client = NativeClientMake(replay.port, false);
    TVCISession *session = NativeSessionMake(client, enciphered);
    TVCIStmt *stmt = NULL;
    Row row = {};
    Measured measured = {};
    NativeMust(TVCIConnect(session, "SYSDBA", "SYSDBA"), "TVCIConnect");
    NativeMust(TVCIHandleAlloc(session, (void **)&stmt, TVCI_HTYPE_STMT), "statement");
    TVCIDefineColumn(stmt, 1, &row.small, sizeof row.small, TVCI_C_INT, NULL, NULL);
    TVCIDefineColumn(stmt, 2, &row.large, sizeof row.large, TVCI_C_BIGINT, NULL, NULL);
    TVCIDefineColumn(stmt, 3, &row.real, sizeof row.real, TVCI_C_DOUBLE, NULL, NULL);
    TVCIDefineColumn(stmt, 4, row.text, sizeof row.text, TVCI_C_CHAR, NULL, NULL);
    TVCIDefineColumn(stmt, 5, &row.when, sizeof row.when, TVCI_C_DATETIME, NULL, NULL);
    const int64_t cpu_before = CpuNs();
    NativeMust(TVCIExecDirect(stmt, "SELECT", -1), "TVCIExecDirect");
    while (TVCIFetch(stmt) == TVCI_SUCCESS) {
        measured.checksum += ChecksumOf(row);
        measured.rows++;
    }
    measured.cpu_ns = CpuNs() - cpu_before;
    NativeMust(TVCIHandleFree(client.env), "TVCIHandleFree");
    return measured;
}

// Returns the nanoseconds that the keystream costs for a byte in the processor's cache.
static double KeystreamCost(uint64_t *checksum) {
    static Connection conn;
    std::vector<uint8_t> bytes(MEMORY_BYTES);
    uint8_t key[32];
    for (size_t i = 0; i < sizeof key; i++) {
        key[i] = (uint8_t)(i * 7 + 1);
    }
    if (conn.recv_cipher == NULL && !CipherSetup(&conn, key, sizeof key)) exit(1);
    const int64_t before = CpuNs();
    for (int round = 0; round < MEMORY_ROUNDS; round++) {
        CipherApplyRecv(&conn, bytes.data(), (int32_t)bytes.size());
    }
    const int64_t used = CpuNs() - before;
    *checksum = *checksum * 31 + bytes.front() + bytes.back();
    return (double)used / (double)(MEMORY_BYTES * MEMORY_ROUNDS);
}

// Nanoseconds of processor time.
struct Costs {
    double plain;       // of a row
    double enciphered;  // of a row
    double keystream;   // of a byte
};

static void Print(const char *head, const Costs &costs, double row_bytes) {
    printf(
        "%s: plain %.1f ns/row, enciphered %.1f ns/row, difference %.3f ns/byte, ratio %.2f; "
        "keystream alone %.3f ns/byte\n",
        head, costs.plain, costs.enciphered, (costs.enciphered - costs.plain) / row_bytes,
        costs.enciphered / costs.plain, costs.keystream);
}

int main(int argc, char **argv) {
    const int64_t rows = argc > 1 ? atoll(argv[1]) : DEFAULT_ROWS;
    if (rows < 1) {
        fprintf(stderr, "usage: bench_fetch_enciphered [rows]\n");
        return 2;
    }
    const ReplayResult result = MakeRows(rows);
    Replay replay = ReplayStart(result);
    const double row_bytes = (double)result.rows.size() / (double)rows;
    printf("rows %lld, bytes a row %.1f\n", (long long)rows, row_bytes);
    // The first fetch of a process has the system bring in the memory that the others use again.
    const uint64_t checksum = FetchAll(replay, false).checksum;
    uint64_t keystream_checksum = 0;
    Costs least = {};
    for (int repeat = 0; repeat < REPEATS; repeat++) {
        const Measured plain = FetchAll(replay, false);
        const Measured enciphered = FetchAll(replay, true);
        const Costs costs = {(double)plain.cpu_ns / (double)rows,
                             (double)enciphered.cpu_ns / (double)rows,
                             KeystreamCost(&keystream_checksum)};
        Print("client cpu", costs, row_bytes);
        if (plain.rows != rows || enciphered.rows != rows || plain.checksum != checksum ||
            enciphered.checksum != checksum) {
            fprintf(stderr, "fetched %lld and %lld rows\n", (long long)plain.rows,
                    (long long)enciphered.rows);
            return 1;
        }
        if (repeat == 0) {
            least = costs;
        }
        least = {std::min(least.plain, costs.plain), std::min(least.enciphered, costs.enciphered),
                 std::min(least.keystream, costs.keystream)};
    }
    Print("least", least, row_bytes);
    printf("checksum %016llx, of the keystream %016llx\n", (unsigned long long)checksum,
           (unsigned long long)keystream_checksum);
    ReplayStop(&replay);
    return 0;
}
