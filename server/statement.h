// One SQL statement of a request: what it is, its compiled form, its columns and its parameters.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <sqlite3.h>

#include "server/database.h"
#include "server/request.h"
#include "server/tokens.h"
#include "server/types.h"

namespace tavud {

enum class Verb {
    Select,
    Insert,
    Update,
    Delete,
    Declare,  // CREATE TABLE and ALTER TABLE, whose declarations are rewritten
    Begin,
    Commit,
    Rollback,
    Savepoint,  // SAVEPOINT, ROLLBACK TO and RELEASE, which the database understands as they are
    AutoCommit,
    ShowVersion,
    Call,     // CALL and EXEC of a procedure, compiled as a select of its arguments
    Bulk,     // LOAD and IMPORT
    Reindex,  // REINDEX of a table's indexes
    Own,      // the server's own statements, "tavud message 'text'" and its like
    Other,    // left to the database
};

Verb VerbOf(const TokenisedText &statement);

struct Statement {
    std::string text;
    Verb verb = Verb::Other;
    StatementHandle compiled;   // null for what the server runs itself, and until it is compiled
    bool rowid_inside = false;  // the last column of the compiled select is the rowid
};

Statement MakeStatement(std::string text);

// Whether the database runs it.
bool IsCompiled(Verb verb);

// Compiles it unless that has been done. `with_rowid` has a select give the rowid of its table.
// Throws StatementRefused.
void Compile(sqlite3 *database, bool with_rowid, Statement *statement);

// Leaves a compiled statement ready for its next run and without the values of this one.
struct ResetAtEnd {
    sqlite3_stmt *statement;

    explicit ResetAtEnd(sqlite3_stmt *compiled) : statement(compiled) {}
    ~ResetAtEnd() {
        sqlite3_reset(statement);
        sqlite3_clear_bindings(statement);
    }
    ResetAtEnd(const ResetAtEnd &) = delete;
    ResetAtEnd &operator=(const ResetAtEnd &) = delete;
};

// True when there is a row. Throws StatementRefused.
bool Step(sqlite3_stmt *statement);

// What a column of a table is declared as; nothing when it has no type.
std::optional<DeclaredType> TypeOfDeclaration(const char *declaration);

// A column as the field list announces it.
struct Column {
    std::string name;
    DeclaredType type;
    int32_t flags = 0;
};

inline constexpr int32_t FLAG_NULLABLE = 2;
inline constexpr int32_t FLAG_VARYING = 1024;

// The columns of a compiled statement, the rowid column among them when it is inside. `on_row`
// says that the statement stands on its first row, whose values then tell the types of columns
// that nobody declared.
std::vector<Column> DescribeColumns(const Statement &statement, bool on_row);

// The column that carries the rowid when the select itself gives none.
Column RowidColumn();

// Binds the parameters to the statements of a request, in order.
class ParameterList {
public:
    explicit ParameterList(const std::vector<Parameter> &parameters) : parameters_(parameters) {}

    // Binds those of one compiled statement. `last` says that no statement follows, so that none
    // may be left over. Throws StatementRefused.
    void Bind(sqlite3_stmt *statement, bool last);

    // The index in the request of what was bound last as parameter `index` of its statement; the
    // request is where a client counts.
    size_t RequestIndex(int index) const {
        return bound_[static_cast<size_t>(index) - 1];
    }
    const Parameter &Bound(int index) const {
        return parameters_[RequestIndex(index)];
    }

private:
    const Parameter *ByName(const char *name) const;

    const std::vector<Parameter> &parameters_;
    size_t next_ = 0;            // the first that no statement has taken by position
    std::vector<size_t> bound_;  // of the statement bound last
};

}  // namespace tavud
