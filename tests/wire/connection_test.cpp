// The life of a connection record: its start, its socket, its end.
#include "wire/connection.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "diag/error.h"
#include "platform/memory.h"
#include "platform/socket.h"
#include "platform/thread.h"
#include "platform/wait.h"
#include "support/scripted_peer.h"
#include "wire/cipher_rig.h"
#include "wire/socket_option.h"

static void PointAt(Connection *conn, uint16_t port) {
    conn->ip = NetAddressFromText("127.0.0.1");
    conn->port = port;
}

TEST(ConnInit, GivesTheStateOfAConnectionThatWasNeverOpened) {
    Connection *conn = (Connection *)MemAlloc(sizeof(Connection));
    memset(conn->database, 'x', sizeof(conn->database));
    memset(conn->send_buf, 'x', sizeof(conn->send_buf));
    conn->recv_fill = 5;
    conn->recv_pos = 2;
    conn->send_fill = 9;
    conn->pushback = 'R';
    conn->next_stmt_id = 7;
    EXPECT_TRUE(ConnInit(conn));
    EXPECT_EQ(nullptr, conn->owner);
    EXPECT_EQ(2, conn->status);
    EXPECT_EQ(0u, conn->ip);
    EXPECT_EQ(5138, conn->port);
    for (const char character : conn->database) {
        EXPECT_EQ('\0', character);
    }
    EXPECT_EQ(0u, conn->sock);
    EXPECT_EQ(0, conn->timeout);
    EXPECT_EQ(0, conn->use_ssl);
    EXPECT_EQ(nullptr, conn->recv_cipher);
    EXPECT_EQ(nullptr, conn->send_cipher);
    EXPECT_EQ(0, conn->pushback);
    EXPECT_EQ(0, conn->send_fill);
    EXPECT_EQ(Bytes(4096, 0), Bytes(conn->send_buf, conn->send_buf + 4096));
    EXPECT_EQ(nullptr, conn->last_error);
    EXPECT_EQ(0u, conn->next_stmt_id);
    EXPECT_EQ(1, conn->auto_reconnect);
    EXPECT_EQ(0, conn->recv_fill);
    EXPECT_EQ(0, conn->recv_pos);
    EXPECT_TRUE(ConnFree(conn));
    MemFree(conn);
}

TEST(ConnInit, GivesOnePermit) {
    ConnRig rig;
    EXPECT_TRUE(SemaphoreTryTake(&rig.conn->use_semaphore));
    EXPECT_FALSE(SemaphoreTryTake(&rig.conn->use_semaphore));
    SemaphoreRelease(&rig.conn->use_semaphore);
}

TEST(ConnInit, RefusesNull) {
    EXPECT_FALSE(ConnInit(nullptr));
}

TEST(ConnAttrInit, GivesTheDefaultsOfALogin) {
    ConnAttr attr;
    memset(&attr, 0x55, sizeof(attr));
    ConnAttrInit(&attr);
    EXPECT_STREQ("SYSDBA", attr.user);
    EXPECT_STREQ("SYSDBA", attr.password);
    EXPECT_STREQ("GBK", attr.char_set);
    EXPECT_STREQ("GTM+08:00", attr.time_zone);
    EXPECT_STREQ("", attr.encryptor);
    EXPECT_STREQ("2", attr.iso_level);
    EXPECT_STREQ("301", attr.version);
    EXPECT_EQ(0, attr.timeout);
    EXPECT_EQ(0, attr.lock_timeout);
    EXPECT_EQ(0, attr.use_ssl);
    EXPECT_EQ(1, attr.auto_commit);
    EXPECT_EQ(0, attr.return_rowid);
    EXPECT_EQ(0, attr.return_schema);
    EXPECT_EQ(0, attr.lob_ret);
    EXPECT_EQ(0, attr.return_cursor_id);
    EXPECT_EQ(1, attr.reconnect);
}

TEST(ConnOpenSocket, ConnectsAndCarriesBytesBothWays) {
    ScriptedPeer peer;
    peer.Accept();
    peer.Expect(Hex("'?' 00000006 'COMMIT' 00 00000000"));
    peer.SendByteByByte(Hex("'K' 00000002 'ok'"));
    peer.Start();
    ConnRig rig;
    PointAt(rig.conn, peer.port());
    ASSERT_TRUE(ConnOpenSocket(rig.conn));
    EXPECT_NE(0u, rig.conn->sock);
    ConnSendCommand(rig.conn, "COMMIT");
    uint8_t letter = 0;
    char *text = nullptr;
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('K', letter);
    EXPECT_EQ(0, ConnReadString(rig.conn, &text));
    EXPECT_STREQ("ok", text);
    MemFree(text);
    EXPECT_TRUE(peer.Finish()) << peer.Failure();
}

TEST(ConnOpenSocket, ClosesTheOldSocketFirst) {
    ScriptedPeer peer;
    peer.Accept();
    peer.ExpectEnd();
    peer.Accept();
    peer.Send(Hex("'Z'"));
    peer.Start();
    ConnRig rig;
    PointAt(rig.conn, peer.port());
    ASSERT_TRUE(ConnOpenSocket(rig.conn));
    ASSERT_TRUE(ConnOpenSocket(rig.conn));
    uint8_t letter = 0;
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('Z', letter);
    EXPECT_TRUE(peer.Finish()) << peer.Failure();
}

TEST(ConnOpenSocket, LeavesTheBuffersAsTheyAre) {
    ScriptedPeer peer;
    ConnRig rig;
    PointAt(rig.conn, peer.port());
    rig.conn->pushback = 'R';
    rig.conn->recv_buf[0] = 'A';
    rig.conn->recv_fill = 2;
    rig.conn->recv_pos = 1;
    ConnWrite(rig.conn, "abc", 3);
    ASSERT_TRUE(ConnOpenSocket(rig.conn));
    EXPECT_EQ('R', rig.conn->pushback);
    EXPECT_EQ(2, rig.conn->recv_fill);
    EXPECT_EQ(1, rig.conn->recv_pos);
    EXPECT_EQ(Hex("'abc'"), Unsent(rig.conn));
}

TEST(ConnOpenSocket, FailsClosedWhenNobodyListens) {
    ConnRig rig;
    PointAt(rig.conn, PortOfNobody());
    EXPECT_FALSE(ConnOpenSocket(rig.conn));
    EXPECT_EQ(0u, rig.conn->sock);
}

// The number that the next socket would get.
static SocketId NextSocket() {
    const SocketId next = SocketOpen();
    SocketClose(next);
    return next;
}

TEST(ConnOpenSocket, KeepsNoSocketWhenNobodyListens) {
    ConnRig rig;
    PointAt(rig.conn, PortOfNobody());
    const SocketId next = NextSocket();
    EXPECT_FALSE(ConnOpenSocket(rig.conn));
    EXPECT_EQ(next, NextSocket());
}

TEST(ConnOpenSocket, MakesACloseResetTheConnection) {
    ScriptedPeer peer;
    ConnRig rig;
    PointAt(rig.conn, peer.port());
    ASSERT_TRUE(ConnOpenSocket(rig.conn));
    EXPECT_TRUE(CloseResets(rig.conn->sock));
}

// The receive timeout that the system holds for a connection with a timeout of that many minutes.
static int64_t TimeoutMsOf(int32_t minutes) {
    ScriptedPeer peer;
    ConnRig rig;
    PointAt(rig.conn, peer.port());
    rig.conn->timeout = minutes;
    EXPECT_TRUE(ConnOpenSocket(rig.conn));
    return ReceiveTimeoutMs(rig.conn->sock);
}

TEST(ConnOpenSocket, WithATimeoutOf1EndsASilentReceiveAfter60000Milliseconds) {
    EXPECT_EQ(60000, TimeoutMsOf(1));
}

TEST(ConnOpenSocket, WithoutATimeoutSetsNone) {
    EXPECT_EQ(0, TimeoutMsOf(0));
    EXPECT_EQ(0, TimeoutMsOf(-1));
    EXPECT_EQ(0, TimeoutMsOf(INT32_MIN));
}

TEST(ConnOpenSocket, HoldsATimeoutBeyond32BitsOfMilliseconds) {
    EXPECT_EQ(LongestTimeoutMs(), TimeoutMsOf(100000));
}

TEST(ConnReaders, FailWhenTheReceiveTimeoutExpires) {
    ScriptedPeer peer;
    ConnRig rig;
    PointAt(rig.conn, peer.port());
    ASSERT_TRUE(ConnOpenSocket(rig.conn));
    SocketSetOptions(rig.conn->sock, 50);
    uint8_t letter = 0;
    EXPECT_FALSE(ConnReadChar(rig.conn, &letter));
    EXPECT_NE(0u, rig.conn->sock);
}

TEST(ConnFree, RefusesNull) {
    EXPECT_FALSE(ConnFree(nullptr));
}

TEST(ConnFree, ReleasesAllThatTheRecordOwns) {
    ScriptedPeer peer;
    peer.Accept();
    peer.ExpectEnd();
    peer.Start();
    const int64_t blocks = MemLiveBlocks();
    Connection *conn = (Connection *)MemAlloc(sizeof(Connection));
    ConnInit(conn);
    PointAt(conn, peer.port());
    ASSERT_TRUE(ConnOpenSocket(conn));
    StartKeystreams(conn);
    ErrInfoReplace(&conn->last_error, "E19884", "can't connect to server");
    EXPECT_TRUE(ConnFree(conn));
    EXPECT_EQ(0u, conn->sock);
    EXPECT_EQ(nullptr, conn->recv_cipher);
    EXPECT_EQ(nullptr, conn->send_cipher);
    EXPECT_EQ(nullptr, conn->last_error);
    MemFree(conn);
    EXPECT_EQ(blocks, MemLiveBlocks());
    EXPECT_TRUE(peer.Finish()) << peer.Failure();
}

// One permit for each connection whose tear-down waits.
static Semaphore free_waits;

static void SignalFreeWait(WaitPoint point) {
    if (point == WAIT_CONN_FREE) {
        SemaphoreRelease(&free_waits);
    }
}

TEST(ConnFree, WaitsForTheRequestThatRuns) {
    Connection *conn = (Connection *)MemAlloc(sizeof(Connection));
    ConnInit(conn);
    WaitSemaphore(&conn->use_semaphore, WAIT_CONN_PERMIT);
    SemaphoreInit(&free_waits, 0);
    WaitSetHook(SignalFreeWait);
    std::atomic<bool> freed = false;
    std::thread freeing([conn, &freed] {
        EXPECT_TRUE(ConnFree(conn));
        freed = true;
    });
    SemaphoreTake(&free_waits);
    EXPECT_FALSE(freed);
    // Whoever finishes the response gives the permit back, not the thread that took it.
    std::thread([conn] { SemaphoreRelease(&conn->use_semaphore); }).join();
    freeing.join();
    EXPECT_TRUE(freed);
    WaitSetHook(nullptr);
    SemaphoreDestroy(&free_waits);
    MemFree(conn);
}

// Signals that a background thread ran with its argument.
struct ThreadSignal {
    std::mutex mutex;
    std::condition_variable changed;
    bool ran = false;
};

static void RaiseSignal(void *argument) {
    ThreadSignal *signal = (ThreadSignal *)argument;
    std::lock_guard<std::mutex> guard(signal->mutex);
    signal->ran = true;
    signal->changed.notify_all();
}

TEST(ConnStartThread, RunsTheFunctionWithItsArgument) {
    static ThreadSignal signal;
    ASSERT_TRUE(ConnStartThread(RaiseSignal, 0, &signal));
    std::unique_lock<std::mutex> guard(signal.mutex);
    signal.changed.wait(guard, [] { return signal.ran; });
    EXPECT_TRUE(signal.ran);
}

TEST(ConnStartThread, TellsWhenTheSystemRefuses) {
    ThreadFailAt(1);
    EXPECT_FALSE(ConnStartThread(RaiseSignal, 0, nullptr));
    ThreadFailAt(0);
}
