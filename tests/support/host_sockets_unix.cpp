// The socket layer of a test program on Unix, which needs no start.
#include "support/host_sockets.h"

void HostStartSockets() {}
