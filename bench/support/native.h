// Native handles that talk to the replaying server.
#pragma once

#include <cstdint>

#include "tavu/tvci.h"

// Ends the program unless the call gave 0.
void NativeMust(int32_t status, const char *what);

// An environment with one server handle, which pools its connections or not. Freed through `env`.
struct NativeClient {
    TVCIEnv *env;
    TVCIServer *server;
};
NativeClient NativeClientMake(uint16_t port, bool pooled);

// A session that will log on in the plain or the enciphered form.
TVCISession *NativeSessionMake(const NativeClient &client, bool enciphered);
