// Transaction commands: plain command texts on the session's connection.
#include "stmt/transaction.h"

#include <cstdio>

#include "diag/error.h"
#include "platform/memory.h"
#include "platform/wait.h"
#include "records/handles.h"
#include "stmt/letters.h"
#include "tavu/tvci.h"
#include "wire/connection.h"

constexpr int32_t SAVEPOINT_MIN = 1;
constexpr int32_t SAVEPOINT_MAX = 10;
// Room for the longest command with its savepoint.
constexpr size_t COMMAND_BYTES = 32;

enum RollbackMode { ROLLBACK_ALL = 1, ROLLBACK_TO_SAVEPOINT = 2 };

// Reads the answer: its first letter and, if that is no end, the error text. The letter that closes
// an error stays on the wire, where the next request finds it.
static int32_t ReadAnswer(Connection *conn) {
    uint8_t letter;
    if (!ConnReadChar(conn, &letter)) return TVCI_CONNECTION_LOST;
    if (letter == MSG_END) return TVCI_SUCCESS;
    char *text;
    if (ConnReadString(conn, &text) != TVCI_SUCCESS) return TVCI_ERROR;
    int32_t status = TVCI_SUCCESS;
    if (conn->owner != NULL) {
        status = ErrInfoFromServer(&conn->owner->error, text);
    }
    MemFree(text);
    return status == TVCI_SUCCESS ? TVCI_ERROR : status;
}

int32_t RunTransCommand(Connection *conn, const char *text) {
    WaitSemaphore(&conn->use_semaphore, WAIT_CONN_PERMIT);
    ConnSendCommand(conn, text);
    const int32_t status = ReadAnswer(conn);
    SemaphoreRelease(&conn->use_semaphore);
    return status;
}

// Runs the command with the session as the one that takes an error text, unless the connection
// names one already. A session without a connection is left as it is.
static int32_t RunForSession(TVCISession *session, const char *text) {
    Connection *conn = session->conn;
    if (conn == NULL) return TVCI_CONNECTION_LOST;
    if (conn->owner == NULL) {
        conn->owner = session;
    }
    return RunTransCommand(conn, text);
}

static bool IsSession(const TVCISession *session) {
    return session != NULL && session->type == TVCI_HTYPE_SESSION;
}

// Runs a command that ends with the name of a savepoint.
static int32_t RunWithSavepoint(TVCISession *session, const char *command, int32_t number) {
    if (number < SAVEPOINT_MIN || number > SAVEPOINT_MAX) return TVCI_INVALID_ARGUMENT;
    char text[COMMAND_BYTES];
    snprintf(text, sizeof(text), "%s sp%d", command, number);
    return RunForSession(session, text);
}

int32_t TVCIBeginTrans(TVCISession *session) {
    if (!IsSession(session)) return TVCI_INVALID_HANDLE;
    const int32_t status = RunForSession(session, "COMMIT;");
    if (status != TVCI_SUCCESS) return status;
    return RunForSession(session, "SET AUTO COMMIT OFF;");
}

int32_t TVCICommit(TVCISession *session) {
    if (!IsSession(session)) return TVCI_INVALID_HANDLE;
    const int32_t status = RunForSession(session, "COMMIT;");
    if (session->conn != NULL) {
        session->conn->owner = NULL;
    }
    return status;
}

int32_t TVCISavepoint(TVCISession *session, int32_t number) {
    if (!IsSession(session)) return TVCI_INVALID_HANDLE;
    return RunWithSavepoint(session, "SAVEPOINT", number);
}

int32_t TVCIRollback(TVCISession *session, int32_t mode, int32_t number) {
    if (!IsSession(session)) return TVCI_INVALID_HANDLE;
    switch (mode) {
        case ROLLBACK_ALL: return RunForSession(session, "ROLLBACK;");
        case ROLLBACK_TO_SAVEPOINT: return RunWithSavepoint(session, "ROLLBACK TO", number);
        default: return TVCI_SUCCESS;
    }
}
