// The login: one text line out, the server's verdict in.
#include "wire/login.h"

#include <cstdio>

#include "diag/error.h"
#include "platform/memory.h"
#include "platform/process.h"
#include "platform/text.h"
#include "wire/cipher.h"
#include "wire/connection.h"

// Room for the login text with its terminator. A longer text ends the process.
constexpr size_t LOGIN_TEXT_BYTES = 512;
// Room for the verdict, of which at most the fifth byte is looked at.
constexpr size_t VERDICT_BYTES = 32;
// Bytes behind a VERDICT_MORE, of which the last is the verdict.
constexpr int32_t FURTHER_BYTES = 5;

constexpr uint8_t VERDICT_ACCEPTED = 'K';
constexpr uint8_t VERDICT_MORE = 'N';

// The login text while it is put together.
struct LoginText {
    char text[LOGIN_TEXT_BYTES];  // NUL-terminated
    size_t text_bytes;            // without the terminator
};

static void Append(LoginText *login, const char *item) {
    size_t item_bytes = strlen(item);
    if (item_bytes >= LOGIN_TEXT_BYTES - login->text_bytes) {
        ProcessAbort();
    }
    memcpy(login->text + login->text_bytes, item, item_bytes + 1);
    login->text_bytes += item_bytes;
}

// Appends a keyword, a value and the quote behind it. Quotes in the value go out as they stand.
static void AppendQuoted(LoginText *login, const char *keyword, const char *value) {
    Append(login, keyword);
    Append(login, value);
    Append(login, "'");
}

static void AppendIf(LoginText *login, uint8_t condition, const char *item) {
    if (condition != 0) {
        Append(login, item);
    }
}

static void BuildLoginText(LoginText *login, const char *database, const ConnAttr *attr) {
    login->text[0] = '\0';
    login->text_bytes = 0;
    Append(login, "login database = ");
    Append(login, database);
    AppendQuoted(login, " user='", attr->user);
    AppendQuoted(login, " password='", attr->password);
    AppendQuoted(login, " encryptor = '", attr->encryptor);
    AppendQuoted(login, " char_set = '", attr->char_set);
    AppendQuoted(login, " time_zone = '", attr->time_zone);
    AppendQuoted(login, " iso_level = '", attr->iso_level);
    if (attr->lock_timeout > 0) {
        char number[20];
        snprintf(number, sizeof(number), "%d", attr->lock_timeout);
        Append(login, " lock_timeout = ");
        Append(login, number);
    }
    Append(login, attr->auto_commit != 0 ? " auto_commit = 'on'" : " auto_commit = 'off'");
    AppendIf(login, attr->return_cursor_id, " return_cursor_id  = 'on'");
    AppendIf(login, attr->lob_ret, " lob_ret=descriptor");
    AppendIf(login, attr->return_rowid, " return_rowid=true");
    AppendIf(login, attr->return_schema, " return_schema=on");
    AppendQuoted(login, " version = '", attr->version);
}

// Reads the verdict. A failed read leaves nothing behind that could pass for one.
static bool ReadVerdict(Connection *conn, ConnAttr *attr) {
    uint8_t verdict[VERDICT_BYTES] = {};
    if (!ConnReadDeciphered(conn, verdict, 1)) return false;
    if (verdict[0] == VERDICT_ACCEPTED) {
        TextCopy(attr->version, sizeof(attr->version), "201");
        return true;
    }
    if (verdict[0] != VERDICT_MORE) return false;
    TextCopy(attr->version, sizeof(attr->version), "301");
    if (!ConnReadDeciphered(conn, verdict, FURTHER_BYTES)) return false;
    return verdict[FURTHER_BYTES - 1] == VERDICT_ACCEPTED;
}

static void CloseAfterRefusal(Connection *conn) {
    ConnCloseSocket(conn);
    CipherFree(conn);
}

// Takes the server's reason into `last_error`. A socket that failed before gives no reason.
static void ReadRefusal(Connection *conn) {
    char *reason;
    if (ConnReadString(conn, &reason) == 0) {
        ErrInfoFromServer(&conn->last_error, reason);
        MemFree(reason);
    } else {
        ErrInfoReplace(&conn->last_error, CANNOT_CONNECT_CODE, CANNOT_CONNECT_TEXT);
    }
}

static bool LoginPlain(Connection *conn, const char *database, ConnAttr *attr) {
    conn->use_ssl = 0;
    LoginText login;
    BuildLoginText(&login, database, attr);
    // Past the send buffer, and its result not looked at: the read that follows fails instead.
    SocketSend(conn->sock, login.text, login.text_bytes);
    if (ReadVerdict(conn, attr)) {
        conn->status = 0;
        return true;
    }
    ReadRefusal(conn);
    CloseAfterRefusal(conn);
    return false;
}

// The enciphered form is asked for and cannot be spoken: refused, so that nothing that was meant to
// be secret goes out in the clear.
static bool LoginEnciphered(Connection *conn) {
    conn->use_ssl = 1;
    conn->send_fill = 0;
    ErrInfoReplace(&conn->last_error, CANNOT_CONNECT_CODE, CANNOT_CONNECT_TEXT);
    CloseAfterRefusal(conn);
    return false;
}

bool TVCILogin(Connection *conn, const char *database, ConnAttr *attr) {
    if (conn == NULL || database == NULL || attr == NULL) return false;
    return attr->use_ssl != 0 ? LoginEnciphered(conn) : LoginPlain(conn, database, attr);
}
