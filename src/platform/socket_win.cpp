// Sockets over Windows Sockets. The host process has started the socket layer.
#include <winsock2.h>

#include <climits>
#include <cstring>

#include "platform/socket.h"
#include "platform/socket_seam.h"
#include "platform/text.h"

SocketId SocketOpen(void) {
    SOCKET opened = socket(AF_INET, SOCK_STREAM, 0);
    return opened == INVALID_SOCKET ? 0 : (SocketId)opened;
}

static void SetOption(SocketId socket, int level, int option, DWORD value) {
    setsockopt((SOCKET)socket, level, option, (const char *)&value, sizeof value);
}

void SocketSetOptions(SocketId socket, int64_t receive_timeout_ms) {
    if (socket == 0) return;
    SetOption(socket, SOL_SOCKET, SO_REUSEADDR, 1);
    SetOption(socket, IPPROTO_TCP, TCP_NODELAY, 1);
    SetOption(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
    if (receive_timeout_ms > 0) {
        bool fits = receive_timeout_ms <= (int64_t)UINT_MAX;
        SetOption(socket, SOL_SOCKET, SO_RCVTIMEO, fits ? (DWORD)receive_timeout_ms : UINT_MAX);
    }
}

bool SocketConnect(SocketId socket, uint32_t ip, uint16_t port) {
    if (socket == 0) return false;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = ip;
    return connect((SOCKET)socket, (sockaddr *)&address, sizeof address) == 0;
}

void SocketSetLinger(SocketId socket) {
    linger reset = {1, 0};
    setsockopt((SOCKET)socket, SOL_SOCKET, SO_LINGER, (const char *)&reset, sizeof reset);
}

// The system's count is an int; a longer request is sent or received in part.
static int SystemCount(size_t count) {
    return count > (size_t)INT_MAX ? INT_MAX : (int)count;
}

int64_t SocketSend(SocketId socket, const void *bytes, size_t count) {
    int64_t result;
    if (SocketSendHooked(socket, bytes, count, &result)) return result;
    if (socket == 0) return -1;
    return send((SOCKET)socket, (const char *)bytes, SystemCount(count), 0);
}

int64_t SocketReceive(SocketId socket, void *bytes, size_t count) {
    int64_t result;
    if (SocketReceiveHooked(socket, bytes, count, &result)) return result;
    if (socket == 0) return -1;
    return recv((SOCKET)socket, (char *)bytes, SystemCount(count), 0);
}

void SocketClose(SocketId socket) {
    if (socket != 0) {
        closesocket((SOCKET)socket);
    }
}

uint32_t NetAddressFromText(const char *text) {
    // The system takes an empty or blank text for 0.0.0.0, which would reach this machine.
    if (text[0] < '0' || text[0] > '9') return NET_ADDRESS_NONE;
    return inet_addr(text);
}

bool NetAddressToText(uint32_t ip, char *text, size_t text_bytes) {
    in_addr address = {};
    address.s_addr = ip;
    const char *dotted = inet_ntoa(address);
    if (dotted == NULL) return false;
    if (text_bytes != 0) {
        TextCopy(text, text_bytes, dotted);
    }
    return true;
}

bool NetResolve(const char *host, uint32_t *ip) {
    const hostent *found = gethostbyname(host);
    if (found == NULL || found->h_addrtype != AF_INET || found->h_addr_list[0] == NULL) {
        return false;
    }
    memcpy(ip, found->h_addr_list[0], sizeof *ip);
    return true;
}
