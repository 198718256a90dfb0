/* Logs on, makes a table, inserts a row, selects it: example_readme [address:port/database] */
#include <stdio.h>
#include <string.h>
#include <tavu/oci.h>
#ifdef _WIN32
#include <winsock2.h>
#endif

static OCIEnv *env;
static OCIError *err;
static OCISvcCtx *svc;
static OCIStmt *stmt;

static int Report(const char *what) {
    OCIText text[512] = "";
    OCIErrorGet(err, 1, NULL, NULL, text, sizeof text, OCI_HTYPE_ERROR);
    fprintf(stderr, "%s: %s\n", what, (const char *)text);
    return 1;
}

static int32_t Run(const char *sql, uint32_t iters) {
    int32_t status = OCIStmtPrepare(stmt, err, (const OCIText *)sql, (uint32_t)strlen(sql), 1, 0);
    return status != OCI_SUCCESS ? status : OCIStmtExecute(svc, stmt, err, iters, 0, NULL, NULL, 0);
}

int main(int argc, char **argv) {
    const OCIText *user = (const OCIText *)"SYSDBA", *password = (const OCIText *)"SYSDBA";
    const char *link = argc > 1 ? argv[1] : "127.0.0.1:5138/SYSTEM";
    void *handle;
    OCIDefine *define;
    char text[21];
#ifdef _WIN32
    WSADATA sockets; /* On Windows the program, not the library, starts the socket layer. */
    if (WSAStartup(MAKEWORD(2, 2), &sockets) != 0) return 1;
#endif
    if (OCIEnvCreate(&env, OCI_DEFAULT, NULL, NULL, NULL, NULL, 0, NULL) != OCI_SUCCESS) return 1;
    if (OCIHandleAlloc(env, &handle, OCI_HTYPE_ERROR, 0, NULL) != OCI_SUCCESS) return 1;
    err = handle;
    if (OCILogon(env, err, &svc, user, 6, password, 6, (const OCIText *)link, 0) != OCI_SUCCESS) {
        return Report("logon");
    }
    if (OCIHandleAlloc(env, &handle, OCI_HTYPE_STMT, 0, NULL) != OCI_SUCCESS) return 1;
    stmt = handle;
    if (Run("CREATE TABLE greeting (words VARCHAR(20))", 1) != OCI_SUCCESS) return Report("create");
    if (Run("INSERT INTO greeting VALUES ('Hello')", 1) != OCI_SUCCESS) return Report("insert");
    if (Run("SELECT words FROM greeting", 0) != OCI_SUCCESS) return Report("select");
    OCIDefineByPos(stmt, &define, err, 1, text, sizeof text, DTY_STR, NULL, NULL, NULL, 0);
    while (OCIStmtFetch(stmt, err, 1, OCI_FETCH_NEXT, 0) == OCI_SUCCESS) {
        printf("%s\n", text);
    }
    OCIHandleFree(stmt, OCI_HTYPE_STMT);
    OCILogoff(svc, err); /* It commits, and frees the session, the server and the context. */
    OCIHandleFree(err, OCI_HTYPE_ERROR);
    OCIHandleFree(env, OCI_HTYPE_ENV);
    return 0;
}
