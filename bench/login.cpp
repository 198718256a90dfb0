// Logging on, plain and enciphered, beside a bare connect.
//
//   bench_login [logins]
//
// Printed is the processor time that the client's process uses for one connect, login and
// disconnect. The enciphered login is measured with two keys of the server: the client raises each
// block of its message to an exponent that the server chooses. The time that passes says little: it
// is the server's more than the client's. The last line gives the least of each column, for
// machines that do other things as well.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "support/native.h"
#include "support/replay.h"

static constexpr int64_t DEFAULT_LOGINS = 1000;
static constexpr int REPEATS = 5;

// Connects and resets, as the library does when it closes, so that no port stays taken. Returns
// the microseconds of one.
static double BareConnects(const Replay &replay, int64_t count) {
    const int64_t before = CpuNs();
    for (int64_t i = 0; i < count; i++) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(replay.port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const linger reset = {1, 0};
        int connection = socket(AF_INET, SOCK_STREAM, 0);
        if (connect(connection, (sockaddr *)&address, sizeof address) != 0) exit(1);
        setsockopt(connection, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
        close(connection);
    }
    return (double)(CpuNs() - before) / 1e3 / (double)count;
}

static double Logins(const Replay &replay, bool enciphered, int64_t count, uint64_t *accepted) {
    const NativeClient client = NativeClientMake(replay.port, false);
    TVCISession *session = NativeSessionMake(client, enciphered);
    // The first one does what is done once in a process.
    NativeMust(TVCIConnect(session, "SYSDBA", "SYSDBA"), "TVCIConnect");
    NativeMust(TVCIDisconnect(session), "TVCIDisconnect");
    const int64_t before = CpuNs();
    for (int64_t i = 0; i < count; i++) {
        NativeMust(TVCIConnect(session, "SYSDBA", "SYSDBA"), "TVCIConnect");
        NativeMust(TVCIDisconnect(session), "TVCIDisconnect");
        ++*accepted;
    }
    const double cost = (double)(CpuNs() - before) / 1e3 / (double)count;
    NativeMust(TVCIHandleFree(client.env), "TVCIHandleFree");
    return cost;
}

// Microseconds of processor time.
struct Costs {
    double bare;
    double plain;
    double enciphered;
    double enciphered_long;
};

static void Print(const char *head, const Costs &costs) {
    printf(
        "%s: bare connect %.1f us, plain login %+.1f us, enciphered login %+.1f us, with an "
        "exponent of 256 bits %+.1f us\n",
        head, costs.bare, costs.plain - costs.bare, costs.enciphered - costs.bare,
        costs.enciphered_long - costs.bare);
}

int main(int argc, char **argv) {
    const int64_t count = argc > 1 ? atoll(argv[1]) : DEFAULT_LOGINS;
    if (count < 1) {
        fprintf(stderr, "usage: bench_login [logins]\n");
        return 2;
    }
    const ReplayResult nothing = {};
    Replay short_key = ReplayStart(nothing, REPLAY_EXPONENT_17_BITS);
    Replay long_key = ReplayStart(nothing, REPLAY_EXPONENT_256_BITS);
    printf("logins %lld of each form, a login text of 162 bytes\n", (long long)count);
    uint64_t accepted = 0;
    Costs least = {};
    for (int repeat = 0; repeat < REPEATS; repeat++) {
        const Costs costs = {
            BareConnects(short_key, count), Logins(short_key, false, count, &accepted),
            Logins(short_key, true, count, &accepted), Logins(long_key, true, count, &accepted)};
        Print("client cpu", costs);
        if (repeat == 0) {
            least = costs;
        }
        least = {std::min(least.bare, costs.bare), std::min(least.plain, costs.plain),
                 std::min(least.enciphered, costs.enciphered),
                 std::min(least.enciphered_long, costs.enciphered_long)};
    }
    Print("least", least);
    printf("accepted %llu\n", (unsigned long long)accepted);
    ReplayStop(&short_key);
    ReplayStop(&long_key);
    return 0;
}
