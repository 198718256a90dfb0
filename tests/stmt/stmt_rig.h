// A logged-on session with one statement, for the tests of what a statement says and hears.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <string>

#include "diag/error.h"
#include "platform/lock.h"
#include "platform/memory.h"
#include "platform/socket.h"
#include "platform/wait.h"
#include "records/handles.h"
#include "records/statement.h"
#include "stmt/response.h"
#include "support/native_rig.h"

// What the session sends when it logs on again: the server's plain 'K' made it an older version.
inline const char *const SECOND_LOGIN_TEXT =
    "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' char_set = 'GBK' "
    "time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' version = '201'";

// The request for the text "X", and an 'A' with one INTEGER column named "N".
inline const char *const REQUEST_X = "3F 00000001 'X' 00 00000000";
inline const char *const ONE_FIELD = "'A' 00000001 00000001 'N' 00000005 FFFFFFFF 00000000";

// Rows of that column that hold first, first + 1 and so on.
inline Bytes IntRows(int32_t first, int32_t count) {
    Bytes rows;
    for (int32_t i = 0; i < count; i++) {
        rows = std::move(rows) + Hex("'R' 00000004") + Int32(first + i);
    }
    return rows;
}

struct StmtRig : NativeRig {
    TVCIStmt *stmt = nullptr;

    StmtRig() {
        Login();
        stmt = NewStmt();
    }

    // Scripts one exchange.
    void Script(const Bytes &request, const Bytes &answer) {
        peer.Expect(request);
        peer.Send(answer);
    }

    // Scripts a second login on a new connection, which the peer accepts.
    void ScriptSecondLogin() {
        peer.Accept();
        peer.Expect(Ascii(SECOND_LOGIN_TEXT));
        peer.Send(Hex("'K'"));
    }

    void SwitchReconnectOff() {
        session->conn->auto_reconnect = 0;
    }

    // Runs the text "X" directly and gives it this answer.
    int32_t Answer(const Bytes &answer) {
        Script(Hex(REQUEST_X), answer);
        return TVCIExecDirect(stmt, "X", -1);
    }

    // Prepares "X" as ST0.
    void Prepare() {
        Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"), Hex("'K'"));
        ASSERT_EQ(0, TVCIPrepare(stmt, "X", -1));
    }

    // Forgets what the connection has received, and what the session has to say about it.
    void DropUnread() {
        session->conn->recv_fill = 0;
        session->conn->recv_pos = 0;
        session->conn->pushback = 0;
        session->conn->send_fill = 0;
        ErrInfoFree(&session->error);
        ErrInfoFree(&session->retired);
    }

    bool PermitIsFree() {
        Semaphore *permit = &session->conn->use_semaphore;
        if (!SemaphoreTryTake(permit)) return false;
        const bool only_one = !SemaphoreTryTake(permit);
        SemaphoreRelease(permit);
        return only_one;
    }

    // Waits until a row reader has given the permit back.
    void WaitReader() {
        WaitSemaphore(&session->conn->use_semaphore, WAIT_CONN_PERMIT);
        SemaphoreRelease(&session->conn->use_semaphore);
    }

    std::string ErrorOf(void *handle) {
        char code[32] = {};
        char message[513] = {};
        uint32_t length = 0;
        EXPECT_EQ(0, TVCIGetError(handle, code, message, &length));
        return std::string(code) + "|" + std::string(message, length);
    }

    std::string Error() {
        return ErrorOf(stmt);
    }

    ResultSet *Result(int32_t index) {
        ResultSet *result = FirstResult(stmt);
        for (int32_t i = 0; i < index && result != nullptr; i++) {
            result = FollowingResult(result);
        }
        return result;
    }
};

// Takes the place of the socket while it lives: what is sent is taken, the answer is received, and
// then the stream ends. For requests that may not get as far as being sent.
struct CannedAnswer {
    explicit CannedAnswer(const Bytes &answer) {
        bytes = answer;
        next = 0;
        SocketSetHooks(Send, Receive);
    }
    ~CannedAnswer() {
        SocketSetHooks(nullptr, nullptr);
    }

private:
    static int64_t Send(SocketId, const void *, size_t count) {
        return (int64_t)count;
    }
    static int64_t Receive(SocketId, void *target, size_t count) {
        const size_t part = std::min(count, bytes.size() - next);
        std::copy_n(bytes.data() + next, part, (uint8_t *)target);
        next += part;
        return (int64_t)part;
    }
    inline static Bytes bytes;
    inline static size_t next;
};

// The status with which a process ends that would wait for ever.
inline int WaitStatus(WaitPoint point) {
    return 100 + point;
}

// From here on the process ends where it would begin to wait. Runs in a process of its own: in the
// statement of an EXPECT_EXIT.
inline void EndAtWaits() {
    WaitSetHook([](WaitPoint point) { std::_Exit(WaitStatus(point)); });
}

#define EXPECT_WAITS_FOR_EVER(statement, point)                                 \
    do {                                                                        \
        GTEST_FLAG_SET(death_test_style, "threadsafe");                         \
        EXPECT_EXIT(statement, testing::ExitedWithCode(WaitStatus(point)), ""); \
    } while (false)
