// Three servers behind one list of addresses: which one a session gets, and what is left of the
// list when servers die.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "live/live_rig.h"

// The names of the servers that so many new sessions get, in their order.
static std::string WhoOf(LiveClient *client, int session_count) {
    std::string names;
    for (int i = 0; i < session_count; i++) {
        names += Who(client->Connected());
    }
    return names;
}

TEST(Failover, ManyConnectsGoRoundTheList) {
    Trio trio;
    LiveClient client(trio.port());
    client.UseList(TRIO_LIST, 0);
    EXPECT_EQ("ABCABCABCABCABCABCABCABCABCABC", WhoOf(&client, 30));
    EXPECT_EQ("127.0.0.1@0 127.0.0.2@1 127.0.0.3@2 count 3", client.List());
    client.UseList(TRIO_LIST, 1);
    EXPECT_EQ("BCABCAB", WhoOf(&client, 7));
    client.UseList(TRIO_LIST, 2);
    EXPECT_EQ("CABCABC", WhoOf(&client, 7));
}

TEST(Failover, ASessionThatLogsOnAgainGoesOnToTheNextServer) {
    Trio trio;
    LiveClient client(trio.port());
    client.UseList(TRIO_LIST, 0);
    TVCISession *session = client.NewSession();
    std::string names;
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(0, Connect(session));
        names += Who(session);
        EXPECT_EQ(0, TVCIDisconnect(session));
    }
    EXPECT_EQ("ABCAB", names);
}

TEST(Failover, ConnectsPassOverADeadServerAndTakeItOffTheList) {
    const struct {
        char killed;
        const char *names;  // of six sessions, the first of which is to go to A
        const char *list;
    } row_table[] = {
        {'A', "BBCBCB", "127.0.0.2@0 127.0.0.3@1 count 2"},
        {'B', "ACCACA", "127.0.0.1@0 127.0.0.3@1 count 2"},
        {'C', "ABAABA", "127.0.0.1@0 127.0.0.2@1 count 2"},
    };
    for (const auto &row : row_table) {
        SCOPED_TRACE(row.killed);
        Trio trio;
        LiveClient client(trio.port());
        client.UseList(TRIO_LIST, 0);
        trio.Kill(row.killed);
        EXPECT_EQ(row.names, WhoOf(&client, 6));
        EXPECT_EQ(row.list, client.List());
    }
}

// The server handle moves on with each connect, and a reconnect chooses the address in front of it.
TEST(Failover, ReconnectsPassOverADeadServerAndTakeItOffTheList) {
    const struct {
        char killed;
        int further_sessions;  // that connect behind the first three
        const char *now_on;
        int32_t ip_position;
        const char *list;
    } row_table[] = {
        {'A', 0, "B", 0, "127.0.0.2@0 127.0.0.3@1 count 2"},
        {'B', 0, "A", 0, "127.0.0.1@0 127.0.0.3@1 count 2"},
        {'C', 0, "A", 0, "127.0.0.1@0 127.0.0.2@1 count 2"},
        {'A', 1, "B", 0, "127.0.0.2@0 127.0.0.3@1 count 2"},
        {'B', 1, "A", 0, "127.0.0.1@0 127.0.0.3@1 count 2"},
        {'C', 1, "A", 0, "127.0.0.1@0 127.0.0.2@1 count 2"},
        {'A', 2, "C", 1, "127.0.0.2@0 127.0.0.3@1 count 2"},
        {'B', 2, "C", 1, "127.0.0.1@0 127.0.0.3@1 count 2"},
        {'C', 2, "B", 1, "127.0.0.1@0 127.0.0.2@1 count 2"},
    };
    for (const auto &row : row_table) {
        SCOPED_TRACE(row.killed + std::to_string(row.further_sessions));
        Trio trio;
        LiveClient client(trio.port());
        client.UseList(TRIO_LIST, 0);
        TVCISession *sessions[3] = {client.Connected(), client.Connected(), client.Connected()};
        WhoOf(&client, row.further_sessions);
        trio.Kill(row.killed);
        for (char name = 'A'; name <= 'C'; name++) {
            if (name != row.killed) {
                EXPECT_EQ(std::string(1, name), Who(sessions[name - 'A']));
            }
        }
        TVCISession *lost = sessions[row.killed - 'A'];
        EXPECT_EQ("(-24)", Who(lost));
        EXPECT_EQ(CAME_BACK, ErrorOf(lost));
        EXPECT_EQ(row.now_on, Who(lost));
        EXPECT_EQ(row.ip_position, client.server->ip_position);
        EXPECT_EQ(row.list, client.List());
    }
}

TEST(Failover, GoesOnUntilTheLastServerIsDead) {
    Trio trio;
    LiveClient client(trio.port());
    client.UseList(TRIO_LIST, 0);
    TVCISession *first = client.Connected();
    TVCISession *second = client.Connected();
    EXPECT_EQ("A", Who(first));
    EXPECT_EQ("B", Who(second));
    trio.Kill('B');
    // The server handle stands at C, at index 2. The index in front of it is the dead server's,
    // and C's once that is off the list.
    EXPECT_EQ("(-24)", Who(second));
    EXPECT_EQ("C", Who(second));
    EXPECT_EQ("127.0.0.1@0 127.0.0.3@1 count 2", client.List());
    trio.Kill('A');
    EXPECT_EQ("(-24)", Who(first));
    EXPECT_EQ("C", Who(first));
    EXPECT_EQ("127.0.0.3@0 count 1", client.List());
    EXPECT_EQ("C", WhoOf(&client, 1));
    trio.Kill('C');
    for (int attempt = 0; attempt < 2; attempt++) {
        for (TVCISession *session : {first, second}) {
            EXPECT_EQ("(-4)", Who(session));
            EXPECT_EQ(CANNOT_CONNECT, ErrorOf(session));
        }
        TVCISession *third = client.NewSession();
        EXPECT_EQ(-1, Connect(third));
        EXPECT_EQ(CANNOT_CONNECT, ErrorOf(third));
        // The last address stays, with the count that it had.
        EXPECT_EQ("127.0.0.3@0 count 1", client.List());
    }
}

TEST(Failover, GivesUpAtOnceWhenAllServersAreDead) {
    Trio trio;
    LiveClient client(trio.port());
    client.UseList(TRIO_LIST, 0);
    TVCISession *lost = client.Connected();
    trio.Kill('A');
    trio.Kill('B');
    trio.Kill('C');
    TVCISession *session = client.NewSession();
    EXPECT_EQ(-1, Connect(session));
    EXPECT_EQ(CANNOT_CONNECT, ErrorOf(session));
    // It went from B to C, at the place of B, and from there to A.
    EXPECT_EQ("127.0.0.1@0 count 1", client.List());
    EXPECT_EQ("(-4)", Who(lost));
    EXPECT_EQ(CANNOT_CONNECT, ErrorOf(lost));
}

TEST(Failover, DoesNotTryAServerAgainThatComesBack) {
    Trio trio;
    LiveClient client(trio.port());
    client.UseList(TRIO_LIST, 0);
    EXPECT_EQ("A", WhoOf(&client, 1));
    trio.Kill('B');
    EXPECT_EQ("C", WhoOf(&client, 1));
    trio.Restart('B');
    EXPECT_EQ("CACACA", WhoOf(&client, 6));
    trio.Kill('A');
    trio.Kill('C');
    TVCISession *session = client.NewSession();
    EXPECT_EQ(-1, Connect(session));
    EXPECT_EQ(CANNOT_CONNECT, ErrorOf(session));
    // Another handle with the same list does.
    LiveClient fresh(trio.port());
    fresh.UseList(TRIO_LIST, 0);
    EXPECT_EQ(0, Connect(fresh.NewSession()));
    EXPECT_EQ("127.0.0.2@0 127.0.0.3@1 count 2", fresh.List());
}

TEST(Failover, TriesTheLastServerAgainWhenItComesBack) {
    Trio trio;
    LiveClient client(trio.port());
    client.UseList("127.0.0.3;", 0);
    TVCISession *session = client.Connected();
    trio.Kill('C');
    EXPECT_EQ("(-4)", Who(session));
    trio.Restart('C');
    EXPECT_EQ("(-24)", Ask(session, "show version"));
    EXPECT_EQ(CAME_BACK, ErrorOf(session));
    EXPECT_EQ("127.0.0.3@0 count 1", client.List());
}

// An address that was given up may still be the one that the server handle stands at: a pool's
// sessions, which do not move it on, try it first each time.
TEST(Failover, OfAPoolTriesTheAddressOfTheServerHandleFirst) {
    Trio trio;
    LiveClient client(trio.port());
    client.UsePool();
    client.UseList(TRIO_LIST, 0);
    EXPECT_EQ("AA", WhoOf(&client, 2));
    trio.Kill('A');
    // In front of position 0 is the last index, which is beyond what is left: the head is taken.
    EXPECT_EQ("B", WhoOf(&client, 1));
    EXPECT_EQ("127.0.0.2@0 127.0.0.3@1 count 2", client.List());
    trio.Restart('A');
    TVCISession *session = client.Connected();
    EXPECT_EQ("127.0.0.2@0 127.0.0.3@1 count 2", client.List());
    EXPECT_EQ("(-1)", Who(session));  // the new A has no name
}

// Sessions of one server handle in four threads, while two of the servers die.
TEST(Failover, WhileSessionsOfOneServerHandleConnectAtTheSameMoment) {
    Trio trio;
    LiveClient client(trio.port());
    client.UseList(TRIO_LIST, 0);
    std::atomic<int> round_count = 0;
    std::atomic<bool> only_c_is_left = false;
    auto connect_and_ask = [&] {
        TVCISession *session = client.NewSession();
        bool settled = false;
        // A server that dies in the middle of a login ends the call, and one that dies later loses
        // the connection.
        for (int last_rounds = 0; last_rounds < 6; round_count++) {
            settled = only_c_is_left;
            const int32_t result = Connect(session);
            EXPECT_TRUE(result == 0 || (result == -1 && !settled)) << result << ErrorOf(session);
            if (result == 0) {
                const std::string name = Who(session);
                EXPECT_TRUE(settled ? name == "C" : name != "(no row)") << name;
                EXPECT_EQ(0, TVCIDisconnect(session));
            }
            if (settled) {
                last_rounds++;
            }
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++) {
        threads.emplace_back(connect_and_ask);
    }
    auto wait_rounds = [&round_count](int rounds) {
        const int until = round_count + rounds;
        while (round_count < until) {
            std::this_thread::yield();
        }
    };
    wait_rounds(40);
    trio.Kill('A');
    wait_rounds(40);
    trio.Kill('B');
    only_c_is_left = true;
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ("127.0.0.3@0 count 1", client.List());
}
