// What a socket of the client carries, on Unix.
#include <sys/socket.h>
#include <sys/time.h>

#include "wire/socket_option.h"

int64_t ReceiveTimeoutMs(SocketId socket) {
    timeval value = {};
    socklen_t value_bytes = sizeof(value);
    if (getsockopt((int)socket, SOL_SOCKET, SO_RCVTIMEO, &value, &value_bytes) != 0) return -1;
    return (int64_t)value.tv_sec * 1000 + value.tv_usec / 1000;
}

bool CloseResets(SocketId socket) {
    linger value = {};
    socklen_t value_bytes = sizeof(value);
    return getsockopt((int)socket, SOL_SOCKET, SO_LINGER, &value, &value_bytes) == 0 &&
           value.l_onoff != 0 && value.l_linger == 0;
}

int64_t LongestTimeoutMs() {
    return 6000000000;
}
