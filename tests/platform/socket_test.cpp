// Sockets and addresses.
#include "platform/socket.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/scripted_peer.h"

TEST(Socket, SendsAndReceivesOverLoopback) {
    ScriptedPeer peer;
    peer.Accept();
    peer.Expect(Hex("'ping'"));
    peer.Send(Hex("'pong'"));
    peer.Start();
    SocketId socket = SocketOpen();
    ASSERT_NE(0u, socket);
    SocketSetOptions(socket, 0);
    ASSERT_TRUE(SocketConnect(socket, NetAddressFromText("127.0.0.1"), peer.port()));
    SocketSetLinger(socket);
    EXPECT_EQ(4, SocketSend(socket, "ping", 4));
    char answer[4];
    size_t received = 0;
    while (received < sizeof answer) {
        int64_t count = SocketReceive(socket, answer + received, sizeof answer - received);
        ASSERT_GT(count, 0);
        received += (size_t)count;
    }
    EXPECT_EQ(0, memcmp("pong", answer, 4));
    EXPECT_TRUE(peer.Finish()) << peer.Failure();
    SocketClose(socket);
}

TEST(Socket, AClosedOneFailsAtOnce) {
    char byte = 0;
    EXPECT_EQ(-1, SocketSend(0, &byte, 1));
    EXPECT_EQ(-1, SocketReceive(0, &byte, 1));
    EXPECT_FALSE(SocketConnect(0, NetAddressFromText("127.0.0.1"), 1));
    SocketClose(0);
}

TEST(Socket, ConnectingToNobodyFails) {
    uint16_t port;
    {
        ScriptedPeer gone;
        port = gone.port();
    }
    SocketId socket = SocketOpen();
    EXPECT_FALSE(SocketConnect(socket, NetAddressFromText("127.0.0.1"), port));
    SocketClose(socket);
}

TEST(NetAddress, IsInNetworkOrder) {
    uint32_t ip = NetAddressFromText("10.1.2.3");
    uint8_t bytes[4];
    memcpy(bytes, &ip, 4);
    EXPECT_EQ(10, bytes[0]);
    EXPECT_EQ(1, bytes[1]);
    EXPECT_EQ(2, bytes[2]);
    EXPECT_EQ(3, bytes[3]);
}

TEST(NetAddress, RefusesWhatIsNoAddress) {
    EXPECT_EQ(NET_ADDRESS_NONE, NetAddressFromText("10.0.0.256"));
    EXPECT_EQ(NET_ADDRESS_NONE, NetAddressFromText("server"));
    // Never 0.0.0.0, which would reach this machine.
    EXPECT_EQ(NET_ADDRESS_NONE, NetAddressFromText(""));
    EXPECT_EQ(NET_ADDRESS_NONE, NetAddressFromText(" "));
}

TEST(NetAddress, MayBeShort) {
    EXPECT_EQ(NetAddressFromText("127.0.0.1"), NetAddressFromText("127.1"));
}

TEST(NetAddress, TextIsCutToItsRoom) {
    char text[16];
    EXPECT_TRUE(NetAddressToText(NetAddressFromText("192.168.10.20"), text, sizeof text));
    EXPECT_STREQ("192.168.10.20", text);
    EXPECT_TRUE(NetAddressToText(NetAddressFromText("192.168.10.20"), text, 8));
    EXPECT_STREQ("192.168", text);
}

TEST(NetResolve, FindsThisMachine) {
    uint32_t ip = 0;
    ASSERT_TRUE(NetResolve("localhost", &ip));
    EXPECT_EQ(NetAddressFromText("127.0.0.1"), ip);
}
