/* The native client of the Tavu database server: handles, attributes, statements, rows. */
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

/* Handles */
int32_t TVCIHandleAlloc(void *parent, void **out, int32_t type);
int32_t TVCIHandleFree(void *handle);
int32_t TVCIGetError(void *handle, char *code, char *message, uint32_t *length);

/* Attributes */
int32_t TVCIAttrSet(void *handle, int32_t attribute, const void *value, int32_t length);
int32_t TVCIAttrGet(void *handle, int32_t attribute, void *value, int32_t length);
int32_t TVCIGetResultAttr(void *handle, int32_t handle_type, void *value, int32_t *length,
                          int32_t attribute);

/* Sessions and transactions */
int32_t TVCIConnect(TVCISession *session, const char *user, const char *password);
int32_t TVCIDisconnect(TVCISession *session);
int32_t TVCIBeginTrans(TVCISession *session);
int32_t TVCICommit(TVCISession *session);
int32_t TVCISavepoint(TVCISession *session, int32_t number);
int32_t TVCIRollback(TVCISession *session, int32_t mode, int32_t number);

/* Statements */
int32_t TVCIPrepare(TVCIStmt *stmt, const char *text, int32_t length);
int32_t TVCIExecute(TVCIStmt *stmt);
int32_t TVCIExecDirect(TVCIStmt *stmt, const char *text, int32_t length);
ResultSet *TVCIExecuteResult(TVCIStmt *stmt);
ResultSet *TVCIExecDirectResult(TVCIStmt *stmt, const char *text, int32_t length);
void ResultClose(ResultSet *copy);
int32_t TVCINextResult(TVCIStmt *stmt);
int32_t TVCIStmtClose(TVCIStmt *stmt, int32_t mode);

/* Parameters and columns */
int32_t TVCIBindParam(TVCIStmt *stmt, int32_t position, int32_t kind, void *value,
                      int32_t value_size, int32_t c_type, int32_t *return_code,
                      int32_t *return_length, int32_t sql_type);
int32_t TVCIBindParamByName(TVCIStmt *stmt, const char *name, int32_t kind, void *value,
                            int32_t value_size, int32_t c_type, int32_t *return_code,
                            int32_t *return_length, int32_t sql_type);
int32_t TVCIDefineColumn(TVCIStmt *stmt, int32_t column, void *buffer, int32_t buffer_size,
                         int32_t c_type, int32_t *return_code, int32_t *return_length);
int32_t TVCIParamGet(TVCIStmt *stmt, int32_t attribute, void **out, int32_t position);

/* Rows */
int32_t TVCIFetch(TVCIStmt *stmt);
int32_t TVCIGetData(TVCIStmt *stmt, int32_t column, int32_t type, void *buffer,
                    int32_t buffer_length, int32_t *length_out);

/* Large values */
LobRecord *TVCILobAlloc(void);
int32_t TVCILobFree(LobRecord *lob);
int32_t TVCILobGet(LobRecord *lob, int32_t *length_out, void **data_out);
int32_t TVCILobWrite(LobRecord *lob, int32_t length, const void *bytes);

#ifdef __cplusplus
}
#endif

#endif
