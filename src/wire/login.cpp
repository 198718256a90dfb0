// The login: one text line out, the server's verdict in, in the clear or enciphered.
#include "wire/login.h"

#include <atomic>
#include <cstdio>

#include "diag/error.h"
#include "platform/clock.h"
#include "platform/memory.h"
#include "platform/process.h"
#include "platform/random.h"
#include "platform/text.h"
#include "platform/wipe.h"
#include "wire/block_power.h"
#include "wire/cipher.h"
#include "wire/connection.h"

// What the client asks for the enciphered form with.
constexpr char ENCIPHERED_FORM[] = "~ssl~";
// The session key: below 2 to the power 255 as a number, so that the transform can carry it.
constexpr size_t SESSION_KEY_BYTES = 32;
constexpr int32_t SESSION_KEY_WORDS = 8;
// The enciphered text goes out in chunks, each closed by a filling. In the number that a block is,
// the filling stands on top and keeps it small.
constexpr size_t CHUNK_TEXT_BYTES = 30;
constexpr size_t CHUNK_BYTES = 32;
constexpr uint8_t CHUNK_FILLING = 7;
// A longer text has no room behind the session key once it is in chunks.
constexpr size_t ENCIPHERED_TEXT_BYTES_MAX = 449;
// Room for the verdict, of which at most the fifth byte is looked at.
constexpr size_t VERDICT_BYTES = 32;
// Bytes behind a VERDICT_MORE, of which the last is the verdict.
constexpr int32_t FURTHER_BYTES = 5;

constexpr uint8_t VERDICT_ACCEPTED = 'K';
constexpr uint8_t VERDICT_MORE = 'N';

static_assert(CHUNK_BYTES == (size_t)POWER_BLOCK_BYTES);
static_assert(SESSION_KEY_BYTES == (size_t)POWER_BLOCK_BYTES);

// The login text while it is put together.
struct LoginText {
    char *text;         // borrowed; NUL-terminated
    size_t room_bytes;  // of `text`, with the terminator
    size_t text_bytes;  // without the terminator
};

static void Append(LoginText *login, const char *item) {
    size_t item_bytes = strlen(item);
    if (item_bytes >= login->room_bytes - login->text_bytes) {
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

// Reads a part of the verdict. False when the read failed; the keystream moves all the same.
static bool ReadVerdictBytes(Connection *conn, uint8_t *verdict, int32_t count) {
    const bool read = ConnReadExact(conn, verdict, count);
    if (conn->use_ssl == 1) {
        CipherApplyRecv(conn, verdict, count);
    }
    return read;
}

// A verdict whose read failed is none, whatever stands in its place.
static bool ReadVerdict(Connection *conn, ConnAttr *attr) {
    uint8_t verdict[VERDICT_BYTES] = {};
    if (!ReadVerdictBytes(conn, verdict, 1)) return false;
    if (verdict[0] == VERDICT_ACCEPTED) {
        TextCopy(attr->version, sizeof(attr->version), "201");
        return true;
    }
    if (verdict[0] != VERDICT_MORE) return false;
    TextCopy(attr->version, sizeof(attr->version), "301");
    if (!ReadVerdictBytes(conn, verdict, FURTHER_BYTES)) return false;
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

// What follows the message in both forms.
static bool FinishLogin(Connection *conn, ConnAttr *attr) {
    if (ReadVerdict(conn, attr)) {
        conn->status = 0;
        return true;
    }
    ReadRefusal(conn);
    CloseAfterRefusal(conn);
    return false;
}

// Sends a login's bytes: past the send buffer, and with no look at the result, because the read
// that follows fails instead.
static void SendDirectly(Connection *conn, const void *bytes, size_t count) {
    SocketSend(conn->sock, bytes, count);
}

static bool LoginPlain(Connection *conn, const char *database, ConnAttr *attr) {
    conn->use_ssl = 0;
    char message[LOGIN_MESSAGE_BYTES] = {};
    LoginText login = {message, sizeof(message), 0};
    BuildLoginText(&login, database, attr);
    SendDirectly(conn, message, login.text_bytes);
    return FinishLogin(conn, attr);
}

// Whether the generator was seeded, for all threads; each thread's sequence is its own.
static std::atomic<bool> random_seeded{false};

#ifdef TAVU_TEST_SEAMS
void LoginRandomForgetSeed(void) {
    random_seeded = false;
}
#endif

uint32_t LoginRandom(uint32_t low, uint32_t high) {
    if (!random_seeded.load(std::memory_order_relaxed)) {
        random_seeded.store(true, std::memory_order_relaxed);
        RandomSeed((uint32_t)(ClockRunMs() + ClockSeconds()));
        for (int32_t discarded = RandomNext() & 0xFF; discarded > 0; discarded--) {
            RandomNext();
        }
    }
    // Up to 4294967295, which a signed 32-bit conversion could not take.
    return low + (uint32_t)(uint64_t)(RandomNext() / (double)RANDOM_MAX * high);
}

void LoginTextSplit(char *text) {
    for (size_t chunk = strlen(text) / CHUNK_TEXT_BYTES; chunk > 0; chunk--) {
        char *target = text + CHUNK_BYTES * chunk;
        memmove(target, text + CHUNK_TEXT_BYTES * chunk, CHUNK_TEXT_BYTES);
        memset(target - (CHUNK_BYTES - CHUNK_TEXT_BYTES), CHUNK_FILLING,
               CHUNK_BYTES - CHUNK_TEXT_BYTES);
    }
}

// Draws the session key and mixes the password into it, over and over.
static void ChooseSessionKey(uint8_t *key, const ConnAttr *attr) {
    static_assert(sizeof(attr->password) > SESSION_KEY_BYTES);
    for (int32_t i = 0; i < SESSION_KEY_WORDS; i++) {
        const uint32_t word = LoginRandom(0, UINT32_MAX);
        memcpy(key + sizeof(word) * (size_t)i, &word, sizeof(word));
    }
    size_t next = 0;
    for (size_t i = 0; i < SESSION_KEY_BYTES; i++) {
        key[i] ^= (uint8_t)attr->password[next];
        next++;
        if (attr->password[next] == '\0') {
            next = 0;
        }
    }
    key[SESSION_KEY_BYTES - 1] &= 0x7F;
}

bool LoginSendEnciphered(Connection *conn, uint8_t *message) {
    char *text = (char *)message + SESSION_KEY_BYTES;
    if (strlen(text) > ENCIPHERED_TEXT_BYTES_MAX) return false;
    LoginTextSplit(text);
    const size_t spread_bytes = strlen(text) + 1;
    RsaEncryptBlocks(conn, message, (int32_t)(SESSION_KEY_BYTES + spread_bytes));
    // Every block that holds data.
    const size_t text_blocks = (spread_bytes + CHUNK_BYTES - 1) / CHUNK_BYTES;
    SendDirectly(conn, message, SESSION_KEY_BYTES + text_blocks * CHUNK_BYTES);
    return true;
}

// Puts the key and the text together and sends them. False when the text is too long.
static bool SendKeyAndText(Connection *conn, const char *database, const ConnAttr *attr,
                           const uint8_t *key) {
    uint8_t message[LOGIN_MESSAGE_BYTES] = {};
    memcpy(message, key, SESSION_KEY_BYTES);
    LoginText login = {(char *)message + SESSION_KEY_BYTES, sizeof(message) - SESSION_KEY_BYTES, 0};
    BuildLoginText(&login, database, attr);
    const bool sent = LoginSendEnciphered(conn, message);
    Wipe(message, sizeof(message));
    return sent;
}

static bool LoginEnciphered(Connection *conn, const char *database, ConnAttr *attr) {
    conn->use_ssl = 1;
    CipherFree(conn);
    conn->send_fill = 0;
    SendDirectly(conn, ENCIPHERED_FORM, strlen(ENCIPHERED_FORM));
    // In the clear, whatever `use_ssl` says. A failure here has no reason and closes nothing.
    if (!ConnReadExact(conn, conn->rsa_exponent, sizeof(conn->rsa_exponent)) ||
        !ConnReadExact(conn, conn->rsa_modulus, sizeof(conn->rsa_modulus))) {
        return false;
    }
    uint8_t key[SESSION_KEY_BYTES];
    ChooseSessionKey(key, attr);
    const bool enciphered =
        SendKeyAndText(conn, database, attr, key) && CipherSetup(conn, key, (int32_t)sizeof(key));
    Wipe(key, sizeof(key));
    if (enciphered) return FinishLogin(conn, attr);
    // What the server was promised cannot be kept up, and nothing goes out in the clear instead.
    ErrInfoReplace(&conn->last_error, CANNOT_CONNECT_CODE, CANNOT_CONNECT_TEXT);
    CloseAfterRefusal(conn);
    return false;
}

bool TVCILogin(Connection *conn, const char *database, ConnAttr *attr) {
    if (conn == NULL || database == NULL || attr == NULL) return false;
    return attr->use_ssl != 0 ? LoginEnciphered(conn, database, attr)
                              : LoginPlain(conn, database, attr);
}
