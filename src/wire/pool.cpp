// Sessions and their connections: owned by the session, or borrowed from the pool of its server.
#include "wire/pool.h"

#include <cstddef>

#include "diag/error.h"
#include "platform/memory.h"
#include "platform/text.h"
#include "platform/wait.h"
#include "records/statement.h"
#include "tavu/tvci.h"
#include "wire/connection.h"
#include "wire/login.h"
#include "wire/server_list.h"

constexpr uint32_t SESSION_TYPE = TVCI_HTYPE_SESSION;

constexpr int32_t POOL_MIN_CONN = 10;
constexpr int32_t POOL_MAX_CONN = 1000;
constexpr int32_t POOL_TIMEOUT = 6000;

static void RaiseCannotConnect(TVCISession *session) {
    ErrInfoRaiseText(session, CANNOT_CONNECT_CODE, CANNOT_CONNECT_TEXT);
}

static void DestroyConnection(Connection *conn) {
    ConnFree(conn);
    MemFree(conn);
}

// Makes a connection to `ip` with what the session's attributes and its server say of it. Clears
// the session's error.
static Connection *NewConnection(TVCISession *session, uint32_t ip) {
    Connection *conn = (Connection *)MemAlloc(sizeof(Connection));
    ErrInfoRetire(&session->error, &session->retired);
    if (conn == NULL) return NULL;
    ConnInit(conn);
    conn->ip = ip;
    conn->port = session->server->port;
    conn->timeout = session->attr.timeout;
    conn->auto_reconnect = session->attr.reconnect;
    TextCopy(conn->database, sizeof(conn->database), session->server->database);
    return conn;
}

// Connects the socket. On false the connection is gone and the session's error tells why.
static bool ConnectSocket(TVCISession *session, Connection *conn) {
    if (conn != NULL && ServerListConnect(session->server, conn)) return true;
    RaiseCannotConnect(session);
    if (conn != NULL) {
        DestroyConnection(conn);
    }
    return false;
}

// Logs on as the given user, whose name and password stay with the session, for a reconnect.
static bool LoginAs(TVCISession *session, Connection *conn, const char *user,
                    const char *password) {
    TextCopy(session->attr.user, sizeof(session->attr.user), user);
    TextCopy(session->attr.password, sizeof(session->attr.password), password);
    return TVCILogin(conn, conn->database, &session->attr);
}

static void GiveToSession(TVCISession *session, Connection *conn) {
    conn->owner = session;
    session->conn = conn;
}

Connection *TVCIOpenConnection(TVCISession *session, const char *user, const char *password) {
    Connection *conn = NewConnection(session, ServerListCurrent(session->server));
    if (!ConnectSocket(session, conn)) return NULL;
    if (LoginAs(session, conn, user, password)) return conn;
    if (ErrInfoPresent(&conn->last_error)) {
        ErrInfoRaiseCopy(session, &conn->last_error);
    } else {
        ErrInfoRaiseText(session, CANNOT_CONNECT_CODE,
                         "connect failed Maybe user password errors 3\n");
    }
    DestroyConnection(conn);
    return NULL;
}

Connection *TVCISessionLoginAgain(TVCISession *session) {
    // Copies, since the login writes the session's own fields anew.
    char user[sizeof(session->attr.user)];
    char password[sizeof(session->attr.password)];
    TextCopy(user, sizeof(user), session->attr.user);
    TextCopy(password, sizeof(password), session->attr.password);
    return TVCIOpenConnection(session, user, password);
}

static int32_t ConnectOwned(TVCISession *session, const char *user, const char *password) {
    Connection *conn = NewConnection(session, ServerListSelect(session->server));
    if (!ConnectSocket(session, conn)) return TVCI_ERROR;
    if (!LoginAs(session, conn, user, password)) {
        ErrInfoRaiseCopy(session, &conn->last_error);
        DestroyConnection(conn);
        return TVCI_ERROR;
    }
    GiveToSession(session, conn);
    session->from_pool = 0;
    return TVCI_SUCCESS;
}

// A session that cannot share the pool's connections owns the one that it gets here.
static int32_t ConnectOutsidePool(TVCISession *session, const char *user, const char *password) {
    Connection *conn = TVCIOpenConnection(session, user, password);
    if (conn == NULL) return TVCI_ERROR;
    session->from_pool = 0;
    GiveToSession(session, conn);
    return TVCI_SUCCESS;
}

static bool VectorAppend(ConnVector *vector, Connection *conn) {
    if (vector->count == vector->capacity) {
        size_t bytes = ((size_t)vector->capacity + 1) * sizeof(Connection *);
        Connection **grown = (Connection **)MemRealloc(vector->items, bytes);
        if (grown == NULL) return false;
        vector->items = grown;
        vector->capacity++;
    }
    vector->items[vector->count] = conn;
    vector->count++;
    return true;
}

static Connection *VectorRemoveAt(ConnVector *vector, int32_t index) {
    Connection *conn = vector->items[index];
    vector->count--;
    memmove(vector->items + index, vector->items + index + 1,
            (size_t)(vector->count - index) * sizeof(Connection *));
    return conn;
}

// What the pool looked like when the session came to it.
struct PoolView {
    bool same_user;  // the session may share the pool's connections
    int32_t idle_count;
    int32_t busy_count;
};

// Takes the view. The first user of an empty pool becomes the pool's. The view is not kept up: two
// sessions that come at once may both see room for a new connection.
static PoolView ViewPool(TVCIPool *pool, const char *user, const char *password) {
    MutexLock(&pool->mutex);
    PoolView view = {true, pool->idle_count, pool->busy_count};
    if (view.idle_count == 0 && view.busy_count == 0) {
        TextCopy(pool->attr.user, sizeof(pool->attr.user), user);
        TextCopy(pool->attr.password, sizeof(pool->attr.password), password);
    } else {
        view.same_user =
            TextEqualNoCase(pool->attr.user, user) && strcmp(pool->attr.password, password) == 0;
    }
    MutexUnlock(&pool->mutex);
    return view;
}

// Enters the connection as busy. Called with the pool's mutex held. When the vector cannot grow the
// connection leaves the pool with its session.
static void LendToSession(TVCIPool *pool, TVCISession *session, Connection *conn) {
    GiveToSession(session, conn);
    if (VectorAppend(&pool->busy, conn)) {
        pool->busy_count++;
    } else {
        session->from_pool = 0;
    }
}

// Waits for an idle connection and takes the first or the last one. A permit without a connection
// is spent all the same and leaves the session without one.
static int32_t ConnectIdle(TVCIPool *pool, TVCISession *session, bool first) {
    WaitSemaphore(&pool->semaphore, WAIT_POOL_PERMIT);
    MutexLock(&pool->mutex);
    if (pool->idle.count > 0) {
        Connection *conn = VectorRemoveAt(&pool->idle, first ? 0 : pool->idle.count - 1);
        pool->idle_count--;
        LendToSession(pool, session, conn);
    }
    MutexUnlock(&pool->mutex);
    return TVCI_SUCCESS;
}

static int32_t ConnectPooled(TVCISession *session, const char *user, const char *password) {
    TVCIPool *pool = session->server->pool;
    // An environment that began to pool after the server was made gave it no pool.
    if (pool == NULL) return ConnectOutsidePool(session, user, password);
    PoolView view = ViewPool(pool, user, password);
    if (!view.same_user) return ConnectOutsidePool(session, user, password);
    if (view.idle_count >= 1) return ConnectIdle(pool, session, true);
    if (view.busy_count >= pool->max_conn) return ConnectIdle(pool, session, false);
    // The login runs outside the mutex.
    Connection *conn = TVCIOpenConnection(session, user, password);
    if (conn == NULL) return TVCI_ERROR;
    MutexLock(&pool->mutex);
    LendToSession(pool, session, conn);
    MutexUnlock(&pool->mutex);
    return TVCI_SUCCESS;
}

int32_t TVCIConnect(TVCISession *session, const char *user, const char *password) {
    if (session == NULL || session->type != SESSION_TYPE) return TVCI_INVALID_HANDLE;
    if (user == NULL || password == NULL || session->conn != NULL) return TVCI_ERROR;
    return session->from_pool != 0 ? ConnectPooled(session, user, password)
                                   : ConnectOwned(session, user, password);
}

// Gives the session's connection back: from the busy ones to the idle ones, still logged in.
static void ReturnToPool(TVCIPool *pool, TVCISession *session) {
    Connection *conn = session->conn;
    session->conn = NULL;
    MutexLock(&pool->mutex);
    conn->owner = NULL;
    for (int32_t index = 0; index < pool->busy.count; index++) {
        if (pool->busy.items[index] == conn) {
            VectorRemoveAt(&pool->busy, index);
            break;
        }
    }
    pool->busy_count--;
    bool kept = VectorAppend(&pool->idle, conn);
    if (kept) {
        pool->idle_count++;
    }
    MutexUnlock(&pool->mutex);
    if (kept) {
        SemaphoreRelease(&pool->semaphore);
    } else {
        DestroyConnection(conn);
    }
}

// Lets a fetch-ahead reader that has the turn finish its block, and takes the turn from one that
// has not begun: its cursor ends with the connection. False while a block is being fetched.
static bool AheadReaderIsQuiet(AheadShare *share) {
    int32_t state = share->state.load(std::memory_order_acquire);
    while (state == AHEAD_MAY_START || state == AHEAD_BLOCK_TAKEN) {
        if (share->state.compare_exchange_weak(state, AHEAD_NO_MORE_ROWS,
                                               std::memory_order_acq_rel)) {
            return true;
        }
    }
    return state != AHEAD_FETCHING;
}

// The readers that fetch ahead find the connection through the session, so they are through with
// both before these part.
static void QuietAheadReaders(TVCISession *session) {
    Semaphore *permit = &session->conn->use_semaphore;
    for (ListLink *link = session->stmts.next; link != &session->stmts; link = link->next) {
        TVCIStmt *stmt = (TVCIStmt *)((char *)link - offsetof(TVCIStmt, link));
        while (stmt->ahead != NULL && !AheadReaderIsQuiet(stmt->ahead)) {
            // A reader sets the state before it gives the permit back.
            WaitSemaphore(permit, WAIT_CONN_FREE);
            SemaphoreRelease(permit);
        }
    }
}

int32_t TVCIDisconnect(TVCISession *session) {
    if (session == NULL || session->type != SESSION_TYPE) return TVCI_INVALID_HANDLE;
    if (session->conn == NULL) return TVCI_SUCCESS;
    QuietAheadReaders(session);
    if (session->from_pool != 0) {
        ReturnToPool(session->server->pool, session);
    } else {
        DestroyConnection(session->conn);
        session->conn = NULL;
    }
    return TVCI_SUCCESS;
}

void PoolInit(TVCIPool *pool, TVCIEnv *env) {
    pool->type = TVCI_HTYPE_POOL;
    pool->env = env;
    ListInit(&pool->sessions);
    pool->min_conn = POOL_MIN_CONN;
    pool->max_conn = POOL_MAX_CONN;
    pool->pool_timeout = POOL_TIMEOUT;
    pool->reserved = 0;
    ListInit(&pool->reserved_list);
    MutexInit(&pool->mutex);
    SemaphoreInit(&pool->semaphore, 0);
    pool->idle_count = 0;
    pool->busy_count = 0;
    pool->busy = {};
    pool->idle = {};
    ConnAttrInit(&pool->attr);
}

// Closes one connection of the vector, if it holds one. The others stay open, named by the record,
// which outlives its server.
static void ReleaseVector(ConnVector *vector) {
    if (vector->count > 0) {
        DestroyConnection(VectorRemoveAt(vector, 0));
    }
    if (vector->count == 0) {
        MemFree(vector->items);
        *vector = {};
    }
}

void PoolRelease(TVCIPool *pool) {
    MutexLock(&pool->mutex);
    ReleaseVector(&pool->idle);
    pool->idle_count = 0;
    ReleaseVector(&pool->busy);
    pool->busy_count = 0;
    SemaphoreDestroy(&pool->semaphore);
    MutexUnlock(&pool->mutex);
}
