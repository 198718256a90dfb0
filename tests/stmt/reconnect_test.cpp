// A session whose connection is lost: what the call returns that finds out, which handle says why,
// and what the next call meets.
#include <gtest/gtest.h>

#include <string>

#include "stmt/stmt_rig.h"
#include "support/net.h"
#include "wire/connection.h"

static const char *const IDLE_ERROR =
    "E19886|connection not used long till timeout ,server cut the connection, now reconnect ok, "
    "you can resend the command again! \n";
static const char *const TIMEOUT_ERROR =
    "E19887| sql execute timeout \t\t\t\t\t\t\t\t\t\t\t\t   if return value is -25 \n or "
    "connection not used long till timeout ,\t\t\t\t\t\t\t\t\t\t\t\t   server cut the connection, "
    "now reconnect ok, you can resend the command again! \n";

static const char *const REQUEST_RUN = "3F 00000006 '? ST0 ' 00 00000000";

// A session with a statement that is prepared as ST0 and one that is not.
struct LostRig : StmtRig {
    TVCIStmt *other = NewStmt();

    LostRig() {
        Prepare();
    }

    // The statement at the end is still prepared: what it says when it is freed meets nobody.
    ~LostRig() {
        peer.Close();
    }
};

// A call that sends one request, on a session with the statement ST0.
struct Call {
    const char *name;
    const char *request;
    const char *again;  // the request when the same call is made once more
    bool on_prepared;   // made with the prepared statement
    int32_t (*run)(TVCIStmt *stmt);
};

static int32_t RunPrepare(TVCIStmt *stmt) {
    return TVCIPrepare(stmt, "Y", -1);
}

static int32_t RunDirect(TVCIStmt *stmt) {
    return TVCIExecDirect(stmt, "X", -1);
}

static const Call prepare_call = {"prepare", "3F 00000010 'PREPARE ST1 AS Y' 00 00000000",
                                  "3F 00000010 'PREPARE ST2 AS Y' 00 00000000", false, RunPrepare};
static const Call execute_call = {"execute", REQUEST_RUN, REQUEST_RUN, true, TVCIExecute};
static const Call direct_call = {"direct", REQUEST_X, REQUEST_X, false, RunDirect};
static const Call *const call_table[] = {&prepare_call, &execute_call, &direct_call};

static TVCIStmt *StmtOf(LostRig *rig, const Call &call) {
    return call.on_prepared ? rig->stmt : rig->other;
}

// The connection is lost and comes back: the session says so, the statement has `stmt_error` to
// say, and the same call succeeds when it is made once more.
static void ExpectReplaced(LostRig *rig, const Call &call, const char *stmt_error = "|") {
    TVCIStmt *stmt = StmtOf(rig, call);
    Connection *conn = rig->session->conn;
    rig->ScriptSecondLogin();
    EXPECT_EQ(-24, call.run(stmt));
    EXPECT_EQ(conn, rig->session->conn);
    EXPECT_EQ(rig->session, conn->owner);
    EXPECT_EQ(IDLE_ERROR, rig->ErrorOf(rig->session));
    EXPECT_EQ(stmt_error, rig->ErrorOf(stmt));
    EXPECT_EQ(1, stmt->response_done.load());
    EXPECT_TRUE(rig->PermitIsFree());
    rig->Script(Hex(call.again), Hex("'K'"));
    EXPECT_EQ(0, call.run(stmt));
    // A text is not cleared by what follows it.
    EXPECT_EQ(IDLE_ERROR, rig->ErrorOf(rig->session));
    EXPECT_TRUE(rig->PermitIsFree());
}

TEST(LostConnection, WhileIdleIsFoundByTheNextCall) {
    for (const Call *call : call_table) {
        SCOPED_TRACE(call->name);
        LostRig rig;
        rig.peer.Close();
        rig.peer.Mark("closed");
        ASSERT_TRUE(rig.peer.WaitMark("closed"));
        ExpectReplaced(&rig, *call);
    }
}

TEST(LostConnection, ByAResetWhileIdleIsFoundByTheNextCall) {
    for (const Call *call : call_table) {
        SCOPED_TRACE(call->name);
        LostRig rig;
        rig.peer.Reset();
        rig.peer.Mark("reset");
        ASSERT_TRUE(rig.peer.WaitMark("reset"));
        ExpectReplaced(&rig, *call);
    }
}

TEST(LostConnection, InTheMiddleOfTheRequest) {
    for (const Call *call : call_table) {
        SCOPED_TRACE(call->name);
        LostRig rig;
        rig.peer.ExpectAny(Hex(call->request).size() / 2);
        rig.peer.Close();
        ExpectReplaced(&rig, *call);
    }
}

TEST(LostConnection, InTheMiddleOfALargeRequestFailsItsSend) {
    LostRig rig;
    rig.peer.ExpectAny(1000);
    rig.peer.Reset();
    rig.ScriptSecondLogin();
    // More than the two systems hold for a peer that does not read.
    const std::string text(32 << 20, 'x');
    EXPECT_EQ(-24, TVCIExecDirect(rig.other, text.c_str(), -1));
    EXPECT_EQ(IDLE_ERROR, rig.ErrorOf(rig.session));
    // The request never counted as sent.
    EXPECT_EQ(0, rig.other->state);
    EXPECT_TRUE(rig.PermitIsFree());
    EXPECT_EQ(0, rig.session->conn->send_fill);
    rig.Script(Hex(REQUEST_X), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecDirect(rig.other, "X", -1));
}

TEST(LostConnection, BeforeTheFirstLetter) {
    for (const Call *call : call_table) {
        SCOPED_TRACE(call->name);
        LostRig rig;
        rig.peer.Expect(Hex(call->request));
        rig.peer.Close();
        ExpectReplaced(&rig, *call);
    }
}

TEST(LostConnection, SendsTheParametersAgainWithTheNextCallOnly) {
    LostRig rig;
    int32_t number = 258;
    EXPECT_EQ(0, TVCIBindParam(rig.other, 1, 1, &number, sizeof number, TVCI_C_INT, nullptr,
                               nullptr, sizeof number));
    const Bytes request = Hex("3F 00000001 '?' 00 00000001 0000 0001 0005 00000004 00000102");
    rig.peer.ExpectAny(request.size() - 2);
    rig.peer.Close();
    rig.ScriptSecondLogin();
    EXPECT_EQ(-24, TVCIExecDirect(rig.other, "?", -1));
    rig.Script(request, Hex("'U' 00000001 'K'"));
    EXPECT_EQ(0, TVCIExecDirect(rig.other, "?", -1));
}

// The answer up to the loss, and what the statement then says.
struct CutAnswer {
    const char *answer;
    const char *stmt_error;
};

TEST(LostConnection, InTheMiddleOfTheAnswerToAPrepare) {
    const CutAnswer cut_table[] = {
        {"'A'", "|"},
        {"'A' 00000001 0000", "|"},
        {"'A' 00000001 00000001 'N' 00000005 FFFF", "|"},
        {"'A' 00000001 00000001 'N' 00000005 FFFFFFFF 00000000", "|"},
        {"'$'", "|"},
        {"'$' 00000001 00000001 'a' 0000", "|"},
        {"'$' 00000000", "|"},
        {"'E'", "|"},
        {"'E' 00000009 '[E10'", "|"},
        {"'E' 00000009 '[E10001]e'", "E10001|[E10001]e"},
    };
    for (const CutAnswer &cut : cut_table) {
        SCOPED_TRACE(cut.answer);
        LostRig rig;
        rig.Script(Hex(prepare_call.request), Hex(cut.answer));
        rig.peer.Close();
        ExpectReplaced(&rig, prepare_call, cut.stmt_error);
    }
}

TEST(LostConnection, InTheMiddleOfTheAnswerToAnExecution) {
    const CutAnswer cut_table[] = {
        {"'A' 00000001 00000001 'N' 00000005 FFFFFFFF 00000000", "|"},
        {"'A' 00000001 00000001 'N' 00000005 FFFFFFFF 00000000 'R'", "|"},
        {"'A' 00000001 00000001 'N' 00000005 FFFFFFFF 00000000 'R' 0000", "|"},
        {"'A' 00000001 00000001 'N' 00000005 FFFFFFFF 00000000 'R' 00000004 0000002A", "|"},
        {"'A' 00000001 00000001 'N' 0000001E 00000014 00000000 'R' 00000004 'tex'", "|"},
        // Between rows a text that is cut short ends the rows, and the next letter is missing.
        {"'A' 00000001 00000001 'N' 00000005 FFFFFFFF 00000000 'E'", "|"},
        {"'A' 00000001 00000001 'N' 00000005 FFFFFFFF 00000000 'E' 00000009 '[E10'", "|"},
        {"'E' 00000009 '[E10001]e'", "E10001|[E10001]e"},
        {"'W' 00000009 '[E10001]w'", "E10001|[E10001]w"},
    };
    for (const Call *call : {&execute_call, &direct_call}) {
        for (const CutAnswer &cut : cut_table) {
            SCOPED_TRACE(call->name + std::string(": ") + cut.answer);
            LostRig rig;
            rig.Script(Hex(call->request), Hex(cut.answer));
            rig.peer.Close();
            ExpectReplaced(&rig, *call, cut.stmt_error);
        }
    }
}

static void ExecuteCutAnswer(const char *answer) {
    LostRig rig;
    rig.Script(Hex(REQUEST_RUN), Hex(answer));
    rig.peer.Close();
    EndAtWaits();
    TVCIExecute(rig.stmt);
}

TEST(LostConnection, InAFieldListCountOrTextOfAnExecutionNeverReturns) {
    for (const char *answer : {"'A'", "'A' 00000001 00000001 'N' 0000", "'U' 00", "'I' 00000002 4B",
                               "'E'", "'E' 00000009 '[E10'"}) {
        SCOPED_TRACE(answer);
        EXPECT_WAITS_FOR_EVER(ExecuteCutAnswer(answer), WAIT_RESPONSE_DONE);
    }
}

// The rows of the lost answer can be fetched as far as they are safe, and go with the next call.
TEST(LostConnection, LeavesTheRowsThatCameToTheFetch) {
    for (const Call *call : {&execute_call, &direct_call}) {
        SCOPED_TRACE(call->name);
        LostRig rig;
        TVCIStmt *stmt = StmtOf(&rig, *call);
        int32_t number = 0;
        EXPECT_EQ(0, TVCIDefineColumn(stmt, 1, &number, 4, TVCI_C_INT, nullptr, nullptr));
        rig.Script(Hex(call->request), Hex(ONE_FIELD) + IntRows(7, 103) + Hex("'R' 0000"));
        rig.peer.Close();
        rig.ScriptSecondLogin();
        EXPECT_EQ(-24, call->run(stmt));
        EXPECT_EQ(0, stmt->rows_complete.load());
        for (int32_t i = 7; i < 10; i++) {
            EXPECT_EQ(0, TVCIFetch(stmt));
            EXPECT_EQ(i, number);
        }
        rig.Script(Hex(call->again), Hex(ONE_FIELD) + IntRows(40, 1) + Hex("'K'"));
        EXPECT_EQ(0, call->run(stmt));
        EXPECT_EQ(0, TVCIFetch(stmt));
        EXPECT_EQ(40, number);
        EXPECT_EQ(100, TVCIFetch(stmt));
    }
}

// The row reader says nothing of the loss: the next request of the session finds out.
TEST(LostConnection, OfARowReaderIsFoundByTheNextRequest) {
    LostRig rig;
    rig.Script(Hex(REQUEST_RUN), Hex(ONE_FIELD) + IntRows(0, 2001) + Hex("'R' 0000"));
    rig.peer.Close();
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    rig.WaitReader();
    EXPECT_EQ("|", rig.ErrorOf(rig.session));
    EXPECT_EQ("|", rig.Error());
    ExpectReplaced(&rig, direct_call);
    for (int32_t i = 0; i < 2001; i++) {
        ASSERT_EQ(0, TVCIFetch(rig.stmt)) << i;
    }
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    // The release would wait for a response that nobody ends.
    rig.stmt->response_done.store(1);
}

// The new session of the server knows none of the names that the old one gave.
TEST(LostConnection, LeavesTheClientWithANameThatTheServerHasForgotten) {
    LostRig rig;
    rig.peer.Expect(Hex(REQUEST_RUN));
    rig.peer.Close();
    rig.ScriptSecondLogin();
    EXPECT_EQ(-24, TVCIExecute(rig.stmt));
    EXPECT_EQ(1, rig.stmt->prepared);
    rig.Script(Hex(REQUEST_RUN), Hex("'E' 0000000D '[E10001]which' 'K'"));
    EXPECT_EQ(-1, TVCIExecute(rig.stmt));
    EXPECT_EQ("E10001|[E10001]which", rig.Error());
    // Prepared anew it bears the next name.
    rig.Script(Hex("3F 0000000F 'DEALLOCATE ST0;' 00 00000000"),
               Hex("'E' 0000000D '[E10001]which' 'K'"));
    rig.Script(Hex("3F 00000010 'PREPARE ST1 AS X' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "X", -1));
    rig.Script(Hex("3F 00000006 '? ST1 ' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
}

// What only takes down the server's side of a statement does not ask for a new connection.

TEST(LostConnection, IsNotReplacedWhenAStatementIsClosed) {
    LostRig rig;
    rig.peer.Expect(Hex("3F 00000011 'DEALLOCATE `ST0`;' 00 00000000"));
    rig.peer.Close();
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
    EXPECT_EQ(0, rig.stmt->prepared);
    EXPECT_EQ("|", rig.ErrorOf(rig.session));
    EXPECT_TRUE(rig.PermitIsFree());
    ExpectReplaced(&rig, direct_call);
}

// Preparing again finds out with its second request, and the name of the lost one is overwritten.
TEST(LostConnection, IsNotReplacedByADeallocateButByThePrepareBehindIt) {
    LostRig rig;
    rig.peer.Close();
    rig.ScriptSecondLogin();
    EXPECT_EQ(-24, TVCIPrepare(rig.stmt, "Y", -1));
    EXPECT_EQ(1, rig.stmt->prepared);
    EXPECT_STREQ("ST1", rig.stmt->prepared_name);
    // It counts as prepared under a name that was never given out.
    rig.Script(Hex("3F 00000006 '? ST1 ' 00 00000000"), Hex("'E' 0000000D '[E10001]which' 'K'"));
    EXPECT_EQ(-1, TVCIExecute(rig.stmt));
}

// A command of a transaction.
struct TransCall {
    const char *text;
    int32_t (*run)(TVCISession *session);
};

static const TransCall trans_table[] = {
    {"COMMIT;", TVCICommit},
    {"COMMIT;", TVCIBeginTrans},
    {"ROLLBACK;",
     [](TVCISession *session) {
         return TVCIRollback(session, 1, 0);
     }},
    {"ROLLBACK TO sp3",
     [](TVCISession *session) {
         return TVCIRollback(session, 2, 3);
     }},
    {"SAVEPOINT sp3",
     [](TVCISession *session) {
         return TVCISavepoint(session, 3);
     }},
};

TEST(LostConnection, IsNotReplacedByACommandOfATransaction) {
    for (const TransCall &call : trans_table) {
        SCOPED_TRACE(call.text);
        LostRig rig;
        rig.peer.Expect(Frame(call.text));
        rig.peer.Close();
        EXPECT_EQ(-4, call.run(rig.session));
        EXPECT_EQ("|", rig.ErrorOf(rig.session));
        EXPECT_TRUE(rig.PermitIsFree());
        // However often it is made.
        EXPECT_EQ(-4, call.run(rig.session));
        EXPECT_EQ("|", rig.ErrorOf(rig.session));
        // A statement brings the connection back, and with it the commands.
        rig.ScriptSecondLogin();
        EXPECT_EQ(-24, TVCIExecDirect(rig.other, "X", -1));
        EXPECT_EQ(IDLE_ERROR, rig.ErrorOf(rig.session));
        rig.Script(Frame("ROLLBACK;"), Hex("'K'"));
        EXPECT_EQ(0, TVCIRollback(rig.session, 1, 0));
    }
}

TEST(LostConnection, WhileIdleIsNotReplacedByACommandOfATransaction) {
    for (const TransCall &call : trans_table) {
        SCOPED_TRACE(call.text);
        LostRig rig;
        rig.peer.Close();
        rig.peer.Mark("closed");
        ASSERT_TRUE(rig.peer.WaitMark("closed"));
        EXPECT_EQ(-4, call.run(rig.session));
        EXPECT_EQ("|", rig.ErrorOf(rig.session));
        EXPECT_TRUE(rig.PermitIsFree());
    }
}

TEST(LostConnection, BehindTheCommitOfABeginIsNotReplacedEither) {
    LostRig rig;
    rig.Script(Frame("COMMIT;"), Hex("'K'"));
    rig.peer.Expect(Frame("SET AUTO COMMIT OFF;"));
    rig.peer.Close();
    EXPECT_EQ(-4, TVCIBeginTrans(rig.session));
    EXPECT_EQ("|", rig.ErrorOf(rig.session));
}

// A session whose attributes are set before it logs on, with a statement.
struct AttributeRig : NativeRig {
    void Set(int32_t attribute, uint32_t value) {
        ASSERT_EQ(0, TVCIAttrSet(session, attribute, &value, -1));
    }

    std::string ErrorOf(void *handle) {
        char code[32] = {};
        char message[513] = {};
        uint32_t length = 0;
        EXPECT_EQ(0, TVCIGetError(handle, code, message, &length));
        return std::string(code) + "|" + std::string(message, length);
    }

    void ScriptLogin(const char *version, const char *verdict) {
        peer.Accept();
        peer.Expect(
            Ascii("login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' "
                  "char_set = 'GBK' time_zone = 'GTM+08:00' iso_level = '2' "
                  "auto_commit = 'on' version = '" +
                  std::string(version) + "'"));
        peer.Send(Hex(verdict));
    }

    void Connect() {
        peer.Start();
        ASSERT_EQ(0, TVCIConnect(session, "SYSDBA", "SYSDBA"));
    }
};

TEST(LostConnection, OfASessionThatDoesNotReconnectStaysLost) {
    AttributeRig rig;
    rig.Set(43, 0);
    rig.ScriptLogin("301", "'K'");
    rig.peer.Close();
    rig.Connect();
    TVCIStmt *stmt = rig.NewStmt();
    for (int attempt = 0; attempt < 3; attempt++) {
        EXPECT_EQ(-4, TVCIPrepare(stmt, "X", -1));
        EXPECT_EQ("E19884|can't connect to server", rig.ErrorOf(rig.session));
        EXPECT_EQ(-4, TVCIExecDirect(stmt, "X", -1));
        EXPECT_EQ(-4, TVCICommit(rig.session));
        EXPECT_EQ("|", rig.ErrorOf(stmt));
    }
    // A new logon of the session is what helps.
    EXPECT_EQ(0, TVCIDisconnect(rig.session));
    rig.ScriptLogin("201", "'K'");
    EXPECT_EQ(0, TVCIConnect(rig.session, "SYSDBA", "SYSDBA"));
    rig.peer.Expect(Hex(REQUEST_X));
    rig.peer.Send(Hex("'K'"));
    EXPECT_EQ(0, TVCIExecDirect(stmt, "X", -1));
}

TEST(LostConnection, IsPutDownToTheServerOrToATimeoutByTheTimeoutAlone) {
    const struct {
        uint32_t timeout_minutes;
        const char *error;
    } row_table[] = {{0, IDLE_ERROR}, {1, TIMEOUT_ERROR}, {UINT32_MAX, IDLE_ERROR}};
    for (const auto &row : row_table) {
        SCOPED_TRACE(row.timeout_minutes);
        for (bool idle : {false, true}) {
            AttributeRig rig;
            rig.Set(39, row.timeout_minutes);
            rig.ScriptLogin("301", "'K'");
            if (!idle) {
                rig.peer.Expect(Hex(REQUEST_X));
            }
            rig.peer.Close();
            rig.ScriptLogin("201", "'K'");
            rig.Connect();
            TVCIStmt *stmt = rig.NewStmt();
            EXPECT_EQ(-24, TVCIExecDirect(stmt, "X", -1));
            EXPECT_EQ(row.error, rig.ErrorOf(rig.session));
            EXPECT_EQ("|", rig.ErrorOf(stmt));
        }
    }
}

// The version that a login sends is what the verdict before it left behind.
TEST(LostConnection, SendsTheVersionThatTheLastVerdictLeft) {
    AttributeRig rig;
    rig.ScriptLogin("301", "'N' 00000000 'K'");
    rig.peer.Close();
    rig.ScriptLogin("301", "'K'");
    rig.peer.Close();
    rig.ScriptLogin("201", "'N' 00000000 'K'");
    rig.peer.Close();
    rig.ScriptLogin("301", "'K'");
    rig.Connect();
    TVCIStmt *stmt = rig.NewStmt();
    for (int loss = 0; loss < 3; loss++) {
        EXPECT_EQ(-24, TVCIExecDirect(stmt, "X", -1));
    }
    rig.peer.Expect(Hex(REQUEST_X));
    rig.peer.Send(Hex("'K'"));
    EXPECT_EQ(0, TVCIExecDirect(stmt, "X", -1));
}

TEST(LostConnection, WhoseNewLoginIsRefusedIsTriedAgainByTheNextCall) {
    for (const Call *call : call_table) {
        SCOPED_TRACE(call->name);
        LostRig rig;
        TVCIStmt *stmt = StmtOf(&rig, *call);
        rig.peer.Expect(Hex(call->request));
        rig.peer.Close();
        rig.peer.Accept();
        rig.peer.Expect(Ascii(SECOND_LOGIN_TEXT));
        rig.peer.Send(Hex("'E' 00000010 '[E1234]no longer'"));
        rig.peer.ExpectEnd();
        EXPECT_EQ(-4, call->run(stmt));
        EXPECT_EQ("E1234|[E1234]no longer", rig.ErrorOf(rig.session));
        EXPECT_EQ("|", rig.ErrorOf(stmt));
        EXPECT_EQ(0u, rig.session->conn->sock);
        EXPECT_TRUE(rig.PermitIsFree());
        // Nothing of the request reaches a closed socket; a PREPARE uses up its number all the
        // same.
        rig.ScriptSecondLogin();
        EXPECT_EQ(-24, call->run(stmt));
        EXPECT_EQ(IDLE_ERROR, rig.ErrorOf(rig.session));
        const Bytes third = call->on_prepared || call->run == RunDirect
                                ? Hex(call->again)
                                : Hex("3F 00000010 'PREPARE ST3 AS Y' 00 00000000");
        rig.Script(third, Hex("'K'"));
        EXPECT_EQ(0, call->run(stmt));
    }
}

TEST(LostConnection, ComesBackOnTheNextAddressOfTheList) {
    for (const Call *call : call_table) {
        SCOPED_TRACE(call->name);
        LostRig rig;
        rig.peer.Expect(Hex(call->request));
        rig.peer.Close();
        ASSERT_EQ(0, TVCIAttrSet(rig.server, 28, "127.0.0.2,127.0.0.1;", -1));
        // As if it had logged on where nobody listens any more.
        rig.session->conn->ip = NetAddressFromText("127.0.0.2");
        ExpectReplaced(&rig, *call);
        EXPECT_EQ(NetAddressFromText("127.0.0.1"), rig.session->conn->ip);
        EXPECT_STREQ("127.0.0.1", rig.server->ip_list->text);
        EXPECT_EQ(0, rig.server->ip_list->position);
        EXPECT_EQ(1, rig.server->ip_list->count);
        EXPECT_EQ(nullptr, rig.server->ip_list->next);
    }
}

TEST(LostConnection, WithAListThatRunsOutStaysLost) {
    LostRig rig;
    rig.peer.Close();
    ASSERT_EQ(0, TVCIAttrSet(rig.server, 28, "127.0.0.2,127.0.0.3;", -1));
    rig.session->conn->ip = NetAddressFromText("127.0.0.2");
    EXPECT_EQ(-4, TVCIExecDirect(rig.other, "X", -1));
    EXPECT_EQ("E19884|can't connect to server", rig.ErrorOf(rig.session));
    EXPECT_STREQ("127.0.0.3", rig.server->ip_list->text);
    EXPECT_EQ(0u, rig.session->conn->sock);
}

// Makes the next receive deliver a whole number of bytes, however the network cut them.
static size_t whole_bytes;

static int64_t ReceiveWhole(SocketId socket, void *target, size_t count) {
    SocketSetHooks(nullptr, nullptr);
    uint8_t *bytes = (uint8_t *)target;
    size_t came = 0;
    while (came < whole_bytes && came < count) {
        const int64_t part = NetReceive((uintptr_t)socket, bytes + came, count - came);
        if (part <= 0) return -1;
        came += (size_t)part;
    }
    return (int64_t)came;
}

static int64_t FailSendOnce(SocketId, const void *, size_t) {
    SocketSetHooks(nullptr, nullptr);
    return -1;
}

// Runs a transaction command that is refused: the 'K' that closes the refusal stays unread. The
// request behind it fails to be sent, so that the 'K' is there when the session logs on again.
static void LeaveKBehindAndLoseTheConnection(LostRig *rig) {
    rig->Script(Frame("ROLLBACK;"), Hex("'E' 00000009 '[E12001]r' 'K'"));
    whole_bytes = 15;
    SocketSetHooks(nullptr, ReceiveWhole);
    EXPECT_EQ(-1, TVCIRollback(rig->session, 1, 0));
    EXPECT_EQ("E12001|[E12001]r", rig->ErrorOf(rig->session));
    EXPECT_EQ(1, rig->session->conn->recv_fill - rig->session->conn->recv_pos);
    SocketSetHooks(FailSendOnce, nullptr);
}

TEST(LostConnection, WithAnUnreadKTakesItForTheVerdictAndTheVerdictForTheNextAnswer) {
    LostRig rig;
    LeaveKBehindAndLoseTheConnection(&rig);
    rig.ScriptSecondLogin();
    EXPECT_EQ(-24, TVCIExecDirect(rig.other, "X", -1));
    EXPECT_EQ(IDLE_ERROR, rig.ErrorOf(rig.session));
    EXPECT_STREQ("201", rig.session->attr.version);
    // The verdict ends the next answer before it came; from here on each answer is one behind.
    rig.peer.Expect(Hex(REQUEST_X));
    rig.peer.Send(Hex("'U' 00000007 'K'"));
    EXPECT_EQ(0, TVCIExecDirect(rig.other, "X", -1));
    EXPECT_EQ(nullptr, FirstResult(rig.other));
    rig.peer.Expect(Hex(REQUEST_X));
    rig.peer.Send(Hex("'U' 00000008 'K'"));
    EXPECT_EQ(0, TVCIExecDirect(rig.other, "X", -1));
    ASSERT_NE(nullptr, FirstResult(rig.other));
    EXPECT_EQ(7u, FirstResult(rig.other)->affected);
}

TEST(LostConnection, WithAnUnreadKTakesARefusedLoginForAGoodOne) {
    LostRig rig;
    LeaveKBehindAndLoseTheConnection(&rig);
    rig.peer.Accept();
    rig.peer.Expect(Ascii(SECOND_LOGIN_TEXT));
    rig.peer.Send(Hex("'E' 0000000A '[E1234]no!'"));
    EXPECT_EQ(-24, TVCIExecDirect(rig.other, "X", -1));
    EXPECT_EQ(IDLE_ERROR, rig.ErrorOf(rig.session));
    // The refusal is the first item of the next answer, and the end of the stream the second.
    rig.peer.Expect(Hex(REQUEST_X));
    rig.peer.Close();
    ExpectReplaced(&rig, direct_call, "E1234|[E1234]no!");
}
