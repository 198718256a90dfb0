// Enciphered sessions against servers with cipher code of their own: logging on, coming back, and a
// result of a million rows.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <thread>

#include "live/live_rig.h"
#include "platform/wait.h"
#include "records/values.h"
#include "support/bytes.h"
#include "wire/cipher.h"

static const std::vector<std::string> CIPHER_OPTION = {"--ssl"};

// The first bytes of what a connection sends next.
static Bytes Keystream(const TVCISession *session) {
    const uint8_t *first = session->conn->send_cipher->keystream;
    return Bytes(first, first + CIPHER_BLOCK_BYTES);
}

TEST(Enciphered, LogsOnAndTalks) {
    TavudProcess server("127.0.0.1", 0, CIPHER_OPTION);
    LiveClient client(server.port());
    client.UseCipher();
    TVCISession *session = client.Connected();
    ASSERT_NE(nullptr, session->conn->send_cipher);
    // The verdict is six bytes, and nothing has been sent behind the login.
    EXPECT_EQ(6, session->conn->recv_cipher->pos);
    EXPECT_EQ(0, session->conn->send_cipher->pos);
    EXPECT_EQ(0, RunText(session, "create table T (A integer, B varchar(2000))"));
    EXPECT_EQ(0, RunText(session, "insert into T values (1, 'one')"));
    // A request that goes out past the send buffer.
    const std::string words(1900, 'w');
    EXPECT_EQ(0, RunText(session,
                         "insert into T values (2, '" + words + "') -- " + std::string(1000, ' ')));
    EXPECT_EQ("one", Ask(session, "select B from T where A = 1"));
    EXPECT_EQ("1900", Ask(session, "select length(B) from T where A = 2"));
    EXPECT_EQ("w", Ask(session, "select distinct substr(B, 1900) from T where A = 2"));
    EXPECT_EQ("(-1)", Ask(session, "select C from T"));
    EXPECT_EQ(0, TVCICommit(session));
    EXPECT_EQ("2", Ask(session, "select count(*) from T"));
}

TEST(Enciphered, TakesItsKeyFromNoOtherSession) {
    TavudProcess server("127.0.0.1", 0, CIPHER_OPTION);
    LiveClient client(server.port());
    client.UseCipher();
    TVCISession *first = client.Connected();
    TVCISession *second = client.Connected();
    EXPECT_NE(Keystream(first), Keystream(second));
    EXPECT_EQ("7", Ask(first, "select 7"));
    EXPECT_EQ("8", Ask(second, "select 8"));
}

TEST(Enciphered, IsRefusedForTheWrongPassword) {
    TavudProcess server("127.0.0.1", 0, CIPHER_OPTION);
    LiveClient client(server.port());
    client.UseCipher();
    TVCISession *session = client.NewSession();
    EXPECT_EQ(-1, Connect(session, "sysdba"));
    EXPECT_EQ("E18004: [E18004]user name or password is wrong", ErrorOf(session));
    EXPECT_EQ(nullptr, session->conn);
    EXPECT_EQ(0, Connect(session));
    EXPECT_EQ("7", Ask(session, "select 7"));
}

// The server's reason is shorter than the key that the client waits for.
TEST(Enciphered, CannotConnectToAServerThatDoesNotOfferIt) {
    TavudProcess server("127.0.0.1", 0);
    LiveClient client(server.port());
    client.UseCipher();
    TVCISession *session = client.NewSession();
    EXPECT_EQ(-1, Connect(session));
    EXPECT_EQ(CANNOT_CONNECT, ErrorOf(session));
}

TEST(Enciphered, StandsBesideAPlainSession) {
    TavudProcess server("127.0.0.1", 0, CIPHER_OPTION);
    LiveClient plain(server.port());
    LiveClient enciphered(server.port());
    enciphered.UseCipher();
    TVCISession *first = plain.Connected();
    TVCISession *second = enciphered.Connected();
    EXPECT_EQ(nullptr, first->conn->send_cipher);
    EXPECT_EQ(0, RunText(first, "create table T (A varchar(20))"));
    EXPECT_EQ(0, RunText(first, "insert into T values ('in the clear')"));
    EXPECT_EQ("in the clear", Ask(second, "select A from T"));
    EXPECT_EQ(0, RunText(second, "update T set A = 'enciphered'"));
    EXPECT_EQ("enciphered", Ask(first, "select A from T"));
}

TEST(Enciphered, ReconnectsWithNewKeystreams) {
    TavudProcess server("127.0.0.1", 0, CIPHER_OPTION);
    LiveClient client(server.port());
    client.UseCipher();
    TVCISession *session = client.Connected();
    EXPECT_EQ("7", Ask(session, "select 7"));
    const Bytes before = Keystream(session);
    EXPECT_NE(0, session->conn->send_cipher->pos);
    server.Restart(CIPHER_OPTION);
    EXPECT_EQ("(-24)", Ask(session, "select 7"));
    EXPECT_EQ(CAME_BACK, ErrorOf(session));
    EXPECT_EQ(6, session->conn->recv_cipher->pos);
    EXPECT_EQ(0, session->conn->send_cipher->pos);
    EXPECT_NE(before, Keystream(session));
    EXPECT_EQ("7", Ask(session, "select 7"));
}

TEST(Enciphered, ReconnectThatIsRefusedIsTriedAgain) {
    TavudProcess server("127.0.0.1", 0, CIPHER_OPTION);
    LiveClient client(server.port());
    client.UseCipher();
    TVCISession *session = client.Connected();
    server.Restart({"--ssl", "--user", "SYSDBA:another"});
    for (int attempt = 0; attempt < 2; attempt++) {
        EXPECT_EQ("(-4)", Ask(session, "select 7"));
        EXPECT_EQ("E18004: [E18004]user name or password is wrong", ErrorOf(session));
        EXPECT_EQ(nullptr, session->conn->send_cipher);
    }
    server.Restart(CIPHER_OPTION);
    EXPECT_EQ("(-24)", Ask(session, "select 7"));
    EXPECT_EQ("7", Ask(session, "select 7"));
}

TEST(Enciphered, FailsOverToTheNextServer) {
    Trio trio(CIPHER_OPTION);
    LiveClient client(trio.port());
    client.UseList(TRIO_LIST, 0);
    client.UseCipher();
    TVCISession *first = client.Connected();
    EXPECT_EQ("A", Who(first));
    trio.Kill('B');
    TVCISession *second = client.Connected();
    EXPECT_EQ("C", Who(second));
    const Bytes before = Keystream(first);
    trio.Kill('A');
    EXPECT_EQ("(-24)", Who(first));
    EXPECT_EQ(CAME_BACK, ErrorOf(first));
    EXPECT_EQ("C", Who(first));
    EXPECT_NE(before, Keystream(first));
    EXPECT_EQ("127.0.0.3@0 count 1", client.List());
    trio.Kill('C');
    EXPECT_EQ("(-4)", Who(second));
    EXPECT_EQ(CANNOT_CONNECT, ErrorOf(second));
}

// Stores a value and fetches it by its descriptor, over the session's second connection. Each eight
// bytes of the value are their own number.
TEST(Enciphered, FetchesALargeValueByItsDescriptor) {
    constexpr size_t BYTES = 300000;
    std::string value;
    for (uint64_t i = 0; i < BYTES / sizeof i; i++) {
        value.append((const char *)&i, sizeof i);
    }
    TavudProcess server("127.0.0.1", 0, CIPHER_OPTION);
    LiveClient client(server.port());
    client.UseCipher();
    TVCISession *session = client.NewSession();
    const uint32_t on = 1;
    EXPECT_EQ(0, TVCIAttrSet(session, 40, &on, -1));
    ASSERT_EQ(0, Connect(session)) << ErrorOf(session);
    EXPECT_EQ(0, RunText(session, "create table T (L blob)"));
    TVCIStmt *stmt = nullptr;
    EXPECT_EQ(0, TVCIHandleAlloc(session, (void **)&stmt, TVCI_HTYPE_STMT));
    LobRecord *lob = TVCILobAlloc();
    EXPECT_EQ(0, TVCILobWrite(lob, (int32_t)value.size(), value.data()));
    EXPECT_EQ(0, TVCIPrepare(stmt, "insert into T values (?)", -1));
    EXPECT_EQ(0, TVCIBindParam(stmt, 1, 1, lob, 0, TVCI_C_LOB, nullptr, nullptr, 16));
    EXPECT_EQ(0, TVCIExecute(stmt));
    EXPECT_EQ(0, TVCILobReset(lob));
    EXPECT_EQ(0, TVCIExecDirect(stmt, "select L from T", -1));
    EXPECT_EQ(0, TVCIDefineColumn(stmt, 1, lob, 0, TVCI_C_LOB, nullptr, nullptr));
    EXPECT_EQ(0, TVCIFetch(stmt));
    EXPECT_EQ(nullptr, lob->data);
    int32_t length = 0;
    void *data = nullptr;
    EXPECT_EQ(0, TVCILobGet(lob, &length, &data));
    ASSERT_EQ((int32_t)BYTES, length);
    ASSERT_NE(nullptr, data);
    EXPECT_TRUE(memcmp(value.data(), data, BYTES) == 0);
    const Connection *second = session->lob_conn;
    ASSERT_NE(nullptr, second);
    ASSERT_NE(nullptr, second->recv_cipher);
    EXPECT_NE(0, memcmp(second->recv_cipher->keystream, session->conn->recv_cipher->keystream,
                        CIPHER_BLOCK_BYTES));
    EXPECT_EQ(0, TVCILobFree(lob));
    EXPECT_EQ("300000", Ask(session, "select length(L) from T"));
}

// Each value of each row can be told from its number.
TEST(Enciphered, FetchesAMillionRowsWithoutAWrongValue) {
    constexpr int32_t ROWS = 1000000;
    TavudProcess server("127.0.0.1", 0, CIPHER_OPTION);
    LiveClient client(server.port());
    client.UseCipher();
    TVCISession *session = client.Connected();
    TVCIStmt *stmt = nullptr;
    EXPECT_EQ(0, TVCIHandleAlloc(session, (void **)&stmt, TVCI_HTYPE_STMT));
    // While the row reader is not far enough ahead the fetch would sleep a second.
    WaitSkipSleeps(true);
    WaitSetHook([](WaitPoint) { std::this_thread::yield(); });
    ASSERT_EQ(0, TVCIExecDirect(stmt,
                                "with recursive n(i) as (select 1 union all select i + 1 from n "
                                "where i < 1000000) select i * 1000003, printf('row %d', i), "
                                "case when i % 7 = 0 then null else i * 0.25 end from n",
                                -1));
    int64_t product = 0;
    char text[32] = "";
    double quarter = 0;
    int32_t quarter_state = 0;
    int32_t wrong_rows = 0;
    for (int32_t i = 1; i <= ROWS && wrong_rows < 10; i++) {
        ASSERT_EQ(0, TVCIFetch(stmt)) << i;
        char expected[32];
        snprintf(expected, sizeof expected, "row %d", i);
        EXPECT_EQ(0, TVCIGetData(stmt, 1, TVCI_C_BIGINT, &product, sizeof product, nullptr));
        EXPECT_EQ(0, TVCIGetData(stmt, 2, TVCI_C_CHAR, text, sizeof text, nullptr));
        quarter_state = TVCIGetData(stmt, 3, TVCI_C_DOUBLE, &quarter, sizeof quarter, nullptr);
        const bool good =
            product == i * INT64_C(1000003) && strcmp(text, expected) == 0 &&
            (i % 7 == 0 ? quarter_state == -1 : quarter_state == 0 && quarter == i * 0.25);
        EXPECT_TRUE(good) << i << ": " << product << ", " << text << ", " << quarter;
        wrong_rows += good ? 0 : 1;
    }
    EXPECT_EQ(100, TVCIFetch(stmt));
    WaitSetHook(nullptr);
    WaitSkipSleeps(false);
    EXPECT_EQ("7", Ask(session, "select 7"));
}
