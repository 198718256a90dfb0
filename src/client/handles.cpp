// The tree of native handles: how they are made under their parents, and freed from the leaves up.
#include "client/handles.h"

#include <cstddef>

#include "client/control_file.h"
#include "diag/error.h"
#include "platform/memory.h"
#include "platform/text.h"
#include "records/handles.h"
#include "records/statement.h"
#include "stmt/statement.h"
#include "tavu/tvci.h"
#include "wire/connection.h"
#include "wire/pool.h"
#include "wire/server_list.h"

// The most that the error of a session or a statement hands out.
constexpr uint32_t ERROR_COPY_BYTES = 512;

uint32_t dead_handle[4] = {};

// No call ends the life of a pool record: the application may name it as long as it runs. All are
// kept here, newest first.
static Mutex pools_lock = MUTEX_INITIALIZER;
static TVCIPool *pools = NULL;

static TVCIServer *ServerOfLink(ListLink *link) {
    return (TVCIServer *)((char *)link - offsetof(TVCIServer, link));
}

static TVCISession *SessionOfLink(ListLink *link) {
    return (TVCISession *)((char *)link - offsetof(TVCISession, link));
}

static TVCIStmt *StmtOfLink(ListLink *link) {
    return (TVCIStmt *)((char *)link - offsetof(TVCIStmt, link));
}

static TVCIEnv *EnvCreate(void) {
    TVCIEnv *env = (TVCIEnv *)MemAlloc(sizeof(TVCIEnv));
    if (env == NULL) return NULL;
    env->type = TVCI_HTYPE_ENV;
    ListInit(&env->servers);
    env->version_major = 1;
    MutexInit(&env->mutex);
    swap_bytes.store(1, std::memory_order_relaxed);
    return env;
}

static TVCIPool *PoolCreate(TVCIEnv *env) {
    TVCIPool *pool = (TVCIPool *)MemAlloc(sizeof(TVCIPool));
    if (pool == NULL) return NULL;
    PoolInit(pool, env);
    MutexLock(&pools_lock);
    pool->next_kept = pools;
    pools = pool;
    MutexUnlock(&pools_lock);
    return pool;
}

static TVCIServer *ServerCreate(TVCIEnv *env) {
    TVCIServer *server = (TVCIServer *)MemAlloc(sizeof(TVCIServer));
    if (server == NULL) return NULL;
    server->type = TVCI_HTYPE_SERVER;
    server->env = env;
    ListInit(&server->sessions);
    server->port = DEFAULT_PORT;
    if (env->use_pool != 0) {
        server->pool = PoolCreate(env);
        if (server->pool == NULL) {
            MemFree(server);
            return NULL;
        }
    }
    MutexInit(&server->mutex);
    ControlFileRead(server);
    MutexLock(&env->mutex);
    ListAppend(&env->servers, &server->link);
    MutexUnlock(&env->mutex);
    return server;
}

static TVCISession *SessionCreate(TVCIServer *server) {
    TVCISession *session = (TVCISession *)MemAlloc(sizeof(TVCISession));
    if (session == NULL) return NULL;
    session->type = TVCI_HTYPE_SESSION;
    session->server = server;
    ListInit(&session->stmts);
    MutexInit(&session->mutex);
    SemaphoreInit(&session->lob_permit, 1);
    ConnAttrInit(&session->attr);
    session->from_pool = server->env->use_pool;
    if (server->has_control_file != 0) {
        session->attr.auto_commit = server->ctl_auto_commit != 0;
        TextCopy(session->attr.char_set, sizeof(session->attr.char_set), server->ctl_char_set);
    }
    MutexLock(&server->mutex);
    ListAppend(&server->sessions, &session->link);
    MutexUnlock(&server->mutex);
    return session;
}

static TVCIPool *EnvPoolCreate(TVCIEnv *env) {
    TVCIPool *pool = PoolCreate(env);
    if (pool == NULL) return NULL;
    MutexLock(&env->mutex);
    env->pool = pool;
    MutexUnlock(&env->mutex);
    return pool;
}

// The type word that a handle of `type` needs in its parent; 0 for a type that is not in the tree.
static uint32_t ParentType(int32_t type) {
    switch (type) {
        case TVCI_HTYPE_SERVER:
        case TVCI_HTYPE_POOL: return TVCI_HTYPE_ENV;
        case TVCI_HTYPE_SESSION: return TVCI_HTYPE_SERVER;
        case TVCI_HTYPE_STMT: return TVCI_HTYPE_SESSION;
        default: return 0;
    }
}

static int32_t RefuseParent(void *parent, int32_t type) {
    int32_t parent_type = (int32_t) * (const uint32_t *)parent;
    switch (type) {
        case TVCI_HTYPE_SESSION:
            ErrInfoRaise(parent, "E32102", " parenthandle need Server type not %d type ",
                         parent_type);
            break;
        case TVCI_HTYPE_STMT:
            ErrInfoRaise(parent, "E32102", " parenthandle need Session type not %d type ",
                         parent_type);
            break;
        default:
            ErrInfoRaise(parent, "E32102", " parenthandle need env type not %d type ", parent_type);
            break;
    }
    return -1;
}

int32_t TVCIHandleAlloc(void *parent, void **out, int32_t type) {
    if (parent == NULL && type != TVCI_HTYPE_ENV) return -2;
    if (out == NULL) return parent == NULL ? -1 : -3;
    if (type == HTYPE_EMPTY) return 0;
    uint32_t parent_type = ParentType(type);
    if (type != TVCI_HTYPE_ENV && parent_type == 0) {
        ErrInfoRaise(parent, "E32103", " Unsupported type %d type ", type);
        return -2;
    }
    if (type != TVCI_HTYPE_ENV && *(const uint32_t *)parent != parent_type) {
        return RefuseParent(parent, type);
    }
    void *handle = NULL;
    switch (type) {
        case TVCI_HTYPE_ENV: handle = EnvCreate(); break;
        case TVCI_HTYPE_SERVER: handle = ServerCreate((TVCIEnv *)parent); break;
        case TVCI_HTYPE_SESSION: handle = SessionCreate((TVCIServer *)parent); break;
        case TVCI_HTYPE_POOL: handle = EnvPoolCreate((TVCIEnv *)parent); break;
        default: handle = StmtCreate((TVCISession *)parent); break;
    }
    if (handle == NULL) return -5;
    *out = handle;
    return 0;
}

static void SessionFree(TVCISession *session) {
    while (!ListEmpty(&session->stmts)) {
        StmtRelease(StmtOfLink(session->stmts.next), 4);
    }
    if (session->conn != NULL) {
        TVCIDisconnect(session);
    }
    if (session->lob_conn != NULL) {
        ConnFree(session->lob_conn);
        MemFree(session->lob_conn);
    }
    MutexLock(&session->server->mutex);
    ListRemove(&session->link);
    MutexUnlock(&session->server->mutex);
    MutexDestroy(&session->mutex);
    SemaphoreDestroy(&session->lob_permit);
    ErrInfoFree(&session->error);
    ErrInfoFree(&session->retired);
    session->type = 0;
    ForgetOwner(session->owner_slot);
    MemFree(session);
}

static void ServerFree(TVCIServer *server) {
    while (!ListEmpty(&server->sessions)) {
        SessionFree(SessionOfLink(server->sessions.next));
    }
    // A server that was made before pooling was switched on has no pool.
    if (server->env->use_pool != 0 && server->pool != NULL) {
        PoolRelease(server->pool);
    }
    // Also the nodes that a refused list has left behind.
    ServerListFree(server);
    MutexLock(&server->env->mutex);
    ListRemove(&server->link);
    MutexUnlock(&server->env->mutex);
    MutexDestroy(&server->mutex);
    ErrInfoFree(&server->error);
    server->type = 0;
    ForgetOwner(server->owner_slot);
    MemFree(server);
}

static void EnvFree(TVCIEnv *env) {
    while (!ListEmpty(&env->servers)) {
        ServerFree(ServerOfLink(env->servers.next));
    }
    MutexDestroy(&env->mutex);
    ErrInfoFree(&env->error);
    env->type = 0;
    ForgetOwner(env->owner_slot);
    MemFree(env);
}

int32_t TVCIHandleFree(void *handle) {
    if (handle == NULL) return -3;
    switch (*(const uint32_t *)handle) {
        case TVCI_HTYPE_ENV: EnvFree((TVCIEnv *)handle); return 0;
        case TVCI_HTYPE_SERVER: ServerFree((TVCIServer *)handle); return 0;
        case TVCI_HTYPE_SESSION: SessionFree((TVCISession *)handle); return 0;
        case TVCI_HTYPE_STMT: return StmtRelease((TVCIStmt *)handle, 4);
        case TVCI_HTYPE_POOL:
        case HTYPE_UNMADE_FIRST:
        case HTYPE_UNMADE_LAST:
        case HTYPE_EMPTY:
        case TVCI_HTYPE_COLUMN: return 0;
        default: return -2;
    }
}

int32_t TVCIStmtClose(TVCIStmt *stmt, int32_t mode) {
    if (stmt == NULL || stmt->type != TVCI_HTYPE_STMT) return -2;
    if (mode < 1 || mode > 3) return -3;
    return StmtRelease(stmt, mode);
}

// The errors of environments, servers and pools are handed out at any length.
int32_t TVCIGetError(void *handle, char *code, char *message, uint32_t *length) {
    if (handle == NULL) return 0;
    uint32_t message_max = UINT32_MAX;
    switch (*(const uint32_t *)handle) {
        case TVCI_HTYPE_SESSION:
        case TVCI_HTYPE_STMT: message_max = ERROR_COPY_BYTES; break;
        default: break;
    }
    ErrInfo *const *slot = ErrInfoSlot(handle);
    if (slot != NULL) {
        ErrInfoCopy(slot, code, message, message_max, length);
    }
    return 0;
}
