// Rows fetched into arrays through the exported functions, against a replayed result.
//
//   bench_fetch [rows]
//
// A row is an int32, an int64, a double, a text of 20, a DATETIME and the rowid. Printed are the
// processor time that the client's process uses for a row, the memory of a buffered row and the
// time from the 2000th row's departure to the first row's arrival in the application, beside the
// same bytes received in reads of 8192 and thrown away. The row reader is a second thread of the
// client; where the fetch catches up with it, the fetch sleeps, so wall time says nothing here.
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "support/replay.h"
#include "support/rows.h"
#include "tavu/oci.h"

static constexpr uint32_t ARRAY_ROWS = 1000;
static constexpr int64_t DEFAULT_ROWS = 1000000;
static constexpr int REPEATS = 3;

struct Arrays {
    int32_t small[ARRAY_ROWS];
    int64_t large[ARRAY_ROWS];
    double real[ARRAY_ROWS];
    char text[ARRAY_ROWS][21];
    uint8_t when[ARRAY_ROWS][8];
};

static void Must(int32_t status, const char *what) {
    if (status == OCI_SUCCESS) return;
    fprintf(stderr, "%s gives %d\n", what, (int)status);
    exit(1);
}

static int64_t ResidentBytes() {
    long pages = 0;
    FILE *statm = fopen("/proc/self/statm", "r");
    if (statm == NULL || fscanf(statm, "%*s %ld", &pages) != 1) exit(1);
    fclose(statm);
    return (int64_t)pages * sysconf(_SC_PAGESIZE);
}

// The same conversation by hand, its bytes thrown away.
static int64_t ReceiveOnly(const Replay &replay, const ReplayResult &result) {
    const int connection = ReplayConnect(replay);
    std::string request = ReplayFrame("? ST0 ");
    char bytes[8192];
    int64_t before = CpuNs();
    if (send(connection, request.data(), request.size(), 0) < 0) exit(1);
    size_t left = result.field_list.size() + result.rows.size() + 1;
    while (left != 0) {
        ssize_t received = recv(connection, bytes, sizeof bytes, 0);
        if (received <= 0) exit(1);
        left -= (size_t)received;
    }
    int64_t used = CpuNs() - before;
    close(connection);
    return used;
}

struct Measured {
    int64_t cpu_ns;
    int64_t resident_bytes;
    int64_t first_row_ns;
    int64_t rows;
    uint64_t checksum;
};

static uint64_t ChecksumOf(const Arrays &arrays, uint32_t rows) {
    uint64_t sum = 0;
    for (uint32_t row = 0; row < rows; row++) {
        uint64_t bits;
        memcpy(&bits, &arrays.real[row], sizeof bits);
        sum += (uint32_t)arrays.small[row] + (uint64_t)arrays.large[row] + bits +
               (uint8_t)arrays.text[row][19] + arrays.when[row][3];
    }
    return sum;
}

static Measured FetchAll(const Replay &replay) {
    static Arrays arrays;
    Measured measured = {};
    OCIEnv *env = NULL;
    OCISvcCtx *svc = NULL;
    void *handle = NULL;
    Must(OCIEnvCreate(&env, 0, NULL, NULL, NULL, NULL, 0, NULL), "OCIEnvCreate");
    Must(OCIHandleAlloc(env, &handle, OCI_HTYPE_ERROR, 0, NULL), "OCIHandleAlloc");
    OCIError *err = (OCIError *)handle;
    std::string link = "127.0.0.1:" + std::to_string(replay.port) + "/SYSTEM";
    Must(OCILogon(env, err, &svc, (const OCIText *)"SYSDBA", 6, (const OCIText *)"SYSDBA", 6,
                  (const OCIText *)link.c_str(), (uint32_t)link.size()),
         "OCILogon");
    Must(OCIHandleAlloc(env, &handle, OCI_HTYPE_STMT, 0, NULL), "OCIHandleAlloc");
    OCIStmt *stmt = (OCIStmt *)handle;
    const char *text = "SELECT SMALL, LARGE, REAL, WORDS, MOMENT FROM T";
    Must(OCIStmtPrepare(stmt, err, (const OCIText *)text, (uint32_t)strlen(text), 1, 0),
         "OCIStmtPrepare");
    OCIDefine *define = NULL;
    OCIDefineByPos(stmt, &define, err, 1, arrays.small, 4, DTY_INT, NULL, NULL, NULL, 0);
    OCIDefineByPos(stmt, &define, err, 2, arrays.large, 8, DTY_INT, NULL, NULL, NULL, 0);
    OCIDefineByPos(stmt, &define, err, 3, arrays.real, 8, DTY_DOUBLE, NULL, NULL, NULL, 0);
    OCIDefineByPos(stmt, &define, err, 4, arrays.text, 21, DTY_STR, NULL, NULL, NULL, 0);
    OCIDefineByPos(stmt, &define, err, 5, arrays.when, 8, DTY_DATE, NULL, NULL, NULL, 0);
    int64_t resident_before = ResidentBytes();
    int64_t cpu_before = CpuNs();
    Must(OCIStmtExecute(svc, stmt, err, 0, 0, NULL, NULL, 0), "OCIStmtExecute");
    Must(OCIStmtFetch(stmt, err, 1, OCI_FETCH_NEXT, 0), "OCIStmtFetch");
    measured.first_row_ns = NowNs() - replay.clock->first_block_sent_ns;
    measured.checksum = ChecksumOf(arrays, 1);
    measured.rows = 1;
    for (int32_t status = OCI_SUCCESS; status == OCI_SUCCESS;) {
        uint32_t total = 0;
        status = OCIStmtFetch(stmt, err, ARRAY_ROWS, OCI_FETCH_NEXT, 0);
        Must(OCIAttrGet(stmt, OCI_HTYPE_STMT, &total, NULL, OCI_ATTR_ROW_COUNT, err), "OCIAttrGet");
        measured.checksum += ChecksumOf(arrays, total - (uint32_t)measured.rows);
        measured.rows = total;
    }
    measured.cpu_ns = CpuNs() - cpu_before;
    measured.resident_bytes = ResidentBytes() - resident_before;
    OCIHandleFree(stmt, OCI_HTYPE_STMT);
    OCILogoff(svc, err);
    OCIHandleFree(err, OCI_HTYPE_ERROR);
    OCIHandleFree(env, OCI_HTYPE_ENV);
    return measured;
}

int main(int argc, char **argv) {
    int64_t rows = argc > 1 ? atoll(argv[1]) : DEFAULT_ROWS;
    if (rows < 1) {
        fprintf(stderr, "usage: bench_fetch [rows]\n");
        return 2;
    }
    ReplayResult result = MakeRows(rows);
    Replay replay = ReplayStart(result);
    size_t result_bytes = result.rows.size();
    printf("rows %lld, bytes a row %.1f, arrays of %u\n", (long long)rows,
           (double)result_bytes / (double)rows, ARRAY_ROWS);
    for (int repeat = 0; repeat < REPEATS; repeat++) {
        double received = (double)ReceiveOnly(replay, result) / (double)rows;
        Measured measured = FetchAll(replay);
        double fetched = (double)measured.cpu_ns / (double)rows;
        printf(
            "client cpu %.1f ns/row, receive only %.1f ns/row, difference %.1f ns/row, ratio "
            "%.2f; first row %.3f ms; checksum %016llx\n",
            fetched, received, fetched - received, fetched / received,
            (double)measured.first_row_ns / 1e6, (unsigned long long)measured.checksum);
        if (measured.rows != rows) {
            fprintf(stderr, "fetched %lld rows\n", (long long)measured.rows);
            return 1;
        }
        if (repeat == 0) {
            printf("memory %.1f bytes/row while all rows are buffered\n",
                   (double)measured.resident_bytes / (double)rows);
        }
    }
    ReplayStop(&replay);
    return 0;
}
