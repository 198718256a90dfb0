/* The call interface of the Tavu database server: 47 functions over opaque handles. */
#ifndef TAVU_OCI_H
#define TAVU_OCI_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned char OCIText;

typedef struct OCIEnv OCIEnv;
typedef struct OCIError OCIError;
typedef struct OCIServer OCIServer;
typedef struct OCISession OCISession;
typedef struct OCISvcCtx OCISvcCtx;
typedef struct OCIStmt OCIStmt;
typedef struct OCIBind OCIBind;
typedef struct OCIDefine OCIDefine;
typedef struct OCIParam OCIParam;
typedef struct OCILobLocator OCILobLocator;

/* A date as the application holds it. Elements of an array lie 8 bytes apart. */
typedef struct OCIDate {
    int16_t year;
    uint8_t month, day, hour, minute, second;
} OCIDate;

/* Results. A native result below 0 passes through unchanged where a function says so. */
#define OCI_SUCCESS 0
#define OCI_SUCCESS_WITH_INFO 1
#define OCI_NEED_DATA 99
#define OCI_NO_DATA 100
#define OCI_ERROR (-1)
#define OCI_INVALID_HANDLE (-2)
#define OCI_CONTINUE (-24200)

/* Handle and descriptor types. */
#define OCI_HTYPE_ENV 1
#define OCI_HTYPE_SERVER 2
#define OCI_HTYPE_SESSION 3
#define OCI_HTYPE_STMT 5
#define OCI_HTYPE_DEFINE 6
#define OCI_HTYPE_ERROR 8
#define OCI_DTYPE_PARAM 10
#define OCI_HTYPE_SVCCTX 11
#define OCI_HTYPE_BIND 20
#define OCI_DTYPE_LOB 50

/* Attributes that can be set. */
#define OCI_ATTR_SERVER 6
#define OCI_ATTR_SESSION 42
#define OCI_ATTR_CHARSET_CODE 20
#define OCI_ATTR_USERNAME 31
#define OCI_ATTR_PASSWORD 32

/* Attributes that can be read. */
#define OCI_ATTR_ENV 2
#define OCI_ATTR_NAME 50
#define OCI_ATTR_DATA_TYPE 51
#define OCI_ATTR_ALIAS 52
#define OCI_ATTR_DATA_SIZE 53
#define OCI_ATTR_DISP_SIZE 54
#define OCI_ATTR_TYPE_NAME 55
#define OCI_ATTR_PRECISION 58
#define OCI_ATTR_SCALE 59
#define OCI_ATTR_EXTERNAL_TYPE 65
#define OCI_ATTR_PARAM_COUNT 61
#define OCI_ATTR_ROW_COUNT 62
#define OCI_ATTR_STATEMENT 144
#define OCI_ATTR_HANDLE_POSITION 191
#define OCI_ATTR_ROWS_FETCHED 197

/* Data types of binds and defines. */
#define DTY_CHAR 2
#define DTY_INT 5
#define DTY_FLOAT 7
#define DTY_DOUBLE 8
#define DTY_NUMERIC 9
#define DTY_DATE 13
#define DTY_STR 1000
#define DTY_BLOB 1001
#define DTY_CLOB 1002
#define DTY_BIN 1003
#define DTY_BIN_2 1004
#define DTY_LONG_STR 1005

/* Modes, orientations, pieces. */
#define OCI_DEFAULT 0
#define OCI_DATA_AT_EXEC 2
#define OCI_DYNAMIC_FETCH 2
#define OCI_COMMIT_ON_SUCCESS 32
#define OCI_FETCH_NEXT 2
#define OCI_ONE_PIECE 0
#define OCI_FIRST_PIECE 1
#define OCI_NEXT_PIECE 2
#define OCI_LAST_PIECE 3

typedef void *(*OCIMallocFunc)(void *ctxp, size_t size);
typedef void *(*OCIReallocFunc)(void *ctxp, void *memptr, size_t newsize);
typedef void (*OCIFreeFunc)(void *ctxp, void *memptr);
typedef int32_t (*OCILobReadFunc)(void *ctxp, const void *bufp, uint32_t len, uint8_t piece);
typedef int32_t (*OCILobWriteFunc)(void *ctxp, void *bufp, uint32_t *lenp, uint8_t *piecep);

/* Environment and handles */
int32_t OCIInitialize(uint32_t mode, void *ctxp, OCIMallocFunc malocfp, OCIReallocFunc ralocfp,
                      OCIFreeFunc mfreefp);
int32_t OCITerminate(uint32_t mode);
int32_t OCIEnvInit(OCIEnv **envhpp, uint32_t mode, size_t xtramemsz, void **usrmempp);
int32_t OCIEnvCreate(OCIEnv **envhpp, uint32_t mode, void *ctxp, OCIMallocFunc malocfp,
                     OCIReallocFunc ralocfp, OCIFreeFunc mfreefp, size_t xtramemsz,
                     void **usrmempp);
int32_t OCIHandleAlloc(const void *parenth, void **hndlpp, uint32_t type, size_t xtramem_sz,
                       void **usrmempp);
int32_t OCIHandleFree(void *hndlp, uint32_t type);
int32_t OCIDescriptorAlloc(const void *parenth, void **descpp, uint32_t type, size_t xtramem_sz,
                           void **usrmempp);
int32_t OCIDescriptorFree(void *descp, uint32_t type);
int32_t OCIErrorGet(void *hndlp, uint32_t recordno, OCIText *sqlstate, int32_t *errcodep,
                    OCIText *bufp, uint32_t bufsiz, uint32_t type);

/* Attach and session */
int32_t OCIServerAttach(OCIServer *srvhp, OCIError *errhp, const OCIText *dblink,
                        int32_t dblink_len, uint32_t mode);
int32_t OCIServerDetach(OCIServer *srvhp, OCIError *errhp, uint32_t mode);
int32_t OCIAttrSet(void *trgthndlp, uint32_t trghndltyp, void *attributep, uint32_t size,
                   uint32_t attrtype, OCIError *errhp);
int32_t OCISessionBegin(OCISvcCtx *svchp, OCIError *errhp, OCISession *usrhp, uint32_t credt,
                        uint32_t mode);
int32_t OCISessionEnd(OCISvcCtx *svchp, OCIError *errhp, OCISession *usrhp, uint32_t mode);
int32_t OCILogon(OCIEnv *envhp, OCIError *errhp, OCISvcCtx **svchp, const OCIText *username,
                 uint32_t uname_len, const OCIText *password, uint32_t passwd_len,
                 const OCIText *dbname, uint32_t dbname_len);
int32_t OCILogoff(OCISvcCtx *svchp, OCIError *errhp);
int32_t OCIServerVersion(void *hndlp, OCIError *errhp, OCIText *bufp, uint32_t bufsz,
                         uint8_t hndltype);

/* Statements */
int32_t OCIStmtPrepare(OCIStmt *stmtp, OCIError *errhp, const OCIText *stmt, uint32_t stmt_len,
                       uint32_t language, uint32_t mode);
int32_t OCIStmtExecute(OCISvcCtx *svchp, OCIStmt *stmtp, OCIError *errhp, uint32_t iters,
                       uint32_t rowoff, const void *snap_in, void *snap_out, uint32_t mode);
int32_t OCIStmtRelease(OCIStmt *stmtp, OCIError *errhp, const OCIText *key, uint32_t keylen,
                       uint32_t mode);
int32_t OCIParamGet(const void *hndlp, uint32_t htype, OCIError *errhp, void **parmdpp,
                    uint32_t pos);
int32_t OCIAttrGet(const void *trgthndlp, uint32_t trghndltyp, void *attributep, uint32_t *sizep,
                   uint32_t attrtype, OCIError *errhp);

/* Bind and define */
int32_t OCIBindByPos(OCIStmt *stmtp, OCIBind **bindpp, OCIError *errhp, uint32_t position,
                     void *valuep, int32_t value_sz, uint16_t dty, void *indp, void *alenp,
                     int32_t *rcodep, uint32_t maxarr_len, uint32_t *curelep, uint32_t mode);
int32_t OCIBindByName(OCIStmt *stmtp, OCIBind **bindpp, OCIError *errhp,
                      const OCIText *placeholder, int32_t placeh_len, void *valuep,
                      int32_t value_sz, uint16_t dty, void *indp, void *alenp, int32_t *rcodep,
                      uint32_t maxarr_len, uint32_t *curelep, uint32_t mode);
int32_t OCIDefineByPos(OCIStmt *stmtp, OCIDefine **defnpp, OCIError *errhp, uint32_t position,
                       void *valuep, int32_t value_sz, uint16_t dty, void *indp, uint32_t *rlenp,
                       int32_t *rcodep, uint32_t mode);

/* Fetch */
int32_t OCIStmtFetch(OCIStmt *stmtp, OCIError *errhp, uint32_t nrows, uint16_t orientation,
                     uint32_t mode);
int32_t OCIStmtFetch2(OCIStmt *stmtp, OCIError *errhp, uint32_t nrows, uint16_t orientation,
                      int32_t fetchOffset, uint32_t mode);

/* Large values and pieces */
int32_t OCILobRead(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp, uint32_t *amtp,
                   uint32_t offset, void *bufp, uint32_t bufl, void *ctxp, OCILobReadFunc cbfp,
                   uint16_t csid, uint8_t csfrm);
int32_t OCILobWrite(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp, uint32_t *amtp,
                    uint32_t offset, void *bufp, uint32_t buflen, uint8_t piece, void *ctxp,
                    OCILobWriteFunc cbfp, uint16_t csid, uint8_t csfrm);
int32_t OCILobCreateTemporary(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp,
                              uint16_t csid, uint8_t csfrm, uint8_t lobtype, int32_t cache,
                              uint16_t duration);
int32_t OCIStmtGetPieceInfo(OCIStmt *stmtp, OCIError *errhp, void **hndlpp, uint32_t *typep,
                            uint8_t *in_outp, uint32_t *iterp, uint32_t *idxp, uint8_t *piecep);
int32_t OCIStmtSetPieceInfo(void *hndlp, uint32_t type, OCIError *errhp, const void *bufp,
                            uint32_t *alenp, uint8_t piece, const void *indp, void *rcodep);

/* Dates */
void OCIDateGetDate(const OCIDate *date, int16_t *year, uint8_t *month, uint8_t *day);
void OCIDateGetTime(const OCIDate *date, uint8_t *hour, uint8_t *minute, uint8_t *second);
void OCIDateSetDate(OCIDate *date, int16_t year, uint8_t month, uint8_t day);
void OCIDateSetTime(OCIDate *date, uint8_t hour, uint8_t minute, uint8_t second);
int32_t OCIDateAssign(OCIError *err, const OCIDate *from, OCIDate *to);
int32_t OCIDateAddDays(OCIError *err, const OCIDate *date, int32_t num_days, OCIDate *result);
int32_t OCIDateAddMonths(OCIError *err, const OCIDate *date, int32_t num_months,
                         OCIDate *result);
int32_t OCIDateCompare(OCIError *err, const OCIDate *date1, const OCIDate *date2,
                       int32_t *result);
int32_t OCIDateLastDay(OCIError *err, const OCIDate *date, OCIDate *last_day);
int32_t OCIDateSysDate(OCIError *err, OCIDate *sys_date);
int32_t OCIDateToText(OCIError *err, const OCIDate *date, const OCIText *fmt, uint8_t fmt_length,
                      const OCIText *lang_name, uint32_t lang_length, uint32_t *buf_size,
                      OCIText *buf);

/* Transactions */
int32_t OCITransStart(OCISvcCtx *svchp, OCIError *errhp, uint32_t timeout, uint32_t flags);
int32_t OCITransCommit(OCISvcCtx *svchp, OCIError *errhp, uint32_t flags);
int32_t OCITransRollback(OCISvcCtx *svchp, OCIError *errhp, uint32_t flags);
int32_t OCITransDetach(OCISvcCtx *svchp, OCIError *errhp, uint32_t flags);

#ifdef __cplusplus
}
#endif

#endif
