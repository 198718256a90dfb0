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

// Puts one end of a socket pair in the place of the standard input while it lives.
struct SocketAtZero {
    SocketAtZero() : saved(dup(0)) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
        EXPECT_EQ(0, dup2(ends[0], 0));
        close(ends[0]);
        other_end = ends[1];
    }

    ~SocketAtZero() {
        EXPECT_EQ(0, dup2(saved, 0));
        close(saved);
        close(other_end);
    }

    SocketAtZero(const SocketAtZero &) = delete;
    SocketAtZero &operator=(const SocketAtZero &) = delete;

    int saved;
    int other_end = -1;
};

TEST(Socket, OfZeroLeavesTheHostsDescriptorOfThatNumberAlone) {
    SocketAtZero zero;
    ASSERT_EQ(1, send(zero.other_end, "b", 1, 0));
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
    EXPECT_EQ(1, recv(zero.other_end, &byte, 1, 0));
    EXPECT_EQ('c', byte);
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

// Interrupts a thread again and again, each time once it has taken the signal before.
static void Interrupt(pthread_t thread) {
    for (int sent = 1; sent <= 200; sent++) {
        pthread_kill(thread, SIGUSR1);
        while (signals_seen < sent) {
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
