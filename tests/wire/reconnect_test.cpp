// A new socket and a new login under a connection that was lost.
#include "wire/reconnect.h"

#include <gtest/gtest.h>

#include <cstring>

#include "diag/error.h"
#include "platform/memory.h"
#include "platform/socket.h"
#include "platform/text.h"
#include "support/scripted_peer.h"
#include "tavu/tvci.h"
#include "wire/connection.h"
#include "wire/wire_rig.h"

static const char *const FIRST_TEXT =
    "login database = SYSTEM user='SCOTT' password='TIGER' encryptor = '' char_set = 'GBK' "
    "time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' version = '301'";
// Behind a 'K' the version is another one.
static const char *const SECOND_TEXT =
    "login database = SYSTEM user='SCOTT' password='TIGER' encryptor = '' char_set = 'GBK' "
    "time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' version = '201'";

static const char *const IDLE_ERROR =
    "E19886: connection not used long till timeout ,server cut the connection, now reconnect ok, "
    "you can resend the command again! \n";
static const char *const TIMEOUT_ERROR =
    "E19887:  sql execute timeout \t\t\t\t\t\t\t\t\t\t\t\t   if return value is -25 \n or "
    "connection not used long till timeout ,\t\t\t\t\t\t\t\t\t\t\t\t   server cut the connection, "
    "now reconnect ok, you can resend the command again! \n";

// A session that is logged in and holds its connection's permit, as in the middle of a request.
struct LostRig {
    LostRig() : sessions(peer.port()), session(&sessions.session) {
        peer.Accept();
        peer.Expect(Ascii(FIRST_TEXT));
        peer.Send(Hex("'K'"));
    }

    ~LostRig() {
        if (session->conn != nullptr) {
            SemaphoreRelease(&session->conn->use_semaphore);
        }
        EXPECT_TRUE(peer.Finish()) << peer.Failure();
    }

    // Scripts the second login.
    void ExpectLogin() {
        peer.Accept();
        peer.Expect(Ascii(SECOND_TEXT));
    }

    void Connect() {
        peer.Start();
        ASSERT_EQ(0, TVCIConnect(session, "SCOTT", "TIGER"));
        ASSERT_TRUE(SemaphoreTryTake(&session->conn->use_semaphore));
    }

    void ExpectLost() {
        uint8_t letter;
        EXPECT_FALSE(ConnReadChar(session->conn, &letter));
    }

    ScriptedPeer peer;
    SessionRig sessions;
    TVCISession *session;
};

TEST(Reconnect, PutsANewLoginUnderTheSameConnection) {
    LostRig rig;
    rig.peer.Close();
    rig.ExpectLogin();
    rig.peer.Send(Hex("'K'"));
    rig.peer.Expect(Hex("'again'"));
    rig.peer.Send(Hex("'Z'"));
    rig.Connect();
    rig.ExpectLost();
    Connection *conn = rig.session->conn;
    conn->next_stmt_id = 12;
    EXPECT_EQ(conn, TVCIReconnect(rig.session));
    EXPECT_EQ(conn, rig.session->conn);
    EXPECT_EQ(12u, conn->next_stmt_id);
    EXPECT_EQ(rig.session, conn->owner);
    EXPECT_STREQ("SYSTEM", conn->database);
    // The permit is still the caller's.
    EXPECT_FALSE(SemaphoreTryTake(&conn->use_semaphore));
    ConnWrite(conn, "again", 5);
    EXPECT_EQ(0, ConnFlush(conn));
    uint8_t letter = 0;
    EXPECT_TRUE(ConnReadChar(conn, &letter));
    EXPECT_EQ('Z', letter);
}

// A receive that timed out leaves a socket that still works: it is closed before the new one opens.
TEST(Reconnect, ClosesTheOldSocketFirst) {
    LostRig rig;
    rig.peer.ExpectEnd();
    rig.ExpectLogin();
    rig.peer.Send(Hex("'K'"));
    rig.Connect();
    EXPECT_NE(nullptr, TVCIReconnect(rig.session));
}

// What was set behind the logon counts for the next connection, not for this one.
TEST(Reconnect, KeepsWhatTheConnectionWasMadeWith) {
    LostRig rig;
    rig.peer.Close();
    rig.ExpectLogin();
    rig.peer.Send(Hex("'K'"));
    rig.Connect();
    rig.session->attr.timeout = 1;
    rig.session->attr.reconnect = 0;
    TextCopy(rig.session->server->database, sizeof(rig.session->server->database), "OTHER");
    rig.session->server->port = PortOfNobody();
    rig.session->server->ip = NetAddressFromText("127.0.0.2");
    Connection *conn = rig.session->conn;
    EXPECT_EQ(conn, TVCIReconnect(rig.session));
    EXPECT_EQ(IDLE_ERROR, ErrorText(&rig.session->error));
    EXPECT_STREQ("SYSTEM", conn->database);
    EXPECT_EQ(rig.peer.port(), conn->port);
    EXPECT_EQ(NetAddressFromText("127.0.0.1"), conn->ip);
    EXPECT_EQ(0, conn->timeout);
    EXPECT_EQ(1, conn->auto_reconnect);
}

TEST(Reconnect, LogsOnWithTheSessionsAttributesAsTheyAreNow) {
    LostRig rig;
    rig.peer.Close();
    rig.peer.Accept();
    rig.peer.Expect(Ascii(
        "login database = SYSTEM user='ADAMS' password='WOOD' encryptor = '' char_set = 'UTF8' "
        "time_zone = 'GTM+08:00' iso_level = '2' lock_timeout = 7 auto_commit = 'off' "
        "version = '201'"));
    rig.peer.Send(Hex("'K'"));
    rig.Connect();
    ConnAttr *attr = &rig.session->attr;
    TextCopy(attr->user, sizeof(attr->user), "ADAMS");
    TextCopy(attr->password, sizeof(attr->password), "WOOD");
    TextCopy(attr->char_set, sizeof(attr->char_set), "UTF8");
    attr->lock_timeout = 7;
    attr->auto_commit = 0;
    EXPECT_NE(nullptr, TVCIReconnect(rig.session));
}

TEST(Reconnect, AfterAKVerdictSendsTheVersion201) {
    LostRig rig;
    rig.peer.Reset();
    rig.peer.Accept();
    rig.peer.Expect(Ascii(
        "login database = SYSTEM user='SCOTT' password='TIGER' encryptor = '' char_set = 'GBK' "
        "time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' version = '201'"));
    rig.peer.Send(Hex("'N' 01 02 03 04 'K'"));
    rig.Connect();
    rig.ExpectLost();
    EXPECT_NE(nullptr, TVCIReconnect(rig.session));
    EXPECT_STREQ("301", rig.session->attr.version);
}

TEST(Reconnect, WithoutATimeoutPutsItDownToTheServer) {
    LostRig rig;
    rig.peer.Close();
    rig.ExpectLogin();
    rig.peer.Send(Hex("'K'"));
    rig.Connect();
    EXPECT_NE(nullptr, TVCIReconnect(rig.session));
    EXPECT_EQ(IDLE_ERROR, ErrorText(&rig.session->error));
}

TEST(Reconnect, WithATimeoutOf1PutsItDownToTheTimeout) {
    LostRig rig;
    rig.peer.Close();
    rig.ExpectLogin();
    rig.peer.Send(Hex("'K'"));
    rig.session->attr.timeout = 1;
    rig.Connect();
    EXPECT_EQ(1, rig.session->conn->timeout);
    EXPECT_NE(nullptr, TVCIReconnect(rig.session));
    EXPECT_EQ(TIMEOUT_ERROR, ErrorText(&rig.session->error));
}

TEST(Reconnect, OfASessionThatDoesNotReconnectFailsAtTheFirstLoss) {
    LostRig rig;
    rig.peer.Close();
    rig.session->attr.reconnect = 0;
    rig.Connect();
    const SocketId sock = rig.session->conn->sock;
    EXPECT_EQ(nullptr, TVCIReconnect(rig.session));
    EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.session->error));
    EXPECT_EQ(sock, rig.session->conn->sock);
}

TEST(Reconnect, WithoutAListFailsWhenTheServerIsGone) {
    LostRig rig;
    rig.peer.Close();
    rig.Connect();
    rig.session->conn->port = PortOfNobody();
    Connection *conn = rig.session->conn;
    EXPECT_EQ(nullptr, TVCIReconnect(rig.session));
    EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.session->error));
    EXPECT_EQ(conn, rig.session->conn);
    EXPECT_EQ(0u, conn->sock);
}

TEST(Reconnect, WithAListComesBackOnTheNextAddress) {
    LostRig rig;
    rig.peer.Close();
    rig.ExpectLogin();
    rig.peer.Send(Hex("'K'"));
    rig.Connect();
    rig.sessions.AddAddress("127.0.0.2");
    rig.sessions.AddAddress("127.0.0.1");
    rig.session->conn->ip = NetAddressFromText("127.0.0.2");
    EXPECT_EQ(rig.session->conn, TVCIReconnect(rig.session));
    EXPECT_EQ(IDLE_ERROR, ErrorText(&rig.session->error));
    EXPECT_EQ("127.0.0.1@0 count 1", rig.sessions.ListText());
    EXPECT_EQ(NetAddressFromText("127.0.0.1"), rig.session->conn->ip);
}

TEST(Reconnect, WithAListThatRunsOutCannotConnect) {
    LostRig rig;
    rig.peer.Close();
    rig.Connect();
    rig.sessions.AddAddress("127.0.0.2");
    rig.sessions.AddAddress("127.0.0.1");
    rig.session->conn->ip = NetAddressFromText("127.0.0.2");
    rig.session->conn->port = PortOfNobody();
    EXPECT_EQ(nullptr, TVCIReconnect(rig.session));
    EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.session->error));
    EXPECT_EQ("127.0.0.1@0 count 1", rig.sessions.ListText());
}

TEST(Reconnect, ThatIsRefusedShowsTheServersReason) {
    LostRig rig;
    rig.peer.Close();
    rig.ExpectLogin();
    rig.peer.Send(Hex("'E' 00000010 '[E1234]no longer'"));
    rig.peer.ExpectEnd();
    rig.Connect();
    Connection *conn = rig.session->conn;
    EXPECT_EQ(nullptr, TVCIReconnect(rig.session));
    EXPECT_EQ("E1234: [E1234]no longer", ErrorText(&rig.session->error));
    EXPECT_EQ(conn, rig.session->conn);
    EXPECT_EQ(0u, conn->sock);
    EXPECT_EQ(0, conn->status);
}

TEST(Reconnect, FromAClosedSocketTriesAgain) {
    LostRig rig;
    rig.peer.Close();
    rig.ExpectLogin();
    rig.peer.Send(Hex("'E' 00000010 '[E1234]no longer'"));
    rig.ExpectLogin();
    rig.peer.Send(Hex("'K'"));
    rig.Connect();
    EXPECT_EQ(nullptr, TVCIReconnect(rig.session));
    EXPECT_NE(nullptr, TVCIReconnect(rig.session));
    EXPECT_EQ(IDLE_ERROR, ErrorText(&rig.session->error));
}

TEST(Reconnect, WhoseLoginLeftNoReasonCannotConnect) {
    LostRig rig;
    rig.peer.Close();
    rig.ExpectLogin();
    rig.peer.Close();
    rig.Connect();
    // The record of the failed login is the first thing that memory is asked for.
    MemFailAt(1);
    EXPECT_EQ(nullptr, TVCIReconnect(rig.session));
    EXPECT_TRUE(MemFailed());
    MemFailAt(0);
    EXPECT_FALSE(ErrInfoPresent(&rig.session->conn->last_error));
    EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.session->error));
}

TEST(Reconnect, WhoseLoginLeftAStaleReasonShowsIt) {
    LostRig rig;
    rig.peer.Close();
    rig.ExpectLogin();
    rig.peer.Close();
    rig.Connect();
    ErrInfoReplace(&rig.session->conn->last_error, "E1234", "[E1234]of long ago");
    MemFailAt(1);
    EXPECT_EQ(nullptr, TVCIReconnect(rig.session));
    MemFailAt(0);
    EXPECT_EQ("E1234: [E1234]of long ago", ErrorText(&rig.session->error));
}

// Of the session's second login, which is to be enciphered.
static void ScriptCutKeyExchange(LostRig *rig) {
    rig->peer.Close();
    rig->peer.Accept();
    rig->peer.Expect(Ascii("~ssl~"));
    rig->peer.Send(Repeat(Hex("01"), 32));
    rig->peer.Close();
}

// Unlike a refusal it leaves the socket open, and with it a connection that enciphers nothing.
TEST(Reconnect, WhoseKeyExchangeIsCutShortCannotConnectAndLeavesTheSocketOpen) {
    LostRig rig;
    ScriptCutKeyExchange(&rig);
    rig.Connect();
    rig.session->attr.use_ssl = 1;
    Connection *conn = rig.session->conn;
    EXPECT_EQ(nullptr, TVCIReconnect(rig.session));
    EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.session->error));
    EXPECT_FALSE(ErrInfoPresent(&conn->last_error));
    EXPECT_NE(0u, conn->sock);
    EXPECT_EQ(1, conn->use_ssl);
    EXPECT_EQ(nullptr, conn->recv_cipher);
    EXPECT_EQ(nullptr, conn->send_cipher);
    // What comes next finds the stream at its end.
    rig.ExpectLost();
}

TEST(Reconnect, WhoseKeyExchangeIsCutShortShowsAStaleReason) {
    LostRig rig;
    ScriptCutKeyExchange(&rig);
    rig.Connect();
    rig.session->attr.use_ssl = 1;
    ErrInfoReplace(&rig.session->conn->last_error, "E1234", "[E1234]of long ago");
    EXPECT_EQ(nullptr, TVCIReconnect(rig.session));
    EXPECT_EQ("E1234: [E1234]of long ago", ErrorText(&rig.session->error));
}

// Of the bytes that are left over only those that were to be sent are dropped by such a login.
TEST(Reconnect, InTheEncipheredFormDropsUnsentBytesOnly) {
    LostRig rig;
    rig.peer.Close();
    rig.peer.Accept();
    rig.peer.Expect(Ascii("~ssl~"));
    rig.peer.Send(Repeat(Hex("02"), 17));
    rig.peer.ExpectAny(64);
    rig.peer.Close();
    rig.Connect();
    rig.session->attr.use_ssl = 1;
    Connection *conn = rig.session->conn;
    ConnWrite(conn, "left", 4);
    // The first part of the two values, which the server's bytes make whole.
    memset(conn->recv_buf, 1, 47);
    conn->recv_fill = 47;
    EXPECT_EQ(nullptr, TVCIReconnect(rig.session));
    EXPECT_EQ(0, conn->send_fill);
    EXPECT_EQ(Repeat(Hex("01"), 32), Bytes(conn->rsa_exponent, conn->rsa_exponent + 32));
    EXPECT_EQ(Repeat(Hex("01"), 15) + Repeat(Hex("02"), 17),
              Bytes(conn->rsa_modulus, conn->rsa_modulus + 32));
    EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.session->error));
}

TEST(Reconnect, DropsTheErrorOfBeforeAndKeepsItReachable) {
    LostRig rig;
    rig.peer.Close();
    rig.ExpectLogin();
    rig.peer.Send(Hex("'K'"));
    rig.Connect();
    ErrInfoRaiseText(rig.session, "E00001", "before");
    const ErrInfo *before = rig.session->error;
    EXPECT_NE(nullptr, TVCIReconnect(rig.session));
    EXPECT_EQ(IDLE_ERROR, ErrorText(&rig.session->error));
    EXPECT_EQ(before, rig.session->retired);
}

TEST(Reconnect, TakesALeftOverKAsTheVerdict) {
    LostRig rig;
    rig.peer.Send(Hex("'ZK'"));
    rig.peer.Close();
    rig.ExpectLogin();
    rig.peer.Send(Hex("'E'"));
    rig.Connect();
    uint8_t letter = 0;
    // The second letter may come in a receive of its own.
    EXPECT_TRUE(ConnReadChar(rig.session->conn, &letter));
    EXPECT_TRUE(ConnReadChar(rig.session->conn, &letter));
    rig.session->conn->recv_buf[0] = letter;
    rig.session->conn->recv_fill = 1;
    EXPECT_NE(nullptr, TVCIReconnect(rig.session));
    // The real verdict answers the next request.
    EXPECT_TRUE(ConnReadChar(rig.session->conn, &letter));
    EXPECT_EQ('E', letter);
}

TEST(Reconnect, TakesAPushedBackKAsTheVerdict) {
    LostRig rig;
    rig.peer.Close();
    rig.ExpectLogin();
    rig.peer.Send(Hex("'E'"));
    rig.Connect();
    rig.session->conn->pushback = 'K';
    EXPECT_NE(nullptr, TVCIReconnect(rig.session));
    EXPECT_EQ(0, rig.session->conn->pushback);
    uint8_t letter = 0;
    EXPECT_TRUE(ConnReadChar(rig.session->conn, &letter));
    EXPECT_EQ('E', letter);
}

TEST(Reconnect, KeepsUnsentBytesForTheNewSocket) {
    LostRig rig;
    rig.peer.Close();
    rig.ExpectLogin();
    rig.peer.Send(Hex("'K'"));
    rig.peer.Expect(Hex("'left'"));
    rig.Connect();
    ConnWrite(rig.session->conn, "left", 4);
    EXPECT_NE(nullptr, TVCIReconnect(rig.session));
    EXPECT_EQ(Hex("'left'"), Unsent(rig.session->conn));
    EXPECT_EQ(0, ConnFlush(rig.session->conn));
}

TEST(Reconnect, OfASessionWithoutAConnectionCannotConnect) {
    SessionRig rig(1);
    EXPECT_EQ(nullptr, TVCIReconnect(&rig.session));
    EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.session.error));
}
