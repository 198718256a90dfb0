// Error records: the client's own texts, the rule for the server's, and where records hang.
//
// A statement's record may be written by its row reader while the application reads it, so records
// are filled, copied and freed under one lock of this module; nobody else reaches through the
// pointers.
#pragma once

#include <cstddef>
#include <cstdint>

#include "records/error.h"

constexpr size_t ERROR_DETAIL_BYTES = 128;   // room in which callers build a detail text
constexpr size_t ERROR_MESSAGE_BYTES = 256;  // room in which a client message is built

// What is reported where no connection could be made and nothing better is known.
constexpr char CANNOT_CONNECT_CODE[] = "E19884";
constexpr char CANNOT_CONNECT_TEXT[] = "can't connect to server";

// Looks up the client's text for a code such as "E32102". Returns 0 with both outputs set, or -1
// for an unknown code. The text of family 0 is NULL.
int32_t ErrTextLookup(const char *code, uint8_t *show_version, const char **text);

// Fills `err` with the code and the message built from the table text and `detail`. Returns 0, or
// -1 when the code is unknown.
int32_t ErrInfoSet(ErrInfo *err, const char *code, const char *detail);

// The error field of a native handle, by its type word; NULL for a type that has none.
ErrInfo **ErrInfoSlot(void *handle);

// Makes `err` the last error of a native handle, by the handle's type word; takes ownership. `err`
// has replaced none yet. The record that was there stays reachable behind it and goes with the
// handle. For any other type word `err` is freed.
void ErrInfoAttach(void *handle, ErrInfo *err);

// Makes a record with ErrInfoSet and attaches it. `detail_format` is a printf format for the
// detail, cut at ERROR_DETAIL_BYTES.
void ErrInfoRaise(void *handle, const char *code, const char *detail_format, ...)
    __attribute__((format(printf, 3, 4)));

// Attaches a record whose message is `message` as it stands.
void ErrInfoRaiseText(void *handle, const char *code, const char *message);

// The rule for a server's text: fills code and message of `*slot`, which is made first if it is
// NULL. `text` is borrowed. Returns 0, or -5 when there is no memory.
int32_t ErrInfoFromServer(ErrInfo **slot, const char *text);

// Fills code and message of `*slot`, which is made first if it is NULL, freeing the old message.
// Returns 0, or -5.
int32_t ErrInfoReplace(ErrInfo **slot, const char *code, const char *message);

// Whether `*slot` holds a record.
bool ErrInfoPresent(ErrInfo *const *slot);

// Copies the code of `*slot` into `code`; false and "" when there is no record.
bool ErrInfoCode(ErrInfo *const *slot, char code[7]);

// Attaches to `handle` a copy of the code and message of `*slot`, or CANNOT_CONNECT_CODE and its
// text when `*slot` holds none.
void ErrInfoRaiseCopy(void *handle, ErrInfo *const *slot);

// Fills `*slot`, which is made first if it is NULL, with the same copy of `*source`. Returns 0, or
// -5.
int32_t ErrInfoReplaceCopy(ErrInfo **slot, ErrInfo *const *source);

// Copies 7 bytes of code and at most `message_max` bytes of message without terminator, and sets
// `*length`. Writes nothing when there is no record. Every out pointer may be NULL.
void ErrInfoCopy(ErrInfo *const *slot, char *code, char *message, uint32_t message_max,
                 uint32_t *length);

// Empties `*slot`; the record that was there, with all that it replaced, stays reachable behind
// `*retired` and is freed with it.
void ErrInfoRetire(ErrInfo **slot, ErrInfo **retired);

// Frees the record of `*slot` with all that it replaced, and clears the slot.
void ErrInfoFree(ErrInfo **slot);

// One of the server's own symbolic errors.
struct ServerErrorEntry {
    int32_t index;     // from 0
    const char *name;  // such as "ERR_DIV_ZERO"
    int32_t number;    // such as 19005
    const char *text;  // in GBK, the server's message language; may hold one "%s"
};

// The server's error of that number, or NULL. No message is made from it: a server sends its text.
const ServerErrorEntry *ServerErrorLookup(int32_t number);
