// Array execution through the native calls, against a server that takes the rows and answers.
//
//   bench_batch [rows [executions]]
//
// A row is an int32, an int64, a double, a text of 20 and a DATETIME. Printed is the processor time
// that the client's process uses for a row, beside the same bytes sent by hand in writes of 4096.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/native.h"
#include "support/replay.h"
#include "tavu/tvci.h"

static constexpr int32_t DEFAULT_ROWS = 1000;
static constexpr int32_t DEFAULT_EXECUTIONS = 3000;
static constexpr int REPEATS = 3;
static constexpr int32_t COLUMNS = 5;
static constexpr int32_t TEXT_BYTES = 20;
static constexpr size_t SEND_BYTES = 4096;
static constexpr char INSERT_TEXT[] = "INSERT INTO T VALUES (?, ?, ?, ?, ?)";

// Bytes of the five values of a row: 4, 8, 8, 20 and 19.
static constexpr size_t VALUE_BYTES = 59;
// In the first row each value has a frame of 10 bytes; in a later row a length, and the row a
// count.
static constexpr size_t FIRST_ROW_BYTES = COLUMNS * 10 + VALUE_BYTES;
static constexpr size_t LATER_ROW_BYTES = 4 + COLUMNS * 4 + VALUE_BYTES;

struct Arrays {
    std::vector<int32_t> small;
    std::vector<int64_t> large;
    std::vector<double> real;
    std::vector<std::string> words;
    std::vector<const char *> word_pointers;
    std::vector<int32_t> word_lengths;
    std::vector<DateTimeRec> when;
};

// The values are drawn from a fixed seed.
static Arrays MakeArrays(int32_t rows) {
    Arrays arrays;
    std::mt19937_64 random(20240229);
    for (int32_t row = 0; row < rows; row++) {
        char words[TEXT_BYTES + 1];
        snprintf(words, sizeof words, "%020llu", (unsigned long long)random());
        arrays.small.push_back((int32_t)random());
        arrays.large.push_back((int64_t)random());
        arrays.real.push_back((double)(random() % 1000000) / 64);
        arrays.words.push_back(words);
        arrays.word_lengths.push_back(TEXT_BYTES);
        arrays.when.push_back({1970 + (int32_t)(random() % 100), 1 + (int32_t)(random() % 12),
                               1 + (int32_t)(random() % 28), (int32_t)(random() % 24),
                               (int32_t)(random() % 60), (int32_t)(random() % 60), 0});
    }
    for (const std::string &words : arrays.words) {
        arrays.word_pointers.push_back(words.c_str());
    }
    return arrays;
}

static void BindColumn(TVCIStmt *stmt, int32_t position, int32_t rows, const void *values,
                       int32_t c_type, int32_t *lengths, int32_t sql_type) {
    NativeMust(TVCIBindParamArray(stmt, position, COLUMNS, 1, rows, (void *)values, TEXT_BYTES,
                                  c_type, NULL, lengths, sql_type),
               "TVCIBindParamArray");
}

// The processor time of `executions` runs.
static int64_t Execute(const Replay &replay, Arrays &arrays, int32_t executions) {
    int32_t rows = (int32_t)arrays.small.size();
    const NativeClient client = NativeClientMake(replay.port, false);
    TVCISession *session = NativeSessionMake(client, false);
    TVCIStmt *stmt = NULL;
    NativeMust(TVCIConnect(session, "SYSDBA", "SYSDBA"), "TVCIConnect");
    NativeMust(TVCIHandleAlloc(session, (void **)&stmt, TVCI_HTYPE_STMT), "statement");
    BindColumn(stmt, 1, rows, arrays.small.data(), TVCI_C_INT, NULL, 4);
    BindColumn(stmt, 2, rows, arrays.large.data(), TVCI_C_BIGINT, NULL, 5);
    BindColumn(stmt, 3, rows, arrays.real.data(), TVCI_C_DOUBLE, NULL, 7);
    BindColumn(stmt, 4, rows, arrays.word_pointers.data(), TVCI_C_CHAR, arrays.word_lengths.data(),
               12);
    BindColumn(stmt, 5, rows, arrays.when.data(), TVCI_C_DATETIME, NULL, 11);
    int64_t before = CpuNs();
    for (int32_t i = 0; i < executions; i++) {
        NativeMust(TVCIExecDirectBatch(stmt, INSERT_TEXT, -1), "TVCIExecDirectBatch");
    }
    int64_t used = CpuNs() - before;
    TVCIHandleFree(client.env);
    return used;
}

// The same conversation by hand.
static int64_t SendOnly(const Replay &replay, size_t parameter_bytes, int32_t executions) {
    const int connection = ReplayConnect(replay);
    char answer;
    std::string request = ReplayFrame(INSERT_TEXT);
    request.back() = COLUMNS;
    request += std::string(parameter_bytes, 'x');
    int64_t before = CpuNs();
    for (int32_t i = 0; i < executions; i++) {
        for (size_t sent = 0; sent < request.size(); sent += SEND_BYTES) {
            size_t part = std::min(SEND_BYTES, request.size() - sent);
            if (send(connection, request.data() + sent, part, 0) != (ssize_t)part) exit(1);
        }
        if (recv(connection, &answer, 1, 0) != 1) exit(1);
    }
    int64_t used = CpuNs() - before;
    close(connection);
    return used;
}

int main(int argc, char **argv) {
    int32_t rows = argc > 1 ? atoi(argv[1]) : DEFAULT_ROWS;
    int32_t executions = argc > 2 ? atoi(argv[2]) : DEFAULT_EXECUTIONS;
    if (rows < 1 || rows > 32767 || executions < 1) {
        fprintf(stderr, "usage: bench_batch [rows [executions]]\n");
        return 2;
    }
    Arrays arrays = MakeArrays(rows);
    ReplayResult result = {};
    result.parameter_bytes = FIRST_ROW_BYTES + (size_t)(rows - 1) * LATER_ROW_BYTES;
    Replay replay = ReplayStart(result);
    printf("rows %d, columns %d, bytes a row %zu, executions %d\n", rows, COLUMNS, LATER_ROW_BYTES,
           executions);
    for (int repeat = 0; repeat < REPEATS; repeat++) {
        double all_rows = (double)rows * executions;
        double sent = (double)SendOnly(replay, result.parameter_bytes, executions) / all_rows;
        uint64_t sum_before = replay.clock->parameter_sum;
        double executed = (double)Execute(replay, arrays, executions) / all_rows;
        uint64_t sum = replay.clock->parameter_sum - sum_before;
        printf(
            "client cpu %.1f ns/row, send only %.1f ns/row, difference %.1f ns/row; checksum "
            "%016llx\n",
            executed, sent, executed - sent, (unsigned long long)sum);
    }
    ReplayStop(&replay);
    return 0;
}
