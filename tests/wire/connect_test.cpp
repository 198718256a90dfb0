// Sessions that own their connections: logging on, logging on once more, disconnecting.
#include <gtest/gtest.h>

#include "diag/error.h"
#include "platform/memory.h"
#include "platform/socket.h"
#include "support/scripted_peer.h"
#include "tavu/tvci.h"
#include "wire/connection.h"
#include "wire/pool.h"
#include "wire/session_login.h"
#include "wire/wire_rig.h"

// A session and a peer to log on to.
struct OwnedRig {
    OwnedRig() : rig(peer.port()), session(&rig.session), server(&rig.server) {}

    ~OwnedRig() {
        EXPECT_TRUE(peer.Finish()) << peer.Failure();
    }

    void ExpectLogin(const std::string &user, const std::string &password, const Bytes &answer) {
        peer.Accept();
        peer.Expect(LoginText(user, password));
        peer.Send(answer);
    }

    ScriptedPeer peer;
    SessionRig rig;
    TVCISession *session;
    TVCIServer *server;
};

TEST(TVCIConnect, RefusesWhatIsNoSession) {
    SessionRig rig(1);
    EXPECT_EQ(-2, TVCIConnect(nullptr, "A", "B"));
    rig.session.type = TVCI_HTYPE_STMT;
    EXPECT_EQ(-2, TVCIConnect(&rig.session, "A", "B"));
    rig.session.type = TVCI_HTYPE_SESSION;
}

TEST(TVCIConnect, RefusesANullUserOrPassword) {
    SessionRig rig(1);
    EXPECT_EQ(-1, TVCIConnect(&rig.session, nullptr, "B"));
    EXPECT_EQ(-1, TVCIConnect(&rig.session, "A", nullptr));
    EXPECT_EQ("", ErrorText(&rig.session.error));
}

TEST(TVCIConnect, OnAConnectedSessionFailsAndSetsNoError) {
    OwnedRig rig;
    rig.ExpectLogin("A", "B", Hex("'K'"));
    rig.peer.Start();
    ASSERT_EQ(0, TVCIConnect(rig.session, "A", "B"));
    Connection *conn = rig.session->conn;
    EXPECT_EQ(-1, TVCIConnect(rig.session, "A", "B"));
    EXPECT_EQ("", ErrorText(&rig.session->error));
    EXPECT_EQ(conn, rig.session->conn);
}

TEST(TVCIConnect, GivesTheSessionALoggedInConnectionOfItsOwn) {
    OwnedRig rig;
    rig.ExpectLogin("SCOTT", "TIGER", Hex("'K'"));
    rig.peer.ExpectEnd();
    rig.peer.Start();
    rig.session->attr.timeout = 3;
    rig.session->attr.reconnect = 0;
    ErrInfoRaiseText(rig.session, "E00001", "before");
    ASSERT_EQ(0, TVCIConnect(rig.session, "SCOTT", "TIGER"));
    const Connection *conn = rig.session->conn;
    ASSERT_NE(nullptr, conn);
    EXPECT_EQ(rig.session, conn->owner);
    EXPECT_EQ(0, conn->status);
    EXPECT_EQ(NetAddressFromText("127.0.0.1"), conn->ip);
    EXPECT_EQ(rig.peer.port(), conn->port);
    EXPECT_EQ(3, conn->timeout);
    EXPECT_EQ(0, conn->auto_reconnect);
    EXPECT_STREQ("SYSTEM", conn->database);
    EXPECT_EQ(0, rig.session->from_pool);
    EXPECT_STREQ("SCOTT", rig.session->attr.user);
    EXPECT_STREQ("TIGER", rig.session->attr.password);
    EXPECT_STREQ("201", rig.session->attr.version);
    EXPECT_EQ("", ErrorText(&rig.session->error));
    EXPECT_EQ(0, TVCIDisconnect(rig.session));
    EXPECT_EQ(nullptr, rig.session->conn);
}

TEST(TVCIConnect, CutsAUserAndAPasswordTo63Bytes) {
    OwnedRig rig;
    rig.ExpectLogin(std::string(63, 'u'), std::string(63, 'p'), Hex("'K'"));
    rig.peer.Start();
    EXPECT_EQ(
        0, TVCIConnect(rig.session, std::string(64, 'u').c_str(), std::string(200, 'p').c_str()));
    EXPECT_EQ(std::string(63, 'u'), rig.session->attr.user);
    EXPECT_EQ(std::string(63, 'p'), rig.session->attr.password);
}

TEST(TVCIConnect, AfterADisconnectSendsTheVersion201) {
    OwnedRig rig;
    rig.ExpectLogin("A", "B", Hex("'K'"));
    rig.peer.ExpectEnd();
    rig.peer.Accept();
    rig.peer.Expect(LoginText("A", "B", "201"));
    rig.peer.Send(Hex("'K'"));
    rig.peer.Start();
    EXPECT_EQ(0, TVCIConnect(rig.session, "A", "B"));
    EXPECT_EQ(0, TVCIDisconnect(rig.session));
    EXPECT_EQ(0, TVCIConnect(rig.session, "A", "B"));
}

TEST(TVCIConnect, FailsWhenNobodyListens) {
    const int64_t blocks = MemLiveBlocks();
    {
        SessionRig rig(PortOfNobody());
        EXPECT_EQ(-1, TVCIConnect(&rig.session, "A", "B"));
        EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.session.error));
        EXPECT_EQ(nullptr, rig.session.conn);
        // The user is taken over only once the socket is up.
        EXPECT_STREQ("SYSDBA", rig.session.attr.user);
    }
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(TVCIConnect, ThatIsRefusedShowsTheServersReason) {
    const int64_t blocks = MemLiveBlocks();
    {
        OwnedRig rig;
        rig.ExpectLogin("A", "B", Hex("'E' 0000000C '[E12345]nope'"));
        rig.peer.ExpectEnd();
        rig.peer.Start();
        EXPECT_EQ(-1, TVCIConnect(rig.session, "A", "B"));
        EXPECT_EQ("E12345: [E12345]nope", ErrorText(&rig.session->error));
        EXPECT_EQ(nullptr, rig.session->conn);
        EXPECT_STREQ("A", rig.session->attr.user);
    }
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(TVCIConnect, WhoseLoginLeftNoReasonCannotConnect) {
    OwnedRig rig;
    rig.peer.Accept();
    rig.peer.Expect(LoginText("A", "B"));
    rig.peer.Close();
    rig.peer.Start();
    // The first block is the connection, the second the record of the failed login.
    MemFailAt(2);
    EXPECT_EQ(-1, TVCIConnect(rig.session, "A", "B"));
    EXPECT_TRUE(MemFailed());
    MemFailAt(0);
    EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.session->error));
}

TEST(TVCIConnect, FailsWhenTheConnectionCannotBeHeld) {
    SessionRig rig(1);
    MemFailAt(1);
    EXPECT_EQ(-1, TVCIConnect(&rig.session, "A", "B"));
    MemFailAt(0);
    EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.session.error));
    EXPECT_EQ(nullptr, rig.session.conn);
}

TEST(TVCIConnect, MovesTheServersListOn) {
    OwnedRig rig;
    rig.rig.AddAddress("127.0.0.1");
    rig.rig.AddAddress("127.0.0.2");
    rig.ExpectLogin("A", "B", Hex("'K'"));
    rig.peer.Start();
    EXPECT_EQ(0, TVCIConnect(rig.session, "A", "B"));
    EXPECT_EQ(NetAddressFromText("127.0.0.2"), rig.server->ip);
    EXPECT_EQ(1, rig.server->ip_position);
}

TEST(TVCIConnect, WalksTheServersList) {
    OwnedRig rig;
    rig.rig.AddAddress("127.0.0.2");
    rig.rig.AddAddress("127.0.0.1");
    rig.server->ip = NetAddressFromText("127.0.0.2");
    rig.ExpectLogin("A", "B", Hex("'K'"));
    rig.peer.Start();
    EXPECT_EQ(0, TVCIConnect(rig.session, "A", "B"));
    EXPECT_EQ("127.0.0.1@0 count 1", rig.rig.ListText());
    EXPECT_EQ("", ErrorText(&rig.session->error));
}

TEST(TVCIConnect, FailsWhenTheServersListRunsOut) {
    SessionRig rig(PortOfNobody());
    rig.AddAddress("127.0.0.1");
    rig.AddAddress("127.0.0.2");
    EXPECT_EQ(-1, TVCIConnect(&rig.session, "A", "B"));
    EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.session.error));
}

// The key exchange of an enciphered login, which ends within the second of its two values.
static void ScriptCutKeyExchange(ScriptedPeer *peer) {
    peer->Accept();
    peer->Expect(Ascii("~ssl~"));
    peer->Send(Repeat(Hex("01"), 63));
    peer->Close();
}

TEST(TVCIConnect, WhoseKeyExchangeIsCutShortCannotConnect) {
    const int64_t blocks = MemLiveBlocks();
    {
        OwnedRig rig;
        rig.session->attr.use_ssl = 1;
        ScriptCutKeyExchange(&rig.peer);
        rig.peer.Start();
        EXPECT_EQ(-1, TVCIConnect(rig.session, "A", "B"));
        EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.session->error));
        EXPECT_EQ(nullptr, rig.session->conn);
    }
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(TVCIOpenConnection, GivesAConnectionThatTheCallerLinks) {
    OwnedRig rig;
    rig.rig.AddAddress("127.0.0.1");
    rig.rig.AddAddress("127.0.0.2");
    rig.ExpectLogin("A", "B", Hex("'K'"));
    rig.peer.Start();
    Connection *conn = TVCIOpenConnection(rig.session, "A", "B");
    ASSERT_NE(nullptr, conn);
    EXPECT_EQ(nullptr, conn->owner);
    EXPECT_EQ(nullptr, rig.session->conn);
    // The server's list stays where it is.
    EXPECT_EQ(NetAddressFromText("127.0.0.1"), rig.server->ip);
    EXPECT_EQ(0, rig.server->ip_position);
    ConnFree(conn);
    MemFree(conn);
}

TEST(TVCIOpenConnection, FailsWhenNobodyListens) {
    SessionRig rig(PortOfNobody());
    EXPECT_EQ(nullptr, TVCIOpenConnection(&rig.session, "A", "B"));
    EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.session.error));
    EXPECT_STREQ("SYSDBA", rig.session.attr.user);
}

TEST(TVCIOpenConnection, ThatIsRefusedShowsTheServersReason) {
    OwnedRig rig;
    rig.ExpectLogin("A", "B", Hex("'E' 0000000B '[E1234]nope'"));
    rig.peer.Start();
    EXPECT_EQ(nullptr, TVCIOpenConnection(rig.session, "A", "B"));
    EXPECT_EQ("E1234: [E1234]nope", ErrorText(&rig.session->error));
}

TEST(TVCIOpenConnection, WhoseLoginLeftNoReasonSaysSoInItsOwnWords) {
    OwnedRig rig;
    rig.peer.Accept();
    rig.peer.Expect(LoginText("A", "B"));
    rig.peer.Close();
    rig.peer.Start();
    MemFailAt(2);
    EXPECT_EQ(nullptr, TVCIOpenConnection(rig.session, "A", "B"));
    MemFailAt(0);
    EXPECT_EQ("E19884: connect failed Maybe user password errors 3\n",
              ErrorText(&rig.session->error));
}

TEST(TVCIOpenConnection, WhoseKeyExchangeIsCutShortSaysSoInItsOwnWords) {
    OwnedRig rig;
    rig.session->attr.use_ssl = 1;
    ScriptCutKeyExchange(&rig.peer);
    rig.peer.Start();
    EXPECT_EQ(nullptr, TVCIOpenConnection(rig.session, "A", "B"));
    EXPECT_EQ("E19884: connect failed Maybe user password errors 3\n",
              ErrorText(&rig.session->error));
}

TEST(TVCISessionLoginAgain, UsesTheUserOfTheFirstLogin) {
    OwnedRig rig;
    rig.peer.Accept();
    rig.peer.Expect(LoginText("SCOTT", "TIGER"));
    rig.peer.Send(Hex("'N' 00000000 'K'"));
    rig.peer.Accept();
    rig.peer.Expect(LoginText("SCOTT", "TIGER"));
    rig.peer.Send(Hex("'K'"));
    rig.peer.Start();
    ASSERT_EQ(0, TVCIConnect(rig.session, "SCOTT", "TIGER"));
    Connection *first = rig.session->conn;
    Connection *second = TVCISessionLoginAgain(rig.session);
    ASSERT_NE(nullptr, second);
    EXPECT_NE(first, second);
    EXPECT_EQ(first, rig.session->conn);
    ConnFree(second);
    MemFree(second);
}

TEST(TVCIDisconnect, RefusesWhatIsNoSession) {
    SessionRig rig(1);
    EXPECT_EQ(-2, TVCIDisconnect(nullptr));
    rig.session.type = 0;
    EXPECT_EQ(-2, TVCIDisconnect(&rig.session));
    rig.session.type = TVCI_HTYPE_SESSION;
}

TEST(TVCIDisconnect, SendsNothingAndLeavesTheSecondConnection) {
    OwnedRig rig;
    rig.ExpectLogin("A", "B", Hex("'K'"));
    rig.peer.ExpectEnd();
    rig.peer.Start();
    ConnRig second;
    ASSERT_EQ(0, TVCIConnect(rig.session, "A", "B"));
    rig.session->lob_conn = second.conn;
    EXPECT_EQ(0, TVCIDisconnect(rig.session));
    EXPECT_EQ(nullptr, rig.session->conn);
    EXPECT_EQ(second.conn, rig.session->lob_conn);
}

TEST(TVCIDisconnect, OfASessionThatIsNotConnectedSucceeds) {
    SessionRig rig(1);
    EXPECT_EQ(0, TVCIDisconnect(&rig.session));
}
