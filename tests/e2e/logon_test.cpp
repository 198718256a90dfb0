// Logging on and off.
#include "e2e/e2e_rig.h"

TEST(Logon, GoodUserGetsIn) {
    Application app;
    EXPECT_NE(nullptr, app.svc);
}

TEST(Logon, WrongPasswordIsRefusedWithTheServersWords) {
    Application app(false);
    EXPECT_EQ(OCI_ERROR, app.Logon("SYSDBA", "wrong"));
    EXPECT_EQ('[', app.ErrorText()[0]) << app.ErrorText();
    EXPECT_NE(std::string::npos, app.ErrorText().find(']'));
}

TEST(Logon, AfterARefusalTheSameEnvironmentGetsInWithTheRightPassword) {
    Application app(false);
    EXPECT_EQ(OCI_ERROR, app.Logon("SYSDBA", "wrong"));
    EXPECT_EQ(OCI_SUCCESS, app.Logon("SYSDBA", "SYSDBA")) << app.ErrorText();
}

TEST(Logon, NobodyThereGivesTheClientsOwnText) {
    Application app(false);
    OCISvcCtx *svc = nullptr;
    // Port 1 of loopback: nothing listens on it.
    EXPECT_EQ(OCI_ERROR,
              OCILogon(app.env, app.err, &svc, (const OCIText *)"SYSDBA", 6,
                       (const OCIText *)"SYSDBA", 6, (const OCIText *)"127.0.0.1:1/SYSTEM", 0));
    EXPECT_EQ("can't connect to server", app.ErrorText());
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(svc, OCI_HTYPE_SVCCTX));
}

TEST(Logon, TheServerTellsItsVersion) {
    Application app;
    OCIText version[200] = "";
    EXPECT_EQ(OCI_SUCCESS,
              OCIServerVersion(app.svc, app.err, version, sizeof version, OCI_HTYPE_SVCCTX));
    EXPECT_STRNE("", (const char *)version);
}

TEST(Logoff, CommitsWhatIsOpen) {
    std::string table = FreshName("OFF");
    {
        Application app;
        ASSERT_EQ(OCI_SUCCESS, app.Run("CREATE TABLE " + table + " (A INTEGER)"));
        ASSERT_EQ(OCI_SUCCESS, app.Run("INSERT INTO " + table + " VALUES (7)"));
    }
    Application other;
    EXPECT_EQ("7", other.SelectText("SELECT A FROM " + table));
}

TEST(Logoff, StatementsMayBeFreedAfterIt) {
    Application app;
    OCIStmt *stmt = app.NewStmt();
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT 1"));
    app.Logoff();
    EXPECT_EQ(OCI_INVALID_HANDLE, app.Execute(stmt, 0));
    EXPECT_EQ(OCI_INVALID_HANDLE, OCIHandleFree(stmt, OCI_HTYPE_STMT));
}
