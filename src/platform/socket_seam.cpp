// The seam below the buffers: a test's own send and receive in place of the system's.
#include "platform/socket_seam.h"

#ifdef TAVU_TEST_SEAMS
#include <atomic>

typedef int64_t (*SendHook)(SocketId, const void *, size_t);
typedef int64_t (*ReceiveHook)(SocketId, void *, size_t);

static std::atomic<SendHook> test_send;
static std::atomic<ReceiveHook> test_receive;

void SocketSetHooks(SendHook send_hook, ReceiveHook receive_hook) {
    test_send = send_hook;
    test_receive = receive_hook;
}

bool SocketSendHooked(SocketId socket, const void *bytes, size_t count, int64_t *result) {
    SendHook hook = test_send.load();
    if (hook == NULL) return false;
    *result = hook(socket, bytes, count);
    return true;
}

bool SocketReceiveHooked(SocketId socket, void *bytes, size_t count, int64_t *result) {
    ReceiveHook hook = test_receive.load();
    if (hook == NULL) return false;
    *result = hook(socket, bytes, count);
    return true;
}
#else
bool SocketSendHooked(SocketId, const void *, size_t, int64_t *) {
    return false;
}

bool SocketReceiveHooked(SocketId, void *, size_t, int64_t *) {
    return false;
}
#endif
