// Running one statement and writing what it answers.
#pragma once

#include <string_view>

#include "server/channel.h"
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
};

void WriteTextItem(Channel *channel, uint8_t letter, std::string_view text);

// The field list of a compiled statement that gives rows, which has not been run.
void WriteDescription(const Workplace &place, const Statement &statement);

// Runs a statement and writes its items; the caller ends the answer. `last` says that no other
// statement of the request follows. Throws StatementRefused: what was written before it stands.
void Execute(Workplace *place, Statement *statement, ParameterList *parameters, bool last);

}  // namespace tavud
