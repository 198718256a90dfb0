// Statements, their binds and defines, and the fetch of the call interface.
#pragma once

#include "oci/records.h"

int32_t OciStmtPrepare(OCIStmt *stmtp, OCIError *errhp, const OCIText *stmt, uint32_t stmt_len,
                       uint32_t language, uint32_t mode);
int32_t OciStmtExecute(OCISvcCtx *svchp, OCIStmt *stmtp, OCIError *errhp, uint32_t iters,
                       uint32_t rowoff, const void *snap_in, void *snap_out, uint32_t mode);
int32_t OciStmtRelease(OCIStmt *stmtp, OCIError *errhp, const OCIText *key, uint32_t keylen,
                       uint32_t mode);
int32_t OciParamGet(const void *hndlp, uint32_t htype, OCIError *errhp, void **parmdpp,
                    uint32_t pos);
int32_t OciAttrGet(const void *trgthndlp, uint32_t trghndltyp, void *attributep, uint32_t *sizep,
                   uint32_t attrtype, OCIError *errhp);
int32_t OciBindByPos(OCIStmt *stmtp, OCIBind **bindpp, OCIError *errhp, uint32_t position,
                     void *valuep, int32_t value_sz, uint16_t dty, void *indp, void *alenp,
                     int32_t *rcodep, uint32_t maxarr_len, uint32_t *curelep, uint32_t mode);
int32_t OciBindByName(OCIStmt *stmtp, OCIBind **bindpp, OCIError *errhp, const OCIText *placeholder,
                      int32_t placeh_len, void *valuep, int32_t value_sz, uint16_t dty, void *indp,
                      void *alenp, int32_t *rcodep, uint32_t maxarr_len, uint32_t *curelep,
                      uint32_t mode);
int32_t OciDefineByPos(OCIStmt *stmtp, OCIDefine **defnpp, OCIError *errhp, uint32_t position,
                       void *valuep, int32_t value_sz, uint16_t dty, void *indp, uint32_t *rlenp,
                       int32_t *rcodep, uint32_t mode);
int32_t OciStmtFetch(OCIStmt *stmtp, OCIError *errhp, uint32_t nrows, uint16_t orientation,
                     uint32_t mode);
int32_t OciStmtFetch2(OCIStmt *stmtp, OCIError *errhp, uint32_t nrows, uint16_t orientation,
                      int32_t fetchOffset, uint32_t mode);

// The SqlType under which a bind of this type and size is declared; 0 for an unknown type.
int32_t BindSqlType(uint32_t dty, int64_t value_sz);
// Whether the value lies in a locator's native LOB.
bool IsLobType(uint32_t dty);
// The locator that an application's array of locators begins with, or NULL.
OCILobLocator *FirstLocator(void *valuep);
// Loads the values of one iteration into the private buffers of the binds.
void BindsLoad(OCIStmt *stmtp, uint32_t iteration);
// Frees all texts of a statement.
void OciTextsFree(OCIStmt *stmtp);
// Frees the binds or defines of a statement with their buffers; none remain.
void OciBindsFree(OCIStmt *stmtp);
void OciDefinesFree(OCIStmt *stmtp);
// The descriptor's native column, NULL when its result has been released since.
ColumnHandle *ParamColumn(const OCIParam *param);
// Frees the newest descriptor and makes the older ones, which stay, forget the statement.
void ParamsRelease(OCIStmt *stmtp);
// Lets the native layer forget a define's buffer, and frees that unless a locator owns it.
void DefineDropBuffer(OCIDefine *define);
// The native statement; NULL while pending and when its session took it along.
TVCIStmt *StmtNative(const OCIStmt *stmtp);
// Lets the native layer forget a buffer that parameters are bound to, unless a bind has it.
void StmtForgetBuffer(const OCIStmt *stmtp, const void *buffer);
// Makes the statement forget a native LOB that is about to be freed.
void StmtForgetLob(OCIStmt *stmtp, const LobRecord *lob);
