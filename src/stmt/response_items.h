// The items of a response, for the loops that read one: each loop has a table of its own that says
// which letters it takes.
#pragma once

#include <cstdint>

#include "records/connection.h"
#include "records/statement.h"

// One response while it is read.
struct Response {
    TVCIStmt *stmt;
    Connection *conn;
    int32_t error_result;  // of an error in front of the end; a special code stays for later errors
    bool reader_started;   // a background reader has the rest
    int32_t result;        // of the call, once an item says that nothing more is to be read
};

// A response of the statement's connection of which nothing has been read.
Response OpenResponse(TVCIStmt *stmt);

// The ends. Each returns false: nothing more is to be read, and `response->result` says what the
// call returns.
bool EndResponse(Response *response, int32_t result);
// The letter of the end came: both flags are set, the result is 0.
bool EndAtLastLetter(Response *response);
// A letter that opens no item of this response: sets `response_done`, the result is -1. The rest
// stays on the wire: nobody guesses where its next item begins.
bool EndAtUnknownLetter(Response *response);
// No memory for a result: `response_done` is set, the result is -5.
bool EndWithoutMemory(Response *response);
// An item was cut short. Releases the results before it sets `response_done`, and the release waits
// for that flag: it never returns while the flag is clear.
bool EndCutShort(Response *response, int32_t result);
// No letter came: tries a reconnect and sets `response_done`; the result is -24 or -4.
bool EndConnectionLost(Response *response);

// Throws away `length` bytes that go through the cipher; false when they do not come. A length
// below 1 reads nothing.
bool DiscardDeciphered(Connection *conn, int32_t length);

// Reads the letter behind an item. True for that of the end, which is used up. Any other, or none
// if there is none to be had, is left to the loop.
bool EndFollows(Response *response);

// The readers of the items that all loops share, from behind the letter. Each returns true when the
// response goes on.
// 'D' and 'U': a new result of that kind.
bool ReadAffectedItem(Response *response, int32_t kind);
// 'I': a new result; the bookmark is thrown away.
bool ReadInsertedItem(Response *response);
// 'E' and 'F': the text is kept. Directly in front of the end it is the result: -1, -13 or -17.
bool ReadErrorItem(Response *response);
// 'M' and 'W': the text is kept.
bool ReadMessageItem(Response *response);
