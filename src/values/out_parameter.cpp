// Output parameters: what a response returns for the parameters of its statement.
#include "records/handles.h"
#include "values/decode.h"
#include "wire/connection.h"

bool ReadOutParameter(TVCIStmt *stmt) {
    Connection *conn = stmt->session->conn;
    uint32_t index;
    uint32_t type_id;
    uint32_t length;
    return ConnReadInt32(conn, &index) && ConnReadInt32(conn, &type_id) &&
           ConnReadInt32(conn, &length) && ConnSkip(conn, (int32_t)length);
}
