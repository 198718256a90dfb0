// What a socket of the client carries, on Windows.
#include <winsock2.h>

#include "wire/socket_option.h"

int64_t ReceiveTimeoutMs(SocketId socket) {
    DWORD value = 0;
    int value_bytes = sizeof(value);
    if (getsockopt((SOCKET)socket, SOL_SOCKET, SO_RCVTIMEO, (char *)&value, &value_bytes) != 0) {
        return -1;
    }
    return (int64_t)value;
}

bool CloseResets(SocketId socket) {
    linger value = {};
    int value_bytes = sizeof(value);
    return getsockopt((SOCKET)socket, SOL_SOCKET, SO_LINGER, (char *)&value, &value_bytes) == 0 &&
           value.l_onoff != 0 && value.l_linger == 0;
}

int64_t LongestTimeoutMs() {
    return 4294967295;
}
