// The record of one TCP connection, and the login attributes that a session or a pool holds.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/lock.h"
#include "platform/socket.h"

struct CipherState;
struct ErrInfo;
struct TVCISession;

constexpr int32_t SEND_BUFFER_BYTES = 4096;
constexpr int32_t RECV_BUFFER_BYTES = 8192;
// Writes longer than this skip the send buffer.
constexpr int32_t SEND_BYPASS_BYTES = 2048;
constexpr uint16_t DEFAULT_PORT = 5138;

// The enciphered copy of a large write, which lies behind this record in the same block.
struct UnsentCopy {
    UnsentCopy *next;
};

// One connection to one server. Used by the thread that holds `use_semaphore`, which may hand it to
// a background reader in the middle of a response.
struct Connection {
    TVCISession *owner;        // borrowed; the session that uses this connection, or NULL
    Semaphore use_semaphore;   // one permit: a request and its whole response
    int32_t status;            // 2 when made, 0 once logged in
    uint32_t ip;               // network order
    uint16_t port;             // host order
    char database[128];        // NUL-terminated, sent in the login text
    SocketId sock;             // 0: closed
    int32_t timeout;           // receive timeout in minutes; 0 or less: none
    uint8_t use_ssl;           // 1: what arrives is deciphered
    uint8_t rsa_exponent[32];  // as the server sent it
    uint8_t rsa_modulus[32];   // as the server sent it
    CipherState *recv_cipher;  // owned; NULL: nothing to decipher with
    CipherState *send_cipher;  // owned; NULL: what is written goes out as it is
    uint8_t pushback;          // one response letter read too early, already deciphered; 0: none
    uint8_t send_buf[SEND_BUFFER_BYTES];  // not yet sent; already enciphered
    int32_t send_fill;                    // bytes in send_buf
    UnsentCopy *unsent_copies;            // owned; large writes that met a lost connection
    ErrInfo *last_error;                  // owned; the last failure of a login or of a bulk load
    uint32_t next_stmt_id;                // number of the next "ST%d"; never reset
    std::atomic<uint8_t> bulk_reader_running;  // the bulk load's acknowledgement reader; 0: ended
    uint8_t bulk_error;                        // it saw an error; read when it has ended
    uint8_t auto_reconnect;                    // 0: a lost connection stays lost
    uint8_t recv_buf[RECV_BUFFER_BYTES];       // still enciphered when the cipher is on
    int32_t recv_fill;                         // valid bytes in recv_buf; 0: empty
    int32_t recv_pos;                          // next unread byte: recv_pos <= recv_fill
};

// What a login sends about the session. All texts are NUL-terminated.
struct ConnAttr {
    char user[64];
    char password[64];
    char char_set[64];
    char time_zone[64];
    char encryptor[64];
    char iso_level[64];
    char version[65];  // an attribute of exactly 64 bytes is accepted and sent whole
    int32_t timeout;   // minutes
    int32_t lock_timeout;
    uint8_t use_ssl;
    uint8_t auto_commit;
    uint8_t return_rowid;
    uint8_t return_schema;
    uint8_t lob_ret;
    uint8_t return_cursor_id;
    uint8_t reconnect;
};
