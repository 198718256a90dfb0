// A large value fetched by its descriptor, against a replayed answer.
//
//   bench_lob [bytes]
//
// The value comes in chunks of 102400 bytes over the session's second connection. Printed are the
// processor time that the client's process uses for it, beside the same bytes received by hand into
// one buffer in reads of 102400, and the most memory that the process had while it fetched, above
// what it had before.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>

#include "support/native.h"
#include "support/replay.h"
#include "tavu/tvci.h"

static constexpr int32_t DEFAULT_BYTES = 64 << 20;
static constexpr int32_t CHUNK_BYTES = 102400;
static constexpr int REPEATS = 5;
static constexpr char IDENTITY[] = "L000000000001";

static std::string Field(const std::string &name, int32_t type) {
    return WireText(name) + WireInt32(type) + WireInt32(-1) + WireInt32(0);
}

// The bytes of the value are drawn from a fixed seed.
static ReplayResult MakeResult(int32_t bytes) {
    std::mt19937_64 random(20240229);
    std::string value((size_t)bytes + 8, '\0');
    for (size_t i = 0; i < (size_t)bytes; i += 8) {
        const uint64_t word = random();
        memcpy(&value[i], &word, sizeof word);
    }
    ReplayResult result = {};
    result.field_list = "A" + WireInt32(2) + Field("BODY", 34) + Field("ROWID", 45);
    result.rows = "R" + WireText(IDENTITY + (":" + std::to_string(bytes))) + WireText("1");
    result.first_block_bytes = result.rows.size();
    result.large_value.reserve((size_t)bytes + 100000);
    result.large_value = "A" + WireInt32(1) + Field("LOB", 34) + "R";
    for (int32_t sent = 0; sent < bytes;) {
        const int32_t chunk = std::min(bytes - sent, CHUNK_BYTES);
        result.large_value += WireInt32(1) + WireInt32(chunk);
        result.large_value.append(value, (size_t)sent, (size_t)chunk);
        sent += chunk;
    }
    result.large_value += WireInt32(0) + "K";
    return result;
}

// A line of /proc/self/status, in bytes.
static int64_t StatusBytes(const char *name) {
    FILE *status = fopen("/proc/self/status", "r");
    if (status == NULL) exit(1);
    char line[256];
    long long kilobytes = -1;
    while (fgets(line, sizeof line, status) != NULL) {
        if (strncmp(line, name, strlen(name)) == 0) {
            kilobytes = atoll(line + strlen(name));
        }
    }
    fclose(status);
    return kilobytes * 1024;
}

// Makes the peak of the process's memory begin at what it has now.
static void ForgetPeak() {
    FILE *references = fopen("/proc/self/clear_refs", "w");
    if (references == NULL) return;
    fputs("5", references);
    fclose(references);
}

static uint64_t ChecksumOf(const void *data, int32_t bytes) {
    uint64_t sum = 0;
    for (int32_t i = 0; i < bytes; i++) {
        sum = sum * 31 + ((const uint8_t *)data)[i];
    }
    return sum;
}

// The same conversation by hand: the answer as it comes, in one buffer.
static int64_t ReceiveOnly(const Replay &replay, const ReplayResult &result) {
    const int connection = ReplayConnect(replay);
    const std::string request = ReplayFrame("get lob 'L000000000001'  offset 0 limit 1");
    const int64_t before = CpuNs();
    std::unique_ptr<char[]> buffer(new char[result.large_value.size()]);
    if (send(connection, request.data(), request.size(), 0) < 0) exit(1);
    for (size_t got = 0; got != result.large_value.size();) {
        const size_t wanted = std::min(result.large_value.size() - got, (size_t)CHUNK_BYTES);
        const ssize_t received = recv(connection, buffer.get() + got, wanted, 0);
        if (received <= 0) exit(1);
        got += (size_t)received;
    }
    const int64_t used = CpuNs() - before;
    close(connection);
    return used;
}

struct Client {
    TVCIEnv *env = NULL;
    TVCISession *session = NULL;
    TVCIStmt *stmt = NULL;
    LobRecord *lob = NULL;
};

static Client Connect(const Replay &replay) {
    Client client;
    const NativeClient native = NativeClientMake(replay.port, false);
    const uint32_t on = 1;
    client.env = native.env;
    client.session = NativeSessionMake(native, false);
    NativeMust(TVCIAttrSet(client.session, 40, &on, -1), "TVCIAttrSet");
    NativeMust(TVCIConnect(client.session, "SYSDBA", "SYSDBA"), "TVCIConnect");
    NativeMust(TVCIHandleAlloc(client.session, (void **)&client.stmt, TVCI_HTYPE_STMT),
               "TVCIHandleAlloc");
    NativeMust(TVCIPrepare(client.stmt, "SELECT BODY FROM T", -1), "TVCIPrepare");
    client.lob = TVCILobAlloc();
    NativeMust(TVCIDefineColumn(client.stmt, 1, client.lob, 0, TVCI_C_LOB, NULL, NULL),
               "TVCIDefineColumn");
    return client;
}

static void FetchRow(const Client &client) {
    NativeMust(TVCIExecute(client.stmt), "TVCIExecute");
    NativeMust(TVCIFetch(client.stmt), "TVCIFetch");
}

struct Measured {
    int64_t cpu_ns;
    int64_t peak_bytes;
    int32_t bytes;
    uint64_t checksum;
};

// Fetches the value of the row that was fetched last.
static Measured GetValue(const Client &client) {
    Measured measured = {};
    void *data = NULL;
    ForgetPeak();
    const int64_t resident_before = StatusBytes("VmRSS:");
    const int64_t cpu_before = CpuNs();
    NativeMust(TVCILobGet(client.lob, &measured.bytes, &data), "TVCILobGet");
    measured.cpu_ns = CpuNs() - cpu_before;
    measured.peak_bytes = StatusBytes("VmHWM:") - resident_before;
    measured.checksum = data == NULL ? 0 : ChecksumOf(data, measured.bytes);
    return measured;
}

int main(int argc, char **argv) {
    const int32_t bytes = argc > 1 ? atoi(argv[1]) : DEFAULT_BYTES;
    if (bytes < 1 || bytes > 1000000000) {
        fprintf(stderr, "usage: bench_lob [bytes]\n");
        return 2;
    }
    const ReplayResult result = MakeResult(bytes);
    Replay replay = ReplayStart(result);
    Client client = Connect(replay);
    printf("value of %d bytes, chunks of %d\n", (int)bytes, (int)CHUNK_BYTES);
    for (int repeat = 0; repeat < REPEATS; repeat++) {
        const int64_t received_ns = ReceiveOnly(replay, result);
        FetchRow(client);
        const Measured measured = GetValue(client);
        printf(
            "client cpu %.2f ms, receive only %.2f ms, ratio %.2f; peak memory %.2f MiB, %.3f "
            "of the value; checksum %016llx\n",
            (double)measured.cpu_ns / 1e6, (double)received_ns / 1e6,
            (double)measured.cpu_ns / (double)received_ns, (double)measured.peak_bytes / 1048576,
            (double)measured.peak_bytes / bytes, (unsigned long long)measured.checksum);
        if (measured.bytes != bytes || measured.checksum == 0) {
            fprintf(stderr, "fetched %d bytes\n", (int)measured.bytes);
            return 1;
        }
        TVCILobReset(client.lob);
    }
    TVCILobFree(client.lob);
    TVCIHandleFree(client.env);
    ReplayStop(&replay);
    return 0;
}
