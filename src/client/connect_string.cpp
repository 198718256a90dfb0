// Connecting by a connection string: a login on a connection of its own, then a chain of handles.
//
// The login comes first, so in a process without an environment the words on the wire are still in
// the host's order.
#include <cstddef>
#include <cstdio>

#include "diag/error.h"
#include "platform/lock.h"
#include "platform/memory.h"
#include "platform/text.h"
#include "records/handles.h"
#include "tavu/tvci.h"
#include "wire/conn_string.h"
#include "wire/connection.h"
#include "wire/login.h"

// Places in the array that the entries fill.
enum OutSlot { OUT_ENV, OUT_SERVER, OUT_SESSION, OUT_ERROR };

// The published view of an error record.
static_assert(offsetof(ErrInfo, code) == offsetof(TVCIConnectError, code));
static_assert(sizeof(ErrInfo::code) == sizeof(TVCIConnectError::code));
static_assert(offsetof(ErrInfo, message) == offsetof(TVCIConnectError, message));

// A connection that an entry has made, and the one that was made before it.
struct KeptConnection {
    Connection conn;
    KeptConnection *next;
};

// No handle names the connections and the errors of the entries, and nothing closes or frees them:
// they live as long as the process. All are named here, newest first.
static Mutex kept_lock = MUTEX_INITIALIZER;
static KeptConnection *kept_connections = NULL;
static ErrInfo *kept_errors = NULL;

// The address of SERVER or IP; the field may be filled to its last byte.
static uint32_t OwnAddress(const ConnStringAttrs *attrs) {
    char text[sizeof(attrs->ip) + 1];
    ConnStringCopyField(text, sizeof(text), attrs->ip, sizeof(attrs->ip));
    return NetAddressFromText(text);
}

// The address to log on at: the first of the list where there is one.
static uint32_t LoginAddress(const ConnStringAttrs *attrs) {
    if (attrs->has_ips == 0) return OwnAddress(attrs);
    const IpTextList *list = attrs->ips;
    if (list == NULL || list->count < 1) return NET_ADDRESS_NONE;
    return NetAddressFromText(list->items[0]);
}

// Makes a connection to where the attributes say; NULL when memory is short.
static Connection *MakeConnection(const ConnStringAttrs *attrs) {
    KeptConnection *kept = (KeptConnection *)MemAlloc(sizeof(KeptConnection));
    if (kept == NULL) return NULL;
    MutexLock(&kept_lock);
    kept->next = kept_connections;
    kept_connections = kept;
    MutexUnlock(&kept_lock);
    ConnInit(&kept->conn);
    kept->conn.ip = LoginAddress(attrs);
    kept->conn.port = (uint16_t)attrs->port;
    return &kept->conn;
}

static bool Login(Connection *conn, const ConnStringAttrs *attrs) {
    ConnAttr attr = {};
    ConnStringToAttr(&attr, attrs);
    ConnStringCopyField(conn->database, sizeof(conn->database), attrs->database,
                        sizeof(attrs->database));
    return TVCILogin(conn, conn->database, &attr);
}

// Makes the handles and stores them when all are there.
static int32_t MakeHandles(const ConnStringAttrs *attrs, void **out) {
    TVCIEnv *env = NULL;
    TVCIServer *server = NULL;
    TVCISession *session = NULL;
    int32_t result = TVCIHandleAlloc(NULL, (void **)&env, TVCI_HTYPE_ENV);
    if (result != TVCI_SUCCESS) return result;
    result = TVCIHandleAlloc(env, (void **)&server, TVCI_HTYPE_SERVER);
    if (result == TVCI_SUCCESS) {
        result = TVCIHandleAlloc(server, (void **)&session, TVCI_HTYPE_SESSION);
    }
    if (result != TVCI_SUCCESS) {
        TVCIHandleFree(env);
        return result;
    }
    server->ip = OwnAddress(attrs);
    server->port = (uint16_t)attrs->port;
    ConnStringCopyField(server->database, sizeof(server->database), attrs->database,
                        sizeof(attrs->database));
    ConnStringCopyField(session->conn_user, sizeof(session->conn_user), attrs->user,
                        sizeof(attrs->user));
    ConnStringCopyField(session->conn_password, sizeof(session->conn_password), attrs->password,
                        sizeof(attrs->password));
    out[OUT_ENV] = env;
    out[OUT_SERVER] = server;
    out[OUT_SESSION] = session;
    return TVCI_SUCCESS;
}

int32_t TVCIConnectString(const char *text, void **out) {
    if (text == NULL || out == NULL) return TVCI_INVALID_ARGUMENT;
    ConnStringAttrs attrs = {};
    ConnStringParse(text, &attrs);
    Connection *conn = MakeConnection(&attrs);
    if (conn == NULL) return TVCI_NO_MEMORY;
    if (!ConnOpenSocket(conn)) {
        fputs("make socket error \n", stdout);
        return TVCI_CONNECTION_LOST;
    }
    if (!Login(conn, &attrs)) return TVCI_ERROR;
    return MakeHandles(&attrs, out);
}

// Puts an error into the array of the caller.
static void GiveError(void **out, const char *code, const char *detail) {
    ErrInfo *err = (ErrInfo *)MemAlloc(sizeof(ErrInfo));
    if (err == NULL) return;
    ErrInfoSet(err, code, detail);
    MutexLock(&kept_lock);
    err->retired = kept_errors;
    kept_errors = err;
    MutexUnlock(&kept_lock);
    out[OUT_ERROR] = err;
}

static int32_t RefusePlace(void **out, const Connection *conn) {
    char detail[ERROR_DETAIL_BYTES];
    if (conn->ip == NET_ADDRESS_NONE) {
        snprintf(detail, sizeof(detail), "invalid ip is: %d ", (int32_t)conn->ip);
    } else {
        snprintf(detail, sizeof(detail), " port is: %d ", conn->port);
    }
    GiveError(out, "E32388", detail);
    return TVCI_INVALID_ARGUMENT;
}

static int32_t RefuseSocket(void **out, const Connection *conn) {
    char detail[ERROR_DETAIL_BYTES];
    snprintf(detail, sizeof(detail),
             "ip or port error ip is: %d ,port is %d ,or else server is closed please make sure\n",
             (int32_t)conn->ip, conn->port);
    GiveError(out, "E32389", detail);
    return TVCI_CONNECTION_LOST;
}

// An enciphered login that is cut before the verdict leaves no reason.
static int32_t RefuseLogin(void **out, const Connection *conn) {
    char code[sizeof(ErrInfo::code)] = "";
    char message[ERROR_DETAIL_BYTES] = "";
    if (ErrInfoPresent(&conn->last_error)) {
        ErrInfoCopy(&conn->last_error, code, message, sizeof(message) - 1, NULL);
    } else {
        TextCopy(code, sizeof(code), CANNOT_CONNECT_CODE);
        TextCopy(message, sizeof(message), CANNOT_CONNECT_TEXT);
    }
    // Room for all, which is then cut like any detail.
    char detail[sizeof(code) + sizeof(message) + 2];
    snprintf(detail, sizeof(detail), "%s %s \n", code, message);
    detail[ERROR_DETAIL_BYTES - 1] = '\0';
    GiveError(out, "E32384", detail);
    return TVCI_ERROR;
}

int32_t TVCIConnectAttrs(ConnStringAttrs *attrs, void **out) {
    if (attrs == NULL || out == NULL) return TVCI_INVALID_ARGUMENT;
    out[OUT_ERROR] = NULL;
    if (attrs->has_ips != 0) {
        attrs->ips = attrs->ips_text != NULL ? IpTextListMake(attrs->ips_text) : NULL;
    }
    Connection *conn = MakeConnection(attrs);
    if (conn == NULL) return TVCI_NO_MEMORY;
    if (conn->ip == NET_ADDRESS_NONE || conn->port == 0) return RefusePlace(out, conn);
    if (!ConnOpenSocket(conn)) return RefuseSocket(out, conn);
    if (!Login(conn, attrs)) return RefuseLogin(out, conn);
    return MakeHandles(attrs, out);
}
