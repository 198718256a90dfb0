/* The tour: logs on, makes a table, inserts rows with bound values, selects them back into typed
 * arrays, prints them, commits and logs off.
 *
 *   example_demo [address:port/database [user [password]]]
 *
 * Built on tavu/oci.h and the library alone. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tavu/oci.h>
#ifdef _WIN32
#include <winsock2.h>
#endif

#define ROWS 5
#define NAME_BYTES 21
#define CITY_BYTES 13

static OCIEnv *env;
static OCIError *err;
static OCISvcCtx *svc;
static OCIStmt *stmt;

/* Ends the program unless a call went well; tells what the error handle says. */
static void Check(const char *what, int32_t status) {
    if (status == OCI_SUCCESS) return;
    OCIText text[512] = "";
    OCIErrorGet(err, 1, NULL, NULL, text, sizeof text, OCI_HTYPE_ERROR);
    fprintf(stderr, "%s: %d %s\n", what, (int)status, (const char *)text);
    exit(1);
}

static void Prepare(const char *sql) {
    printf("> %s\n", sql);
    Check("prepare", OCIStmtPrepare(stmt, err, (const OCIText *)sql, (uint32_t)strlen(sql), 1, 0));
}

static void Execute(uint32_t iters) {
    Check("execute", OCIStmtExecute(svc, stmt, err, iters, 0, NULL, NULL, OCI_DEFAULT));
}

static void StartSockets(void) {
#ifdef _WIN32
    WSADATA sockets; /* On Windows the program, not the library, starts the socket layer. */
    if (WSAStartup(MAKEWORD(2, 2), &sockets) != 0) exit(1);
#endif
}

static void Logon(const char *link, const char *user, const char *password) {
    void *handle = NULL;
    if (OCIEnvCreate(&env, OCI_DEFAULT, NULL, NULL, NULL, NULL, 0, NULL) != OCI_SUCCESS) exit(1);
    if (OCIHandleAlloc(env, &handle, OCI_HTYPE_ERROR, 0, NULL) != OCI_SUCCESS) exit(1);
    err = handle;
    Check("logon", OCILogon(env, err, &svc, (const OCIText *)user, (uint32_t)strlen(user),
                            (const OCIText *)password, (uint32_t)strlen(password),
                            (const OCIText *)link, (uint32_t)strlen(link)));
    printf("Logged on as %s.\n", user);
    Check("statement", OCIHandleAlloc(env, &handle, OCI_HTYPE_STMT, 0, NULL));
    stmt = handle;
}

/* One execute sends all rows: the library moves from one element of the arrays to the next. */
static void InsertRows(void) {
    int32_t id[ROWS] = {1, 2, 3, 4, 5};
    char name[ROWS][NAME_BYTES] = {"Anna Lind", "Bo Ek", "Cleo Sand", "Dag Holm", "Eva Berg"};
    double salary[ROWS] = {4100.5, 3900, 5250.25, 4020, 4775.75};
    char city[ROWS][CITY_BYTES] = {"Oslo", "Turku", "Riga", "", "Malmo"};
    int16_t city_indicator[ROWS]; /* the length, or -1 for NULL */
    uint8_t hired_bytes[ROWS][8]; /* dates lie 8 bytes apart */
    OCIBind *bind = NULL;
    for (int i = 0; i < ROWS; i++) {
        OCIDate hired;
        OCIDateSetDate(&hired, (int16_t)(2019 + i), (uint8_t)(i + 1), (uint8_t)(10 * (i % 3) + 1));
        OCIDateSetTime(&hired, 8, 30, 0);
        memcpy(hired_bytes[i], &hired, 7);
        city_indicator[i] = city[i][0] == '\0' ? -1 : (int16_t)strlen(city[i]);
    }
    Prepare("INSERT INTO employee VALUES (:id, :name, :city, :salary, :hired)");
    Check("bind id", OCIBindByName(stmt, &bind, err, (const OCIText *)":id", -1, id, 4, DTY_INT,
                                   NULL, NULL, NULL, 0, NULL, 0));
    Check("bind name", OCIBindByName(stmt, &bind, err, (const OCIText *)":name", -1, name,
                                     NAME_BYTES, DTY_STR, NULL, NULL, NULL, 0, NULL, 0));
    Check("bind city", OCIBindByName(stmt, &bind, err, (const OCIText *)":city", -1, city,
                                     CITY_BYTES, DTY_STR, city_indicator, NULL, NULL, 0, NULL, 0));
    Check("bind salary", OCIBindByName(stmt, &bind, err, (const OCIText *)":salary", -1, salary, 8,
                                       DTY_DOUBLE, NULL, NULL, NULL, 0, NULL, 0));
    Check("bind hired", OCIBindByName(stmt, &bind, err, (const OCIText *)":hired", -1, hired_bytes,
                                      8, DTY_DATE, NULL, NULL, NULL, 0, NULL, 0));
    Execute(ROWS);
    printf("Inserted %d rows.\n", ROWS);
}

static void DescribeColumns(void) {
    uint32_t count = 0;
    uint32_t size = 0;
    Check("column count",
          OCIAttrGet(stmt, OCI_HTYPE_STMT, &count, &size, OCI_ATTR_PARAM_COUNT, err));
    for (uint32_t position = 1; position <= count; position++) {
        void *column = NULL;
        char *name = NULL;
        char *type = NULL;
        Check("column", OCIParamGet(stmt, OCI_HTYPE_STMT, err, &column, position));
        Check("name", OCIAttrGet(column, OCI_DTYPE_PARAM, &name, NULL, OCI_ATTR_NAME, err));
        printf("%s%s", position == 1 ? "Columns: " : ", ", name);
        Check("type", OCIAttrGet(column, OCI_DTYPE_PARAM, &type, NULL, OCI_ATTR_TYPE_NAME, err));
        printf(" %s", type);
    }
    printf("\n");
}

/* A NULL marks element 0 of the indicators, so what may be NULL is best fetched a row at a time. */
static void SelectRows(void) {
    int32_t id = 0;
    char name[NAME_BYTES];
    char city[CITY_BYTES];
    int16_t city_indicator = 0;
    double salary = 0;
    uint8_t hired_bytes[8];
    OCIDefine *define = NULL;
    Prepare("SELECT id, name, city, salary, hired FROM employee ORDER BY id");
    Check("define id", OCIDefineByPos(stmt, &define, err, 1, &id, 4, DTY_INT, NULL, NULL, NULL, 0));
    Check("define name",
          OCIDefineByPos(stmt, &define, err, 2, name, sizeof name, DTY_STR, NULL, NULL, NULL, 0));
    Check("define city", OCIDefineByPos(stmt, &define, err, 3, city, sizeof city, DTY_STR,
                                        &city_indicator, NULL, NULL, 0));
    Check("define salary",
          OCIDefineByPos(stmt, &define, err, 4, &salary, 8, DTY_DOUBLE, NULL, NULL, NULL, 0));
    Check("define hired",
          OCIDefineByPos(stmt, &define, err, 5, hired_bytes, 8, DTY_DATE, NULL, NULL, NULL, 0));
    Execute(0);
    DescribeColumns();
    while (OCIStmtFetch(stmt, err, 1, OCI_FETCH_NEXT, OCI_DEFAULT) == OCI_SUCCESS) {
        OCIDate hired;
        OCIText when[64];
        uint32_t when_bytes = 0;
        memcpy(&hired, hired_bytes, 7);
        Check("date", OCIDateToText(err, &hired, (const OCIText *)"dd.mm.yyyy hh24:mi", 18, NULL, 0,
                                    &when_bytes, when));
        printf("%d  %-10s  %-6s  %8.2f  %s\n", (int)id, name, city_indicator == -1 ? "-" : city,
               salary, (const char *)when);
    }
}

/* Rows come back in blocks; the number that the last block really holds is an attribute. */
static void SumArray(void) {
    int32_t id[ROWS];
    OCIDefine *define = NULL;
    uint32_t fetched = 0;
    int64_t sum = 0;
    Prepare("SELECT id FROM employee");
    Check("define", OCIDefineByPos(stmt, &define, err, 1, id, 4, DTY_INT, NULL, NULL, NULL, 0));
    Execute(ROWS);
    Check("rows", OCIAttrGet(stmt, OCI_HTYPE_STMT, &fetched, NULL, OCI_ATTR_ROWS_FETCHED, err));
    for (uint32_t i = 0; i < fetched; i++) {
        sum += id[i];
    }
    printf("%u rows in one block, sum of id %d.\n", (unsigned)fetched, (int)sum);
}

int main(int argc, char **argv) {
    StartSockets();
    Logon(argc > 1 ? argv[1] : "127.0.0.1:5138/SYSTEM", argc > 2 ? argv[2] : "SYSDBA",
          argc > 3 ? argv[3] : "SYSDBA");
    Prepare(
        "CREATE TABLE employee (id INTEGER, name VARCHAR(20), city VARCHAR(12), salary DOUBLE, "
        "hired DATETIME)");
    Execute(1);
    InsertRows();
    SelectRows();
    SumArray();
    Check("commit", OCITransCommit(svc, err, 0));
    printf("Committed.\n");
    OCIHandleFree(stmt, OCI_HTYPE_STMT);
    Check("logoff", OCILogoff(svc, err));
    OCIHandleFree(err, OCI_HTYPE_ERROR);
    OCIHandleFree(env, OCI_HTYPE_ENV);
    printf("Logged off.\n");
    return 0;
}
