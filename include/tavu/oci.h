/* The call interface of the Tavu database server: 47 functions over opaque handles.
 *
 * Threads. The interface has no locks for an application's handles: a handle, and all handles
 * below the same session, belong to one thread at a time. Different sessions may be used by
 * different threads. Below a session the library may run a thread of its own that reads rows.
 *
 * Results. Every function but the four date getters and setters returns one of the codes below. A
 * result of the native client passes through unchanged where nothing else is said:
 *   -2   a handle is NULL, freed, or not yet connected to its parent
 *   -3   an argument is missing or out of range
 *   -4   the connection is lost and did not come back; nothing was done, as far as is known
 *   -5   memory is short
 *   -6   unknown attribute
 *   -9   the attribute does not apply to this column
 *   -13  the server refused a duplicate value (server code E13001)
 *   -17  server code E17005
 *   -24  the connection was lost and made again; the statement was not run and is to be sent
 *        again
 *
 * Errors. A function with an error handle leaves there what OCIErrorGet reads. A check of this
 * layer leaves the text quoted with the function. A failure below leaves the name of the session
 * or statement, whose own last error is read when OCIErrorGet is called. "errhp NULL: -2" holds
 * for every function with an error handle but the dates, and is not repeated below.
 *
 * Checks come in the order in which they are listed.
 *
 * Sockets. On Windows the application starts the socket layer (WSAStartup) before the first logon
 * and stops it after the last logoff; the library does neither. */
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

/* Does nothing; returns 0. Callbacks given here are dropped, only OCIEnvCreate keeps them. */
int32_t OCIInitialize(uint32_t mode, void *ctxp, OCIMallocFunc malocfp, OCIReallocFunc ralocfp,
                      OCIFreeFunc mfreefp);

/* Does nothing; returns 0. */
int32_t OCITerminate(uint32_t mode);

/* OCIEnvCreate without callbacks, but that a NULL `envhpp` gives -1. */
int32_t OCIEnvInit(OCIEnv **envhpp, uint32_t mode, size_t xtramemsz, void **usrmempp);

/* Makes an environment, the parent of every other handle.
 *   envhpp     receives the environment, which the caller frees with OCIHandleFree
 *   mode       ignored
 *   ctxp       handed to the callbacks; the application's
 *   malocfp, ralocfp, mfreefp
 *              allocator of user memory, or NULL for the heap; ralocfp is never called
 *   xtramemsz  bytes of user memory, 0 for none
 *   usrmempp   receives the user memory, zeroed, which lives as long as the environment; or NULL
 * Returns 0; -2 for a NULL `envhpp`; -1 when memory is short. After a failure `*envhpp` must not
 * be used. */
int32_t OCIEnvCreate(OCIEnv **envhpp, uint32_t mode, void *ctxp, OCIMallocFunc malocfp,
                     OCIReallocFunc ralocfp, OCIFreeFunc mfreefp, size_t xtramemsz,
                     void **usrmempp);

/* Makes a handle: OCI_HTYPE_SERVER, OCI_HTYPE_SESSION, OCI_HTYPE_STMT, OCI_HTYPE_ERROR or
 * OCI_HTYPE_SVCCTX. A session belongs to the newest server of the environment and a statement to
 * its newest session; made too early, they wait for it. A service context must exist before the
 * first session gets its server, for it says the character set.
 *   parenth     the environment, for every type
 *   hndlpp      receives the handle, which the caller frees with OCIHandleFree
 *   xtramem_sz  bytes of user memory, 0 for none
 *   usrmempp    receives the user memory, which lives as long as the environment; or NULL
 * Returns 0; -2 when `parenth` is no environment, `hndlpp` is NULL or `type` is OCI_HTYPE_ENV; -1
 * for any other type, when memory is short, or when the parent was freed. Writes no text. */
int32_t OCIHandleAlloc(const void *parenth, void **hndlpp, uint32_t type, size_t xtramem_sz,
                       void **usrmempp);

/* Frees a handle. Handles may be freed in any order; what names a freed one is refused from then
 * on. Freeing a statement frees its binds, its defines and its newest column descriptor. Freeing
 * an environment frees all user memory.
 * Returns 0; -2 when `hndlp` is NULL or not of `type`, or when its parent was freed before it (it
 * is freed all the same); -3 for a session or statement that was still waiting for its parent (it
 * is freed all the same). Writes no text. */
int32_t OCIHandleFree(void *hndlp, uint32_t type);

/* Makes an OCILobLocator: `type` is OCI_DTYPE_LOB, the other arguments are those of
 * OCIHandleAlloc.
 * Returns 0; -1 for a NULL `parenth`; -2 for a NULL `descpp`, another type, or a parent that is
 * no environment; -1 when memory is short. */
int32_t OCIDescriptorAlloc(const void *parenth, void **descpp, uint32_t type, size_t xtramem_sz,
                           void **usrmempp);

/* Frees an OCILobLocator. Statements that have it bound or defined forget it: its column is
 * passed over, its parameter is NULL. Returns 0, or -2 for anything else than a locator and
 * OCI_DTYPE_LOB. */
int32_t OCIDescriptorFree(void *descp, uint32_t type);

/* Reads the last error of an error handle.
 *   hndlp     an error handle (type OCI_HTYPE_ERROR) or an environment (OCI_HTYPE_ENV), which has
 *             none and gives the empty text
 *   recordno  1: there is one record
 *   sqlstate, errcodep  neither read nor written: a failure is told by its text alone
 *   bufp      receives exactly `bufsiz` bytes: the text, its NUL and what lies behind it, zeros
 *             beyond 512 bytes
 * Returns -2 for a NULL `hndlp`; 0 for a NULL `bufp`; -2 for another type; 100 for another
 * record; -1 for `bufsiz` 0; else 0. A message of 512 bytes or more ends the process. */
int32_t OCIErrorGet(void *hndlp, uint32_t recordno, OCIText *sqlstate, int32_t *errcodep,
                    OCIText *bufp, uint32_t bufsiz, uint32_t type);

/* Attach and session */

/* Says where the server is. No connection is made before OCISessionBegin.
 *   dblink      "address:port/database"; port and database are optional and may change places.
 *               Without them port 5138 and database SYSTEM are taken
 *   dblink_len  bytes of it, or below 1 for a NUL-terminated text
 *   mode        ignored
 * Returns 0; -2 "Parameter srvhp is NULL."; -1 "Parameter dblink is NULL."; -1 "Parameter
 * dblink_len is invalid." from 128 bytes on; -1 "The format of parameter dblink is invalid." for
 * a port that is not one to five digits or an address of more than 15 characters. Whether the
 * address is one shows when the session begins. */
int32_t OCIServerAttach(OCIServer *srvhp, OCIError *errhp, const OCIText *dblink,
                        int32_t dblink_len, uint32_t mode);

/* Does nothing; returns 0, or -2 for a NULL handle. The session keeps working. */
int32_t OCIServerDetach(OCIServer *srvhp, OCIError *errhp, uint32_t mode);

/* Sets an attribute.
 *   OCI_HTYPE_SVCCTX   OCI_ATTR_SERVER, OCI_ATTR_SESSION: `attributep` is the handle itself,
 *                      borrowed OCI_ATTR_CHARSET_CODE: the code itself in the pointer, 1 GBK, 2
 *                      GB2312, 3 UTF8; counts for sessions that get their server afterwards
 *   OCI_HTYPE_SESSION  OCI_ATTR_USERNAME, OCI_ATTR_PASSWORD: text of `size` bytes, at most 128,
 *                      copied. `size` 0 is the empty user name, but for a password a
 *                      NUL-terminated text
 * Returns 0; -2 "Parameter trgthndlp is NULL."; -2 without a text for a handle of another type
 * than said; -1 "Invalid size value."; -1 "Invalid attr type."; -2 "Invalid handle type.". */
int32_t OCIAttrSet(void *trgthndlp, uint32_t trghndltyp, void *attributep, uint32_t size,
                   uint32_t attrtype, OCIError *errhp);

/* Opens the connection and logs on with the session's user and password.
 *   credt, mode  ignored
 * Returns 0; -2 "Parameter svchp is NULL."; -2 "Parameter usrhp is NULL."; -2 with an empty text
 * when the session still waits for a server; else the native code, -1 with the server's text or
 * "can't connect to server". The session may be tried again. The service context does not learn
 * of the session: set OCI_ATTR_SESSION. */
int32_t OCISessionBegin(OCISvcCtx *svchp, OCIError *errhp, OCISession *usrhp, uint32_t credt,
                        uint32_t mode);

/* Commits what is open and closes the connection. On a session that never began it does nothing
 * and returns 0. Returns -2 for a NULL `svchp`; -2 "Parameter usrhp is NULL."; else the native
 * result of the disconnect. A failed commit is not told. */
int32_t OCISessionEnd(OCISvcCtx *svchp, OCIError *errhp, OCISession *usrhp, uint32_t mode);

/* Makes a server, a service context and a session and begins it.
 *   svchp      receives the service context, which OCILogoff frees; it is set and stays allocated
 *              when the logon fails, too, and is then freed with OCIHandleFree
 *   username   `uname_len` bytes; with 0 the user name sent is empty
 *   password   `passwd_len` bytes; with 0 a NUL-terminated text
 *   dbname     a link text as in OCIServerAttach, `dbname_len` bytes, with 0 a NUL-terminated
 *              text; NULL means "127.0.0.1:5138/SYSTEM"
 * Returns 0; -2 "Parameter envhp is NULL."; -2 "Parameter svchp is NULL."; -1 "Parameter username
 * is NULL."; -1 "Parameter password is NULL."; -1 "Parameter uname_len is invalid.", "Parameter
 * passwd_len is invalid." or "Parameter dbname_len is invalid." from 128 bytes on; -1 with the
 * text of OCIServerAttach or OCISessionBegin. */
int32_t OCILogon(OCIEnv *envhp, OCIError *errhp, OCISvcCtx **svchp, const OCIText *username,
                 uint32_t uname_len, const OCIText *password, uint32_t passwd_len,
                 const OCIText *dbname, uint32_t dbname_len);

/* Ends the session, which commits, and frees session, server and service context. Statements are
 * not freed; they refuse every call but OCIHandleFree from then on. Returns 0; -2 "Parameter
 * svchp is NULL."; -2 for a handle of another type. */
int32_t OCILogoff(OCISvcCtx *svchp, OCIError *errhp);

/* Asks the server for its version.
 *   hndlp     a service context with a session; `hndltype` OCI_HTYPE_SVCCTX
 *   bufp      receives at most `bufsz` bytes, NUL-filled; a text that fills it has no terminator
 * Returns 0; -2 "Parameter hndlp is NULL."; -2 "Parameter bufp is NULL."; -1 "Wrong handle type,
 * it should be service context handle."; -1 without a text when the request failed. */
int32_t OCIServerVersion(void *hndlp, OCIError *errhp, OCIText *bufp, uint32_t bufsz,
                         uint8_t hndltype);

/* Statements */

/* Prepares a text. Its first word says how it will run: create, drop and alter are kept and run
 * directly at execute, once; insert, update, delete and select are prepared on the server;
 * anything else is prepared and not run by execute.
 *   stmt            `stmt_len` bytes, copied; needs no terminator
 *   language, mode  ignored
 * Binds and defines of an earlier text are freed.
 * Returns 0; -2 "Parameter stmtp is NULL."; -1 "Parameter stmt is NULL."; -1 "Parameter stmt_len
 * is invalid." for 0 or 2 GiB and more; else the native code, -1 with the server's text. */
int32_t OCIStmtPrepare(OCIStmt *stmtp, OCIError *errhp, const OCIText *stmt, uint32_t stmt_len,
                       uint32_t language, uint32_t mode);

/* Runs what was prepared.
 *   iters  DML: how often, with element 0, 1, ... of the bound arrays; a failed run does not stop
 *          the next, and the last result counts. Select: rows to fetch into the defines at once,
 *          or 0
 *   mode   OCI_COMMIT_ON_SUCCESS commits afterwards, whether the run failed or not; nothing else
 *          has an effect
 *   rowoff, snap_in, snap_out  ignored
 * Returns 0; -2 "Parameter svchp is NULL."; -2 "Parameter stmtp is NULL."; -1 "Execute without
 * preparing."; 99 while a bind with data at execute lacks its last piece; -1 "iters must be
 * greater than 0."; else the result of the last step: run, width of the last define with
 * indicators, commit, fetch (see OCIStmtFetch; 100 for no row). Until the fetch overwrites it,
 * element 0 of a define's indicators holds its column's width. */
int32_t OCIStmtExecute(OCISvcCtx *svchp, OCIStmt *stmtp, OCIError *errhp, uint32_t iters,
                       uint32_t rowoff, const void *snap_in, void *snap_out, uint32_t mode);

/* Gives back what a statement holds: its rows, its parameters, what the server keeps for it. The
 * handle, its binds and its defines stay. `key`, `keylen` and `mode` are ignored.
 * Returns 0; -2 "Parameter stmtp is NULL."; -2 for a statement whose session is gone. */
int32_t OCIStmtRelease(OCIStmt *stmtp, OCIError *errhp, const OCIText *key, uint32_t keylen,
                       uint32_t mode);

/* Gives a descriptor of a column of a prepared or executed select.
 *   hndlp    the statement; `htype` OCI_HTYPE_STMT
 *   parmdpp  receives the descriptor. The newest is freed with the statement, older ones with the
 *            environment. It answers until the statement is prepared or executed again
 *   pos      from 1, at most 4000
 * Returns 0; -2 "Parameter hndlp is NULL."; -2 "Parameter parmdpp is NULL."; -2 for another type;
 * -1 "Statement handle is not executed."; -1 "There is no descriptor at this position."; 100 past
 * the last column, with a descriptor that describes nothing; -1 without a text when memory is
 * short. */
int32_t OCIParamGet(const void *hndlp, uint32_t htype, OCIError *errhp, void **parmdpp,
                    uint32_t pos);

/* Reads an attribute. `*sizep` (bytes) is written where said, if `sizep` is not NULL.
 *   OCI_HTYPE_DEFINE, OCI_HTYPE_BIND
 *       OCI_ATTR_HANDLE_POSITION  u32
 *   OCI_HTYPE_SVCCTX
 *       OCI_ATTR_SERVER, OCI_ATTR_SESSION  the handle as it was set; OCI_ATTR_ENV: NULL
 *   OCI_HTYPE_SESSION
 *       OCI_ATTR_USERNAME    pointer to the text, NULL if empty; `*sizep` its length
 *   OCI_HTYPE_STMT
 *       OCI_ATTR_ROW_COUNT     u32, rows of all fetch calls
 *       OCI_ATTR_ROWS_FETCHED  u32, rows of the last fetch call
 *       OCI_ATTR_STATEMENT     pointer to the text; `*sizep` its length
 *       OCI_ATTR_PARAM_COUNT   u32, columns of the select list; with a NULL `sizep` one more, for
 *                              the rowid that every result carries at its end
 *   OCI_DTYPE_PARAM
 *       OCI_ATTR_NAME, OCI_ATTR_TYPE_NAME  pointer to a text inside the descriptor, overwritten
 *                                          by the next of the two; at most 127 bytes
 *       OCI_ATTR_DATA_TYPE     16 bits, the default CType; `*sizep` 2
 *       OCI_ATTR_DATA_SIZE     32 bits, the width as text; `*sizep` 4
 *       OCI_ATTR_ALIAS         the text itself, up to 128 bytes with its NUL
 *       OCI_ATTR_PRECISION, OCI_ATTR_SCALE  32 bits; -9 where they do not apply
 *       OCI_ATTR_EXTERNAL_TYPE 32 bits
 * Texts are borrowed: they live as long as the handle, or until it is prepared again.
 * Returns 0; -2 "Parameter trgthndlp is NULL."; -2 "Parameter attributep is NULL."; -2 for a
 * handle of another type; -1 without a text for anything not listed; or the native code. */
int32_t OCIAttrGet(const void *trgthndlp, uint32_t trghndltyp, void *attributep, uint32_t *sizep,
                   uint32_t attrtype, OCIError *errhp);

/* Bind and define */

/* Binds an array to a parameter. Values are read at execute, element `i` in iteration `i`.
 *   bindpp    receives the bind, which belongs to the statement
 *   position  from 1
 *   valuep    the application's array; it stays the application's and must live until the last
 *             execute. Elements lie `value_sz` bytes apart, dates 8. DTY_INT of size 8 reads an
 *             array of 32-bit integers. For DTY_BLOB and DTY_CLOB an array of locator pointers
 *   value_sz  bytes of an element. Note: a signed 32-bit value
 *   dty       DTY_CHAR, DTY_STR, DTY_BIN, DTY_BIN_2, DTY_LONG_STR (read to the first NUL or the
 *             element's end), DTY_INT (1, 2, 4 or 8), DTY_FLOAT, DTY_DOUBLE, DTY_DATE, DTY_BLOB,
 *             DTY_CLOB
 *   indp      16-bit indicators, one for each element, or NULL: -1 is NULL, 0 the whole element,
 *             anything else the length in bytes
 *   rcodep    32-bit return code of an output value, or NULL. Note: not 16 bits
 *   alenp, maxarr_len, curelep  ignored
 *   mode      0, or OCI_DATA_AT_EXEC for text and large values that come in pieces
 * Returns 0; -2 "Parameter stmtp is NULL."; -2 "Parameter bindp is NULL."; -1 "Invalid
 * placeholder/position." before a prepare; -2 "Parameter valuep is NULL."; -1 "The data type
 * provided is not supported."; -1 "Parameter position is invalid."; -1 "Invalid parameter."; or
 * the native code. */
int32_t OCIBindByPos(OCIStmt *stmtp, OCIBind **bindpp, OCIError *errhp, uint32_t position,
                     void *valuep, int32_t value_sz, uint16_t dty, void *indp, void *alenp,
                     int32_t *rcodep, uint32_t maxarr_len, uint32_t *curelep, uint32_t mode);

/* OCIBindByPos by a placeholder's name.
 *   placeholder  NUL-terminated, with or without its colon; the two are two binds of one
 *                parameter
 *   placeh_len   ignored
 * Returns also -1 "Placeholder does not exist.". */
int32_t OCIBindByName(OCIStmt *stmtp, OCIBind **bindpp, OCIError *errhp, const OCIText *placeholder,
                      int32_t placeh_len, void *valuep, int32_t value_sz, uint16_t dty, void *indp,
                      void *alenp, int32_t *rcodep, uint32_t maxarr_len, uint32_t *curelep,
                      uint32_t mode);

/* Says where a column goes. Rows go to element 0, 1, ... of the arrays with each fetch call.
 *   defnpp    receives a new define, which belongs to the statement; untouched when the position
 *             was defined before
 *   position  from 1
 *   valuep    the application's array, its elements `value_sz` bytes apart, dates 8; for DTY_BLOB
 *             and DTY_CLOB the address of a locator pointer
 *   value_sz  bytes of an element; 0 passes the column over
 *   dty       DTY_CHAR (no terminator), DTY_STR (NUL-terminated), DTY_INT (1, 2, 4 or 8),
 *             DTY_FLOAT, DTY_DOUBLE, DTY_DATE, DTY_BIN, DTY_BLOB, DTY_CLOB
 *   indp      16-bit indicators, or NULL. 0, or for a cut text what element 0 holds. A NULL text
 *             or binary stores -1 in element 0, whatever the row; numbers and dates have no NULL
 *   rlenp     32-bit return lengths in bytes, or NULL; 0 in element 0 for a NULL. Note: not 16
 *             bits
 *   rcodep    one 32-bit status of the last row: 0, -1 NULL, -2 cut, -3 no conversion; or NULL.
 *             Note: not an array, and not 16 bits
 *   mode      0, or OCI_DYNAMIC_FETCH for pieces
 * Returns 0; -2 "Parameter stmtp is NULL."; -2 "Parameter defnp is NULL."; -1 "Parameter position
 * is invalid."; -1 "Parameter value_sz is invalid."; -1 "Invalid parameter."; or the native
 * code. */
int32_t OCIDefineByPos(OCIStmt *stmtp, OCIDefine **defnpp, OCIError *errhp, uint32_t position,
                       void *valuep, int32_t value_sz, uint16_t dty, void *indp, uint32_t *rlenp,
                       int32_t *rcodep, uint32_t mode);

/* Fetch */

/* Fetches up to `nrows` rows into the defines.
 *   orientation  OCI_FETCH_NEXT
 *   mode         ignored
 * Returns the result of the last row: 0; 1 when a DTY_STR was cut, -1 when a DTY_CHAR was (text
 * "data truncated.", and the fetch goes on; a cut in an earlier row leaves only the text); 99
 * with a define in dynamic mode; 100 at the end of the rows, OCI_ATTR_ROWS_FETCHED rows were
 * good. -2 "Parameter stmtp is NULL."; -1 "Parameter orientation is invalid."; -1 "No definition
 * before executing."; -1 "Fetch without execution."; -1 without a text for `nrows` 0; or the
 * native code. Where the rows of a long result are still arriving, the call sleeps in steps of
 * a second. */
int32_t OCIStmtFetch(OCIStmt *stmtp, OCIError *errhp, uint32_t nrows, uint16_t orientation,
                     uint32_t mode);

/* OCIStmtFetch; `fetchOffset` is ignored too. */
int32_t OCIStmtFetch2(OCIStmt *stmtp, OCIError *errhp, uint32_t nrows, uint16_t orientation,
                      int32_t fetchOffset, uint32_t mode);

/* Large values and pieces */

/* Reads a large value out of its locator: the one that was written to it or bound with its last
 * piece, or that the last fetch of a row has brought. A fetched value is there until the statement
 * is executed, prepared or released anew, freed, or logged off; then the locator is empty.
 *   amtp    receives the bytes delivered; may be NULL
 *   offset  from 1; counts with `cbfp` only
 *   bufp    the application's buffer of `bufl` bytes
 *   cbfp    NULL: the whole value, or its last `bufl` bytes, as far as an earlier read with a
 *           callback or a write has left it in the locator. Else called with each piece in `bufp`
 *           (codes OCI_FIRST_PIECE, OCI_NEXT_PIECE, OCI_LAST_PIECE); must return OCI_CONTINUE for
 *           every piece
 *   csid, csfrm  ignored
 * Returns 0; -2 for a NULL handle; -1 "Parameter offset must be greater than zero."; -1
 * "Parameter bufp is invalid."; -1 "Parameter bufl must be greater than zero."; -1 when the
 * callback returned anything but OCI_CONTINUE. */
int32_t OCILobRead(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp, uint32_t *amtp,
                   uint32_t offset, void *bufp, uint32_t bufl, void *ctxp, OCILobReadFunc cbfp,
                   uint16_t csid, uint8_t csfrm);

/* Replaces a large value in its locator. The table learns of it at the next commit, if the locator
 * belongs to a define of the statement that was allocated last: see OCITransCommit.
 *   amtp    bytes of the whole value without the zeros in front; receives the bytes taken
 *   offset  from 1: the value begins with `offset` - 1 zero bytes
 *   bufp    a piece of `buflen` bytes
 *   piece   OCI_ONE_PIECE, or the place of the piece among repeated calls
 *   cbfp    NULL, or called for every further piece: fills `bufp`, sets length and piece
 *   csid, csfrm  ignored
 * Returns 0; 99 when a further piece is wanted; -2 for a NULL handle; -1 "Parameter amtp is
 * invalid.", "Parameter offset is invalid.", "Parameter bufp is invalid.", "Parameter buflen is
 * invalid.", "Parameter piece is invalid.", "While writing into a LOB, less data was provided
 * than indicated.", "While writing into a LOB, more data was provided than indicated.", "The
 * piece info is invalid."; -1 without a text when memory is short. */
int32_t OCILobWrite(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp, uint32_t *amtp,
                    uint32_t offset, void *bufp, uint32_t buflen, uint8_t piece, void *ctxp,
                    OCILobWriteFunc cbfp, uint16_t csid, uint8_t csfrm);

/* Does nothing; returns 0. */
int32_t OCILobCreateTemporary(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp, uint16_t csid,
                              uint8_t csfrm, uint8_t lobtype, int32_t cache, uint16_t duration);

/* Names the bind or define that wants a piece, binds first: handle, its type, direction (1 in, 2
 * out), iteration and index (0), and the piece (1 first, 2 next, 3 last).
 * Returns 0; -2 for a NULL `stmtp`; -1 "Parameter hndlpp is NULL.", "Parameter typep is NULL.",
 * "Parameter in_outp is NULL.", "Parameter iterp is NULL.", "Parameter idxp is NULL.", "Parameter
 * piecep is NULL."; -1 "No piece info.". */
int32_t OCIStmtGetPieceInfo(OCIStmt *stmtp, OCIError *errhp, void **hndlpp, uint32_t *typep,
                            uint8_t *in_outp, uint32_t *iterp, uint32_t *idxp, uint8_t *piecep);

/* Delivers a piece to a bind (copied at once), or names the buffer for the next piece of a
 * define.
 *   bufp   the piece, or the buffer, which must live until the next fetch
 *   alenp  bytes; of a define it must live while the pieces go on: the fetch may lower it, and
 *          OCIStmtGetPieceInfo reads it again
 *   piece  OCI_LAST_PIECE makes a bind ready
 *   indp, rcodep  ignored
 * Returns 0; -2 for a NULL `hndlp`; -1 "Parameter bufp is NULL."; -1 "Parameter alenp is NULL.";
 * -1 "Parameter alenp must be greater than zero."; -1 for more bytes than the bind's
 * `value_sz`. */
int32_t OCIStmtSetPieceInfo(void *hndlp, uint32_t type, OCIError *errhp, const void *bufp,
                            uint32_t *alenp, uint8_t piece, const void *indp, void *rcodep);

/* Dates */

/* These four copy fields and test nothing; all pointers must be good. */
void OCIDateGetDate(const OCIDate *date, int16_t *year, uint8_t *month, uint8_t *day);
void OCIDateGetTime(const OCIDate *date, uint8_t *hour, uint8_t *minute, uint8_t *second);
void OCIDateSetDate(OCIDate *date, int16_t year, uint8_t month, uint8_t day);
void OCIDateSetTime(OCIDate *date, uint8_t hour, uint8_t minute, uint8_t second);

/* Every date function may be given a NULL error handle; its code is
 * the same. A date is valid with a year of 0 or above, a month of 0 to 12, a day that the month
 * has (month 0: 30 days), and a time of day; the first part that is not gives -1 "Invalid year.",
 * "Invalid month.", "Invalid day.", "Invalid hour.", "Invalid minute." or "Invalid second.".
 * OCIDateAssign copies a date, valid or not. Returns 0, or -2 for a NULL date. */
int32_t OCIDateAssign(OCIError *err, const OCIDate *from, OCIDate *to);

/* Adds days in the local time zone. Returns 0; -2 "Parameter date is NULL."; -2 "Parameter result
 * is NULL."; -1 "Parameter date cannot be earlier than 1970-01-01 08:00:00." for a date before
 * the epoch in local time; -1 "Result is too big."; -1 "Result is earlier than 1970-01-01
 * 00:00:00.". */
int32_t OCIDateAddDays(OCIError *err, const OCIDate *date, int32_t num_days, OCIDate *result);

/* Adds months to year and month, and lowers a day that the new month does not have. A sum of
 * months that is a multiple of 12 gives month 0 of the year after the right one. Returns 0; -2
 * "Parameter date is NULL."; -2 "Parameter result is NULL.". */
int32_t OCIDateAddMonths(OCIError *err, const OCIDate *date, int32_t num_months, OCIDate *result);

/* Writes -1, 0 or 1 as `date1` is before, at or after `date2`. Returns 0; -2 "Parameter date1 is
 * NULL."; -2 "Parameter date2 is NULL."; -2 "Parameter result is NULL.". */
int32_t OCIDateCompare(OCIError *err, const OCIDate *date1, const OCIDate *date2, int32_t *result);

/* Gives the last day of the date's month, at the date's time. Returns 0; -2 "Parameter date is
 * NULL."; -2 "Parameter last_day is NULL.". */
int32_t OCIDateLastDay(OCIError *err, const OCIDate *date, OCIDate *last_day);

/* Gives the current local time. Returns 0; -2 "Parameter sys_date is NULL.". */
int32_t OCIDateSysDate(OCIError *err, OCIDate *sys_date);

/* Writes a date by a format of `fmt_length` characters: dd, mm, y to yyyy, hh or hh12, hh24, mi,
 * ss; in either case. A lone d, h, m or s is dropped, anything else is copied in lower case. NULL
 * `fmt` means "yyyy-mm-dd hh24:mi:ss".
 *   lang_name, lang_length  ignored
 *   buf_size  receives the length of the text; it does not bound it
 *   buf       needs room for the text and a NUL: at most as many bytes as the format, or 20
 * Returns 0; -2 "Parameter date is NULL."; -2 "Parameter buf_size is NULL."; -2 "Parameter buf is
 * NULL.". */
int32_t OCIDateToText(OCIError *err, const OCIDate *date, const OCIText *fmt, uint8_t fmt_length,
                      const OCIText *lang_name, uint32_t lang_length, uint32_t *buf_size,
                      OCIText *buf);

/* Transactions */

/* Starts a transaction, which commits what is open. `timeout` and `flags` are ignored; there are
 * no global transactions.
 * Returns 0; -2 "Parameter svchp is NULL."; -2 without a session; else the native code, -1 with
 * the server's text. */
int32_t OCITransStart(OCISvcCtx *svchp, OCIError *errhp, uint32_t timeout, uint32_t flags);

/* Writes back large values and commits. `flags` is ignored. Returns as OCITransStart; a failed
 * write-back is not told.
 * OCILobWrite marks the statement that was allocated last. When that is a select, all large values
 * that it defines go into one UPDATE of the row that it fetched last, found by its rowid. Table and
 * columns are named by the words behind "from" and in the select list, so the select must be of one
 * table and of plain columns, and a large value its first define. The statement has to be prepared
 * again afterwards: until then it is that UPDATE, which every later commit repeats without a row.
 */
int32_t OCITransCommit(OCISvcCtx *svchp, OCIError *errhp, uint32_t flags);

/* Rolls back. `flags` is ignored. Returns as OCITransStart. */
int32_t OCITransRollback(OCISvcCtx *svchp, OCIError *errhp, uint32_t flags);

/* Does nothing; returns 0. */
int32_t OCITransDetach(OCISvcCtx *svchp, OCIError *errhp, uint32_t flags);

#ifdef __cplusplus
}
#endif

#endif
