// Running one statement and writing what it answers.
#pragma once

#include <memory>
#include <string_view>

#include "server/channel.h"
#include "server/large_object.h"
#include "server/login.h"
#include "server/statement.h"
#include "server/transaction.h"

namespace tavud {

// The letters that open the items of an answer.
inline constexpr uint8_t ANSWER_ROWS = 'A';
inline constexpr uint8_t ANSWER_DELETED = 'D';
inline constexpr uint8_t ANSWER_ERROR = 'E';
inline constexpr uint8_t ANSWER_INSERTED = 'I';
inline constexpr uint8_t ANSWER_END = 'K';
inline constexpr uint8_t ANSWER_MESSAGE = 'M';
inline constexpr uint8_t ANSWER_DATA = 'O';
inline constexpr uint8_t ANSWER_OUTPUT = 'P';
inline constexpr uint8_t ANSWER_ROW = 'R';
inline constexpr uint8_t ANSWER_MARKED_ROW = '*';
inline constexpr uint8_t ANSWER_UPDATED = 'U';
inline constexpr uint8_t ANSWER_WARNING = 'W';
inline constexpr uint8_t ANSWER_PARAMETERS = '$';

// What the statements of one session are run with.
struct Workplace {
    Channel *channel = nullptr;  // borrowed
    Login login;
    TransactionState transaction;
    std::unique_ptr<LargeObjectGiver> giver;  // null: large objects travel as their bytes
    bool bookmarks = false;                   // rows of a table carry their rowid in front
    bool typed_array_rows = true;             // later rows of an array have a type for each value

    // Whether a select is compiled with the rowid of its table.
    bool WantsRowid() const {
        return login.return_rowid || bookmarks;
    }
};

void WriteTextItem(Channel *channel, uint8_t letter, std::string_view text);

// The field list of a compiled statement that gives rows, which has not been run.
void WriteDescription(const Workplace &place, const Statement &statement);

// Runs a statement and writes its items; the caller ends the answer. `last` says that no other
// statement of the request follows. Throws StatementRefused: what was written before it stands.
void Execute(Workplace *place, Statement *statement, ParameterList *parameters, bool last);

// Runs a statement once for each row of an array execution; all rows go or fail together. One item
// tells the sum of all rows, but rows that a statement gives come for each run of it. Throws
// StatementRefused.
void ExecuteArray(Workplace *place, Statement *statement, const Request &request);

}  // namespace tavud
