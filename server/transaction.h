// Transactions: the statements that end and mark them, and the scope in which others change data.
#pragma once

#include <sqlite3.h>

#include "server/statement.h"

namespace tavud {

// What one session has set about its transactions.
struct TransactionState {
    sqlite3 *database = nullptr;  // borrowed
    bool auto_commit = true;
};

// Runs SQL of the server's own. Throws StatementRefused.
void RunSql(sqlite3 *database, const std::string &sql);

// Runs a statement of the verbs Begin, Commit, Rollback, Savepoint and AutoCommit. Throws
// StatementRefused.
void RunTransactionStatement(TransactionState *state, const Statement &statement);

// Around a statement that changes data. Begins a transaction when none is open. A scope that ends
// without Finish undoes what was done in it and leaves an older transaction open.
//
// A select is not run in a scope: outside a transaction it sees what was last committed, so a
// session that only reads never stands in the way of one that writes.
class ChangeScope {
public:
    // `compound` says that several statements are run in the scope, which go or fail together.
    ChangeScope(const TransactionState &state, bool compound);
    ~ChangeScope();
    ChangeScope(const ChangeScope &) = delete;
    ChangeScope &operator=(const ChangeScope &) = delete;

    // Commits when each statement stands alone. Throws StatementRefused.
    void Finish();

private:
    TransactionState state_;
    bool began_ = false;
    bool marked_ = false;
};

}  // namespace tavud
