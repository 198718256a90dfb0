// One application against the development server that the runner has started, through the exported
// functions alone. The server's port comes in TAVU_TEST_PORT.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tavu/oci.h"

// The link text of the server, "127.0.0.1:PORT/SYSTEM".
std::string ServerLink();

// A table name that no other test of this run uses.
std::string FreshName(const std::string &prefix);

class Application {
public:
    explicit Application(bool logon = true);
    ~Application();
    Application(const Application &) = delete;
    Application &operator=(const Application &) = delete;

    int32_t Logon(const std::string &user, const std::string &password);
    void Logoff();
    OCIStmt *NewStmt();
    int32_t Prepare(OCIStmt *stmt, const std::string &sql);
    int32_t Execute(OCIStmt *stmt, uint32_t iters, uint32_t mode = OCI_DEFAULT);
    int32_t Fetch(OCIStmt *stmt, uint32_t rows = 1);
    // Prepares and executes once; for statements without arrays. Freed again.
    int32_t Run(const std::string &sql);
    // Defines a column by position.
    int32_t Define(OCIStmt *stmt, uint32_t position, void *value, int32_t size, uint16_t dty,
                   void *indicators = nullptr, uint32_t *lengths = nullptr, uint32_t mode = 0);
    int32_t Bind(OCIStmt *stmt, uint32_t position, void *value, int32_t size, uint16_t dty,
                 void *indicators = nullptr);
    // The first column of the first row as text; "" for NULL, "<none>" without a row.
    std::string SelectText(const std::string &sql);
    std::string ErrorText();

    OCIEnv *env = nullptr;
    OCIError *err = nullptr;
    OCISvcCtx *svc = nullptr;
};
