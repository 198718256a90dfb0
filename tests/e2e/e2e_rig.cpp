// One application against the development server.
#include "e2e/e2e_rig.h"

#include <atomic>
#include <cstdlib>

std::string ServerLink() {
    const char *port = getenv("TAVU_TEST_PORT");
    if (port == nullptr) {
        fprintf(stderr, "TAVU_TEST_PORT is not set\n");
        exit(2);
    }
    return "127.0.0.1:" + std::string(port) + "/SYSTEM";
}

std::string FreshName(const std::string &prefix) {
    static std::atomic<int> next{1};
    return prefix + std::to_string(next++);
}

static const OCIText *Text(const std::string &text) {
    return (const OCIText *)text.c_str();
}

Application::Application(bool logon) {
    void *handle = nullptr;
    EXPECT_EQ(OCI_SUCCESS, OCIEnvCreate(&env, 0, nullptr, nullptr, nullptr, nullptr, 0, nullptr));
    EXPECT_EQ(OCI_SUCCESS, OCIHandleAlloc(env, &handle, OCI_HTYPE_ERROR, 0, nullptr));
    err = (OCIError *)handle;
    if (logon) {
        EXPECT_EQ(OCI_SUCCESS, Logon("SYSDBA", "SYSDBA")) << ErrorText();
    }
}

Application::~Application() {
    if (svc != nullptr) {
        Logoff();
    }
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(err, OCI_HTYPE_ERROR));
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(env, OCI_HTYPE_ENV));
}

int32_t Application::Logon(const std::string &user, const std::string &password) {
    std::string link = ServerLink();
    int32_t status = OCILogon(env, err, &svc, Text(user), (uint32_t)user.size(), Text(password),
                              (uint32_t)password.size(), Text(link), (uint32_t)link.size());
    if (status != OCI_SUCCESS && svc != nullptr) {
        EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(svc, OCI_HTYPE_SVCCTX));
        svc = nullptr;
    }
    return status;
}

void Application::Logoff() {
    EXPECT_EQ(OCI_SUCCESS, OCILogoff(svc, err));
    svc = nullptr;
}

OCIStmt *Application::NewStmt() {
    void *handle = nullptr;
    EXPECT_EQ(OCI_SUCCESS, OCIHandleAlloc(env, &handle, OCI_HTYPE_STMT, 0, nullptr));
    return (OCIStmt *)handle;
}

int32_t Application::Prepare(OCIStmt *stmt, const std::string &sql) {
    return OCIStmtPrepare(stmt, err, Text(sql), (uint32_t)sql.size(), 1, OCI_DEFAULT);
}

int32_t Application::Execute(OCIStmt *stmt, uint32_t iters, uint32_t mode) {
    return OCIStmtExecute(svc, stmt, err, iters, 0, nullptr, nullptr, mode);
}

int32_t Application::Fetch(OCIStmt *stmt, uint32_t rows) {
    return OCIStmtFetch(stmt, err, rows, OCI_FETCH_NEXT, OCI_DEFAULT);
}

int32_t Application::Run(const std::string &sql) {
    OCIStmt *stmt = NewStmt();
    int32_t status = Prepare(stmt, sql);
    if (status == OCI_SUCCESS) {
        status = Execute(stmt, 1);
    }
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    return status;
}

int32_t Application::Define(OCIStmt *stmt, uint32_t position, void *value, int32_t size,
                            uint16_t dty, void *indicators, uint32_t *lengths, uint32_t mode) {
    OCIDefine *define = nullptr;
    return OCIDefineByPos(stmt, &define, err, position, value, size, dty, indicators, lengths,
                          nullptr, mode);
}

int32_t Application::Bind(OCIStmt *stmt, uint32_t position, void *value, int32_t size, uint16_t dty,
                          void *indicators) {
    OCIBind *bind = nullptr;
    return OCIBindByPos(stmt, &bind, err, position, value, size, dty, indicators, nullptr, nullptr,
                        0, nullptr, OCI_DEFAULT);
}

std::string Application::SelectText(const std::string &sql) {
    OCIStmt *stmt = NewStmt();
    char text[4001] = "";
    EXPECT_EQ(OCI_SUCCESS, Prepare(stmt, sql)) << ErrorText();
    EXPECT_EQ(OCI_SUCCESS, Define(stmt, 1, text, sizeof text, DTY_STR));
    int32_t status = Execute(stmt, 1);
    EXPECT_TRUE(status == OCI_SUCCESS || status == OCI_NO_DATA) << ErrorText();
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    return status == OCI_NO_DATA ? "<none>" : text;
}

std::string Application::ErrorText() {
    OCIText text[512] = "";
    OCIErrorGet(err, 1, nullptr, nullptr, text, sizeof text, OCI_HTYPE_ERROR);
    return (const char *)text;
}
