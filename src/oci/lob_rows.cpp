// Large values in rows: a locator's native LOB borrows what a fetch brings from the rows of the
// statement, and applications read locators when the rows are gone.
//
// A locator remembers the statement and how often that has released its results and gone on to
// another block of a cursor. When either has happened since, the holder is emptied before anyone
// reads it.
#include "oci/handles.h"
#include "oci/lob.h"
#include "oci/record_links.h"
#include "oci/stmt.h"
#include "stmt/lob.h"

// Whether the rows that the holder borrows from are still there.
static bool RowsAreThere(const OCILobLocator *locp) {
    const OCIStmt *stmtp = (const OCIStmt *)NameRecord(&locp->rows_of);
    const TVCIStmt *native = stmtp != NULL ? StmtNative(stmtp) : NULL;
    return native != NULL && native->result_generation == locp->rows_generation &&
           stmtp->row_block == locp->rows_block;
}

// Whether the session that a descriptor can be read from is known to be there: it is while it has
// the statement that brought the descriptor.
static bool SessionIsThere(const OCILobLocator *locp) {
    const OCIStmt *stmtp = (const OCIStmt *)NameRecord(&locp->rows_of);
    const TVCIStmt *native = stmtp != NULL ? StmtNative(stmtp) : NULL;
    return native != NULL && native->session == locp->native_lob->session;
}

LobRecord *LobHolder(OCILobLocator *locp) {
    LobRecord *lob = locp->native_lob;
    if (lob->borrowed && !RowsAreThere(locp)) {
        TVCILobReset(lob);
        lob->borrowed = 0;
    }
    // A copy of a descriptor outlives its rows.
    if (!SessionIsThere(locp)) {
        lob->session = NULL;
    }
    return lob;
}

// The locator that a define fills, or NULL.
static OCILobLocator *DefineLocator(const OCIDefine *define) {
    return IsLobType(define->dty) ? (OCILobLocator *)NameRecord(&define->locator_name) : NULL;
}

// The native layer writes over what a holder has. What the holder owns is laid aside.
static void LayAside(OCILobLocator *locp) {
    LobRecord *lob = locp->native_lob;
    if (!LobOwnsData(lob) && !LobOwnsDescriptor(lob)) return;
    locp->replaced = *lob;
    lob->data = NULL;
    lob->descriptor = NULL;
}

static void NoteRows(const OCIStmt *stmtp, const TVCIStmt *native, OCILobLocator *locp) {
    TVCILobReset(&locp->replaced);
    NameSet(&locp->rows_of, const_cast<RecordLink *>(&stmtp->link));
    locp->rows_generation = native->result_generation;
    locp->rows_block = stmtp->row_block;
}

// Gives back what nothing came in place of, but for the length, which a NULL has set to 0.
static void PutBack(OCILobLocator *locp) {
    if (locp->replaced.data == NULL && locp->replaced.descriptor == NULL) return;
    locp->native_lob->data = locp->replaced.data;
    locp->native_lob->descriptor = locp->replaced.descriptor;
    locp->replaced = {};
}

int32_t LobsFetch(OCIStmt *stmtp) {
    for (int32_t i = 0; i < stmtp->define_count; i++) {
        OCILobLocator *locp = DefineLocator(stmtp->defines[i]);
        if (locp != NULL) {
            LayAside(locp);
        }
    }
    int32_t result = TVCIFetch(stmtp->native_stmt);
    const TVCIStmt *native = StmtNative(stmtp);
    if (native != NULL && native->current != stmtp->rows) {
        stmtp->rows = native->current;
        stmtp->row_block++;
    }
    for (int32_t i = 0; i < stmtp->define_count; i++) {
        const OCIDefine *define = stmtp->defines[i];
        OCILobLocator *locp = DefineLocator(define);
        bool filled = result == TVCI_SUCCESS && define->is_native != 0 &&
                      define->return_code == TVCI_VALUE_DONE;
        if (locp != NULL && filled) {
            NoteRows(stmtp, native, locp);
        }
    }
    for (int32_t i = 0; i < stmtp->define_count; i++) {
        OCILobLocator *locp = DefineLocator(stmtp->defines[i]);
        if (locp != NULL) {
            PutBack(locp);
        }
    }
    return result;
}

static bool KeepNamed(const OCIStmt *stmtp, const RecordName *name) {
    OCILobLocator *locp = (OCILobLocator *)NameRecord(name);
    if (locp == NULL) return true;
    LobRecord *lob = LobHolder(locp);
    return NameRecord(&locp->rows_of) != stmtp || LobOwn(lob);
}

bool LobsKeepBound(OCIStmt *stmtp) {
    bool kept = true;
    for (int32_t i = 0; i < stmtp->bind_count; i++) {
        kept = KeepNamed(stmtp, &stmtp->binds[i]->locator_name) && kept;
    }
    for (int32_t i = 0; i < stmtp->define_count; i++) {
        kept = KeepNamed(stmtp, &stmtp->defines[i]->written_name) && kept;
    }
    return kept;
}
