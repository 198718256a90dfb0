// A new socket and a new login under a connection that was lost.
//
// The record keeps its buffers, its pushed-back letter and its statement numbers, and the caller
// keeps the connection's permit.
#include "wire/reconnect.h"

#include "diag/error.h"
#include "wire/login.h"
#include "wire/server_list.h"

// The tabs and blanks are part of the text.
#define WIDE_GAP "\t\t\t\t\t\t\t\t\t\t\t\t   "

static const char *const IDLE_TIMEOUT_TEXT =
    "connection not used long till timeout ,server cut the connection, now reconnect ok, you can "
    "resend the command again! \n";
static const char *const EXECUTE_TIMEOUT_TEXT =
    " sql execute timeout " WIDE_GAP
    "if return value is -25 \n or connection not used long till timeout ," WIDE_GAP
    "server cut the connection, now reconnect ok, you can resend the command again! \n";

static Connection *RaiseCannotConnect(TVCISession *session) {
    ErrInfoRaiseText(session, CANNOT_CONNECT_CODE, CANNOT_CONNECT_TEXT);
    return NULL;
}

Connection *TVCIReconnect(TVCISession *session) {
    Connection *conn = session->conn;
    if (conn == NULL || conn->auto_reconnect == 0) return RaiseCannotConnect(session);
    ErrInfoRetire(&session->error, &session->retired);
    if (!ServerListConnect(session->server, conn)) return RaiseCannotConnect(session);
    if (!TVCILogin(conn, conn->database, &session->attr)) {
        ErrInfoRaiseCopy(session, &conn->last_error);
        return NULL;
    }
    // Whatever the real cause was: without a time limit it is put down to the server.
    if (conn->timeout < 1) {
        ErrInfoRaiseText(session, "E19886", IDLE_TIMEOUT_TEXT);
    } else {
        ErrInfoRaiseText(session, "E19887", EXECUTE_TIMEOUT_TEXT);
    }
    return conn;
}
