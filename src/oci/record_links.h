// The links between records: a name follows its record until that is freed, and no longer.
//
// Records that threads do not share may name one that they do, so the links change under one lock
// of this module.
#pragma once

#include "oci/records.h"

// Puts a new record, made from `env` (NULL: from none), among the records of the process.
void RecordAttach(OCIEnv *env, RecordLink *link, void *record);
// Takes a record that is about to be freed off again: nothing names it any more.
void RecordDetach(RecordLink *link);

// Makes `name` name the record of `target` (NULL: none).
void NameSet(RecordName *name, RecordLink *target);
// The same for the large value locator of a bind or define of `stmt`: StmtForgetLob is called for
// the statement when the locator is freed.
void NameLocator(RecordName *name, OCILobLocator *locator, OCIStmt *stmt);
// Makes `name` name the live record of type `type` at `record`, which is not read unless it is one;
// otherwise none.
void NameFind(RecordName *name, const void *record, uint32_t type);
// Ends a name; before its record is freed.
inline void NameClear(RecordName *name) {
    NameSet(name, NULL);
}
// The record named, or NULL.
inline void *NameRecord(const RecordName *name) {
    return name->record.load(std::memory_order_relaxed);
}
// Takes one statement whose bind or define names the record, and ends that name; NULL: none is
// left.
OCIStmt *NameTakeStmt(RecordLink *target);

// The environment that a record was made from; NULL once that is freed.
inline OCIEnv *RecordEnv(const RecordLink *link) {
    return (OCIEnv *)NameRecord(&link->env);
}
// Names the statement in the environment's service context, if there is one.
void EnvNameStmt(OCIEnv *env, OCIStmt *stmtp);
// Keeps a block that its owner loses sight of for the life of the environment; without one it is
// freed.
void EnvKeepBlock(OCIEnv *env, LostBlock *block);
// Keeps a descriptor whose statement goes for the life of the environment; without one it is freed.
void EnvKeepParam(OCIEnv *env, OCIParam *param);
// The native handle under which the next session or statement is made; the dead handle when the
// newest server or session is freed.
void *EnvServerParent(const OCIEnv *env);
void *EnvSessionParent(const OCIEnv *env);
// The character set of the environment's service context; 1 when there is none.
uint32_t EnvCharset(const OCIEnv *env);
