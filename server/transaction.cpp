// Transactions: the statements that end and mark them, and the scope in which others change data.
#include "server/transaction.h"

#include "server/errors.h"
#include "server/tokens.h"

namespace tavud {

namespace {

// A writer takes the lock when it begins. Taken later, after a read, the lock would be refused for
// good as soon as another session has committed in between.
constexpr const char *BEGIN_WRITING = "BEGIN IMMEDIATE";
constexpr const char *SCOPE_MARK = "tavud_scope";

bool InTransaction(sqlite3 *database) {
    return sqlite3_get_autocommit(database) == 0;
}

void Commit(sqlite3 *database) {
    if (InTransaction(database)) RunSql(database, "COMMIT");
}

void SetAutoCommit(TransactionState *state, const Statement &statement) {
    const TokenisedText text = Tokenise(statement.text);
    const bool sound = text.IsWord(1, "AUTO") && text.IsWord(2, "COMMIT") &&
                       text.IsAnyWord(3, {"ON", "OFF"}) && text.tokens.size() == 4;
    if (!sound) throw StatementRefused(CODE_SYNTAX, "SET knows only AUTO COMMIT ON and OFF");
    const bool on = text.IsWord(3, "ON");
    if (on) Commit(state->database);
    state->auto_commit = on;
}

void Begin(sqlite3 *database) {
    if (InTransaction(database)) {
        throw StatementRefused(CODE_TRANSACTION, "a transaction is open already");
    }
    RunSql(database, BEGIN_WRITING);
}

void MarkOrReturn(const TransactionState &state, const Statement &statement) {
    const TokenisedText text = Tokenise(statement.text);
    if (text.IsWord(0, "SAVEPOINT") && !InTransaction(state.database)) {
        if (state.auto_commit) {
            throw StatementRefused(CODE_TRANSACTION, "a savepoint needs an open transaction");
        }
        RunSql(state.database, BEGIN_WRITING);
    }
    RunSql(state.database, statement.text);
}

}  // namespace

void RunSql(sqlite3 *database, const std::string &sql) {
    if (sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw RefusedByDatabase(database);
    }
}

void RunTransactionStatement(TransactionState *state, const Statement &statement) {
    switch (statement.verb) {
        case Verb::Begin: Begin(state->database); break;
        case Verb::Commit: Commit(state->database); break;
        case Verb::Rollback:
            if (InTransaction(state->database)) RunSql(state->database, "ROLLBACK");
            break;
        case Verb::AutoCommit: SetAutoCommit(state, statement); break;
        default: MarkOrReturn(*state, statement); break;
    }
}

ChangeScope::ChangeScope(const TransactionState &state, bool compound) : state_(state) {
    if (!InTransaction(state_.database)) {
        RunSql(state_.database, BEGIN_WRITING);
        began_ = true;
    } else if (compound) {
        RunSql(state_.database, std::string("SAVEPOINT ") + SCOPE_MARK);
        marked_ = true;
    }
}

void ChangeScope::Finish() {
    if (marked_) RunSql(state_.database, std::string("RELEASE ") + SCOPE_MARK);
    marked_ = false;
    if (began_ && state_.auto_commit) Commit(state_.database);
    began_ = false;
}

ChangeScope::~ChangeScope() {
    // Some failures, such as a full disk, have ended the whole transaction already.
    if (!InTransaction(state_.database)) return;
    const char *undo = nullptr;
    if (began_) undo = "ROLLBACK";
    if (marked_) undo = "ROLLBACK TO tavud_scope; RELEASE tavud_scope";
    if (undo != nullptr) sqlite3_exec(state_.database, undo, nullptr, nullptr, nullptr);
}

}  // namespace tavud
