// Large values and pieces of the call interface.
#pragma once

#include "oci/records.h"

int32_t OciLobRead(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp, uint32_t *amtp,
                   uint32_t offset, void *bufp, uint32_t bufl, void *ctxp, OCILobReadFunc cbfp,
                   uint16_t csid, uint8_t csfrm);
int32_t OciLobWrite(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp, uint32_t *amtp,
                    uint32_t offset, void *bufp, uint32_t buflen, uint8_t piece, void *ctxp,
                    OCILobWriteFunc cbfp, uint16_t csid, uint8_t csfrm);
int32_t OciLobCreateTemporary(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp, uint16_t csid,
                              uint8_t csfrm, uint8_t lobtype, int32_t cache, uint16_t duration);
int32_t OciStmtGetPieceInfo(OCIStmt *stmtp, OCIError *errhp, void **hndlpp, uint32_t *typep,
                            uint8_t *in_outp, uint32_t *iterp, uint32_t *idxp, uint8_t *piecep);
int32_t OciStmtSetPieceInfo(void *hndlp, uint32_t type, OCIError *errhp, const void *bufp,
                            uint32_t *alenp, uint8_t piece, const void *indp, void *rcodep);

// The locator's native LOB for reading. When the rows that it borrows from are gone, it is empty;
// when the statement that brought its descriptor is gone, it has no session to read that from.
LobRecord *LobHolder(OCILobLocator *locp);
// TVCIFetch for a statement that has defined large values. The holders let go of what they owned
// when a value comes in its place, and remember whose rows they borrow from.
int32_t LobsFetch(OCIStmt *stmtp);
// Copies, for the holders that the statement's parameters are bound to, what they borrow from its
// own rows, which its next execution or prepare releases. False when memory is short.
bool LobsKeepBound(OCIStmt *stmtp);

// Takes the staging buffer of an unfinished write from the locator: no write reaches it any more,
// and it goes with the environment. Nothing happens without one.
void LobStagingLose(OCILobLocator *locp);
