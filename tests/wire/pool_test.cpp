// Sessions that borrow their connections from the server's pool.
#include "wire/pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <thread>

#include "diag/error.h"
#include "platform/memory.h"
#include "platform/socket.h"
#include "platform/wait.h"
#include "support/net.h"
#include "support/scripted_peer.h"
#include "tavu/tvci.h"
#include "wire/connection.h"
#include "wire/session_login.h"
#include "wire/wire_rig.h"

// A server with a pool, and sessions that borrow from it. Connections that the peer has dropped for
// a later one stay in the pool all the same.
struct PoolRig {
    explicit PoolRig(uint16_t port) : rig(port), server(&rig.server) {
        PoolInit(&pool, nullptr);
        server->pool = &pool;
    }

    PoolRig() : PoolRig(0) {
        server->port = peer.port();
    }

    ~PoolRig() {
        for (TVCISession &session : sessions) {
            TearDownSession(&session);
        }
        CloseWhatIsLeft();
        if (!released) {
            PoolRelease(&pool);
        }
        EXPECT_TRUE(peer.Finish()) << peer.Failure();
    }

    TVCISession *NewSession() {
        sessions.emplace_back();
        SetUpSession(&sessions.back(), server);
        sessions.back().from_pool = 1;
        return &sessions.back();
    }

    void ExpectLogin(const std::string &user, const std::string &password) {
        peer.Accept();
        peer.Expect(LoginText(user, password));
        peer.Send(Hex("'K'"));
    }

    // "1 idle, 2 busy": the counters, with a remark when a vector disagrees.
    std::string Counts() const {
        std::string text =
            std::to_string(pool.idle_count) + " idle, " + std::to_string(pool.busy_count) + " busy";
        if (pool.idle.count != pool.idle_count || pool.busy.count != pool.busy_count) {
            text += ", vectors of " + std::to_string(pool.idle.count) + " and " +
                    std::to_string(pool.busy.count);
        }
        return text;
    }

    void Release() {
        PoolRelease(&pool);
        released = true;
    }

    // Closes what the vectors still hold.
    void CloseWhatIsLeft() {
        for (ConnVector *vector : {&pool.idle, &pool.busy}) {
            while (vector->count > 0) {
                vector->count--;
                ConnFree(vector->items[vector->count]);
                MemFree(vector->items[vector->count]);
            }
            MemFree(vector->items);
            *vector = {};
        }
    }

    ScriptedPeer peer;
    SessionRig rig;
    TVCIServer *server;
    TVCIPool pool = {};
    std::deque<TVCISession> sessions;
    bool released = false;
};

TEST(PoolInit, GivesTheDefaults) {
    TVCIPool pool = {};
    TVCIEnv env = {};
    PoolInit(&pool, &env);
    EXPECT_EQ(4u, pool.type);
    EXPECT_EQ(&env, pool.env);
    EXPECT_EQ(10, pool.min_conn);
    EXPECT_EQ(1000, pool.max_conn);
    EXPECT_EQ(6000, pool.pool_timeout);
    EXPECT_EQ(0, pool.reserved);
    EXPECT_EQ(0, pool.idle_count);
    EXPECT_EQ(0, pool.busy_count);
    EXPECT_EQ(0, pool.idle.count);
    EXPECT_EQ(0, pool.busy.count);
    EXPECT_STREQ("SYSDBA", pool.attr.user);
    EXPECT_STREQ("SYSDBA", pool.attr.password);
    EXPECT_FALSE(SemaphoreTryTake(&pool.semaphore));
    PoolRelease(&pool);
}

TEST(Pool, FirstLogonFixesItsUser) {
    PoolRig rig;
    rig.ExpectLogin("SCOTT", "TIGER");
    rig.peer.Start();
    TVCISession *session = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(session, "SCOTT", "TIGER"));
    EXPECT_STREQ("SCOTT", rig.pool.attr.user);
    EXPECT_STREQ("TIGER", rig.pool.attr.password);
    EXPECT_EQ(1, session->from_pool);
    EXPECT_EQ(session, session->conn->owner);
    EXPECT_EQ("0 idle, 1 busy", rig.Counts());
}

TEST(Pool, DisconnectMakesTheConnectionIdleAndTheNextConnectTakesItWithNoLogin) {
    PoolRig rig;
    rig.ExpectLogin("SCOTT", "TIGER");
    rig.peer.Start();
    TVCISession *first = rig.NewSession();
    TVCISession *second = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(first, "SCOTT", "TIGER"));
    Connection *conn = first->conn;
    EXPECT_EQ(0, TVCIDisconnect(first));
    EXPECT_EQ(nullptr, first->conn);
    EXPECT_EQ("1 idle, 0 busy", rig.Counts());
    EXPECT_NE(0u, conn->sock);
    // The session may be freed while the connection is idle.
    EXPECT_EQ(nullptr, conn->owner);
    ASSERT_EQ(0, TVCIConnect(second, "SCOTT", "TIGER"));
    EXPECT_EQ(conn, second->conn);
    EXPECT_EQ(second, conn->owner);
    EXPECT_EQ("0 idle, 1 busy", rig.Counts());
    // The session itself never logged on, and keeps the defaults for a reconnect.
    EXPECT_STREQ("SYSDBA", second->attr.user);
    EXPECT_STREQ("SYSDBA", second->attr.password);
}

TEST(Pool, LeavesTheErrorOfASessionThatTakesAnIdleConnection) {
    PoolRig rig;
    rig.ExpectLogin("SCOTT", "TIGER");
    rig.peer.Start();
    TVCISession *first = rig.NewSession();
    TVCISession *second = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(first, "SCOTT", "TIGER"));
    TVCIDisconnect(first);
    ErrInfoRaiseText(second, "E00001", "before");
    ASSERT_EQ(0, TVCIConnect(second, "SCOTT", "TIGER"));
    EXPECT_EQ("E00001: before", ErrorText(&second->error));
}

TEST(Pool, IsSharedByTheSameUserInAnotherCase) {
    PoolRig rig;
    rig.ExpectLogin("SCOTT", "TIGER");
    rig.peer.Start();
    TVCISession *first = rig.NewSession();
    TVCISession *second = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(first, "SCOTT", "TIGER"));
    Connection *conn = first->conn;
    TVCIDisconnect(first);
    ASSERT_EQ(0, TVCIConnect(second, "scott", "TIGER"));
    EXPECT_EQ(conn, second->conn);
    EXPECT_EQ(1, second->from_pool);
}

// A second logon that does not match the first gets a connection of its own.
static void ExpectPrivate(const char *user, const char *password) {
    PoolRig rig;
    rig.ExpectLogin("SCOTT", "TIGER");
    rig.ExpectLogin(user, password);
    rig.peer.ExpectEnd();
    rig.peer.Start();
    TVCISession *first = rig.NewSession();
    TVCISession *second = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(first, "SCOTT", "TIGER"));
    TVCIDisconnect(first);
    ASSERT_EQ(0, TVCIConnect(second, user, password));
    EXPECT_EQ(0, second->from_pool);
    EXPECT_EQ(second, second->conn->owner);
    EXPECT_EQ("1 idle, 0 busy", rig.Counts());
    EXPECT_STREQ("SCOTT", rig.pool.attr.user);
    EXPECT_EQ(0, TVCIDisconnect(second));
    EXPECT_EQ(nullptr, second->conn);
    EXPECT_EQ("1 idle, 0 busy", rig.Counts());
}

TEST(Pool, GivesAnotherPasswordAPrivateConnection) {
    ExpectPrivate("SCOTT", "LION");
}

TEST(Pool, ComparesThePasswordExactly) {
    ExpectPrivate("SCOTT", "tiger");
}

TEST(Pool, GivesAnotherUserAPrivateConnection) {
    ExpectPrivate("SCOT", "TIGER");
}

TEST(Pool, KeepsItsUserWhileAllConnectionsAreBusy) {
    PoolRig rig;
    rig.ExpectLogin("SCOTT", "TIGER");
    rig.ExpectLogin("ADAMS", "WOOD");
    rig.peer.Start();
    TVCISession *first = rig.NewSession();
    TVCISession *second = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(first, "SCOTT", "TIGER"));
    ASSERT_EQ(0, TVCIConnect(second, "ADAMS", "WOOD"));
    EXPECT_EQ(0, second->from_pool);
    EXPECT_STREQ("SCOTT", rig.pool.attr.user);
    EXPECT_EQ("0 idle, 1 busy", rig.Counts());
}

TEST(Pool, LeavesASessionThatIsRefusedAPrivateConnectionInThePool) {
    PoolRig rig;
    rig.ExpectLogin("SCOTT", "TIGER");
    rig.peer.Accept();
    rig.peer.Expect(LoginText("SCOTT", "LION"));
    rig.peer.Send(Hex("'E' 0000000B '[E1234]nope'"));
    rig.peer.Start();
    TVCISession *first = rig.NewSession();
    TVCISession *second = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(first, "SCOTT", "TIGER"));
    EXPECT_EQ(-1, TVCIConnect(second, "SCOTT", "LION"));
    EXPECT_EQ(1, second->from_pool);
    EXPECT_EQ("E1234: [E1234]nope", ErrorText(&second->error));
    EXPECT_EQ("0 idle, 1 busy", rig.Counts());
}

TEST(Pool, LogsOnANewConnectionWhenNoneIsIdle) {
    PoolRig rig;
    rig.ExpectLogin("SCOTT", "TIGER");
    rig.ExpectLogin("scott", "TIGER");
    rig.peer.Start();
    TVCISession *first = rig.NewSession();
    TVCISession *second = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(first, "SCOTT", "TIGER"));
    ASSERT_EQ(0, TVCIConnect(second, "scott", "TIGER"));
    EXPECT_NE(first->conn, second->conn);
    EXPECT_EQ("0 idle, 2 busy", rig.Counts());
}

TEST(Pool, TakesBackTheConnectionOfTheSessionThatDisconnects) {
    PoolRig rig;
    rig.ExpectLogin("A", "B");
    rig.ExpectLogin("A", "B");
    rig.ExpectLogin("A", "B");
    rig.peer.Start();
    TVCISession *held[3];
    for (TVCISession *&session : held) {
        session = rig.NewSession();
        ASSERT_EQ(0, TVCIConnect(session, "A", "B"));
    }
    Connection *middle = held[1]->conn;
    TVCIDisconnect(held[1]);
    EXPECT_EQ("1 idle, 2 busy", rig.Counts());
    EXPECT_EQ(held[0]->conn, rig.pool.busy.items[0]);
    EXPECT_EQ(held[2]->conn, rig.pool.busy.items[1]);
    EXPECT_EQ(middle, rig.pool.idle.items[0]);
}

TEST(Pool, GivesTheConnectionThatHasBeenIdleLongest) {
    PoolRig rig;
    rig.ExpectLogin("A", "B");
    rig.ExpectLogin("A", "B");
    rig.peer.Start();
    TVCISession *first = rig.NewSession();
    TVCISession *second = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(first, "A", "B"));
    ASSERT_EQ(0, TVCIConnect(second, "A", "B"));
    Connection *longest = second->conn;
    TVCIDisconnect(second);
    TVCIDisconnect(first);
    EXPECT_EQ("2 idle, 0 busy", rig.Counts());
    TVCISession *third = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(third, "A", "B"));
    EXPECT_EQ(longest, third->conn);
    EXPECT_EQ("1 idle, 1 busy", rig.Counts());
}

// One permit for each session that waits for the pool.
static Semaphore pool_waits;

static void SignalPoolWait(WaitPoint point) {
    if (point == WAIT_POOL_PERMIT) {
        SemaphoreRelease(&pool_waits);
    }
}

TEST(Pool, AtItsLimitBlocksUntilADisconnect) {
    PoolRig rig;
    rig.ExpectLogin("A", "B");
    rig.peer.Start();
    rig.pool.max_conn = 1;
    TVCISession *first = rig.NewSession();
    TVCISession *second = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(first, "A", "B"));
    Connection *conn = first->conn;
    SemaphoreInit(&pool_waits, 0);
    WaitSetHook(SignalPoolWait);
    std::atomic<bool> connected = false;
    std::thread waiting([second, &connected] {
        EXPECT_EQ(0, TVCIConnect(second, "A", "B"));
        connected = true;
    });
    SemaphoreTake(&pool_waits);
    EXPECT_FALSE(connected);
    EXPECT_EQ(0, TVCIDisconnect(first));
    waiting.join();
    WaitSetHook(nullptr);
    SemaphoreDestroy(&pool_waits);
    EXPECT_EQ(conn, second->conn);
    EXPECT_EQ(second, conn->owner);
    EXPECT_EQ("0 idle, 1 busy", rig.Counts());
}

TEST(Pool, AtItsLimitTakesTheConnectionThatCameBackLast) {
    PoolRig rig;
    rig.ExpectLogin("A", "B");
    rig.ExpectLogin("A", "B");
    rig.peer.Start();
    TVCISession *first = rig.NewSession();
    TVCISession *second = rig.NewSession();
    TVCISession *third = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(first, "A", "B"));
    ASSERT_EQ(0, TVCIConnect(second, "A", "B"));
    Connection *last = second->conn;
    TVCIDisconnect(first);
    TVCIDisconnect(second);
    // What a session sees that came before the two disconnects.
    rig.pool.idle_count = 0;
    rig.pool.busy_count = 2;
    rig.pool.max_conn = 2;
    ASSERT_EQ(0, TVCIConnect(third, "A", "B"));
    EXPECT_EQ(last, third->conn);
    EXPECT_EQ(-1, rig.pool.idle_count);
    EXPECT_EQ(3, rig.pool.busy_count);
}

// The logins that are on their way, and the peer that answers none before there are two.
static std::atomic<int> logins_sent;
static ScriptedPeer *login_peer;

static int64_t SendAndCountLogins(SocketId socket, const void *bytes, size_t count) {
    const int64_t sent = NetSend((uintptr_t)socket, bytes, count);
    if (++logins_sent == 2) {
        login_peer->Open("both");
    }
    return sent;
}

TEST(Pool, LetsTwoSessionsPassTheLimitThatComeAtTheSameMoment) {
    PoolRig rig;
    rig.pool.max_conn = 1;
    rig.peer.Accept();
    rig.peer.Gate("both");
    rig.peer.Expect(LoginText("A", "B"));
    rig.peer.Send(Hex("'K'"));
    rig.ExpectLogin("A", "B");
    rig.peer.Start();
    TVCISession *first = rig.NewSession();
    TVCISession *second = rig.NewSession();
    logins_sent = 0;
    login_peer = &rig.peer;
    SocketSetHooks(SendAndCountLogins, nullptr);
    std::thread other([second] { EXPECT_EQ(0, TVCIConnect(second, "A", "B")); });
    EXPECT_EQ(0, TVCIConnect(first, "A", "B"));
    other.join();
    SocketSetHooks(nullptr, nullptr);
    EXPECT_EQ(1, first->from_pool);
    EXPECT_EQ(1, second->from_pool);
    EXPECT_NE(first->conn, second->conn);
    EXPECT_EQ("0 idle, 2 busy", rig.Counts());
}

TEST(Pool, WithAPermitAndNothingIdleLeavesTheSessionWithoutAConnection) {
    PoolRig rig;
    rig.ExpectLogin("A", "B");
    rig.peer.Start();
    rig.pool.max_conn = 1;
    TVCISession *first = rig.NewSession();
    TVCISession *second = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(first, "A", "B"));
    SemaphoreRelease(&rig.pool.semaphore);
    EXPECT_EQ(0, TVCIConnect(second, "A", "B"));
    EXPECT_EQ(nullptr, second->conn);
    EXPECT_EQ("", ErrorText(&second->error));
    EXPECT_EQ("0 idle, 1 busy", rig.Counts());
    EXPECT_FALSE(SemaphoreTryTake(&rig.pool.semaphore));
}

TEST(Pool, ThatWasNeverMadeGivesAPrivateConnection) {
    PoolRig rig;
    rig.server->pool = nullptr;
    rig.ExpectLogin("A", "B");
    rig.peer.ExpectEnd();
    rig.peer.Start();
    TVCISession *session = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(session, "A", "B"));
    EXPECT_EQ(0, session->from_pool);
    EXPECT_EQ(0, TVCIDisconnect(session));
}

TEST(Pool, SecondDisconnectChangesNothing) {
    PoolRig rig;
    rig.ExpectLogin("A", "B");
    rig.peer.Start();
    TVCISession *session = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(session, "A", "B"));
    EXPECT_EQ(0, TVCIDisconnect(session));
    EXPECT_EQ(0, TVCIDisconnect(session));
    EXPECT_EQ("1 idle, 0 busy", rig.Counts());
    EXPECT_TRUE(SemaphoreTryTake(&rig.pool.semaphore));
    EXPECT_FALSE(SemaphoreTryTake(&rig.pool.semaphore));
    SemaphoreRelease(&rig.pool.semaphore);
}

TEST(Pool, KeepsItsCountersWhenALoginFails) {
    PoolRig rig;
    rig.peer.Accept();
    rig.peer.Expect(LoginText("A", "B"));
    rig.peer.Send(Hex("'E' 0000000B '[E1234]nope'"));
    rig.peer.Accept();
    rig.peer.Expect(LoginText("C", "D"));
    rig.peer.Send(Hex("'K'"));
    rig.peer.Start();
    TVCISession *session = rig.NewSession();
    EXPECT_EQ(-1, TVCIConnect(session, "A", "B"));
    EXPECT_EQ("E1234: [E1234]nope", ErrorText(&session->error));
    EXPECT_EQ("0 idle, 0 busy", rig.Counts());
    // Still empty, so that the next one fixes the user.
    EXPECT_STREQ("A", rig.pool.attr.user);
    EXPECT_EQ(0, TVCIConnect(session, "C", "D"));
    EXPECT_STREQ("C", rig.pool.attr.user);
    EXPECT_EQ(1, session->from_pool);
}

TEST(Pool, WhoseVectorCannotGrowLeavesTheConnectionToTheSession) {
    PoolRig rig;
    rig.ExpectLogin("A", "B");
    rig.peer.ExpectEnd();
    rig.peer.Start();
    TVCISession *session = rig.NewSession();
    // The first block is the connection, the second the busy vector.
    MemFailAt(2);
    ASSERT_EQ(0, TVCIConnect(session, "A", "B"));
    EXPECT_TRUE(MemFailed());
    MemFailAt(0);
    EXPECT_EQ(0, session->from_pool);
    EXPECT_NE(nullptr, session->conn);
    EXPECT_EQ("0 idle, 0 busy", rig.Counts());
    EXPECT_EQ(0, TVCIDisconnect(session));
}

TEST(Pool, WhoseVectorCannotGrowClosesAConnectionThatComesBack) {
    PoolRig rig;
    rig.ExpectLogin("A", "B");
    rig.peer.ExpectEnd();
    rig.peer.Start();
    TVCISession *session = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(session, "A", "B"));
    MemFailAt(1);
    EXPECT_EQ(0, TVCIDisconnect(session));
    MemFailAt(0);
    EXPECT_EQ(nullptr, session->conn);
    EXPECT_EQ("0 idle, 0 busy", rig.Counts());
    EXPECT_FALSE(SemaphoreTryTake(&rig.pool.semaphore));
}

TEST(PoolRelease, ClosesExactlyOneOfSeveralIdleConnections) {
    PoolRig rig;
    rig.ExpectLogin("A", "B");
    rig.ExpectLogin("A", "B");
    rig.ExpectLogin("A", "B");
    rig.peer.Start();
    TVCISession *held[3];
    for (TVCISession *&session : held) {
        session = rig.NewSession();
        ASSERT_EQ(0, TVCIConnect(session, "A", "B"));
    }
    Connection *second = held[1]->conn;
    Connection *third = held[2]->conn;
    for (TVCISession *session : held) {
        TVCIDisconnect(session);
    }
    EXPECT_EQ("3 idle, 0 busy", rig.Counts());
    rig.Release();
    EXPECT_EQ(0, rig.pool.idle_count);
    EXPECT_EQ(0, rig.pool.busy_count);
    ASSERT_EQ(2, rig.pool.idle.count);
    EXPECT_EQ(second, rig.pool.idle.items[0]);
    EXPECT_EQ(third, rig.pool.idle.items[1]);
    EXPECT_NE(0u, second->sock);
    EXPECT_NE(0u, third->sock);
}

TEST(PoolRelease, ClosesOneBusyConnection) {
    PoolRig rig;
    rig.ExpectLogin("A", "B");
    rig.peer.ExpectEnd();
    rig.peer.Start();
    TVCISession *session = rig.NewSession();
    ASSERT_EQ(0, TVCIConnect(session, "A", "B"));
    rig.Release();
    session->conn = nullptr;
    EXPECT_EQ("0 idle, 0 busy", rig.Counts());
}

TEST(PoolRelease, OfAnUnusedPoolFreesNothingTwice) {
    PoolRig rig;
    rig.Release();
    EXPECT_EQ("0 idle, 0 busy", rig.Counts());
}

static int64_t SendAll(SocketId, const void *, size_t count) {
    return (int64_t)count;
}

static int64_t ReceiveAccepted(SocketId, void *bytes, size_t) {
    *(char *)bytes = 'K';
    return 1;
}

TEST(Pool, KeepsCountUnderManyThreads) {
    PoolRig rig;
    rig.pool.max_conn = 2;
    SocketSetHooks(SendAll, ReceiveAccepted);
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; number++) {
        TVCISession *session = rig.NewSession();
        threads.emplace_back([session] {
            for (int round = 0; round < 50; round++) {
                EXPECT_EQ(0, TVCIConnect(session, "A", "B"));
                EXPECT_NE(nullptr, session->conn);
                EXPECT_EQ(session, session->conn->owner);
                EXPECT_EQ(0, TVCIDisconnect(session));
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    SocketSetHooks(nullptr, nullptr);
    EXPECT_EQ(0, rig.pool.busy_count);
    EXPECT_EQ(0, rig.pool.busy.count);
    EXPECT_GE(rig.pool.idle_count, 1);
    EXPECT_EQ(rig.pool.idle_count, rig.pool.idle.count);
}
