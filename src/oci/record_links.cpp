// The links between records: a name follows its record until that is freed, and no longer.
#include "oci/record_links.h"

#include "client/handles.h"
#include "platform/lock.h"
#include "platform/memory.h"

// Guards `all_records`, every name, and the lists of what environments keep.
static Mutex links_lock = MUTEX_INITIALIZER;
static ListLink all_records = {&all_records, &all_records};

static RecordLink *LinkOf(ListLink *link) {
    return reinterpret_cast<RecordLink *>(link);
}

static RecordName *NameOf(ListLink *link) {
    return reinterpret_cast<RecordName *>(link);
}

// The caller holds the lock, here and in SetName.
static void EndName(RecordName *name) {
    ListRemove(&name->link);
    name->record.store(NULL, std::memory_order_relaxed);
    name->stmt = NULL;
}

static void SetName(RecordName *name, RecordLink *target, OCIStmt *stmt) {
    if (NameRecord(name) != NULL) {
        EndName(name);
    }
    if (target == NULL) return;
    ListAppend(&target->names, &name->link);
    name->record.store(target->record, std::memory_order_relaxed);
    name->stmt = stmt;
}

void RecordAttach(OCIEnv *env, RecordLink *link, void *record) {
    link->record = record;
    ListInit(&link->names);
    MutexLock(&links_lock);
    ListAppend(&all_records, &link->link);
    SetName(&link->env, env != NULL ? &env->link : NULL, NULL);
    MutexUnlock(&links_lock);
}

void RecordDetach(RecordLink *link) {
    MutexLock(&links_lock);
    while (!ListEmpty(&link->names)) {
        EndName(NameOf(link->names.next));
    }
    SetName(&link->env, NULL, NULL);
    ListRemove(&link->link);
    MutexUnlock(&links_lock);
}

void NameSet(RecordName *name, RecordLink *target) {
    // Nearly every call names what the last one named.
    if (target != NULL && NameRecord(name) == target->record) return;
    MutexLock(&links_lock);
    SetName(name, target, NULL);
    MutexUnlock(&links_lock);
}

void NameLocator(RecordName *name, OCILobLocator *locator, OCIStmt *stmt) {
    MutexLock(&links_lock);
    SetName(name, &locator->link, stmt);
    MutexUnlock(&links_lock);
}

void NameFind(RecordName *name, const void *record, uint32_t type) {
    RecordLink *found = NULL;
    MutexLock(&links_lock);
    for (ListLink *link = all_records.next; link != &all_records; link = link->next) {
        if (LinkOf(link)->record == record && *(const uint32_t *)record == type) {
            found = LinkOf(link);
        }
    }
    SetName(name, found, NULL);
    MutexUnlock(&links_lock);
}

OCIStmt *NameTakeStmt(RecordLink *target) {
    OCIStmt *stmt = NULL;
    MutexLock(&links_lock);
    for (ListLink *link = target->names.next; link != &target->names; link = link->next) {
        RecordName *name = NameOf(link);
        if (name->stmt != NULL) {
            stmt = name->stmt;
            EndName(name);
            break;
        }
    }
    MutexUnlock(&links_lock);
    return stmt;
}

void EnvNameStmt(OCIEnv *env, OCIStmt *stmtp) {
    MutexLock(&links_lock);
    OCISvcCtx *svchp = (OCISvcCtx *)NameRecord(&env->svcctx);
    if (svchp != NULL) {
        SetName(&svchp->stmt, &stmtp->link, NULL);
    }
    MutexUnlock(&links_lock);
}

void EnvKeepBlock(OCIEnv *env, LostBlock *block) {
    if (env == NULL) {
        MemFree(block);
        return;
    }
    MutexLock(&links_lock);
    block->next = env->lost_blocks;
    env->lost_blocks = block;
    MutexUnlock(&links_lock);
}

void EnvKeepParam(OCIEnv *env, OCIParam *param) {
    if (env == NULL) {
        MemFree(param);
        return;
    }
    MutexLock(&links_lock);
    param->older = env->older_params;
    env->older_params = param;
    MutexUnlock(&links_lock);
}

void *EnvServerParent(const OCIEnv *env) {
    MutexLock(&links_lock);
    const OCIServer *server = (const OCIServer *)NameRecord(&env->server_name);
    void *parent = server != NULL ? (void *)server->native_server : dead_handle;
    MutexUnlock(&links_lock);
    return parent;
}

void *EnvSessionParent(const OCIEnv *env) {
    MutexLock(&links_lock);
    const OCISession *session = (const OCISession *)NameRecord(&env->session_name);
    void *parent = session != NULL ? (void *)session->native_session : dead_handle;
    MutexUnlock(&links_lock);
    return parent;
}

uint32_t EnvCharset(const OCIEnv *env) {
    MutexLock(&links_lock);
    const OCISvcCtx *svchp = (const OCISvcCtx *)NameRecord(&env->svcctx);
    uint32_t charset = svchp != NULL ? svchp->charset : 1;
    MutexUnlock(&links_lock);
    return charset;
}
