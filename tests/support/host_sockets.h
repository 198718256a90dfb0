// The socket layer of the process. The library starts none: that is its host's affair, and in a
// test the host is the test program.
#pragma once

void HostStartSockets();
