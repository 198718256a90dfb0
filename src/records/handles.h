// The native handles: environment, server, session and pool. The statement is in statement.h.
// Each begins with its type word, which is set to 0 before the record is freed.
#pragma once

#include <cstdint>

#include "platform/list.h"
#include "platform/lock.h"
#include "records/connection.h"

struct ErrInfo;
struct TVCIPool;

constexpr int32_t IP_TEXT_BYTES = 16;

// One address of a server's failover list.
struct IpNode {
    char text[IP_TEXT_BYTES];  // the dotted address as written
    IpNode *next;              // owned
    int32_t count;             // nodes in the list; valid in the head only
    int32_t position;          // index in the list
    uint32_t addr;             // network order
};

struct TVCIEnv {
    uint32_t type;     // 1
    TVCIPool *pool;    // borrowed; a pool allocated with this parent, or NULL
    ListLink servers;  // of TVCIServer.link
    uint16_t version_major;
    uint16_t version_minor;
    uint8_t use_pool;
    Mutex mutex;        // guards `servers`
    ErrInfo *error;     // owned, with all it replaced
    void **owner_slot;  // borrowed; the pointer above that names this handle, or NULL
};

struct TVCIServer {
    uint32_t type;      // 2
    ListLink link;      // in TVCIEnv.servers
    TVCIEnv *env;       // parent
    TVCIPool *pool;     // owned contents; NULL unless the environment pooled when this was made
    ListLink sessions;  // of TVCISession.link
    char host[128];
    uint32_t ip;    // network order
    uint16_t port;  // host order
    char database[128];
    Mutex mutex;          // guards `sessions`
    ErrInfo *error;       // owned, with all it replaced
    uint8_t has_ip_list;  // an address list was set; `ip_list` may be NULL all the same
    int32_t ip_position;
    IpNode *ip_list;  // owned; head of the failover list, or NULL
    uint8_t has_control_file;
    int32_t ctl_auto_commit;
    int32_t ctl_server_cursor;
    char ctl_char_set[8];
    void **owner_slot;
};

struct TVCISession {
    uint32_t type;       // 3
    ListLink link;       // in TVCIServer.sessions
    ListLink stmts;      // of TVCIStmt.link
    Mutex mutex;         // guards `stmts`
    TVCIServer *server;  // parent
    Connection *conn;    // owned, or the pool's; NULL while not connected
    ConnAttr attr;
    uint8_t from_pool;     // `conn` goes back to the server's pool
    ErrInfo *error;        // owned; the current record, or NULL
    ErrInfo *retired;      // owned; records dropped by a reconnect
    Connection *lob_conn;  // owned; NULL until a large value is fetched
    Semaphore lob_permit;  // one permit: to look for `lob_conn` and to make it
    char conn_user[128];
    char conn_password[128];
    void **owner_slot;
};

// A growing array of borrowed connections.
struct ConnVector {
    Connection **items;
    int32_t count;
    int32_t capacity;
};

struct TVCIPool {
    uint32_t type;      // 4
    TVCIEnv *env;       // parent
    ListLink sessions;  // never filled
    int32_t min_conn;   // stored only
    int32_t max_conn;
    int32_t pool_timeout;  // stored only
    int32_t reserved;
    ListLink reserved_list;  // never filled
    Mutex mutex;             // guards the counters and the two vectors
    Semaphore semaphore;     // one permit for each idle connection
    int32_t idle_count;
    int32_t busy_count;
    ConnVector busy;
    ConnVector idle;
    ConnAttr attr;        // user and password are the pool's identity
    ErrInfo *error;       // owned, with all it replaced
    TVCIPool *next_kept;  // the pool that was made before this one
};
