// Borrowing a connection from a pool and giving it back.
//
//   bench_pool [rounds]
//
// Printed is the processor time of one connect and disconnect of a session whose connection comes
// from the pool: alone in a pool of many idle connections, beside as many busy ones, among which
// its own is looked for, and in four threads at once. A login and the end of its connection stand
// beside it.
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "support/native.h"
#include "support/replay.h"

static constexpr int64_t DEFAULT_ROUNDS = 1000000;
static constexpr int REPEATS = 3;
static constexpr int POOL_CONNECTIONS = 200;
static constexpr int THREADS = 4;
// A login costs about as much as so many rounds.
static constexpr int64_t ROUNDS_PER_LOGIN = 500;

static void Borrow(TVCISession *session) {
    NativeMust(TVCIConnect(session, "SYSDBA", "SYSDBA"), "TVCIConnect");
}

static void GiveBack(TVCISession *session) {
    NativeMust(TVCIDisconnect(session), "TVCIDisconnect");
}

// Returns the nanoseconds of processor time of one round.
static double Rounds(TVCISession *session, int64_t rounds, uint64_t *done) {
    const int64_t before = CpuNs();
    for (int64_t i = 0; i < rounds; i++) {
        Borrow(session);
        GiveBack(session);
        ++*done;
    }
    return (double)(CpuNs() - before) / (double)rounds;
}

static double RoundsInThreads(const std::vector<TVCISession *> &sessions, int64_t rounds,
                              uint64_t *done) {
    uint64_t counts[THREADS] = {};
    std::vector<std::thread> threads;
    const int64_t before = CpuNs();
    for (int i = 0; i < THREADS; i++) {
        threads.emplace_back(
            [&, i] { Rounds(sessions[(size_t)i], rounds / THREADS + 1, &counts[i]); });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    const int64_t used = CpuNs() - before;
    uint64_t all = 0;
    for (const uint64_t count : counts) {
        all += count;
    }
    *done += all;
    return (double)used / (double)all;
}

int main(int argc, char **argv) {
    const int64_t rounds = argc > 1 ? atoll(argv[1]) : DEFAULT_ROUNDS;
    if (rounds < 1) {
        fprintf(stderr, "usage: bench_pool [rounds]\n");
        return 2;
    }
    Replay replay = ReplayStart({});
    const NativeClient owning = NativeClientMake(replay.port, false);
    const NativeClient pooling = NativeClientMake(replay.port, true);
    TVCISession *alone = NativeSessionMake(owning, false);
    std::vector<TVCISession *> sessions;
    for (int i = 0; i < POOL_CONNECTIONS; i++) {
        sessions.push_back(NativeSessionMake(pooling, false));
        Borrow(sessions.back());
    }
    printf("rounds %lld, connections in the pool %d, threads %d\n", (long long)rounds,
           POOL_CONNECTIONS, THREADS);
    uint64_t done = 0;
    for (int repeat = 0; repeat < REPEATS; repeat++) {
        TVCISession *last = sessions.back();
        GiveBack(last);
        const double beside_busy = Rounds(last, rounds, &done);
        Borrow(last);
        for (TVCISession *session : sessions) {
            GiveBack(session);
        }
        const double beside_idle = Rounds(last, rounds, &done);
        const double in_threads = RoundsInThreads(sessions, rounds, &done);
        for (TVCISession *session : sessions) {
            Borrow(session);
        }
        const double login = Rounds(alone, rounds / ROUNDS_PER_LOGIN + 1, &done);
        printf(
            "client cpu %.1f ns beside idle ones, %.1f ns beside busy ones, %.1f ns in threads; "
            "with a login %.1f ns\n",
            beside_idle, beside_busy, in_threads, login);
    }
    printf("rounds done %llu\n", (unsigned long long)done);
    NativeMust(TVCIHandleFree(pooling.env), "TVCIHandleFree");
    NativeMust(TVCIHandleFree(owning.env), "TVCIHandleFree");
    ReplayStop(&replay);
    return 0;
}
