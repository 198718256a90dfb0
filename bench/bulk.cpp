// A bulk load through the native calls, against a server that takes the rows and throws them away.
//
//   bench_bulk [rows]
//
// A row is an int32, an int64, a double, a text of 20 and a DATETIME. Printed is the processor time
// that the client's process uses for a row, from the application's lengths and values to the last
// byte sent, beside the same bytes sent by hand in pieces of 8 MiB. The load looks for the server's
// last word once a second; that wait uses no processor time.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "support/native.h"
#include "support/replay.h"
#include "tavu/tvci.h"

static constexpr int32_t DEFAULT_ROWS = 1000000;
static constexpr int32_t ROWS_MAX = 20000000;
static constexpr int REPEATS = 5;
static constexpr int32_t COLUMNS = 5;
static constexpr int32_t LENGTHS[COLUMNS] = {4, 8, 8, 20, 8};
static constexpr int32_t LOAD_APPEND = 1;
static constexpr size_t SEND_BYTES = 8388608;
// The length word and the bitmap of two bytes, and of each value its length word.
static constexpr size_t ROW_BYTES = 4 + 2 + COLUMNS * 4 + 48;

// The same rows as the library is given them and as they go on the wire.
struct Rows {
    std::string values;
    std::vector<int32_t> lengths;
    std::string stream;
};

// The values are drawn from a fixed seed.
static Rows MakeRows(int32_t count) {
    Rows rows;
    std::mt19937_64 random(20240229);
    rows.values.reserve((size_t)count * 48);
    rows.lengths.reserve((size_t)count * COLUMNS);
    rows.stream.reserve((size_t)count * ROW_BYTES + 4);
    for (int32_t row = 0; row < count; row++) {
        char words[21];
        snprintf(words, sizeof words, "%020llu", (unsigned long long)random());
        const std::string values[COLUMNS] = {WireInt32((int32_t)random()),
                                             WireInt64((int64_t)random()),
                                             WireDouble((double)(random() % 1000000) / 64), words,
                                             WireInt64((int64_t)(random() % 4000000000000))};
        rows.stream += WireInt32((int32_t)ROW_BYTES - 4);
        rows.stream += "\xAA\x02";
        for (int32_t column = 0; column < COLUMNS; column++) {
            rows.values += values[column];
            rows.lengths.push_back(LENGTHS[column]);
            rows.stream += WireText(values[column]);
        }
    }
    rows.stream += WireInt32(0);
    return rows;
}

static void Must(bool good, const char *what) {
    if (good) return;
    perror(what);
    exit(1);
}

// The processor time of one load.
static int64_t Load(const Replay &replay, const Rows &rows, int32_t count) {
    NativeClient client = NativeClientMake(replay.port, false);
    TVCISession *session = NativeSessionMake(client, false);
    TVCIStmt *stmt = NULL;
    NativeMust(TVCIConnect(session, "SYSDBA", "SYSDBA"), "TVCIConnect");
    NativeMust(TVCIHandleAlloc(session, (void **)&stmt, TVCI_HTYPE_STMT), "statement");
    const int64_t before = CpuNs();
    NativeMust(TVCIExecLoadFlat(stmt, rows.values.data(), rows.lengths.data(), count, COLUMNS, "T",
                                1, 1, LOAD_APPEND, 0),
               "TVCIExecLoadFlat");
    const int64_t used = CpuNs() - before;
    NativeMust(TVCIHandleFree(client.env), "freeing the environment");
    return used;
}

static void Talk(int connection, const std::string &request, size_t answer_bytes) {
    char answer[8];
    Must(send(connection, request.data(), request.size(), 0) == (ssize_t)request.size(), "send");
    Must(recv(connection, answer, answer_bytes, MSG_WAITALL) == (ssize_t)answer_bytes, "recv");
}

// The same conversation by hand.
static int64_t SendOnly(const Replay &replay, const std::string &stream) {
    const int connection = ReplayConnect(replay);
    const int64_t before = CpuNs();
    Talk(connection, ReplayFrame("LOAD APPEND TABLE T"), 1);
    Talk(connection, WireInt64(0), 8);
    for (size_t sent = 0; sent < stream.size(); sent += SEND_BYTES) {
        const size_t part = std::min(SEND_BYTES, stream.size() - sent);
        Must(send(connection, stream.data() + sent, part, 0) == (ssize_t)part, "send");
    }
    char answer;
    Must(recv(connection, &answer, 1, 0) == 1, "recv");
    const int64_t used = CpuNs() - before;
    close(connection);
    return used;
}

int main(int argc, char **argv) {
    const int32_t count = argc > 1 ? atoi(argv[1]) : DEFAULT_ROWS;
    if (count < 1 || count > ROWS_MAX) {
        fprintf(stderr, "usage: bench_bulk [rows]\n");
        return 2;
    }
    const Rows rows = MakeRows(count);
    ReplayResult result = {};
    result.stream_bytes = rows.stream.size();
    Replay replay = ReplayStart(result);
    printf("rows %d, columns %d, bytes a row %zu\n", count, COLUMNS, ROW_BYTES);
    uint64_t sum_before = 0;
    bool equal = true;
    for (int repeat = 0; repeat < REPEATS; repeat++) {
        const double sent = (double)SendOnly(replay, rows.stream) / count;
        const uint64_t sent_sum = replay.clock->stream_sum - sum_before;
        const double loaded = (double)Load(replay, rows, count) / count;
        const uint64_t loaded_sum = replay.clock->stream_sum - sum_before - sent_sum;
        printf(
            "client cpu %.1f ns/row, send only %.1f ns/row, difference %.1f ns/row; checksum "
            "%016llx\n",
            loaded, sent, loaded - sent, (unsigned long long)loaded_sum);
        equal = equal && loaded_sum == sent_sum;
        sum_before += sent_sum + loaded_sum;
    }
    ReplayStop(&replay);
    if (!equal) {
        fprintf(stderr, "what was loaded is not what was sent by hand\n");
    }
    return equal ? 0 : 1;
}
