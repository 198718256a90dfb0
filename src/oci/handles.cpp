// Environment and handles of the call interface.
#include "oci/handles.h"

#include "oci/record_links.h"
#include "oci/stmt.h"
#include "oci/usermem.h"
#include "platform/memory.h"
#include "platform/text.h"

int32_t OciInitialize(uint32_t mode, void *ctxp, OCIMallocFunc malocfp, OCIReallocFunc ralocfp,
                      OCIFreeFunc mfreefp) {
    (void)mode;
    (void)ctxp;
    (void)malocfp;
    (void)ralocfp;
    (void)mfreefp;
    return OCI_SUCCESS;
}

int32_t OciTerminate(uint32_t mode) {
    (void)mode;
    return OCI_SUCCESS;
}

int32_t OciEnvInit(OCIEnv **envhpp, uint32_t mode, size_t xtramemsz, void **usrmempp) {
    if (envhpp == NULL) return OCI_ERROR;
    return OciEnvCreate(envhpp, mode, NULL, NULL, NULL, NULL, xtramemsz, usrmempp);
}

int32_t OciEnvCreate(OCIEnv **envhpp, uint32_t mode, void *ctxp, OCIMallocFunc malocfp,
                     OCIReallocFunc ralocfp, OCIFreeFunc mfreefp, size_t xtramemsz,
                     void **usrmempp) {
    (void)mode;
    if (envhpp == NULL) return OCI_INVALID_HANDLE;
    void *memory = NULL;
    if (xtramemsz != 0 && usrmempp != NULL) {
        memory = UserMemAlloc(ctxp, malocfp, xtramemsz);
        *usrmempp = memory;
        if (memory == NULL) return OCI_ERROR;
    }
    OCIEnv *env = (OCIEnv *)MemAlloc(sizeof(OCIEnv));
    int32_t result = OCI_ERROR;
    if (env != NULL) {
        env->type = OCI_HTYPE_ENV;
        env->malocfp = malocfp;
        env->ralocfp = ralocfp;
        env->mfreefp = mfreefp;
        env->ctxp = ctxp;
        env->usermem_list = &env->first_usermem;
        env->first_usermem.memory = memory;
        result = TVCIHandleAlloc(NULL, (void **)&env->native_env, TVCI_HTYPE_ENV);
        // Set after a failure too: the caller gets an address that it must not use.
        *envhpp = env;
    }
    if (result != 0) {
        UserMemRelease(ctxp, malocfp, mfreefp, memory);
        if (usrmempp != NULL) {
            *usrmempp = NULL;
        }
        MemFree(env);
        return result;
    }
    env->native_env->owner_slot = (void **)&env->native_env;
    RecordAttach(NULL, &env->link, env);
    return result;
}

// The statement step: gives a statement its native handle under the newest session.
static int32_t StmtStep(OCIEnv *env, OCIStmt *stmtp) {
    int32_t result =
        TVCIHandleAlloc(EnvSessionParent(env), (void **)&stmtp->native_stmt, TVCI_HTYPE_STMT);
    if (result != 0) return result;
    stmtp->native_stmt->owner_slot = (void **)&stmtp->native_stmt;
    EnvNameStmt(env, stmtp);
    return OCI_SUCCESS;
}

static void DrainPendingStmts(OCIEnv *env) {
    for (int32_t i = 0; i < env->pending_stmt_count; i++) {
        StmtStep(env, env->pending_stmts[i]);
    }
    MemFree(env->pending_stmts);
    env->pending_stmts = NULL;
    env->pending_stmt_count = 0;
}

// The session step: gives a session its native handle under the newest server. Every session runs
// with auto commit off and with rowids.
static int32_t SessionStep(OCIEnv *env, OCISession *session) {
    int32_t result = TVCIHandleAlloc(EnvServerParent(env), (void **)&session->native_session,
                                     TVCI_HTYPE_SESSION);
    if (result != 0) return result;
    session->native_session->owner_slot = (void **)&session->native_session;
    uint32_t charset = EnvCharset(env);
    const int32_t off = 0;
    const int32_t on = 1;
    TVCIAttrSet(session->native_session, 33, &charset, 0);
    TVCIAttrSet(session->native_session, 38, &off, 0);
    TVCIAttrSet(session->native_session, 46, &on, 0);
    env->session = session;
    NameSet(&env->session_name, &session->link);
    DrainPendingStmts(env);
    return OCI_SUCCESS;
}

static void DrainPendingSessions(OCIEnv *env) {
    for (int32_t i = 0; i < env->pending_session_count; i++) {
        SessionStep(env, env->pending_sessions[i]);
    }
    MemFree(env->pending_sessions);
    env->pending_sessions = NULL;
    env->pending_session_count = 0;
}

// Both kinds of pending array hold pointers to records. The array grows by one.
template <typename Record>
static bool PendingAppend(Record ***array, int32_t *count, Record *record) {
    Record **grown = (Record **)MemRealloc(*array, ((size_t)*count + 1) * sizeof(Record *));
    if (grown == NULL) return false;
    grown[*count] = record;
    *array = grown;
    *count += 1;
    return true;
}

template <typename Record>
static void PendingRemove(Record **array, int32_t *count, const Record *record) {
    int32_t kept = 0;
    for (int32_t i = 0; i < *count; i++) {
        if (array[i] != record) {
            array[kept++] = array[i];
        }
    }
    *count = kept;
}

// Bytes of the record of a handle type; 0 for a type that no handle is made of.
static size_t RecordBytes(uint32_t type) {
    switch (type) {
        case OCI_HTYPE_SERVER: return sizeof(OCIServer);
        case OCI_HTYPE_SESSION: return sizeof(OCISession);
        case OCI_HTYPE_STMT: return sizeof(OCIStmt);
        case OCI_HTYPE_ERROR: return sizeof(OCIError);
        case OCI_HTYPE_SVCCTX: return sizeof(OCISvcCtx);
        default: return 0;
    }
}

static int32_t ErrorInit(OCIEnv *env, OCIError *errhp) {
    RecordAttach(env, &errhp->link, errhp);
    return OCI_SUCCESS;
}

static int32_t SvcCtxInit(OCIEnv *env, OCISvcCtx *svchp) {
    RecordAttach(env, &svchp->link, svchp);
    TextCopy(svchp->ip, sizeof(svchp->ip), "127.0.0.1");
    svchp->port = 5138;
    svchp->charset = 1;
    NameSet(&env->svcctx, &svchp->link);
    return OCI_SUCCESS;
}

static int32_t ServerInit(OCIEnv *env, OCIServer *server, void *memory, void **usrmempp) {
    int32_t result =
        TVCIHandleAlloc(env->native_env, (void **)&server->native_server, TVCI_HTYPE_SERVER);
    if (result != 0) {
        UserMemDrop(env, memory);
        if (usrmempp != NULL) {
            *usrmempp = NULL;
        }
        MemFree(server);
        return result;
    }
    server->native_server->owner_slot = (void **)&server->native_server;
    RecordAttach(env, &server->link, server);
    env->server = server;
    NameSet(&env->server_name, &server->link);
    DrainPendingSessions(env);
    return OCI_SUCCESS;
}

// Frees the record of a session or statement that could not be made.
static int32_t InitFailed(RecordLink *link, void **hndlpp, int32_t result) {
    RecordDetach(link);
    MemFree(link->record);
    *hndlpp = NULL;
    return result;
}

static int32_t SessionInit(OCIEnv *env, OCISession *session, void *memory, void **hndlpp) {
    session->usermem = memory;
    RecordAttach(env, &session->link, session);
    if (env->server == NULL) {
        if (PendingAppend(&env->pending_sessions, &env->pending_session_count, session)) {
            return OCI_SUCCESS;
        }
        UserMemRemove(env, memory);
        return InitFailed(&session->link, hndlpp, OCI_ERROR);
    }
    int32_t result = SessionStep(env, session);
    if (result == 0) return OCI_SUCCESS;
    UserMemDrop(env, memory);
    return InitFailed(&session->link, hndlpp, result);
}

static int32_t StmtInit(OCIEnv *env, OCIStmt *stmtp, void *memory, void **hndlpp) {
    stmtp->usermem = memory;
    RecordAttach(env, &stmtp->link, stmtp);
    if (env->session == NULL) {
        if (PendingAppend(&env->pending_stmts, &env->pending_stmt_count, stmtp)) {
            return OCI_SUCCESS;
        }
        UserMemRemove(env, memory);
        return InitFailed(&stmtp->link, hndlpp, OCI_ERROR);
    }
    int32_t result = StmtStep(env, stmtp);
    if (result == 0) return OCI_SUCCESS;
    UserMemDrop(env, memory);
    return InitFailed(&stmtp->link, hndlpp, result);
}

int32_t OciHandleAlloc(const void *parenth, void **hndlpp, uint32_t type, size_t xtramem_sz,
                       void **usrmempp) {
    if (parenth == NULL || hndlpp == NULL || type == OCI_HTYPE_ENV ||
        *(const uint32_t *)parenth != OCI_HTYPE_ENV) {
        return OCI_INVALID_HANDLE;
    }
    OCIEnv *env = (OCIEnv *)const_cast<void *>(parenth);
    void *memory = NULL;
    if (xtramem_sz > 0 && usrmempp != NULL) {
        memory = UserMemAdd(env, xtramem_sz);
        *usrmempp = memory;
        if (memory == NULL) return OCI_ERROR;
    }
    size_t bytes = RecordBytes(type);
    if (bytes == 0) return OCI_ERROR;
    void *record = MemAlloc(bytes);
    *hndlpp = record;
    if (record == NULL) {
        UserMemRemove(env, memory);
        if (usrmempp != NULL) {
            *usrmempp = NULL;
        }
        return OCI_ERROR;
    }
    *(uint32_t *)record = type;
    switch (type) {
        case OCI_HTYPE_SVCCTX: return SvcCtxInit(env, (OCISvcCtx *)record);
        case OCI_HTYPE_SERVER: return ServerInit(env, (OCIServer *)record, memory, usrmempp);
        case OCI_HTYPE_SESSION: return SessionInit(env, (OCISession *)record, memory, hndlpp);
        case OCI_HTYPE_STMT: return StmtInit(env, (OCIStmt *)record, memory, hndlpp);
        default: return ErrorInit(env, (OCIError *)record);
    }
}

static int32_t ErrorFree(OCIError *errhp) {
    NameClear(&errhp->source_handle);
    RecordDetach(&errhp->link);
    MemFree(errhp);
    return OCI_SUCCESS;
}

static int32_t SvcCtxFree(OCISvcCtx *svchp) {
    NameClear(&svchp->server_name);
    NameClear(&svchp->session_name);
    NameClear(&svchp->stmt);
    RecordDetach(&svchp->link);
    MemFree(svchp);
    return OCI_SUCCESS;
}

static int32_t ServerFree(OCIServer *server) {
    int32_t result = TVCIHandleFree(server->native_server);
    RecordDetach(&server->link);
    MemFree(server);
    return result;
}

static int32_t SessionFree(OCISession *session) {
    int32_t result = TVCIHandleFree(session->native_session);
    OCIEnv *env = RecordEnv(&session->link);
    if (env != NULL && session->native_session == NULL) {
        PendingRemove(env->pending_sessions, &env->pending_session_count, session);
    }
    RecordDetach(&session->link);
    MemFree(session);
    return result;
}

static int32_t StmtFree(OCIStmt *stmtp) {
    int32_t result = TVCIHandleFree(stmtp->native_stmt);
    OciTextsFree(stmtp);
    OciDefinesFree(stmtp);
    OciBindsFree(stmtp);
    ParamsRelease(stmtp);
    OCIEnv *env = RecordEnv(&stmtp->link);
    if (env != NULL && stmtp->native_stmt == NULL) {
        PendingRemove(env->pending_stmts, &env->pending_stmt_count, stmtp);
    }
    RecordDetach(&stmtp->link);
    MemFree(stmtp);
    return result;
}

// The records made from the environment live on without it.
static int32_t EnvFree(OCIEnv *env) {
    int32_t result = TVCIHandleFree(env->native_env);
    UserMemReleaseAll(env);
    while (env->lost_blocks != NULL) {
        LostBlock *block = env->lost_blocks;
        env->lost_blocks = block->next;
        MemFree(block);
    }
    while (env->older_params != NULL) {
        OCIParam *param = env->older_params;
        env->older_params = param->older;
        MemFree(param);
    }
    NameClear(&env->svcctx);
    NameClear(&env->server_name);
    NameClear(&env->session_name);
    RecordDetach(&env->link);
    MemFree(env->pending_sessions);
    MemFree(env->pending_stmts);
    MemFree(env);
    return result;
}

int32_t OciHandleFree(void *hndlp, uint32_t type) {
    if (hndlp == NULL || *(const uint32_t *)hndlp != type) return OCI_INVALID_HANDLE;
    switch (type) {
        case OCI_HTYPE_ENV: return EnvFree((OCIEnv *)hndlp);
        case OCI_HTYPE_SERVER: return ServerFree((OCIServer *)hndlp);
        case OCI_HTYPE_SESSION: return SessionFree((OCISession *)hndlp);
        case OCI_HTYPE_STMT: return StmtFree((OCIStmt *)hndlp);
        case OCI_HTYPE_ERROR: return ErrorFree((OCIError *)hndlp);
        case OCI_HTYPE_SVCCTX: return SvcCtxFree((OCISvcCtx *)hndlp);
        default: return OCI_INVALID_HANDLE;
    }
}

OCISession *SvcSession(const OCISvcCtx *svchp) {
    return (OCISession *)NameRecord(&svchp->session_name);
}

TVCISession *SvcNativeSession(const OCISvcCtx *svchp) {
    OCISession *session = SvcSession(svchp);
    return session != NULL ? session->native_session : NULL;
}
