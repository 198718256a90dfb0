// The failover list: which address is next, and which are given up.
#include "wire/server_list.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/memory.h"
#include "platform/socket.h"
#include "support/scripted_peer.h"
#include "wire/connection.h"
#include "wire/wire_rig.h"

static uint32_t Address(const char *text) {
    return NetAddressFromText(text);
}

// The peer comes before the records that name its port.
struct Listener {
    ScriptedPeer peer;
};

// A server whose list names one living address, 127.0.0.1, where a peer listens; nobody listens at
// the others.
struct ListRig : Listener, SessionRig {
    ListRig() : SessionRig(peer.port()) {}
};

// The same with nobody at 127.0.0.1 either.
struct DeadListRig : SessionRig {
    DeadListRig() : SessionRig(PortOfNobody()) {}
};

// Makes the connection's address the one to try, chosen when the server stood at the position.
static void Point(SessionRig *rig, const ConnRig &conn, const char *ip, int32_t ip_position) {
    rig->server.ip_position = ip_position;
    conn.conn->ip = Address(ip);
    conn.conn->port = rig->server.port;
}

TEST(ServerListSelect, WithoutAListGivesTheServersAddress) {
    SessionRig rig(1);
    EXPECT_EQ(Address("127.0.0.1"), ServerListSelect(&rig.server));
    EXPECT_EQ(Address("127.0.0.1"), ServerListSelect(&rig.server));
    EXPECT_EQ(0, rig.server.ip_position);
}

TEST(ServerListSelect, TakesAnEmptyListAsNone) {
    SessionRig rig(1);
    rig.server.has_ip_list = 1;
    EXPECT_EQ(Address("127.0.0.1"), ServerListSelect(&rig.server));
    EXPECT_EQ(Address("127.0.0.1"), rig.server.ip);
}

TEST(ServerListSelect, IgnoresNodesWhileNoListIsSet) {
    SessionRig rig(1);
    rig.AddAddress("127.0.0.2");
    rig.server.has_ip_list = 0;
    EXPECT_EQ(Address("127.0.0.1"), ServerListSelect(&rig.server));
    EXPECT_EQ(Address("127.0.0.1"), rig.server.ip);
}

TEST(ServerListSelect, GoesRoundTheListFromTheAddressChosenBefore) {
    SessionRig rig(1);
    rig.AddAddress("10.0.0.1");
    rig.AddAddress("10.0.0.2");
    rig.AddAddress("10.0.0.3");
    rig.server.ip = Address("10.0.0.2");
    rig.server.ip_position = 1;
    EXPECT_EQ(Address("10.0.0.2"), ServerListSelect(&rig.server));
    EXPECT_EQ(2, rig.server.ip_position);
    EXPECT_EQ(Address("10.0.0.3"), ServerListSelect(&rig.server));
    EXPECT_EQ(0, rig.server.ip_position);
    EXPECT_EQ(Address("10.0.0.1"), ServerListSelect(&rig.server));
    EXPECT_EQ(Address("10.0.0.2"), ServerListSelect(&rig.server));
}

// A position that was not moved up is not its place in the list.
TEST(ServerListSelect, TakesThePositionThatTheAddressBears) {
    SessionRig rig(1);
    rig.AddAddress("10.0.0.1");
    rig.server.ip_list->position = 2;
    ServerListSelect(&rig.server);
    EXPECT_EQ(2, rig.server.ip_position);
}

TEST(ServerListCurrent, LeavesTheListWhereItIs) {
    SessionRig rig(1);
    rig.AddAddress("127.0.0.1");
    rig.AddAddress("127.0.0.2");
    EXPECT_EQ(Address("127.0.0.1"), ServerListCurrent(&rig.server));
    EXPECT_EQ(Address("127.0.0.1"), ServerListCurrent(&rig.server));
    EXPECT_EQ(0, rig.server.ip_position);
}

TEST(ServerListCurrent, MayBeAskedWhileAnotherSessionMovesTheListOn) {
    SessionRig rig(1);
    rig.AddAddress("127.0.0.1");
    rig.AddAddress("127.0.0.2");
    std::thread moving([&rig] {
        for (int round = 0; round < 1000; round++) {
            ServerListSelect(&rig.server);
        }
    });
    for (int round = 0; round < 1000; round++) {
        const uint32_t current = ServerListCurrent(&rig.server);
        EXPECT_TRUE(current == Address("127.0.0.1") || current == Address("127.0.0.2"));
    }
    moving.join();
}

TEST(ServerListConnect, WithoutAListTriesOneAddress) {
    DeadListRig rig;
    ConnRig conn;
    Point(&rig, conn, "127.0.0.1", 0);
    EXPECT_FALSE(ServerListConnect(&rig.server, conn.conn));
    EXPECT_EQ(0u, conn.conn->sock);
}

TEST(ServerListConnect, TakesAnEmptyListAsNone) {
    DeadListRig rig;
    ConnRig conn;
    rig.server.has_ip_list = 1;
    Point(&rig, conn, "127.0.0.1", 0);
    EXPECT_FALSE(ServerListConnect(&rig.server, conn.conn));
}

TEST(ServerListConnect, ChangesNothingWhenTheFirstAddressAnswers) {
    ListRig rig;
    ConnRig conn;
    rig.AddAddress("127.0.0.2");
    rig.AddAddress("127.0.0.1");
    Point(&rig, conn, "127.0.0.1", 0);
    EXPECT_TRUE(ServerListConnect(&rig.server, conn.conn));
    EXPECT_EQ("127.0.0.2@0 127.0.0.1@1 count 2", rig.ListText());
    EXPECT_EQ(0, rig.server.ip_position);
}

TEST(ServerListConnect, DropsAHeadThatFailedAndTakesTheNewHeadWhenTheIndexIsTooHigh) {
    ListRig rig;
    ConnRig conn;
    rig.AddAddress("127.0.0.2");
    rig.AddAddress("127.0.0.3");
    rig.AddAddress("127.0.0.1");
    // Index -1 + 3 = 2, then 1: both beyond what is left.
    Point(&rig, conn, "127.0.0.2", 0);
    EXPECT_TRUE(ServerListConnect(&rig.server, conn.conn));
    EXPECT_EQ("127.0.0.1@0 count 1", rig.ListText());
    EXPECT_EQ(0, rig.server.ip_position);
    EXPECT_EQ(Address("127.0.0.1"), conn.conn->ip);
}

TEST(ServerListConnect, DropsAMiddleNodeAndGoesOnAtTheIndexBeforeThePosition) {
    ListRig rig;
    ConnRig conn;
    rig.AddAddress("127.0.0.2");
    rig.AddAddress("127.0.0.3");
    rig.AddAddress("127.0.0.1");
    Point(&rig, conn, "127.0.0.3", 2);
    // Index 1 of what is left: 127.0.0.2, 127.0.0.1.
    EXPECT_TRUE(ServerListConnect(&rig.server, conn.conn));
    EXPECT_EQ("127.0.0.2@0 127.0.0.1@1 count 2", rig.ListText());
    EXPECT_EQ(1, rig.server.ip_position);
    EXPECT_EQ(Address("127.0.0.1"), conn.conn->ip);
}

TEST(ServerListConnect, DropsTheTail) {
    ListRig rig;
    ConnRig conn;
    rig.AddAddress("127.0.0.1");
    rig.AddAddress("127.0.0.2");
    rig.AddAddress("127.0.0.3");
    // Index 0.
    Point(&rig, conn, "127.0.0.3", 1);
    EXPECT_TRUE(ServerListConnect(&rig.server, conn.conn));
    EXPECT_EQ("127.0.0.1@0 127.0.0.2@1 count 2", rig.ListText());
    EXPECT_EQ(0, rig.server.ip_position);
}

TEST(ServerListConnect, LeavesTheServersAddressToTheNextSelection) {
    ListRig rig;
    ConnRig conn;
    rig.AddAddress("127.0.0.2");
    rig.AddAddress("127.0.0.1");
    rig.server.ip = Address("127.0.0.2");
    Point(&rig, conn, "127.0.0.2", 0);
    EXPECT_TRUE(ServerListConnect(&rig.server, conn.conn));
    EXPECT_EQ(Address("127.0.0.2"), rig.server.ip);
    // The same when the next address stands at the index and not at the head.
    rig.AddAddress("127.0.0.3");
    Point(&rig, conn, "127.0.0.3", 1);
    EXPECT_TRUE(ServerListConnect(&rig.server, conn.conn));
    EXPECT_EQ(Address("127.0.0.2"), rig.server.ip);
}

TEST(ServerListConnect, ThatTakesTheNewHeadMovesThePositionToZero) {
    ListRig rig;
    ConnRig conn;
    rig.AddAddress("127.0.0.2");
    rig.AddAddress("127.0.0.2");
    rig.AddAddress("127.0.0.1");
    // Index 1, with one address left.
    Point(&rig, conn, "127.0.0.2", 2);
    EXPECT_TRUE(ServerListConnect(&rig.server, conn.conn));
    EXPECT_EQ("127.0.0.1@0 count 1", rig.ListText());
    EXPECT_EQ(0, rig.server.ip_position);
}

TEST(ServerListConnect, LeavesTheLastAddressThatFailedWithItsOldCount) {
    DeadListRig rig;
    ConnRig conn;
    rig.AddAddress("127.0.0.2");
    rig.AddAddress("127.0.0.3");
    Point(&rig, conn, "127.0.0.2", 1);
    EXPECT_FALSE(ServerListConnect(&rig.server, conn.conn));
    EXPECT_EQ("127.0.0.3@0 count 1", rig.ListText());
    EXPECT_EQ(0u, conn.conn->sock);
    // The node that stays fails the same way the next time.
    Point(&rig, conn, "127.0.0.3", 0);
    EXPECT_FALSE(ServerListConnect(&rig.server, conn.conn));
    EXPECT_EQ("127.0.0.3@0 count 1", rig.ListText());
}

TEST(ServerListConnect, DropsAnAddressThatStandsTwiceInOneWalk) {
    ListRig rig;
    ConnRig conn;
    rig.AddAddress("127.0.0.2");
    rig.AddAddress("127.0.0.1");
    rig.AddAddress("127.0.0.2");
    Point(&rig, conn, "127.0.0.2", 1);
    EXPECT_TRUE(ServerListConnect(&rig.server, conn.conn));
    EXPECT_EQ("127.0.0.1@0 count 1", rig.ListText());
    EXPECT_EQ(Address("127.0.0.1"), conn.conn->ip);
}

TEST(ServerListConnect, DropsTwoHeadsOfOneAddressInOneWalk) {
    ListRig rig;
    ConnRig conn;
    rig.AddAddress("127.0.0.2");
    rig.AddAddress("127.0.0.2");
    rig.AddAddress("127.0.0.1");
    rig.AddAddress("127.0.0.3");
    Point(&rig, conn, "127.0.0.2", 1);
    EXPECT_TRUE(ServerListConnect(&rig.server, conn.conn));
    EXPECT_EQ("127.0.0.1@0 127.0.0.3@1 count 2", rig.ListText());
    EXPECT_EQ(0, rig.server.ip_position);
}

TEST(ServerListConnect, KeepsTheLastOfAListOfOneAddress) {
    DeadListRig rig;
    ConnRig conn;
    rig.AddAddress("127.0.0.2");
    rig.AddAddress("127.0.0.2");
    rig.AddAddress("127.0.0.2");
    Point(&rig, conn, "127.0.0.2", 0);
    EXPECT_FALSE(ServerListConnect(&rig.server, conn.conn));
    // The position of the node that stays is not moved up.
    EXPECT_EQ("127.0.0.2@2 count 1", rig.ListText());
}

TEST(ServerListConnect, GoesOnInTheListWhenAnAddressOutsideItFails) {
    ListRig rig;
    ConnRig conn;
    rig.AddAddress("127.0.0.1");
    rig.AddAddress("127.0.0.3");
    Point(&rig, conn, "127.0.0.9", 1);
    EXPECT_TRUE(ServerListConnect(&rig.server, conn.conn));
    EXPECT_EQ("127.0.0.1@0 127.0.0.3@1 count 2", rig.ListText());
    EXPECT_EQ(0, rig.server.ip_position);
}

TEST(ServerListConnect, AtPositionZeroGoesOnAtTheLastAddress) {
    ListRig rig;
    ConnRig conn;
    rig.AddAddress("127.0.0.3");
    rig.AddAddress("127.0.0.4");
    rig.AddAddress("127.0.0.1");
    Point(&rig, conn, "127.0.0.9", 0);
    EXPECT_TRUE(ServerListConnect(&rig.server, conn.conn));
    EXPECT_EQ("127.0.0.3@0 127.0.0.4@1 127.0.0.1@2 count 3", rig.ListText());
    EXPECT_EQ(2, rig.server.ip_position);
}

TEST(ServerListConnect, TakesThePositionThatTheNextAddressBears) {
    ListRig rig;
    ConnRig conn;
    rig.AddAddress("127.0.0.1");
    rig.server.ip_list->position = 2;
    Point(&rig, conn, "127.0.0.9", 1);
    EXPECT_TRUE(ServerListConnect(&rig.server, conn.conn));
    EXPECT_EQ("127.0.0.1@2 count 1", rig.ListText());
    EXPECT_EQ(2, rig.server.ip_position);
}

TEST(ServerListConnect, MayRunForTwoSessionsOfOneServerAtOnce) {
    ListRig rig;
    for (const char *address : {"127.0.0.2", "127.0.0.3", "127.0.0.4", "127.0.0.5", "127.0.0.1"}) {
        rig.AddAddress(address);
    }
    rig.server.ip = Address("127.0.0.2");
    auto connect = [&rig] {
        ConnRig conn;
        conn.conn->ip = ServerListSelect(&rig.server);
        conn.conn->port = rig.server.port;
        EXPECT_TRUE(ServerListConnect(&rig.server, conn.conn));
    };
    std::thread first(connect);
    std::thread second(connect);
    first.join();
    second.join();
    EXPECT_EQ(Address("127.0.0.1"), NetAddressFromText(rig.server.ip_list->text));
}

TEST(ServerListFree, FreesTheNodesAndClearsWhatBelongsToThem) {
    const int64_t blocks = MemLiveBlocks();
    SessionRig rig(1);
    rig.AddAddress("127.0.0.2");
    rig.AddAddress("127.0.0.3");
    rig.server.ip_position = 1;
    ServerListFree(&rig.server);
    EXPECT_EQ(nullptr, rig.server.ip_list);
    EXPECT_EQ(0, rig.server.has_ip_list);
    EXPECT_EQ(0, rig.server.ip_position);
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(ServerListFree, OfNoListDoesNothing) {
    SessionRig rig(1);
    rig.server.has_ip_list = 1;
    ServerListFree(&rig.server);
    EXPECT_EQ(0, rig.server.has_ip_list);
}
