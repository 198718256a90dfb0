// The start of every test program: the socket layer comes up, then GoogleTest runs what it knows.
#include <gmock/gmock.h>

#include "support/host_sockets.h"

int main(int argc, char **argv) {
    HostStartSockets();
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
