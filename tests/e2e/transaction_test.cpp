// Transactions over two sessions.
#include "e2e/e2e_rig.h"

class Transactions : public testing::Test {
protected:
    void SetUp() override {
        table = FreshName("TRANS");
        ASSERT_EQ(OCI_SUCCESS, app.Run("CREATE TABLE " + table + " (A INTEGER UNIQUE)"))
            << app.ErrorText();
        ASSERT_EQ(OCI_SUCCESS, OCITransCommit(app.svc, app.err, 0));
    }

    std::string Count(Application &who) {
        std::string count = who.SelectText("SELECT COUNT(*) FROM " + table);
        EXPECT_EQ(OCI_SUCCESS, OCITransCommit(who.svc, who.err, 0));
        return count;
    }

    Application app;
    Application other;
    std::string table;
};

TEST_F(Transactions, CommittedWorkIsSeenByOthers) {
    ASSERT_EQ(OCI_SUCCESS, app.Run("INSERT INTO " + table + " VALUES (1)"));
    EXPECT_EQ(OCI_SUCCESS, OCITransCommit(app.svc, app.err, 0));
    EXPECT_EQ("1", Count(other));
}

TEST_F(Transactions, RolledBackWorkIsGone) {
    ASSERT_EQ(OCI_SUCCESS, app.Run("INSERT INTO " + table + " VALUES (1)"));
    EXPECT_EQ(OCI_SUCCESS, OCITransRollback(app.svc, app.err, 0));
    EXPECT_EQ("0", Count(app));
}

TEST_F(Transactions, StartingOneCommitsWhatWasOpen) {
    ASSERT_EQ(OCI_SUCCESS, app.Run("INSERT INTO " + table + " VALUES (1)"));
    EXPECT_EQ(OCI_SUCCESS, OCITransStart(app.svc, app.err, 0, 0));
    EXPECT_EQ(OCI_SUCCESS, OCITransRollback(app.svc, app.err, 0));
    EXPECT_EQ("1", Count(other));
}

TEST_F(Transactions, Mode32CommitsOnSuccess) {
    OCIStmt *stmt = app.NewStmt();
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "INSERT INTO " + table + " VALUES (1)"));
    EXPECT_EQ(OCI_SUCCESS, app.Execute(stmt, 1, OCI_COMMIT_ON_SUCCESS));
    EXPECT_EQ(OCI_SUCCESS, OCITransRollback(app.svc, app.err, 0));
    EXPECT_EQ("1", Count(other));
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
}

TEST_F(Transactions, ADuplicateHasItsOwnCode) {
    ASSERT_EQ(OCI_SUCCESS, app.Run("INSERT INTO " + table + " VALUES (1)"));
    EXPECT_EQ(-13, app.Run("INSERT INTO " + table + " VALUES (1)"));
}

TEST_F(Transactions, ServerErrorsAreReadThroughTheErrorHandle) {
    OCIStmt *stmt = app.NewStmt();
    EXPECT_EQ(OCI_ERROR, app.Prepare(stmt, "SELECT A FROM " + table + "_MISSING"));
    EXPECT_EQ('[', app.ErrorText()[0]) << app.ErrorText();
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    EXPECT_EQ("0", Count(app));
}
