// Sockets and addresses.
#include "platform/socket.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/scripted_peer.h"

#ifndef _WIN32
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

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

#ifndef _WIN32
TEST(Socket, IsNeverNumberedZero) {
    int saved = dup(0);
    ASSERT_GE(saved, 0);
    close(0);
    SocketId socket = SocketOpen();
    EXPECT_NE(0u, socket);
    SocketClose(socket);
    EXPECT_EQ(0, dup2(saved, 0));
    close(saved);
}

static int Option(SocketId socket, int level, int option) {
    int value = -1;
    socklen_t length = sizeof value;
    getsockopt((int)socket, level, option, &value, &length);
    return value;
}

TEST(Socket, CarriesItsOptions) {
    SocketId socket = SocketOpen();
    SocketSetOptions(socket, 60000);
    SocketSetLinger(socket);
    EXPECT_NE(0, Option(socket, SOL_SOCKET, SO_REUSEADDR));
    EXPECT_NE(0, Option(socket, IPPROTO_TCP, TCP_NODELAY));
    EXPECT_NE(0, Option(socket, SOL_SOCKET, SO_KEEPALIVE));
    timeval timeout = {};
    socklen_t length = sizeof timeout;
    getsockopt((int)socket, SOL_SOCKET, SO_RCVTIMEO, &timeout, &length);
    EXPECT_EQ(60, timeout.tv_sec);
    linger end = {};
    length = sizeof end;
    getsockopt((int)socket, SOL_SOCKET, SO_LINGER, &end, &length);
    EXPECT_EQ(1, end.l_onoff);
    EXPECT_EQ(0, end.l_linger);
    SocketClose(socket);
}

TEST(Socket, WithoutATimeLimitNoneIsSet) {
    SocketId socket = SocketOpen();
    SocketSetOptions(socket, 0);
    timeval timeout = {};
    socklen_t length = sizeof timeout;
    getsockopt((int)socket, SOL_SOCKET, SO_RCVTIMEO, &timeout, &length);
    EXPECT_EQ(0, timeout.tv_sec);
    EXPECT_EQ(0, timeout.tv_usec);
    SocketClose(socket);
}
#endif

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
