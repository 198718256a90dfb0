/* The native client of the Tavu database server: handles, attributes, statements, rows.
 *
 * Results are 0 for success, 100 for the end of the data, or one of the negative codes below; -2
 * for a handle that is NULL, of another type or freed comes first everywhere and is not repeated.
 * The text of a failure is read from the handle with TVCIGetError.
 *
 * A handle and what is below it belong to one thread at a time, with two exceptions that the
 * library looks after itself: handles may be made and freed by several threads, each under its own
 * parent, and the statements of one session take turns on its connection. */
#ifndef TAVU_TVCI_H
#define TAVU_TVCI_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct TVCIEnv TVCIEnv;
typedef struct TVCIServer TVCIServer;
typedef struct TVCISession TVCISession;
typedef struct TVCIPool TVCIPool;
typedef struct TVCIStmt TVCIStmt;
typedef struct LobRecord LobRecord;
typedef struct ResultSet ResultSet;

/* Results of the native calls. */
#define TVCI_SUCCESS 0
#define TVCI_NO_DATA 100
#define TVCI_ROWS_END 101
#define TVCI_ERROR (-1)
#define TVCI_INVALID_HANDLE (-2)
#define TVCI_INVALID_ARGUMENT (-3)
#define TVCI_CONNECTION_LOST (-4)
#define TVCI_NO_MEMORY (-5)
#define TVCI_UNKNOWN_ATTRIBUTE (-6)
#define TVCI_NO_NEXT_RESULT (-7)
#define TVCI_INVALID_POSITION (-8)
#define TVCI_NOT_APPLICABLE (-9)
#define TVCI_DUPLICATE_VALUE (-13)
#define TVCI_ROW_COUNT_OPEN (-14)
#define TVCI_SERVER_17005 (-17)
#define TVCI_RECONNECTED (-24)

/* Status of a converted value. */
#define TVCI_VALUE_DONE 0
#define TVCI_VALUE_NULL (-1)
#define TVCI_VALUE_TRUNCATED (-2)
#define TVCI_VALUE_NO_CONVERSION (-3)

/* Handle types. */
#define TVCI_HTYPE_ENV 1
#define TVCI_HTYPE_SERVER 2
#define TVCI_HTYPE_SESSION 3
#define TVCI_HTYPE_POOL 4
#define TVCI_HTYPE_STMT 5
#define TVCI_HTYPE_COLUMN 10

/* CType: the form in which the application holds a value. */
#define TVCI_C_BOOL 1
#define TVCI_C_CHAR 2
#define TVCI_C_TINYINT 3
#define TVCI_C_SMALLINT 4
#define TVCI_C_INT 5
#define TVCI_C_BIGINT 6
#define TVCI_C_FLOAT 7
#define TVCI_C_DOUBLE 8
#define TVCI_C_NUMERIC 9
#define TVCI_C_DATE 10
#define TVCI_C_TIME 11
#define TVCI_C_TIME_TZ 12
#define TVCI_C_DATETIME 13
#define TVCI_C_DATETIME_TZ 14
#define TVCI_C_BINARY 15
#define TVCI_C_INTERVAL 21
#define TVCI_C_INTERVAL_YM 28
#define TVCI_C_INTERVAL_DS 31
#define TVCI_C_LOB 40

/* Date, time and interval values. */
typedef struct DateRec {
    int32_t year, month, day;
} DateRec;
typedef struct TimeRec {
    int32_t hour, minute, second;
} TimeRec;
typedef struct TimeTzRec {
    int32_t hour, minute, second, tz_hour, tz_minute;
} TimeTzRec;
typedef struct DateTimeRec {
    int32_t year, month, day, hour, minute, second, fraction;
} DateTimeRec;
typedef struct DateTimeTzRec {
    int32_t year, month, day, hour, minute, second, fraction, tz_hour, tz_minute;
} DateTimeTzRec;
typedef struct IntervalYmRec {
    int32_t year, month;
} IntervalYmRec;
typedef struct IntervalDsRec {
    int32_t day, hour, minute, second, fraction;
} IntervalDsRec;
typedef struct IntervalRec {
    int32_t kind, year_or_day, month_or_hour, minute, second, fraction;
} IntervalRec;

/* A list of addresses in a connection string. The library's; it lives as long as the process. */
typedef struct IpTextList {
    int32_t count;  /* of `items`: 1 to 100; less only where memory ran short */
    char **items;   /* dotted texts as written, each NUL-terminated */
    int32_t *flags; /* one word for each item, all 0; NULL where the list was cut off */
} IpTextList;

/* What a connection string says, by key. Texts are NUL-terminated and empty when not given, flags
 * 0 or 1, numbers 0 when not given. */
typedef struct ConnStringAttrs {
    char ip[16];   /* SERVER, IP: dotted address */
    uint32_t port; /* PORT: its low 16 bits count */
    char database[128];
    char user[128];        /* sent up to its 63rd byte, like `password` */
    char password[128];    /* PWD */
    char char_set[32];     /* empty: "GBK" */
    char time_zone[16];    /* empty: "GTM+08:00" */
    char iso_level[16];    /* empty: "READ COMMITED" */
    char lock_timeout[16]; /* a number; sent when above 0 */
    uint32_t auto_commit;
    char encryptor[64];
    uint8_t use_ssl; /* 1: the enciphered login */
    uint8_t lob_ret;
    uint8_t return_cursor_id;
    uint8_t return_schema;
    uint8_t return_rowid;
    uint8_t use_cache_ret;     /* not used */
    uint8_t use_server_cursor; /* not used */
    uint8_t has_ips;           /* 1: the first address of a list takes the place of `ip` */
    uint32_t cached_num;       /* not used */
    uint8_t strict_commit;     /* not used */
    uint8_t return_as_char;    /* not used */
    IpTextList *ips;           /* the list; set by the library */
    char *ips_text;            /* TVCIConnectAttrs: "ips=" and addresses between commas */
} ConnStringAttrs;

/* A failure that lies on no handle. The library's; it lives as long as the process. */
typedef struct TVCIConnectError {
    char code[7];  /* such as "E32384", NUL-terminated */
    char *message; /* NUL-terminated; NULL when memory was short */
} TVCIConnectError;

/* Handles */

/* Makes a handle: environment (1, `parent` is ignored), server (2, below an environment), session
 * (3, below a server), pool (4, below an environment), statement (5, below a session). Type 8
 * makes nothing and returns 0. `*out` is freed with TVCIHandleFree, or with its parent.
 * Returns 0; -2 for a NULL parent; -3 for a NULL `out`, -1 when the parent is NULL too; -1 for a
 * parent of another type, with "E32102" on the parent; -2 for an unknown type, with "E32103" on
 * the parent; -5 when memory is short. */
int32_t TVCIHandleAlloc(void *parent, void **out, int32_t type);

/* Frees a handle and all below it, leaves first. Types 4, 6, 7, 8 and 10 are accepted and left
 * alone.
 * Returns 0, or -3 for NULL. A statement whose rows are still arriving is waited for. */
int32_t TVCIHandleFree(void *handle);

/* Reads the last error of a handle: 7 bytes of code, the message without a terminator, and its
 * length in bytes. For sessions and statements the message stops at 512 bytes, for the others it
 * has no limit. Nothing is written when there is no error. Always returns 0. */
int32_t TVCIGetError(void *handle, char *code, char *message, uint32_t *length);

/* Attributes */

/* Sets an attribute. `value` points to a 32-bit word, or to a text of `length` bytes (-1: up to
 * its NUL), which is copied.
 *   environment  1 version (minor in the low, major in the high 16 bits), 2 pooling 0 or 1
 *   server       21 IPv4 address text, 22 port (16 bits), 23 host name, 24 database,
 *                28 failover list: addresses separated by ","
 *   session      33 character set 1 GBK, 2 GB2312, 3 UTF8; 34 time zone; 35 encryptor; 36
 *                isolation level 1 to 4; 37 enciphered login 0 or 1; 38 auto commit 0 or 1; 39
 *                receive timeout in minutes; 40 large values as descriptors; 41 protocol version;
 *                43 reconnect 0 or 1; 44 cursor ids; 45 lock timeout; 46 rowids; 47 schemas
 *   statement    42 server cursor 0, 1, or 2 with fetch-ahead
 * Session attributes count for the next login.
 * Returns 0; -3 for a NULL value ("E32203"); -6 for an unknown attribute; -1 for a value that is
 * refused, with a text under "E32206" to "E32220" on the handle; -2 for a pool ("E32204"). */
int32_t TVCIAttrSet(void *handle, int32_t attribute, const void *value, int32_t length);

/* Reads an attribute that TVCIAttrSet sets, or one of the statement's 61 (columns), 62 (rows, 64
 * bits; waits up to 30 seconds while they arrive), 63 (affected rows), 64 (row-count word). Texts
 * are cut to `length` bytes with their NUL.
 * Returns 0; -3 for a NULL handle or value; -6; -14 for 62 when the rows are still arriving. */
int32_t TVCIAttrGet(void *handle, int32_t attribute, void *value, int32_t length);

/* TVCIAttrGet with the handle's type said, and for column handles (10): 50 name, 51 default CType,
 * 52 alias, 53 and 54 width as text, 55 type text, 56 binary text, 57 CHAR, 58 precision, 59
 * scale, 60 nullable, 65 SqlType, 66 VARCHAR. Texts need 128 bytes. `length` receives bytes, or is
 * NULL.
 * Returns also -9 for 58 and 59 of a type that has none. */
int32_t TVCIGetResultAttr(void *handle, int32_t handle_type, void *value, int32_t *length,
                          int32_t attribute);

/* Connection strings */

/* Logs on as a text of "key=value" items says, and makes the handles to go on with.
 *   text  items between ";", or between "," where the text has no ";"; a text that has neither, or
 *         of fewer than 5 characters, says nothing. Keys and values are read without regard to
 *         case and without the blanks around them, each up to 63 bytes; unknown keys, and items of
 *         128 bytes or without a "=", are passed over. Borrowed.
 *           SERVER IP; PORT; DB DataBase; USER UID USERID; PWD PASSWORD; CHARSET CHAR_SET
 *           CHARACTER_SET; TIME_ZONE timezone; ISO_LEVEL ISOLEVEL; LOCK_TIMEOUT LOCKTIMEOUT;
 *           ENCRYPTOR; CACHEDNUM                                 the text or number
 *           AUTO_COMMIT autocommit; LOB_RET LOBRET; RETURN_ROWID RETROWID; RETURN_SCHEMA RETSCHEMA;
 *           RETURN_ASCHAR RETASCHAR; STRICTCOMMIT; USECACHERET   "on" or "true": 1, else 0
 *           use_ssl USESSL                                       "on", "yes" or "true": 1, else 0
 *           RETURN_CURSORID retcursorid; USE_SRVCURSOR useservercursor
 *                                                                "off" or "false": 0, else 1
 *           ips=                                                 addresses between commas
 *         An item with "ips=" or "IPS=" anywhere in it is the address list; one with more than 100
 *         addresses prints "set ips error \n" on standard output and is cut off.
 *   out   room for three handles: environment, server, session. The first is the caller's, and the
 *         others go with it. Untouched on failure.
 * The session is not connected: TVCIConnect opens a connection of its own, to the address of SERVER
 * or IP, never of the list. It takes none of the string's settings but port and database.
 * The connection that was logged on stays open, and its memory allocated, for the life of the
 * process, and so do those that failed.
 * Settings that make a login line of more than 511 bytes, 479 with `use_ssl`, end the process.
 * Returns 0; -1 when the login failed; -4 when no connection could be made, with "make socket error
 * \n" on standard output; -3 for a NULL argument; -5. */
int32_t TVCIConnectString(const char *text, void **out);

/* The same from a record instead of a text, which says why it failed instead of printing.
 *   attrs  borrowed; with `has_ips` set, `ips` is made from `ips_text`
 *   out    room for four pointers: the three handles, and a TVCIConnectError, which is NULL unless
 *          the result is -1, -3 for an address or a port, or -4
 * Returns 0; or
 *   -1  the login failed: "E32384" with the code and the words of the server
 *   -3  "E32388": the address is none, or the port 0; without a record: an argument is NULL
 *   -4  "E32389": no connection could be made; address and port, as numbers, are in the text
 *   -5  memory is short */
int32_t TVCIConnectAttrs(ConnStringAttrs *attrs, void **out);

/* Sessions and transactions */

/* Connects a session and logs on. Returns 0; -1 with the reason on the session; -1 without one for
 * a NULL text or a session that is connected. */
int32_t TVCIConnect(TVCISession *session, const char *user, const char *password);

/* Closes the session's connection, or gives it back to the pool. Nothing is sent. Returns 0. */
int32_t TVCIDisconnect(TVCISession *session);

/* The transaction commands. Errors lie on the session. Return 0; -1 refused by the server; -3 for
 * a savepoint number outside 1 to 10; -4 without a connection or when it is lost; -5.
 * TVCIRollback: mode 1 everything, 2 to savepoint `number`, any other nothing. */
int32_t TVCIBeginTrans(TVCISession *session);
int32_t TVCICommit(TVCISession *session);
int32_t TVCISavepoint(TVCISession *session, int32_t number);
int32_t TVCIRollback(TVCISession *session, int32_t mode, int32_t number);

/* Statements */

/* Prepares a text of `length` bytes (-1: up to its NUL) on the server. Returns 0; -3; -1 refused,
 * or "?" and ":name" mixed ("E19963"); -4; -5; -24. */
int32_t TVCIPrepare(TVCIStmt *stmt, const char *text, int32_t length);

/* Runs the prepared text. Returns 0; -1 when nothing is prepared or the server refuses; -13, -17;
 * -4; -5; -24. At most 2000 rows are read before the call returns; the rest arrives in the
 * background.
 * A text that returns rows and was prepared with attribute 42 on is run through a server cursor,
 * which is declared and opened here: the result is that of the opening. A cursor of the statement
 * that is still open is closed first. */
int32_t TVCIExecute(TVCIStmt *stmt);

/* Runs a text without preparing it. Returns as TVCIExecute; -3 for a NULL text; -5 also for more
 * than 4000 parameters. */
int32_t TVCIExecDirect(TVCIStmt *stmt, const char *text, int32_t length);

/* The same, giving a view of the first result, or NULL on any failure. It has the rows that were
 * read by then, which are all of a result of at most 2000. It is freed with ResultClose and becomes
 * empty when its statement is run, prepared, closed or freed. */
ResultSet *TVCIExecuteResult(TVCIStmt *stmt);
ResultSet *TVCIExecDirectResult(TVCIStmt *stmt, const char *text, int32_t length);
void ResultClose(ResultSet *copy);

/* Reads the view row by row. Columns count from 1; a row's values are read after a ResultNext that
 * returned 1. A NULL, a value without such a form, and a column of no row read as NULL or 0.
 *   ResultNext       1 when there is a row, 0 at the end. Ahead of the last 100 rows of the view it
 *                    waits until the whole result has arrived
 *   ResultGetString  the value as text, which the view keeps until the column is read again or the
 *                    view is closed; NULL for a column out of range
 *   ResultGetFloat   -1.0 for a column out of range
 *   ResultGetInt     -1 for a column out of range */
int32_t ResultNext(ResultSet *copy);
const char *ResultGetString(ResultSet *copy, int32_t column);
float ResultGetFloat(ResultSet *copy, int32_t column);
int32_t ResultGetInt(ResultSet *copy, int32_t column);

/* Runs a text once for every row of the arrays that TVCIBindParamArray bound. A row that an array
 * does not have is a NULL there. At most 32767 rows fit the request; where no array was bound, the
 * request announces the parameters and does not send them. The text is for statements that return
 * no rows: behind rows, the next request of the session waits for ever. The statement counts as not
 * prepared afterwards.
 * Returns as TVCIExecDirect; 0 also for an answer that is not understood, behind which the next
 * request waits for ever. */
int32_t TVCIExecDirectBatch(TVCIStmt *stmt, const char *text, int32_t length);

/* Goes on to the next result of a response. Returns 0, or -7 when there is none. */
int32_t TVCINextResult(TVCIStmt *stmt);

/* Releases parts of a statement: mode 1 its parameters, 2 its defined columns, 3 everything but
 * the handle. Returns 0; -3 for another mode. */
int32_t TVCIStmtClose(TVCIStmt *stmt, int32_t mode);

/* Parameters and columns */

/* Binds a parameter, by position from 1 or by name without its colon.
 *   kind           1 input, 2 output
 *   value          read at execute, written when the answer has an output for the parameter; the
 *                  application's
 *   value_size     bytes of it; at least 1 for CType 2 and 15
 *   return_code    receives what became of an output: 0, -1 NULL, -2 cut, -3 no conversion; may be
 *                  NULL
 *   return_length  the value's bytes at execute, 0 for NULL; NULL pointer: the text's own length,
 *                  or `value_size` bytes of binary. Receives the bytes of an output that is taken
 *                  as CType 2 or 15, of a cut one those that were left over
 *   sql_type       1 BOOLEAN, 2 TINYINT, 3 SMALLINT, 4 INTEGER, 5 BIGINT, 6 FLOAT, 7 DOUBLE,
 *                  8 NUMERIC, 9 DATE, 10 TIME, 11 DATETIME, 12 CHAR, 13 BINARY, 14 CLOB, 16 BLOB,
 *                  17 and 18 the zoned forms, 20 to 32 intervals, 33 to 45 geometry
 * Returns 0; -3; -8 for a position, -1 for a name that the text does not have; -5. */
int32_t TVCIBindParam(TVCIStmt *stmt, int32_t position, int32_t kind, void *value,
                      int32_t value_size, int32_t c_type, int32_t *return_code,
                      int32_t *return_length, int32_t sql_type);
int32_t TVCIBindParamByName(TVCIStmt *stmt, const char *name, int32_t kind, void *value,
                            int32_t value_size, int32_t c_type, int32_t *return_code,
                            int32_t *return_length, int32_t sql_type);

/* Binds an array to a parameter of TVCIExecDirectBatch. All parameters of a statement are input and
 * have the same rows: the last call says how many.
 *   param_count  all parameters of the text; makes them on a statement that is not prepared
 *   kind         1
 *   rows         elements of `value` and of `lengths`, at least 0
 *   value        read at execute. CType 1 and 3 to 8: numbers; 10, 11 and 13: records; 2, 9, 12
 *                and 14: pointers to text; 15: pointers to bytes; 40: pointers to large values. No
 *                other form has arrays
 *   value_size   at least 1 for CType 2 and 15
 *   return_code  not used
 *   lengths      bytes of each text or binary, 0 for NULL; for the other forms only 0 or not. NULL:
 *                texts end at their NUL, at `value_size` bytes when that is above 0, and binaries
 *                have `value_size` bytes. A pointer that is NULL and an empty value are NULLs too
 * By name, the first parameter without a name takes it on a statement that is not prepared.
 * Returns 0; -3; -8 for a position or a count that the statement does not have; -1 for a name or,
 * by name, a count that it does not have, the name with "E19964"; -5. */
int32_t TVCIBindParamArray(TVCIStmt *stmt, int32_t position, int32_t param_count, int32_t kind,
                           int32_t rows, void *value, int32_t value_size, int32_t c_type,
                           int32_t *return_code, int32_t *lengths, int32_t sql_type);
int32_t TVCIBindParamArrayByName(TVCIStmt *stmt, const char *name, int32_t param_count,
                                 int32_t kind, int32_t rows, void *value, int32_t value_size,
                                 int32_t c_type, int32_t *return_code, int32_t *lengths,
                                 int32_t sql_type);

/* Says where a column (from 1) goes with each fetch. `return_code` receives 0, -1 NULL, -2 cut or
 * -3 no conversion; `return_length` the bytes, of a cut value those that were left over. Either
 * may be NULL. Returns 0, -3, or -5. */
int32_t TVCIDefineColumn(TVCIStmt *stmt, int32_t column, void *buffer, int32_t buffer_size,
                         int32_t c_type, int32_t *return_code, int32_t *return_length);

/* Gives the column handle of a position (from 1); it lives until the results are released.
 * `attribute` is not used. Returns 0; 100 past the last column; -1 without a result; -3; -5. */
int32_t TVCIParamGet(TVCIStmt *stmt, int32_t attribute, void **out, int32_t position);

/* Rows */

/* Fetches the next row into the defined columns. Returns 0; 100 at the end; -1 without rows to
 * fetch.
 * From a server cursor rows come in blocks of 2000, and each block takes the place of the one
 * before. Column handles end with the first block, and without fetching ahead with each. A block
 * that the server refuses or that a lost connection cuts off is the end (100); the reason lies on
 * the statement or the session.
 * Behind an empty first block, and without fetching ahead behind every end, a further call asks the
 * cursor again. With fetch-ahead a second thread fetches the next block; the two look for each
 * other once a second. Also -5: the first block of a cursor was not asked for and can be asked for
 * again. */
int32_t TVCIFetch(TVCIStmt *stmt);

/* Converts a column (from 1) of the current row. Returns the status of the value: 0, -1 NULL, -2
 * cut, -3 no conversion or a bad argument; -1 for a column that is not there. */
int32_t TVCIGetData(TVCIStmt *stmt, int32_t column, int32_t type, void *buffer,
                    int32_t buffer_length, int32_t *length_out);

/* Large values */

/* A holder keeps one large value: bytes of its own, bytes in the rows of a result, or the name of a
 * value on the server. What a fetch or TVCIGetData puts into a holder lies in the rows: it is good
 * until the statement's results are released (by its next execute or prepare, its close, or the
 * next block of a cursor), and a holder that is used after that must be reset or written first.
 * What the holder held before is not released: reset it before the next row when it has a value of
 * its own or one that was fetched from the server. A holder is used by one thread at a time;
 * different holders of one session may be used at once. */

/* Makes an empty holder; NULL when memory is short. */
LobRecord *TVCILobAlloc(void);

/* Release the value, TVCILobFree the holder too. Of a copy that was made of a value in rows, the
 * bytes or the name are not released. Return 0, or -3 for NULL. */
int32_t TVCILobFree(LobRecord *lob);
int32_t TVCILobReset(LobRecord *lob);

/* Gives length and bytes of the value, which stay the holder's until it changes. A value that is on
 * the server only is fetched whole first, over a second connection of its session, which is logged
 * on when it is first needed; then the length is what the server announced, and the bytes are NULL
 * when the fetch has failed. Of a value that came from a session with descriptors and has its bytes
 * already, the first byte is passed over, but not of a geometry and not after TVCILobRead has
 * fetched them. Either output may be NULL.
 * Returns 0; -3 for a NULL holder or two NULL outputs. */
int32_t TVCILobGet(LobRecord *lob, int32_t *length_out, void **data_out);

/* Copies at most `amount` bytes from `offset` (from 0) into `buffer`, of which all `amount` bytes
 * are zeroed before, and sets `*read_out`, which may be NULL, to the bytes copied. Fetches like
 * TVCILobGet. A value on the server that has fewer bytes, or could not be fetched, gives none.
 * Returns 0; -1 for an offset beyond a local value, with 0 bytes; -3 for a NULL holder, a NULL
 * buffer or a negative offset. */
int32_t TVCILobRead(LobRecord *lob, int32_t offset, int32_t amount, void *buffer,
                    int32_t *read_out);

/* Replaces the value by a copy. Returns 0; -3 for a NULL holder, NULL bytes or a negative length;
 * -1 for 2146435072 bytes and more; -5, with no value left. */
int32_t TVCILobWrite(LobRecord *lob, int32_t length, const void *bytes);

/* Makes `target` a holder of a copy of the value, or of its name, which outlives the rows. What
 * `target` held is released. Returns 0, also when memory was short for the bytes, or -3 for NULL.
 */
int32_t TVCILobCopy(const LobRecord *source, LobRecord *target);

/* Bulk load */

/* Push the rows of a table to the server as one binary stream. `data` holds all values that are not
 * NULL back to back in row order, in the form in which rows travel. `lengths` gives the bytes of
 * each value, -1 for NULL: a pointer to `column_count` lengths for each row, or, in the forms that
 * end in Flat, all of them in sequence. All are borrowed for the call. `table` is the name as the
 * command is to bear it; a command is at most 255 bytes.
 *   TVCIExecLoad    load_mode 1 append, 2 replace; the two PARALLEL numbers are passed on
 *   TVCIExecImport  load_mode 0, 1 append, 2 replace; use_mode 1 or 2
 * `reindex` other than 0 runs a REINDEX of the table behind the rows, but not in an import of
 * use_mode 2. The call returns when the server has closed the stream, for which it looks once in a
 * second.
 * Returns 0; -1 for fewer than 1 row or column, a NULL table or lengths, NULL data where a value
 * has bytes, a length below -1, a row of 2 GiB or more, a command that is too long, with nothing
 * sent and no text; -1 for another mode, with "TVCIExecLoad load_mode not within the scope\r" or
 * "TVCIExecLoad use_mode not within the scope\r" under an empty code on the statement; -1 for an
 * error of the server, with its text. When the server refuses the command the connection is not to
 * be used any more: the next request waits for ever. -4 without a connection or when it is lost
 * ahead of the rows or at the REINDEX; -5 when memory is short: the rows before that were sent. */
int32_t TVCIExecLoad(TVCIStmt *stmt, const void *data, const int32_t *const *lengths,
                     int32_t row_count, int32_t column_count, const char *table,
                     int32_t parallel_first, int32_t parallel_second, int32_t load_mode,
                     uint8_t reindex);
int32_t TVCIExecLoadFlat(TVCIStmt *stmt, const void *data, const int32_t *lengths,
                         int32_t row_count, int32_t column_count, const char *table,
                         int32_t parallel_first, int32_t parallel_second, int32_t load_mode,
                         uint8_t reindex);
int32_t TVCIExecImport(TVCIStmt *stmt, const void *data, const int32_t *const *lengths,
                       int32_t row_count, int32_t column_count, const char *table,
                       int32_t load_mode, uint32_t use_mode, uint8_t reindex);
int32_t TVCIExecImportFlat(TVCIStmt *stmt, const void *data, const int32_t *lengths,
                           int32_t row_count, int32_t column_count, const char *table,
                           int32_t load_mode, uint32_t use_mode, uint8_t reindex);

#ifdef __cplusplus
}
#endif

#endif
