// A session whose server dies and is started again at the same port.
#include <gtest/gtest.h>

#include <filesystem>

#include "live/live_rig.h"

// A statement of the session, to be freed with it.
static TVCIStmt *NewStmt(TVCISession *session) {
    TVCIStmt *stmt = nullptr;
    EXPECT_EQ(0, TVCIHandleAlloc(session, (void **)&stmt, TVCI_HTYPE_STMT));
    return stmt;
}

static int32_t Prepare(TVCIStmt *stmt, const char *sql) {
    return TVCIPrepare(stmt, sql, -1);
}

TEST(Reconnect, FindsTheServerThatWasStartedAgain) {
    TavudProcess server("127.0.0.1", 0);
    LiveClient client(server.port());
    TVCISession *session = client.Connected();
    EXPECT_EQ("7", Ask(session, "select 7"));
    server.Restart();
    EXPECT_EQ("(-24)", Ask(session, "select 7"));
    EXPECT_EQ(CAME_BACK, ErrorOf(session));
    EXPECT_EQ("7", Ask(session, "select 7"));
    EXPECT_EQ(1, server.ConnectionCount());
}

TEST(Reconnect, IsTriedByEachStatementWhileTheServerIsDown) {
    TavudProcess server("127.0.0.1", 0);
    LiveClient client(server.port());
    TVCISession *session = client.Connected();
    TVCIStmt *stmt = NewStmt(session);
    server.Kill();
    // A command of a transaction does not try it.
    EXPECT_EQ(-4, TVCICommit(session));
    EXPECT_EQ(": ", ErrorOf(session));
    for (int attempt = 0; attempt < 3; attempt++) {
        EXPECT_EQ("(-4)", Ask(session, "select 7"));
        EXPECT_EQ(-4, Prepare(stmt, "select 8"));
        EXPECT_EQ(CANNOT_CONNECT, ErrorOf(session));
        EXPECT_EQ(": ", ErrorOf(stmt));
    }
    server.Restart();
    EXPECT_EQ(-4, TVCICommit(session));
    EXPECT_EQ(0, server.ConnectionCount());
    EXPECT_EQ("(-24)", Ask(session, "select 7"));
    EXPECT_EQ(CAME_BACK, ErrorOf(session));
    EXPECT_EQ(0, TVCICommit(session));
}

// The names that the client gives go on; the server that was started anew knows none of them.
TEST(Reconnect, LeavesPreparedStatementsBehind) {
    TavudProcess server("127.0.0.1", 0);
    LiveClient client(server.port());
    TVCISession *session = client.Connected();
    TVCIStmt *stmt = NewStmt(session);
    int32_t number = 0;
    EXPECT_EQ(0, Prepare(stmt, "select 7"));
    EXPECT_STREQ("ST0", stmt->prepared_name);
    EXPECT_EQ(0, TVCIDefineColumn(stmt, 1, &number, 4, TVCI_C_INT, nullptr, nullptr));
    EXPECT_EQ(0, TVCIExecute(stmt));
    EXPECT_EQ(0, TVCIFetch(stmt));
    EXPECT_EQ(7, number);
    server.Restart();
    EXPECT_EQ(-24, TVCIExecute(stmt));
    EXPECT_EQ(-1, TVCIExecute(stmt));
    EXPECT_EQ("E10001", ErrorOf(stmt).substr(0, 6));
    EXPECT_EQ(0, Prepare(stmt, "select 8"));
    EXPECT_STREQ("ST1", stmt->prepared_name);
    EXPECT_EQ(0, TVCIExecute(stmt));
    EXPECT_EQ(0, TVCIFetch(stmt));
    EXPECT_EQ(8, number);
}

// A folder that goes with the test.
struct Folder {
    Folder() {
        char name[] = "/tmp/tavud-live-XXXXXX";
        EXPECT_NE(nullptr, mkdtemp(name));
        path = name;
    }
    ~Folder() {
        std::filesystem::remove_all(path);
    }
    std::string path;
};

// Nothing is sent behind the new login: neither what the transaction had done comes back, nor the
// mode that it had set.
TEST(Reconnect, LeavesTheTransactionAndItsModeBehind) {
    Folder folder;
    const std::vector<std::string> options = {"--db", folder.path + "/data"};
    TavudProcess server("127.0.0.1", 0, options);
    LiveClient client(server.port());
    TVCISession *session = client.Connected();
    EXPECT_EQ(0, RunText(session, "create table T (A integer)"));
    EXPECT_EQ(0, RunText(session, "insert into T values (1)"));
    EXPECT_EQ(0, TVCIBeginTrans(session));
    EXPECT_EQ(0, RunText(session, "insert into T values (2)"));
    server.Restart(options);
    EXPECT_EQ(-24, RunText(session, "insert into T values (3)"));
    EXPECT_EQ("1", Ask(session, "select count(*) from T"));
    EXPECT_EQ(0, RunText(session, "insert into T values (4)"));
    EXPECT_EQ("2", Ask(client.Connected(), "select count(*) from T"));
}

TEST(Reconnect, WithAPasswordThatIsNoLongerGoodIsRefusedUntilItIsAgain) {
    TavudProcess server("127.0.0.1", 0);
    LiveClient client(server.port());
    TVCISession *session = client.Connected();
    server.Restart({"--user", "SYSDBA:another"});
    for (int attempt = 0; attempt < 2; attempt++) {
        EXPECT_EQ("(-4)", Ask(session, "select 7"));
        EXPECT_EQ("E18004: [E18004]user name or password is wrong", ErrorOf(session));
    }
    EXPECT_EQ(2, server.ConnectionCount());
    server.Restart();
    EXPECT_EQ("(-24)", Ask(session, "select 7"));
    EXPECT_EQ(CAME_BACK, ErrorOf(session));
    EXPECT_EQ("7", Ask(session, "select 7"));
}

TEST(Reconnect, SwitchedOffLeavesTheSessionWithoutAConnection) {
    TavudProcess server("127.0.0.1", 0);
    LiveClient client(server.port());
    TVCISession *session = client.NewSession();
    uint32_t off = 0;
    EXPECT_EQ(0, TVCIAttrSet(session, 43, &off, -1));
    EXPECT_EQ(0, Connect(session));
    server.Restart();
    for (int attempt = 0; attempt < 2; attempt++) {
        EXPECT_EQ("(-4)", Ask(session, "select 7"));
        EXPECT_EQ(CANNOT_CONNECT, ErrorOf(session));
    }
    EXPECT_EQ(0, server.ConnectionCount());
    EXPECT_EQ(0, TVCIDisconnect(session));
    EXPECT_EQ(0, Connect(session));
    EXPECT_EQ("7", Ask(session, "select 7"));
}
