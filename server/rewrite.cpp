// Rewriting SQL on its way to the database: column declarations, and the rowid of a select.
#include "server/rewrite.h"

#include <vector>

#include "server/database.h"
#include "server/errors.h"
#include "server/types.h"

namespace tavud {

namespace {

// Where the pieces of a CREATE TABLE begin, as token indices.
struct TableHead {
    bool temporary = false;
    TableName name;
    size_t behind_name = 0;
};

std::optional<TableHead> ReadCreateTable(const TokenisedText &text) {
    TableHead head;
    size_t at = 1;
    if (!text.IsWord(0, "CREATE")) return std::nullopt;
    if (text.IsAnyWord(at, {"TEMP", "TEMPORARY"})) {
        head.temporary = true;
        at++;
    }
    if (!text.IsWord(at, "TABLE")) return std::nullopt;
    at++;
    if (text.IsWord(at, "IF")) at += 3;
    if (!ReadTableName(text, &at, &head.name)) return std::nullopt;
    if (head.temporary) head.name.schema = "temp";
    head.behind_name = at;
    return head;
}

bool BeginsConstraint(const TokenisedText &text, size_t at) {
    return text.IsAnyWord(at, {"CONSTRAINT", "PRIMARY", "NOT", "NULL", "UNIQUE", "CHECK", "DEFAULT",
                               "COLLATE", "REFERENCES", "GENERATED", "AS"});
}

std::string_view Between(const TokenisedText &text, size_t first, size_t behind) {
    if (first >= behind) return {};
    const size_t start = text.tokens[first].start;
    return text.text.substr(start, text.tokens[behind - 1].end - start);
}

// One column definition, tokens `first` to before `behind`.
std::string RewriteColumn(const TokenisedText &text, size_t first, size_t behind) {
    size_t constraints = first + 1;
    while (constraints < behind && !BeginsConstraint(text, constraints)) {
        constraints = text.IsPunctuation(constraints, '(') ? text.BehindParenthesis(constraints)
                                                           : constraints + 1;
    }
    const std::string_view declaration = Between(text, first + 1, constraints);
    if (declaration.empty()) return std::string(Between(text, first, behind));
    const std::optional<DeclaredType> type = ParseDeclaration(declaration);
    if (!type) {
        throw StatementRefused(CODE_BAD_TYPE, "there is no type " + std::string(declaration));
    }
    std::string column(text.TextOf(first));
    column += " " + StorageDeclaration(*type);
    const std::string collation = CollationName(type->type_id);
    if (!collation.empty()) column += " COLLATE " + collation;
    column += " CHECK(tavu_fits(" + std::to_string(type->type_id) + "," +
              std::to_string(type->size) + "," + (type->varying ? "1" : "0") + "," +
              QuoteName(text.NameOf(first)) + "))";
    if (constraints < behind) column += " " + std::string(Between(text, constraints, behind));
    return column;
}

bool IsTableConstraint(const TokenisedText &text, size_t at) {
    return text.IsAnyWord(at, {"CONSTRAINT", "PRIMARY", "UNIQUE", "CHECK", "FOREIGN"});
}

void RefuseTableOptions(const TokenisedText &text, size_t at) {
    for (; at < text.tokens.size(); at++) {
        if (text.IsAnyWord(at, {"WITHOUT", "STRICT"})) {
            throw StatementRefused(CODE_TABLE_FORM, "tables WITHOUT ROWID or STRICT are not kept");
        }
    }
}

std::string RewriteCreateTable(const TokenisedText &text, const TableHead &head) {
    if (!text.IsPunctuation(head.behind_name, '(')) return std::string(text.text);
    const size_t open = head.behind_name;
    const size_t behind = text.BehindParenthesis(open);
    if (!text.IsPunctuation(behind - 1, ')')) return std::string(text.text);
    RefuseTableOptions(text, behind);
    std::string result(text.text.substr(0, text.tokens[open].end));
    size_t first = open + 1;
    for (size_t at = first; at < behind;) {
        const bool ends = text.IsPunctuation(at, ',') || at + 1 == behind;
        if (!ends) {
            at = text.IsPunctuation(at, '(') ? text.BehindParenthesis(at) : at + 1;
            continue;
        }
        if (first < at) {
            result += IsTableConstraint(text, first) ? std::string(Between(text, first, at))
                                                     : RewriteColumn(text, first, at);
        }
        result += text.TextOf(at);
        first = ++at;
    }
    return result + std::string(text.text.substr(text.tokens[behind - 1].end));
}

size_t BehindAlteredName(const TokenisedText &text, TableName *name) {
    size_t at = 2;
    if (!text.IsWord(0, "ALTER") || !text.IsWord(1, "TABLE")) return 0;
    return ReadTableName(text, &at, name) ? at : 0;
}

std::string RewriteAddColumn(const TokenisedText &text, size_t behind_name) {
    size_t column = behind_name + 1;
    if (text.IsWord(column, "COLUMN")) column++;
    if (column >= text.tokens.size()) return std::string(text.text);
    return std::string(text.text.substr(0, text.tokens[column].start)) +
           RewriteColumn(text, column, text.tokens.size());
}

// Whether the call at `name` gives one value for many rows.
bool IsAggregateCall(const TokenisedText &text, size_t name) {
    if (!text.IsPunctuation(name + 1, '(')) return false;
    if (text.IsWord(text.BehindParenthesis(name + 1), "OVER")) return false;
    if (text.IsAnyWord(name, {"COUNT", "SUM", "TOTAL", "AVG", "GROUP_CONCAT", "JSON_GROUP_ARRAY",
                              "JSON_GROUP_OBJECT"})) {
        return true;
    }
    if (!text.IsAnyWord(name, {"MIN", "MAX"})) return false;
    // With several arguments these two pick one of them in each row.
    const size_t behind = text.BehindParenthesis(name + 1);
    for (size_t at = name + 2; at < behind;) {
        if (text.IsPunctuation(at, ',')) return false;
        at = text.IsPunctuation(at, '(') ? text.BehindParenthesis(at) : at + 1;
    }
    return true;
}

// The index of the FROM of a select whose rows are rows of its tables; 0 when it is none.
size_t FindFrom(const TokenisedText &text) {
    if (!text.IsWord(0, "SELECT") || text.IsWord(1, "DISTINCT")) return 0;
    size_t from = 0;
    for (size_t at = 1; at < text.tokens.size();) {
        if (text.IsPunctuation(at, '(') && text.IsAnyWord(at + 1, {"SELECT", "WITH", "VALUES"})) {
            at = text.BehindParenthesis(at);
            continue;
        }
        if (text.IsAnyWord(at, {"UNION", "EXCEPT", "INTERSECT", "GROUP", "HAVING"})) return 0;
        if (IsAggregateCall(text, at)) return 0;
        if (from == 0 && text.IsWord(at, "FROM")) from = at;
        at++;
    }
    return from;
}

bool EndsTable(const TokenisedText &text, size_t at) {
    return at >= text.tokens.size() || text.IsAnyWord(at, {"WHERE", "ORDER", "LIMIT", "WINDOW"});
}

bool TableExists(sqlite3 *database, const TableName &name) {
    const char *schema = name.schema.empty() ? nullptr : name.schema.c_str();
    return sqlite3_table_column_metadata(database, schema, name.table.c_str(), nullptr, nullptr,
                                         nullptr, nullptr, nullptr, nullptr) == SQLITE_OK;
}

}  // namespace

bool ReadTableName(const TokenisedText &text, size_t *at, TableName *name) {
    if (!text.IsName(*at)) return false;
    name->table = text.NameOf(*at);
    (*at)++;
    if (text.IsPunctuation(*at, '.') && text.IsName(*at + 1)) {
        name->schema = name->table;
        name->table = text.NameOf(*at + 1);
        *at += 2;
    }
    return true;
}

std::string RewriteDeclarations(const TokenisedText &statement) {
    if (const std::optional<TableHead> head = ReadCreateTable(statement)) {
        return RewriteCreateTable(statement, *head);
    }
    TableName name;
    const size_t behind = BehindAlteredName(statement, &name);
    if (behind != 0 && statement.IsWord(behind, "ADD")) return RewriteAddColumn(statement, behind);
    return std::string(statement.text);
}

std::optional<TableName> CreatedTable(const TokenisedText &statement) {
    const std::optional<TableHead> head = ReadCreateTable(statement);
    if (!head) return std::nullopt;
    return head->name;
}

std::optional<TableName> AlteredTable(const TokenisedText &statement) {
    TableName name;
    if (BehindAlteredName(statement, &name) == 0) return std::nullopt;
    return name;
}

std::optional<std::string> RenamedTo(const TokenisedText &statement) {
    TableName name;
    const size_t behind = BehindAlteredName(statement, &name);
    if (behind == 0 || !statement.IsWord(behind, "RENAME")) return std::nullopt;
    if (!statement.IsWord(behind + 1, "TO") || !statement.IsName(behind + 2)) return std::nullopt;
    return statement.NameOf(behind + 2);
}

std::string RowidName(sqlite3 *database, const TableName &table) {
    sqlite3_stmt *raw = nullptr;
    sqlite3_prepare_v2(database,
                       "SELECT 1 FROM pragma_table_xinfo(?1, ?3) WHERE name = ?2 COLLATE NOCASE",
                       -1, &raw, nullptr);
    const StatementHandle statement(raw);
    if (raw == nullptr) return "";
    const char *schema = table.schema.empty() ? nullptr : table.schema.c_str();
    for (const char *name : {"rowid", "_rowid_", "oid"}) {
        sqlite3_bind_text(raw, 1, table.table.c_str(), -1, SQLITE_STATIC);
        sqlite3_bind_text(raw, 2, name, -1, SQLITE_STATIC);
        sqlite3_bind_text(raw, 3, schema, -1, SQLITE_STATIC);
        const bool free = sqlite3_step(raw) == SQLITE_DONE;
        sqlite3_reset(raw);
        if (free) return name;
    }
    return "";
}

std::optional<std::string> AddRowid(const TokenisedText &select, sqlite3 *database) {
    const size_t from = FindFrom(select);
    size_t at = from + 1;
    TableName table;
    if (from == 0 || !ReadTableName(select, &at, &table)) return std::nullopt;
    std::string visible_name = table.table;
    if (select.IsWord(at, "AS")) {
        at++;
        visible_name = select.NameOf(at++);
    } else if (!EndsTable(select, at) && select.IsName(at) &&
               !select.IsAnyWord(at, {"INDEXED", "NOT", "JOIN", "NATURAL", "LEFT", "RIGHT", "FULL",
                                      "INNER", "OUTER", "CROSS"})) {
        visible_name = select.NameOf(at++);
    }
    if (!EndsTable(select, at) || !TableExists(database, table)) return std::nullopt;
    const std::string rowid = RowidName(database, table);
    if (rowid.empty()) return std::nullopt;
    const size_t cut = select.tokens[from].start;
    return std::string(select.text.substr(0, cut)) + ", " + QuoteName(visible_name) + "." + rowid +
           " " + std::string(select.text.substr(cut));
}

}  // namespace tavud
