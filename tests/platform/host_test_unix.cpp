// What sockets and semaphores keep from the host on Unix: its descriptors, its programs, its
// signals.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "platform/lock.h"
#include "platform/socket.h"
#include "support/scripted_peer.h"

static bool ClosesOnExec(SocketId socket) {
    return (fcntl((int)socket, F_GETFD) & FD_CLOEXEC) != 0;
}

TEST(Socket, IsNotInheritedByAProgramThatTheHostStarts) {
    SocketId socket = SocketOpen();
    EXPECT_TRUE(ClosesOnExec(socket));
    SocketClose(socket);
}

TEST(Socket, IsNeverNumberedZero) {
    int saved = dup(0);
    ASSERT_GE(saved, 0);
    close(0);
    SocketId socket = SocketOpen();
    EXPECT_NE(0u, socket);
    EXPECT_TRUE(ClosesOnExec(socket));
    SocketClose(socket);
    // The number that was passed over is not held either.
    EXPECT_EQ(-1, fcntl(0, F_GETFD));
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

// Puts a descriptor, which it takes over, in the place of the standard input while it lives.
struct DescriptorAtZero {
    explicit DescriptorAtZero(int descriptor) : saved(dup(0)) {
        EXPECT_EQ(0, dup2(descriptor, 0));
        close(descriptor);
    }

    ~DescriptorAtZero() {
        EXPECT_EQ(0, dup2(saved, 0));
        close(saved);
    }

    DescriptorAtZero(const DescriptorAtZero &) = delete;
    DescriptorAtZero &operator=(const DescriptorAtZero &) = delete;

    int saved;
};

TEST(Socket, OfZeroLeavesTheHostsDescriptorOfThatNumberAlone) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
    DescriptorAtZero zero(ends[0]);
    ASSERT_EQ(1, send(ends[1], "b", 1, 0));
    char byte = 'x';
    EXPECT_EQ(-1, SocketReceive(0, &byte, 1));
    EXPECT_EQ('x', byte);
    EXPECT_EQ(-1, SocketSend(0, "a", 1));
    SocketSetOptions(0, 60000);
    timeval timeout = {};
    socklen_t length = sizeof timeout;
    getsockopt(0, SOL_SOCKET, SO_RCVTIMEO, &timeout, &length);
    EXPECT_EQ(0, timeout.tv_sec);
    SocketClose(0);
    EXPECT_EQ(1, send(0, "c", 1, 0));
    EXPECT_EQ(1, recv(ends[1], &byte, 1, 0));
    EXPECT_EQ('c', byte);
    close(ends[1]);
}

TEST(Socket, OfZeroIsNotConnectedWhateverTheHostHasThere) {
    ScriptedPeer peer;
    DescriptorAtZero zero(socket(AF_INET, SOCK_STREAM, 0));
    EXPECT_FALSE(SocketConnect(0, NetAddressFromText("127.0.0.1"), peer.port()));
}

static std::atomic<int> signals_seen;

static void CountSignal(int) {
    signals_seen++;
}

// Counts a signal while it lives. System calls that it interrupts are not restarted.
struct SignalCounter {
    explicit SignalCounter(int number) : signal(number) {
        signals_seen = 0;
        struct sigaction counting = {};
        counting.sa_handler = CountSignal;
        EXPECT_EQ(0, sigaction(signal, &counting, &before));
    }

    ~SignalCounter() {
        sigaction(signal, &before, nullptr);
    }

    SignalCounter(const SignalCounter &) = delete;
    SignalCounter &operator=(const SignalCounter &) = delete;

    int signal;
    struct sigaction before = {};
};

// Interrupts a thread again and again, each time once it has taken the signal before. A sanitizer
// may keep back a signal that came just ahead of the wait, until the next one: so it is sent again.
static void Interrupt(pthread_t thread) {
    constexpr int TURNS_TO_THE_NEXT = 1000;
    for (int taken = 1; taken <= 200; taken++) {
        for (int turn = 0; signals_seen < taken; turn++) {
            if (turn % TURNS_TO_THE_NEXT == 0) {
                pthread_kill(thread, SIGUSR1);
            }
            std::this_thread::yield();
        }
    }
}

TEST(Socket, ASendIntoAnEndedStreamFailsWithoutASignal) {
    ScriptedPeer peer;
    SocketId socket = SocketOpen();
    ASSERT_TRUE(SocketConnect(socket, NetAddressFromText("127.0.0.1"), peer.port()));
    SignalCounter counter(SIGPIPE);
    ASSERT_EQ(0, shutdown((int)socket, SHUT_WR));
    EXPECT_EQ(-1, SocketSend(socket, "x", 1));
    EXPECT_EQ(0, signals_seen);
    SocketClose(socket);
}

TEST(Socket, AReceiveOutlivesTheHostsSignals) {
    ScriptedPeer peer;
    peer.Accept();
    peer.Gate("interrupted");
    peer.Send(Hex("'x'"));
    peer.Start();
    SocketId socket = SocketOpen();
    ASSERT_TRUE(SocketConnect(socket, NetAddressFromText("127.0.0.1"), peer.port()));
    SignalCounter counter(SIGUSR1);
    std::thread interrupting([&peer, receiving = pthread_self()] {
        Interrupt(receiving);
        peer.Open("interrupted");
    });
    char byte = 0;
    EXPECT_EQ(1, SocketReceive(socket, &byte, 1));
    EXPECT_EQ('x', byte);
    interrupting.join();
    EXPECT_TRUE(peer.Finish()) << peer.Failure();
    SocketClose(socket);
}

TEST(Socket, ASendOutlivesTheHostsSignals) {
    ScriptedPeer peer;
    peer.Accept();
    peer.Gate("interrupted");
    peer.Start();
    SocketId socket = SocketOpen();
    ASSERT_TRUE(SocketConnect(socket, NetAddressFromText("127.0.0.1"), peer.port()));
    // Fills what lies between the two, until nothing has been taken for a while.
    const Bytes filling(4096, 0xF1);
    size_t filled = 0;
    for (int refused = 0; refused < 1000; refused++) {
        const ssize_t taken = send((int)socket, filling.data(), filling.size(), MSG_DONTWAIT);
        if (taken > 0) {
            filled += (size_t)taken;
            refused = 0;
        }
        std::this_thread::yield();
    }
    peer.ExpectAny(filled);
    peer.Expect(Hex("'x'"));
    SignalCounter counter(SIGUSR1);
    std::thread interrupting([&peer, sending = pthread_self()] {
        Interrupt(sending);
        peer.Open("interrupted");
    });
    EXPECT_EQ(1, SocketSend(socket, "x", 1));
    interrupting.join();
    EXPECT_TRUE(peer.Finish()) << peer.Failure();
    SocketClose(socket);
}

// A listener of 127.0.0.1 that holds one connection at a time for whoever accepts it.
static int ListenForOne(uint16_t *port) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    socklen_t length = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = NetAddressFromText("127.0.0.1");
    EXPECT_EQ(0, bind(listener, (sockaddr *)&address, length));
    EXPECT_EQ(0, listen(listener, 0));
    EXPECT_EQ(0, getsockname(listener, (sockaddr *)&address, &length));
    *port = ntohs(address.sin_port);
    return listener;
}

// Takes a second or so: until the system asks a listener again that had no room.
TEST(Socket, AConnectOutlivesTheHostsSignals) {
    uint16_t port = 0;
    const int listener = ListenForOne(&port);
    SocketId first = SocketOpen();
    ASSERT_TRUE(SocketConnect(first, NetAddressFromText("127.0.0.1"), port));
    SignalCounter counter(SIGUSR1);
    std::thread interrupting([listener, connecting = pthread_self()] {
        Interrupt(connecting);
        close(accept(listener, nullptr, nullptr));
    });
    SocketId second = SocketOpen();
    EXPECT_TRUE(SocketConnect(second, NetAddressFromText("127.0.0.1"), port));
    interrupting.join();
    SocketClose(first);
    SocketClose(second);
    close(listener);
}

TEST(Semaphore, AWaitForAPermitOutlivesTheHostsSignals) {
    Semaphore semaphore;
    SemaphoreInit(&semaphore, 0);
    SignalCounter counter(SIGUSR1);
    std::atomic<bool> released = false;
    std::thread interrupting([&semaphore, &released, waiting = pthread_self()] {
        Interrupt(waiting);
        released = true;
        SemaphoreRelease(&semaphore);
    });
    SemaphoreTake(&semaphore);
    EXPECT_TRUE(released);
    interrupting.join();
    SemaphoreDestroy(&semaphore);
}
