// The test programs' own sockets, on both systems.
#include "support/net.h"

#include <cstring>

#ifdef _WIN32
#include <winsock2.h>
typedef int SocketLength;
typedef int ByteCount;
typedef SOCKET NativeSocket;
static int CloseNative(NativeSocket socket) {
    return closesocket(socket);
}
constexpr int SEND_FLAGS = 0;
#else
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
typedef socklen_t SocketLength;
typedef size_t ByteCount;
typedef int NativeSocket;
static int CloseNative(NativeSocket socket) {
    return close(socket);
}
constexpr int SEND_FLAGS = MSG_NOSIGNAL;
#endif

void NetStart() {
#ifdef _WIN32
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
#endif
}

static sockaddr_in Loopback(uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

static uintptr_t WithoutDelay(NativeSocket socket) {
    if ((uintptr_t)socket == NET_NONE) return NET_NONE;
    int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, (const char *)&on, sizeof on);
    return (uintptr_t)socket;
}

uintptr_t NetListen(uint16_t *port) {
    NativeSocket listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = Loopback(0);
    if (bind(listener, (sockaddr *)&address, sizeof address) != 0) return NET_NONE;
    if (listen(listener, 16) != 0) return NET_NONE;
    SocketLength length = sizeof address;
    getsockname(listener, (sockaddr *)&address, &length);
    *port = ntohs(address.sin_port);
    return (uintptr_t)listener;
}

uintptr_t NetAccept(uintptr_t listener, int timeout_ms) {
    if (!NetReadable(listener, timeout_ms)) return NET_NONE;
    return WithoutDelay(accept((NativeSocket)listener, NULL, NULL));
}

uintptr_t NetConnect(uint16_t port) {
    NativeSocket connected = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = Loopback(port);
    if (connect(connected, (sockaddr *)&address, sizeof address) != 0) {
        CloseNative(connected);
        return NET_NONE;
    }
    return WithoutDelay(connected);
}

bool NetReadable(uintptr_t socket, int timeout_ms) {
#ifdef _WIN32
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET((SOCKET)socket, &readable);
    timeval timeout = {timeout_ms / 1000, timeout_ms % 1000 * 1000};
    return select(0, &readable, NULL, NULL, &timeout) > 0;
#else
    pollfd wanted = {(int)socket, POLLIN, 0};
    return poll(&wanted, 1, timeout_ms) > 0;
#endif
}

int64_t NetReceive(uintptr_t socket, void *bytes, size_t count) {
    return recv((NativeSocket)socket, (char *)bytes, (ByteCount)count, 0);
}

int64_t NetSend(uintptr_t socket, const void *bytes, size_t count) {
    return send((NativeSocket)socket, (const char *)bytes, (ByteCount)count, SEND_FLAGS);
}

void NetClose(uintptr_t socket, bool reset) {
    if (reset) {
        linger hard = {1, 0};
        setsockopt((NativeSocket)socket, SOL_SOCKET, SO_LINGER, (const char *)&hard, sizeof hard);
    }
    CloseNative((NativeSocket)socket);
}
