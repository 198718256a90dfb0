// The links between records: a name follows its record until that is freed, and no longer.
#include "oci/record_links.h"

#include <cstring>

#include "client/handles.h"
#include "platform/lock.h"
#include "platform/memory.h"

static ListLink all_records = {&all_records, &all_records};

static Mutex *MakeLinksLock(void) {
    static Mutex lock;
    MutexInit(&lock);
    return &lock;
}

// Guards `all_records`, every name and what environments keep of their newest records.
static Mutex *LinksLock(void) {
    static Mutex *const lock = MakeLinksLock();
    return lock;
}

static RecordLink *LinkOf(ListLink *link) {
    return reinterpret_cast<RecordLink *>(link);
}

static RecordName *NameOf(ListLink *link) {
    return reinterpret_cast<RecordName *>(link);
}

// The caller holds the lock, here and below.
static void EndName(RecordName *name) {
    ListRemove(&name->link);
    name->target = NULL;
    name->stmt = NULL;
}

static void ForgetInEnv(OCIEnv *env, const void *record) {
    if (env->server == record) {
        env->server_freed = 1;
    }
    if (env->session == record) {
        env->session_freed = 1;
    }
    if (env->svcctx == record) {
        env->svcctx = NULL;
    }
}

void RecordAttach(OCIEnv *env, RecordLink *link, void *record) {
    link->record = record;
    link->env = env;
    ListInit(&link->names);
    MutexLock(LinksLock());
    ListAppend(&all_records, &link->link);
    MutexUnlock(LinksLock());
}

void RecordDetach(RecordLink *link) {
    MutexLock(LinksLock());
    while (!ListEmpty(&link->names)) {
        RecordName *name = NameOf(link->names.next);
        if (name->pointer != NULL) {
            std::memset(name->pointer, 0, sizeof(void *));
        }
        EndName(name);
    }
    if (link->env != NULL) {
        ForgetInEnv(link->env, link->record);
    }
    ListRemove(&link->link);
    MutexUnlock(LinksLock());
}

// The environment of a service context stands in two places.
static void ForgetEnv(RecordLink *link) {
    if (*(const uint32_t *)link->record == OCI_HTYPE_SVCCTX) {
        ((OCISvcCtx *)link->record)->env = NULL;
    }
    link->env = NULL;
}

void RecordsForgetEnv(OCIEnv *env) {
    MutexLock(LinksLock());
    for (ListLink *link = all_records.next; link != &all_records; link = link->next) {
        if (LinkOf(link)->env == env) {
            ForgetEnv(LinkOf(link));
        }
    }
    MutexUnlock(LinksLock());
}

// The caller holds the lock.
static void SetName(RecordName *name, RecordLink *target, void *pointer, OCIStmt *stmt) {
    if (name->target != NULL) {
        EndName(name);
    }
    void *record = NULL;
    if (target != NULL) {
        ListAppend(&target->names, &name->link);
        record = target->record;
    }
    name->target = target;
    name->pointer = pointer;
    name->stmt = stmt;
    if (pointer != NULL) {
        std::memcpy(pointer, &record, sizeof(record));
    }
}

void NameSet(RecordName *name, RecordLink *target, void *pointer) {
    // Nearly every call names what the last one named.
    if (target != NULL && name->target.load(std::memory_order_relaxed) == target) return;
    MutexLock(LinksLock());
    SetName(name, target, pointer, NULL);
    MutexUnlock(LinksLock());
}

void NameLocator(RecordName *name, OCILobLocator *locator, OCIStmt *stmt) {
    MutexLock(LinksLock());
    SetName(name, &locator->link, NULL, stmt);
    MutexUnlock(LinksLock());
}

void NameFind(RecordName *name, const void *record, uint32_t type) {
    RecordLink *found = NULL;
    MutexLock(LinksLock());
    for (ListLink *link = all_records.next; link != &all_records; link = link->next) {
        if (LinkOf(link)->record == record && *(const uint32_t *)record == type) {
            found = LinkOf(link);
        }
    }
    SetName(name, found, NULL, NULL);
    MutexUnlock(LinksLock());
}

void *NameRecord(const RecordName *name) {
    MutexLock(LinksLock());
    RecordLink *target = name->target;
    void *record = target != NULL ? target->record : NULL;
    MutexUnlock(LinksLock());
    return record;
}

OCIStmt *NameTakeStmt(RecordLink *target) {
    OCIStmt *stmt = NULL;
    MutexLock(LinksLock());
    for (ListLink *link = target->names.next; link != &target->names; link = link->next) {
        RecordName *name = NameOf(link);
        if (name->stmt != NULL) {
            stmt = name->stmt;
            EndName(name);
            break;
        }
    }
    MutexUnlock(LinksLock());
    return stmt;
}

void EnvSetServer(OCIEnv *env, OCIServer *server) {
    MutexLock(LinksLock());
    env->server = server;
    env->server_freed = 0;
    MutexUnlock(LinksLock());
}

void EnvSetSession(OCIEnv *env, OCISession *session) {
    MutexLock(LinksLock());
    env->session = session;
    env->session_freed = 0;
    MutexUnlock(LinksLock());
}

void EnvSetSvcCtx(OCIEnv *env, OCISvcCtx *svchp) {
    MutexLock(LinksLock());
    env->svcctx = svchp;
    MutexUnlock(LinksLock());
}

void EnvSetStmt(OCIEnv *env, OCIStmt *stmtp) {
    MutexLock(LinksLock());
    OCISvcCtx *svchp = env->svcctx;
    if (svchp != NULL) {
        SetName(&svchp->stmt_name, &stmtp->link, &svchp->stmt, NULL);
    }
    MutexUnlock(LinksLock());
}

void EnvKeepParam(OCIEnv *env, OCIParam *param) {
    if (env == NULL) {
        MemFree(param);
        return;
    }
    MutexLock(LinksLock());
    param->older = env->older_params;
    env->older_params = param;
    MutexUnlock(LinksLock());
}

void *EnvServerParent(const OCIEnv *env) {
    MutexLock(LinksLock());
    void *parent = env->server_freed ? (void *)dead_handle : env->server->native_server;
    MutexUnlock(LinksLock());
    return parent;
}

void *EnvSessionParent(const OCIEnv *env) {
    MutexLock(LinksLock());
    void *parent = env->session_freed ? (void *)dead_handle : env->session->native_session;
    MutexUnlock(LinksLock());
    return parent;
}

uint32_t EnvCharset(const OCIEnv *env) {
    MutexLock(LinksLock());
    uint32_t charset = env->svcctx != NULL ? env->svcctx->charset : 1;
    MutexUnlock(LinksLock());
    return charset;
}
