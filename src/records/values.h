// The large object record. The date and interval records are public and stand in tavu/tvci.h.
#pragma once

#include <cstdint>

#include "tavu/tvci.h"

struct TVCISession;

constexpr uint32_t LOB_KIND_CLOB = 1;
constexpr uint32_t LOB_KIND_BLOB = 2;
constexpr uint32_t LOB_KIND_GEOMETRY = 3;

constexpr uint8_t LOB_IS_REMOTE = 1;
constexpr uint8_t LOB_IS_REMOTE_READ = 2;  // and TVCILobRead has fetched `data`

// A large value, local or behind a server descriptor.
struct LobRecord {
    uint32_t kind;         // 3: the data stand as they are; any other: see TVCILobGet
    int32_t length;        // bytes in `data`, or the length of `descriptor`
    uint8_t *data;         // owned unless `borrowed`; NULL while the value is on the server only
    uint8_t remote;        // 0, or one of LOB_IS_...: the session's values come as descriptors
    char *descriptor;      // the server's name of the value, NUL-terminated, or NULL
    TVCISession *session;  // borrowed; where the descriptor can be read, or NULL
    uint8_t borrowed;      // 1: `data` and `descriptor` lie in a result's arena; with a descriptor
                           // the data were fetched and are owned all the same
};
static_assert(sizeof(LobRecord) == 48);
