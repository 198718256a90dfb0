// The exported functions: each hands its arguments on to the function of the same role. The
// library hides all symbols but those of this file.
#include "tavu/oci.h"

#include "oci/date.h"
#include "oci/handles.h"
#include "oci/lob.h"
#include "oci/session.h"
#include "oci/stmt.h"
#include "oci/trans.h"

int32_t OCIInitialize(uint32_t mode, void *ctxp, OCIMallocFunc malocfp, OCIReallocFunc ralocfp,
                      OCIFreeFunc mfreefp) {
    return OciInitialize(mode, ctxp, malocfp, ralocfp, mfreefp);
}

int32_t OCITerminate(uint32_t mode) {
    return OciTerminate(mode);
}

int32_t OCIEnvInit(OCIEnv **envhpp, uint32_t mode, size_t xtramemsz, void **usrmempp) {
    return OciEnvInit(envhpp, mode, xtramemsz, usrmempp);
}

int32_t OCIEnvCreate(OCIEnv **envhpp, uint32_t mode, void *ctxp, OCIMallocFunc malocfp,
                     OCIReallocFunc ralocfp, OCIFreeFunc mfreefp, size_t xtramemsz,
                     void **usrmempp) {
    return OciEnvCreate(envhpp, mode, ctxp, malocfp, ralocfp, mfreefp, xtramemsz, usrmempp);
}

int32_t OCIHandleAlloc(const void *parenth, void **hndlpp, uint32_t type, size_t xtramem_sz,
                       void **usrmempp) {
    return OciHandleAlloc(parenth, hndlpp, type, xtramem_sz, usrmempp);
}

int32_t OCIHandleFree(void *hndlp, uint32_t type) {
    return OciHandleFree(hndlp, type);
}

int32_t OCIDescriptorAlloc(const void *parenth, void **descpp, uint32_t type, size_t xtramem_sz,
                           void **usrmempp) {
    return OciDescriptorAlloc(parenth, descpp, type, xtramem_sz, usrmempp);
}

int32_t OCIDescriptorFree(void *descp, uint32_t type) {
    return OciDescriptorFree(descp, type);
}

int32_t OCIErrorGet(void *hndlp, uint32_t recordno, OCIText *sqlstate, int32_t *errcodep,
                    OCIText *bufp, uint32_t bufsiz, uint32_t type) {
    return OciErrorGet(hndlp, recordno, sqlstate, errcodep, bufp, bufsiz, type);
}

int32_t OCIServerAttach(OCIServer *srvhp, OCIError *errhp, const OCIText *dblink,
                        int32_t dblink_len, uint32_t mode) {
    return OciServerAttach(srvhp, errhp, dblink, dblink_len, mode);
}

int32_t OCIServerDetach(OCIServer *srvhp, OCIError *errhp, uint32_t mode) {
    return OciServerDetach(srvhp, errhp, mode);
}

int32_t OCIAttrSet(void *trgthndlp, uint32_t trghndltyp, void *attributep, uint32_t size,
                   uint32_t attrtype, OCIError *errhp) {
    return OciAttrSet(trgthndlp, trghndltyp, attributep, size, attrtype, errhp);
}

int32_t OCISessionBegin(OCISvcCtx *svchp, OCIError *errhp, OCISession *usrhp, uint32_t credt,
                        uint32_t mode) {
    return OciSessionBegin(svchp, errhp, usrhp, credt, mode);
}

int32_t OCISessionEnd(OCISvcCtx *svchp, OCIError *errhp, OCISession *usrhp, uint32_t mode) {
    return OciSessionEnd(svchp, errhp, usrhp, mode);
}

int32_t OCILogon(OCIEnv *envhp, OCIError *errhp, OCISvcCtx **svchp, const OCIText *username,
                 uint32_t uname_len, const OCIText *password, uint32_t passwd_len,
                 const OCIText *dbname, uint32_t dbname_len) {
    return OciLogon(envhp, errhp, svchp, username, uname_len, password, passwd_len, dbname,
                    dbname_len);
}

int32_t OCILogoff(OCISvcCtx *svchp, OCIError *errhp) {
    return OciLogoff(svchp, errhp);
}

int32_t OCIServerVersion(void *hndlp, OCIError *errhp, OCIText *bufp, uint32_t bufsz,
                         uint8_t hndltype) {
    return OciServerVersion(hndlp, errhp, bufp, bufsz, hndltype);
}

int32_t OCIStmtPrepare(OCIStmt *stmtp, OCIError *errhp, const OCIText *stmt, uint32_t stmt_len,
                       uint32_t language, uint32_t mode) {
    return OciStmtPrepare(stmtp, errhp, stmt, stmt_len, language, mode);
}

int32_t OCIStmtExecute(OCISvcCtx *svchp, OCIStmt *stmtp, OCIError *errhp, uint32_t iters,
                       uint32_t rowoff, const void *snap_in, void *snap_out, uint32_t mode) {
    return OciStmtExecute(svchp, stmtp, errhp, iters, rowoff, snap_in, snap_out, mode);
}

int32_t OCIStmtRelease(OCIStmt *stmtp, OCIError *errhp, const OCIText *key, uint32_t keylen,
                       uint32_t mode) {
    return OciStmtRelease(stmtp, errhp, key, keylen, mode);
}

int32_t OCIParamGet(const void *hndlp, uint32_t htype, OCIError *errhp, void **parmdpp,
                    uint32_t pos) {
    return OciParamGet(hndlp, htype, errhp, parmdpp, pos);
}

int32_t OCIAttrGet(const void *trgthndlp, uint32_t trghndltyp, void *attributep, uint32_t *sizep,
                   uint32_t attrtype, OCIError *errhp) {
    return OciAttrGet(trgthndlp, trghndltyp, attributep, sizep, attrtype, errhp);
}

int32_t OCIBindByPos(OCIStmt *stmtp, OCIBind **bindpp, OCIError *errhp, uint32_t position,
                     void *valuep, int32_t value_sz, uint16_t dty, void *indp, void *alenp,
                     int32_t *rcodep, uint32_t maxarr_len, uint32_t *curelep, uint32_t mode) {
    return OciBindByPos(stmtp, bindpp, errhp, position, valuep, value_sz, dty, indp, alenp, rcodep,
                        maxarr_len, curelep, mode);
}

int32_t OCIBindByName(OCIStmt *stmtp, OCIBind **bindpp, OCIError *errhp, const OCIText *placeholder,
                      int32_t placeh_len, void *valuep, int32_t value_sz, uint16_t dty, void *indp,
                      void *alenp, int32_t *rcodep, uint32_t maxarr_len, uint32_t *curelep,
                      uint32_t mode) {
    return OciBindByName(stmtp, bindpp, errhp, placeholder, placeh_len, valuep, value_sz, dty, indp,
                         alenp, rcodep, maxarr_len, curelep, mode);
}

int32_t OCIDefineByPos(OCIStmt *stmtp, OCIDefine **defnpp, OCIError *errhp, uint32_t position,
                       void *valuep, int32_t value_sz, uint16_t dty, void *indp, uint32_t *rlenp,
                       int32_t *rcodep, uint32_t mode) {
    return OciDefineByPos(stmtp, defnpp, errhp, position, valuep, value_sz, dty, indp, rlenp,
                          rcodep, mode);
}

int32_t OCIStmtFetch(OCIStmt *stmtp, OCIError *errhp, uint32_t nrows, uint16_t orientation,
                     uint32_t mode) {
    return OciStmtFetch(stmtp, errhp, nrows, orientation, mode);
}

int32_t OCIStmtFetch2(OCIStmt *stmtp, OCIError *errhp, uint32_t nrows, uint16_t orientation,
                      int32_t fetchOffset, uint32_t mode) {
    return OciStmtFetch2(stmtp, errhp, nrows, orientation, fetchOffset, mode);
}

int32_t OCILobRead(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp, uint32_t *amtp,
                   uint32_t offset, void *bufp, uint32_t bufl, void *ctxp, OCILobReadFunc cbfp,
                   uint16_t csid, uint8_t csfrm) {
    return OciLobRead(svchp, errhp, locp, amtp, offset, bufp, bufl, ctxp, cbfp, csid, csfrm);
}

int32_t OCILobWrite(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp, uint32_t *amtp,
                    uint32_t offset, void *bufp, uint32_t buflen, uint8_t piece, void *ctxp,
                    OCILobWriteFunc cbfp, uint16_t csid, uint8_t csfrm) {
    return OciLobWrite(svchp, errhp, locp, amtp, offset, bufp, buflen, piece, ctxp, cbfp, csid,
                       csfrm);
}

int32_t OCILobCreateTemporary(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp, uint16_t csid,
                              uint8_t csfrm, uint8_t lobtype, int32_t cache, uint16_t duration) {
    return OciLobCreateTemporary(svchp, errhp, locp, csid, csfrm, lobtype, cache, duration);
}

int32_t OCIStmtGetPieceInfo(OCIStmt *stmtp, OCIError *errhp, void **hndlpp, uint32_t *typep,
                            uint8_t *in_outp, uint32_t *iterp, uint32_t *idxp, uint8_t *piecep) {
    return OciStmtGetPieceInfo(stmtp, errhp, hndlpp, typep, in_outp, iterp, idxp, piecep);
}

int32_t OCIStmtSetPieceInfo(void *hndlp, uint32_t type, OCIError *errhp, const void *bufp,
                            uint32_t *alenp, uint8_t piece, const void *indp, void *rcodep) {
    return OciStmtSetPieceInfo(hndlp, type, errhp, bufp, alenp, piece, indp, rcodep);
}

void OCIDateGetDate(const OCIDate *date, int16_t *year, uint8_t *month, uint8_t *day) {
    OciDateGetDate(date, year, month, day);
}

void OCIDateGetTime(const OCIDate *date, uint8_t *hour, uint8_t *minute, uint8_t *second) {
    OciDateGetTime(date, hour, minute, second);
}

void OCIDateSetDate(OCIDate *date, int16_t year, uint8_t month, uint8_t day) {
    OciDateSetDate(date, year, month, day);
}

void OCIDateSetTime(OCIDate *date, uint8_t hour, uint8_t minute, uint8_t second) {
    OciDateSetTime(date, hour, minute, second);
}

int32_t OCIDateAssign(OCIError *err, const OCIDate *from, OCIDate *to) {
    return OciDateAssign(err, from, to);
}

int32_t OCIDateAddDays(OCIError *err, const OCIDate *date, int32_t num_days, OCIDate *result) {
    return OciDateAddDays(err, date, num_days, result);
}

int32_t OCIDateAddMonths(OCIError *err, const OCIDate *date, int32_t num_months, OCIDate *result) {
    return OciDateAddMonths(err, date, num_months, result);
}

int32_t OCIDateCompare(OCIError *err, const OCIDate *date1, const OCIDate *date2, int32_t *result) {
    return OciDateCompare(err, date1, date2, result);
}

int32_t OCIDateLastDay(OCIError *err, const OCIDate *date, OCIDate *last_day) {
    return OciDateLastDay(err, date, last_day);
}

int32_t OCIDateSysDate(OCIError *err, OCIDate *sys_date) {
    return OciDateSysDate(err, sys_date);
}

int32_t OCIDateToText(OCIError *err, const OCIDate *date, const OCIText *fmt, uint8_t fmt_length,
                      const OCIText *lang_name, uint32_t lang_length, uint32_t *buf_size,
                      OCIText *buf) {
    return OciDateToText(err, date, fmt, fmt_length, lang_name, lang_length, buf_size, buf);
}

int32_t OCITransStart(OCISvcCtx *svchp, OCIError *errhp, uint32_t timeout, uint32_t flags) {
    return OciTransStart(svchp, errhp, timeout, flags);
}

int32_t OCITransCommit(OCISvcCtx *svchp, OCIError *errhp, uint32_t flags) {
    return OciTransCommit(svchp, errhp, flags);
}

int32_t OCITransRollback(OCISvcCtx *svchp, OCIError *errhp, uint32_t flags) {
    return OciTransRollback(svchp, errhp, flags);
}

int32_t OCITransDetach(OCISvcCtx *svchp, OCIError *errhp, uint32_t flags) {
    return OciTransDetach(svchp, errhp, flags);
}
