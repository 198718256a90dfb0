// Native handles that talk to the replaying server.
#include "support/native.h"

#include <cstdio>
#include <cstdlib>

static constexpr int32_t ATTR_USE_POOL = 2;
static constexpr int32_t ATTR_ADDRESS = 21;
static constexpr int32_t ATTR_PORT = 22;
static constexpr int32_t ATTR_DATABASE = 24;
static constexpr int32_t ATTR_ENCIPHERED = 37;

void NativeMust(int32_t status, const char *what) {
    if (status == TVCI_SUCCESS) return;
    fprintf(stderr, "%s gives %d\n", what, (int)status);
    exit(1);
}

NativeClient NativeClientMake(uint16_t port, bool pooled) {
    NativeClient client = {};
    uint32_t pool_word = pooled;
    uint32_t port_word = port;
    NativeMust(TVCIHandleAlloc(NULL, (void **)&client.env, TVCI_HTYPE_ENV), "environment");
    NativeMust(TVCIAttrSet(client.env, ATTR_USE_POOL, &pool_word, -1), "pool");
    NativeMust(TVCIHandleAlloc(client.env, (void **)&client.server, TVCI_HTYPE_SERVER), "server");
    NativeMust(TVCIAttrSet(client.server, ATTR_ADDRESS, "127.0.0.1", -1), "address");
    NativeMust(TVCIAttrSet(client.server, ATTR_PORT, &port_word, -1), "port");
    NativeMust(TVCIAttrSet(client.server, ATTR_DATABASE, "SYSTEM", -1), "database");
    return client;
}

TVCISession *NativeSessionMake(const NativeClient &client, bool enciphered) {
    TVCISession *session = NULL;
    uint32_t word = enciphered;
    NativeMust(TVCIHandleAlloc(client.server, (void **)&session, TVCI_HTYPE_SESSION), "session");
    NativeMust(TVCIAttrSet(session, ATTR_ENCIPHERED, &word, -1), "form of the login");
    return session;
}
