// Sessions of many threads that share the connections of one pool, against one server.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>

#include "live/live_rig.h"
#include "platform/memory.h"
#include "platform/wait.h"
#include "wire/connection.h"

constexpr int THREADS = 8;
constexpr int SESSIONS = 200;
constexpr int CONN_LIMIT = 4;

// A server, and a client that shares at most CONN_LIMIT connections to it.
struct PoolRig {
    explicit PoolRig(const std::vector<std::string> &options = {})
        : tavud("127.0.0.1", 0, options), client(tavud.port()) {
        client.UsePool();
        pool = client.server->pool;
        pool->max_conn = CONN_LIMIT;
    }

    // The server handle closes one connection of each vector. The rest belongs to nobody.
    ~PoolRig() {
        if (client.server != nullptr) {
            FreeServer();
        }
        for (ConnVector *vector : {&pool->idle, &pool->busy}) {
            for (int32_t i = 0; i < vector->count; i++) {
                ConnFree(vector->items[i]);
                MemFree(vector->items[i]);
            }
            MemFree(vector->items);
            *vector = {};
        }
    }

    void FreeServer() {
        EXPECT_EQ(0, TVCIHandleFree(client.server));
        client.server = nullptr;
    }

    // "1 idle, 2 busy" at one moment, with a remark when a vector does not agree with its counter,
    // names a connection twice or holds none in a place.
    std::string Counts() {
        MutexLock(&pool->mutex);
        std::string text = std::to_string(pool->idle_count) + " idle, " +
                           std::to_string(pool->busy_count) + " busy";
        std::vector<Connection *> all(pool->idle.items, pool->idle.items + pool->idle.count);
        all.insert(all.end(), pool->busy.items, pool->busy.items + pool->busy.count);
        if (pool->idle.count != pool->idle_count || pool->busy.count != pool->busy_count) {
            text += ", vectors of " + std::to_string(pool->idle.count) + " and " +
                    std::to_string(pool->busy.count);
        }
        MutexUnlock(&pool->mutex);
        std::sort(all.begin(), all.end());
        const bool twice = std::adjacent_find(all.begin(), all.end()) != all.end();
        const bool none = !all.empty() && all.front() == nullptr;
        return text + (twice ? ", one twice" : "") + (none ? ", one missing" : "");
    }

    // The permits of the pool's semaphore, while nobody waits for one.
    int Permits() {
        int permits = 0;
        while (SemaphoreTryTake(&pool->semaphore)) {
            permits++;
        }
        for (int i = 0; i < permits; i++) {
            SemaphoreRelease(&pool->semaphore);
        }
        return permits;
    }

    TavudProcess tavud;
    LiveClient client;
    TVCIPool *pool = nullptr;
};

// Runs one body in THREADS threads, SESSIONS times in all, with a number from 0.
static void InThreads(const std::function<void(int)> &body) {
    std::atomic<int> next = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; i++) {
        threads.emplace_back([&next, &body] {
            for (int number = next++; number < SESSIONS; number = next++) {
                body(number);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

// "1 idle, 3 busy" and the like, with four connections in all.
static bool IsCountOfFour(const std::string &counts) {
    static const char *const counts_of_four[] = {
        "4 idle, 0 busy", "3 idle, 1 busy", "2 idle, 2 busy", "1 idle, 3 busy", "0 idle, 4 busy"};
    return std::find(std::begin(counts_of_four), std::end(counts_of_four), counts) !=
           std::end(counts_of_four);
}

TEST(Pool, CountsEachStepOfItsSessions) {
    PoolRig rig;
    TVCISession *sessions[4];
    EXPECT_EQ("0 idle, 0 busy", rig.Counts());
    const char *const connected[] = {"0 idle, 1 busy", "0 idle, 2 busy", "0 idle, 3 busy",
                                     "0 idle, 4 busy"};
    for (int i = 0; i < 4; i++) {
        sessions[i] = rig.client.Connected();
        EXPECT_EQ(connected[i], rig.Counts());
        EXPECT_EQ(0, rig.Permits());
    }
    const char *const given_back[] = {"1 idle, 3 busy", "2 idle, 2 busy", "3 idle, 1 busy",
                                      "4 idle, 0 busy"};
    for (int i = 0; i < 4; i++) {
        // Freeing a session gives its connection back as a disconnect does.
        EXPECT_EQ(0, i % 2 == 0 ? TVCIDisconnect(sessions[i]) : TVCIHandleFree(sessions[i]));
        EXPECT_EQ(given_back[i], rig.Counts());
        EXPECT_EQ(i + 1, rig.Permits());
    }
    TVCISession *again = rig.client.Connected();
    EXPECT_EQ("3 idle, 1 busy", rig.Counts());
    EXPECT_EQ(3, rig.Permits());
    EXPECT_EQ("7", Ask(again, "select 7"));
    EXPECT_EQ(4, rig.tavud.ConnectionCount());
}

// While all connections that the pool may have are there, no session of the eight threads logs on.
static void ServeTwoHundredSessions(PoolRig *rig) {
    TVCISession *first[CONN_LIMIT];
    for (TVCISession *&session : first) {
        session = rig->client.Connected();
    }
    EXPECT_EQ(0, RunText(first[0], "create table SEEN (N integer)"));
    for (TVCISession *session : first) {
        EXPECT_EQ(0, TVCIHandleFree(session));
    }
    std::atomic<int> connected_now = 0;
    InThreads([&](int number) {
        TVCISession *session = rig->client.NewSession();
        EXPECT_EQ(0, Connect(session));
        EXPECT_LE(++connected_now, CONN_LIMIT);
        EXPECT_EQ(session, session->conn->owner);
        std::string counts = rig->Counts();
        EXPECT_TRUE(IsCountOfFour(counts) && counts != "4 idle, 0 busy") << counts;
        EXPECT_EQ(0, RunText(session, "insert into SEEN values (" + std::to_string(number) + ")"));
        connected_now--;
        if (number % 3 != 0) {
            EXPECT_EQ(0, TVCIDisconnect(session));
            counts = rig->Counts();
            EXPECT_TRUE(IsCountOfFour(counts)) << counts;
        }
        EXPECT_EQ(0, TVCIHandleFree(session));
    });
    EXPECT_EQ("4 idle, 0 busy", rig->Counts());
    EXPECT_EQ(4, rig->Permits());
    EXPECT_EQ(4, rig->tavud.ConnectionCount());
    // Each of them did its work: 0 + 1 + ... + 199.
    TVCISession *last = rig->client.Connected();
    EXPECT_EQ("200", Ask(last, "select count(*) from SEEN"));
    EXPECT_EQ("19900", Ask(last, "select sum(N) from SEEN"));
}

TEST(Pool, ServesTwoHundredSessionsOfEightThreadsWithFourLogins) {
    PoolRig rig;
    ServeTwoHundredSessions(&rig);
}

TEST(Pool, ServesTwoHundredEncipheredSessionsOfEightThreadsWithFourLogins) {
    PoolRig rig({"--ssl"});
    rig.client.UseCipher();
    ServeTwoHundredSessions(&rig);
    ASSERT_EQ(3, rig.pool->idle.count);
    EXPECT_NE(nullptr, rig.pool->idle.items[0]->send_cipher);
}

// Threads that look at an empty pool at the same moment all log on, the limit notwithstanding. Each
// of them holds one connection at most, so there are never more than threads.
TEST(Pool, LogsOnNoOftenerThanThereAreThreadsWhenItStartsEmpty) {
    PoolRig rig;
    InThreads([&](int) {
        TVCISession *session = rig.client.NewSession();
        EXPECT_EQ(0, Connect(session));
        EXPECT_EQ("7", Ask(session, "select 7"));
        EXPECT_EQ(0, TVCIHandleFree(session));
    });
    const int64_t logins = rig.tavud.ConnectionCount();
    EXPECT_LE(1, logins);
    EXPECT_GE(THREADS, logins);
    // None of them was lost.
    EXPECT_EQ(std::to_string(logins) + " idle, 0 busy", rig.Counts());
    EXPECT_EQ(logins, rig.Permits());
}

// One permit for each session that waits for the pool.
static Semaphore pool_waits;

TEST(Pool, AtItsLimitMakesSessionsWaitForAConnectionToComeBack) {
    PoolRig rig;
    TVCISession *sessions[CONN_LIMIT];
    for (TVCISession *&session : sessions) {
        session = rig.client.Connected();
    }
    Connection *given_back = sessions[2]->conn;
    SemaphoreInit(&pool_waits, 0);
    WaitSetHook([](WaitPoint point) {
        if (point == WAIT_POOL_PERMIT) {
            SemaphoreRelease(&pool_waits);
        }
    });
    TVCISession *waiting = rig.client.NewSession();
    std::atomic<bool> connected = false;
    std::thread thread([waiting, &connected] {
        EXPECT_EQ(0, Connect(waiting));
        connected = true;
        EXPECT_EQ("7", Ask(waiting, "select 7"));
    });
    SemaphoreTake(&pool_waits);
    EXPECT_FALSE(connected);
    EXPECT_EQ("0 idle, 4 busy", rig.Counts());
    EXPECT_EQ(0, TVCIDisconnect(sessions[2]));
    thread.join();
    WaitSetHook(nullptr);
    SemaphoreDestroy(&pool_waits);
    EXPECT_EQ(given_back, waiting->conn);
    EXPECT_EQ("0 idle, 4 busy", rig.Counts());
    EXPECT_EQ(4, rig.tavud.ConnectionCount());
}

TEST(Pool, GivesASecondUserAConnectionOfItsOwnBesideItsFour) {
    PoolRig rig({"--user", "SYSDBA:SYSDBA", "--user", "SCOTT:tiger"});
    for (int i = 0; i < CONN_LIMIT; i++) {
        rig.client.Connected();
    }
    // At the limit, where one of the pool's user would wait.
    TVCISession *other = rig.client.NewSession();
    EXPECT_EQ(0, TVCIConnect(other, "SCOTT", "tiger"));
    EXPECT_EQ(0, other->from_pool);
    EXPECT_EQ("7", Ask(other, "select 7"));
    EXPECT_EQ("0 idle, 4 busy", rig.Counts());
    EXPECT_EQ(5, rig.tavud.ConnectionCount());
    EXPECT_EQ(0, TVCIDisconnect(other));
    EXPECT_EQ("0 idle, 4 busy", rig.Counts());
    // It has left the pool for good.
    EXPECT_EQ(0, TVCIConnect(other, "SCOTT", "tiger"));
    EXPECT_EQ(6, rig.tavud.ConnectionCount());
    EXPECT_EQ(0, TVCIHandleFree(other));
    EXPECT_EQ("0 idle, 4 busy", rig.Counts());
}

TEST(Pool, WithTheWrongPasswordIsLeftAsItWas) {
    PoolRig rig;
    TVCISession *first = rig.client.Connected();
    EXPECT_EQ(0, TVCIDisconnect(first));
    TVCISession *session = rig.client.NewSession();
    EXPECT_EQ(-1, Connect(session, "sysdba"));
    EXPECT_EQ("E18004: [E18004]user name or password is wrong", ErrorOf(session));
    EXPECT_EQ("1 idle, 0 busy", rig.Counts());
    EXPECT_EQ(0, Connect(session));
    EXPECT_EQ("0 idle, 1 busy", rig.Counts());
    EXPECT_EQ(2, rig.tavud.ConnectionCount());
}

// A connection keeps its state on the server from session to session, and its statement names count
// on.
TEST(Pool, HandsAConnectionOnAsItIs) {
    PoolRig rig;
    TVCISession *first = rig.client.Connected();
    EXPECT_EQ(0, RunText(first, "create table T (A integer)"));
    EXPECT_EQ(0, TVCIBeginTrans(first));
    EXPECT_EQ(0, RunText(first, "insert into T values (1)"));
    TVCIStmt *stmt = nullptr;
    EXPECT_EQ(0, TVCIHandleAlloc(first, (void **)&stmt, TVCI_HTYPE_STMT));
    EXPECT_EQ(0, TVCIPrepare(stmt, "select 1", -1));
    EXPECT_STREQ("ST0", stmt->prepared_name);
    EXPECT_EQ(0, TVCIHandleFree(first));
    TVCISession *second = rig.client.Connected();
    EXPECT_EQ("1", Ask(second, "select count(*) from T"));
    EXPECT_EQ(0, TVCIHandleAlloc(second, (void **)&stmt, TVCI_HTYPE_STMT));
    EXPECT_EQ(0, TVCIPrepare(stmt, "select 2", -1));
    EXPECT_STREQ("ST1", stmt->prepared_name);
    EXPECT_EQ(0, TVCIRollback(second, 1, 0));
    EXPECT_EQ("0", Ask(second, "select count(*) from T"));
}

TEST(Pool, LendsAConnectionThatWasLostWhileItWasIdle) {
    PoolRig rig;
    TVCISession *first = rig.client.Connected();
    EXPECT_EQ(0, TVCIHandleFree(first));
    rig.tavud.Restart();
    TVCISession *second = rig.client.Connected();
    EXPECT_EQ(0, rig.tavud.ConnectionCount());
    EXPECT_EQ("(-24)", Ask(second, "select 7"));
    EXPECT_EQ(CAME_BACK, ErrorOf(second));
    EXPECT_EQ("7", Ask(second, "select 7"));
    EXPECT_EQ("0 idle, 1 busy", rig.Counts());
}

// A session that took an idle connection knows no user but SYSDBA, with the password SYSDBA.
TEST(Pool, ReconnectsAsSysdbaBehindASessionThatTookAnIdleConnection) {
    PoolRig rig({"--user", "SCOTT:tiger"});
    TVCISession *first = rig.client.NewSession();
    TVCISession *second = rig.client.NewSession();
    EXPECT_EQ(0, TVCIConnect(first, "SCOTT", "tiger"));
    EXPECT_EQ(0, TVCIDisconnect(first));
    EXPECT_EQ(0, TVCIConnect(second, "SCOTT", "tiger"));
    rig.tavud.Restart({"--user", "SCOTT:tiger"});
    EXPECT_EQ("(-4)", Ask(second, "select 7"));
    EXPECT_EQ("E18004: [E18004]user name or password is wrong", ErrorOf(second));
    // The first one logged on with that connection, and still knows how.
    EXPECT_EQ(0, TVCIDisconnect(second));
    EXPECT_EQ(0, TVCIConnect(first, "SCOTT", "tiger"));
    EXPECT_EQ("(-24)", Ask(first, "select 7"));
    EXPECT_EQ("7", Ask(first, "select 7"));
}

// Whether a request over this connection is answered.
static bool Answers(Connection *conn) {
    uint8_t letter = 0;
    ConnSendCommand(conn, "COMMIT;");
    return ConnReadChar(conn, &letter) && letter == 'K';
}

TEST(Pool, LeavesAllConnectionsButOneOpenWhenItsServerHandleIsFreed) {
    PoolRig rig;
    TVCISession *sessions[CONN_LIMIT];
    Connection *conns[CONN_LIMIT];
    for (int i = 0; i < CONN_LIMIT; i++) {
        sessions[i] = rig.client.Connected();
        conns[i] = sessions[i]->conn;
    }
    EXPECT_EQ(0, TVCIDisconnect(sessions[2]));
    EXPECT_EQ(0, TVCIDisconnect(sessions[0]));
    // The sessions go first, in their order, and give back what they have.
    rig.FreeServer();
    EXPECT_EQ(0, rig.pool->idle_count);
    EXPECT_EQ(0, rig.pool->busy_count);
    EXPECT_EQ(0, rig.pool->busy.count);
    ASSERT_EQ(3, rig.pool->idle.count);
    const int left[] = {0, 1, 3};
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(conns[left[i]], rig.pool->idle.items[i]);
        EXPECT_TRUE(Answers(rig.pool->idle.items[i]));
    }
}
