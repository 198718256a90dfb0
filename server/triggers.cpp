// The triggers that bring the values of a table into the form in which they are stored.
#include "server/triggers.h"

#include <string>
#include <vector>

#include "server/database.h"
#include "server/errors.h"
#include "server/functions.h"
#include "server/transaction.h"
#include "server/types.h"

namespace tavud {

namespace {

// Where an unqualified name leads: temporary tables hide the others.
std::string SchemaOf(sqlite3 *database, const TableName &table) {
    if (!table.schema.empty()) return table.schema;
    const bool temporary =
        sqlite3_table_column_metadata(database, "temp", table.table.c_str(), nullptr, nullptr,
                                      nullptr, nullptr, nullptr, nullptr) == SQLITE_OK;
    return temporary ? "temp" : "main";
}

std::string TriggerName(const std::string &schema, const char *event, const TableName &table) {
    return QuoteName(schema) + "." + QuoteName(std::string("tavud_") + event + "_" + table.table);
}

struct StoredColumn {
    std::string quoted_name;
    std::string stored_call;  // the call that gives the stored form of the new value
    std::string differs;      // whether the new value has another form
};

StoredColumn StoredColumnOf(const char *name, const DeclaredType &type) {
    StoredColumn column;
    column.quoted_name = QuoteName(name);
    const std::string value = "NEW." + column.quoted_name;
    column.stored_call = StoredCall(type, value);
    // Binaries are rewritten when they came as text, whatever their bytes, which can be many.
    // All others are compared byte for byte, because the column's own ordering calls both forms
    // equal.
    column.differs = type.type_id == TYPE_BLOB || type.type_id == TYPE_BINARY
                         ? "typeof(" + value + ") = 'text'"
                         : column.stored_call + " IS NOT " + value + " COLLATE BINARY";
    return column;
}

std::vector<StoredColumn> ColumnsToStore(sqlite3 *database, const std::string &schema,
                                         const TableName &table) {
    sqlite3_stmt *raw = nullptr;
    // Only plain columns: what is generated or hidden cannot be set.
    sqlite3_prepare_v2(database,
                       "SELECT name, type FROM pragma_table_xinfo(?1, ?2) WHERE hidden = 0", -1,
                       &raw, nullptr);
    const StatementHandle statement(raw);
    if (raw == nullptr) throw RefusedByDatabase(database);
    sqlite3_bind_text(raw, 1, table.table.c_str(), -1, SQLITE_STATIC);
    sqlite3_bind_text(raw, 2, schema.c_str(), -1, SQLITE_STATIC);
    std::vector<StoredColumn> columns;
    while (sqlite3_step(raw) == SQLITE_ROW) {
        const auto *name = reinterpret_cast<const char *>(sqlite3_column_text(raw, 0));
        const auto *declaration = reinterpret_cast<const char *>(sqlite3_column_text(raw, 1));
        if (name == nullptr || declaration == nullptr) continue;
        const std::optional<DeclaredType> type = ParseDeclaration(declaration);
        if (!type || !IsNormalised(type->type_id)) continue;
        columns.push_back(StoredColumnOf(name, *type));
    }
    return columns;
}

std::string TriggerBody(const std::vector<StoredColumn> &columns, const TableName &table,
                        const std::string &rowid) {
    std::string differs;
    std::string settings;
    for (const StoredColumn &column : columns) {
        if (!differs.empty()) {
            differs += " OR ";
            settings += ", ";
        }
        differs += column.differs;
        settings += column.quoted_name + " = " + column.stored_call;
    }
    return " ON " + QuoteName(table.table) + " FOR EACH ROW WHEN " + differs + " BEGIN UPDATE " +
           QuoteName(table.table) + " SET " + settings + " WHERE " + rowid + " = NEW." + rowid +
           "; END";
}

}  // namespace

void DropTriggers(sqlite3 *database, const TableName &table) {
    const std::string schema = SchemaOf(database, table);
    for (const char *event : {"insert", "update"}) {
        RunSql(database, "DROP TRIGGER IF EXISTS " + TriggerName(schema, event, table));
    }
}

void MakeTriggers(sqlite3 *database, const TableName &table) {
    const std::string schema = SchemaOf(database, table);
    const std::vector<StoredColumn> columns = ColumnsToStore(database, schema, table);
    if (columns.empty()) return;
    const std::string rowid = RowidName(database, {schema, table.table});
    if (rowid.empty()) {
        throw StatementRefused(CODE_TABLE_FORM, "a table cannot use up all names of its rowid");
    }
    const std::string body = TriggerBody(columns, table, rowid);
    std::string updated;
    for (const StoredColumn &column : columns) {
        updated += (updated.empty() ? " OF " : ", ") + column.quoted_name;
    }
    RunSql(database, "CREATE TRIGGER IF NOT EXISTS " + TriggerName(schema, "insert", table) +
                         " AFTER INSERT" + body);
    RunSql(database, "CREATE TRIGGER IF NOT EXISTS " + TriggerName(schema, "update", table) +
                         " AFTER UPDATE" + updated + body);
}

}  // namespace tavud
