// The socket layer of a test program on Windows. It stays up until the process ends.
#include <winsock2.h>

#include <cstdio>
#include <cstdlib>

#include "support/host_sockets.h"

void HostStartSockets() {
    WSADATA data;
    const int status = WSAStartup(MAKEWORD(2, 2), &data);
    if (status != 0) {
        std::fprintf(stderr, "WSAStartup failed with %d\n", status);
        std::exit(2);
    }
}
