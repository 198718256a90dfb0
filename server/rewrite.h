// Rewriting SQL on its way to the database: column declarations, and the rowid of a select.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <sqlite3.h>

#include "server/tokens.h"

namespace tavud {

// A CREATE TABLE or ALTER TABLE with its column declarations in the form in which the database
// keeps them: storage type, ordering and check. Other statements come back as they are. Throws
// StatementRefused for a type that there is not and for forms of a table without rowids.
std::string RewriteDeclarations(const TokenisedText &statement);

struct TableName {
    std::string schema;  // "" when not given
    std::string table;
};

// Reads a table's name at token `*at`, moving it behind the name. False when no name is there.
bool ReadTableName(const TokenisedText &text, size_t *at, TableName *name);

// The table that a CREATE TABLE or ALTER TABLE names, with its schema in front when it has one;
// after `ALTER TABLE ... RENAME TO` its new name. Nothing for any other statement.
std::optional<TableName> CreatedTable(const TokenisedText &statement);
std::optional<TableName> AlteredTable(const TokenisedText &statement);
std::optional<std::string> RenamedTo(const TokenisedText &statement);

// A select over one table with that table's rowid as a further column at the end of its list.
// Nothing when the select has no rowid to give: several tables, groups, aggregates, a set
// operation, a view, no table at all.
std::optional<std::string> AddRowid(const TokenisedText &select, sqlite3 *database);

// One of "rowid", "_rowid_" and "oid" that is no column of the table; "" when all are.
std::string RowidName(sqlite3 *database, const TableName &table);

}  // namespace tavud
