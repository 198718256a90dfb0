// Sockets over POSIX.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/socket.h"
#include "platform/socket_seam.h"
#include "platform/text.h"

SocketId SocketOpen(void) {
    int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor == 0) {
        // 0 says "closed" above, so a host that has closed its standard input must not hand it out.
        int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, 1);
        close(descriptor);
        descriptor = moved;
    }
    return descriptor < 0 ? 0 : (SocketId)descriptor;
}

static void SetFlag(SocketId socket, int level, int option) {
    int on = 1;
    setsockopt((int)socket, level, option, &on, sizeof on);
}

void SocketSetOptions(SocketId socket, int64_t receive_timeout_ms) {
    if (socket == 0) return;
    SetFlag(socket, SOL_SOCKET, SO_REUSEADDR);
    SetFlag(socket, IPPROTO_TCP, TCP_NODELAY);
    SetFlag(socket, SOL_SOCKET, SO_KEEPALIVE);
    if (receive_timeout_ms > 0) {
        timeval timeout = {(time_t)(receive_timeout_ms / 1000),
                           (suseconds_t)(receive_timeout_ms % 1000) * 1000};
        setsockopt((int)socket, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    }
}

// Waits for a connect that a signal of the host interrupted: it goes on by itself.
static bool AwaitConnect(int descriptor) {
    pollfd wanted = {descriptor, POLLOUT, 0};
    while (poll(&wanted, 1, -1) < 0 && errno == EINTR) {
    }
    int failure = 0;
    socklen_t failure_bytes = sizeof failure;
    getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &failure, &failure_bytes);
    return failure == 0;
}

bool SocketConnect(SocketId socket, uint32_t ip, uint16_t port) {
    if (socket == 0) return false;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = ip;
    if (connect((int)socket, (sockaddr *)&address, sizeof address) == 0) return true;
    return errno == EINTR && AwaitConnect((int)socket);
}

void SocketSetLinger(SocketId socket) {
    linger reset = {1, 0};
    setsockopt((int)socket, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
}

int64_t SocketSend(SocketId socket, const void *bytes, size_t count) {
    int64_t result;
    if (SocketSendHooked(socket, bytes, count, &result)) return result;
    if (socket == 0) return -1;
    ssize_t sent;
    do {
        sent = send((int)socket, bytes, count, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent;
}

int64_t SocketReceive(SocketId socket, void *bytes, size_t count) {
    int64_t result;
    if (SocketReceiveHooked(socket, bytes, count, &result)) return result;
    if (socket == 0) return -1;
    ssize_t received;
    do {
        received = recv((int)socket, bytes, count, 0);
    } while (received < 0 && errno == EINTR);
    return received;
}

void SocketClose(SocketId socket) {
    if (socket != 0) {
        close((int)socket);
    }
}

uint32_t NetAddressFromText(const char *text) {
    return inet_addr(text);
}

bool NetAddressToText(uint32_t ip, char *text, size_t text_bytes) {
    char dotted[INET_ADDRSTRLEN];
    in_addr address = {ip};
    if (inet_ntop(AF_INET, &address, dotted, sizeof dotted) == NULL) return false;
    if (text_bytes != 0) {
        TextCopy(text, text_bytes, dotted);
    }
    return true;
}

bool NetResolve(const char *host, uint32_t *ip) {
    addrinfo hints = {};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = NULL;
    if (getaddrinfo(host, NULL, &hints, &found) != 0) return false;
    memcpy(ip, &((const sockaddr_in *)(const void *)found->ai_addr)->sin_addr, sizeof *ip);
    freeaddrinfo(found);
    return true;
}
