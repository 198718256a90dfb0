// LOAD and IMPORT: a table's worth of rows in one stream, past the statements.
#include "server/bulk.h"

#include <optional>
#include <string>
#include <vector>

#include "server/errors.h"
#include "server/functions.h"
#include "server/rewrite.h"
#include "server/tokens.h"
#include "server/values.h"

namespace tavud {

namespace {

// Answers the command: rows may come.
constexpr uint8_t ANSWER_GO_ON = 'G';
constexpr int64_t STREAM_WORD = 0;
constexpr int64_t ROW_BYTES_MAX = 512 * 1024 * 1024;
// Refused rows that are told one by one when rows are left out; the others are only counted. A
// client that does not read while it sends must not be kept from sending.
constexpr uint64_t WARNINGS_MAX = 20;

struct BulkCommand {
    TableName table;
    bool replaces = false;    // the rows that the table had go first
    bool leaves_out = false;  // refused rows are left out instead of ending the stream
};

struct BulkColumn {
    std::string name;
    DeclaredType type;
};

// Takes the words of a command one after the other.
struct Words {
    const TokenisedText &text;
    size_t at = 0;
    bool sound = true;

    void Take(std::initializer_list<std::string_view> words) {
        for (const std::string_view word : words) {
            sound = sound && text.IsWord(at, word);
            at++;
        }
    }
    bool TakeOne(std::string_view word) {
        const bool there = text.IsWord(at, word);
        if (there) at++;
        return there;
    }
    void TakeEmptyString() {
        sound = sound && text.TextOf(at) == "''";
        at++;
    }
    // A whole number with or without a sign; its text.
    std::string TakeNumber() {
        const std::string sign = text.IsPunctuation(at, '-') ? "-" : "";
        at += sign.size();
        sound = sound && at < text.tokens.size() && text.tokens[at].kind == TokenKind::Number;
        return sign + std::string(text.TextOf(at++));
    }
    void TakePunctuation(char character) {
        sound = sound && text.IsPunctuation(at, character);
        at++;
    }
};

BulkCommand ReadCommand(const TokenisedText &text) {
    BulkCommand command;
    Words words{text};
    const bool loads = words.TakeOne("LOAD");
    if (!loads) words.Take({"IMPORT"});
    command.replaces = words.TakeOne("REPLACE");
    const bool appends = !command.replaces && words.TakeOne("APPEND");
    words.sound = words.sound && (!loads || command.replaces || appends);
    words.Take({"TABLE"});
    words.sound = words.sound && ReadTableName(text, &words.at, &command.table);
    words.Take({"FROM", "STREAM", "RECORDS", "DELIMITED", "BY"});
    words.TakeEmptyString();
    words.Take({"FIELDS", "TERMINATED", "BY"});
    words.TakeEmptyString();
    if (loads) {
        words.Take({"PARALLEL"});
        words.TakeNumber();
        words.TakePunctuation(',');
        words.TakeNumber();
    } else {
        words.Take({"USE", "MODE"});
        const std::string mode = words.TakeNumber();
        command.leaves_out = mode == "2";
        words.sound = words.sound && (mode == "1" || mode == "2");
    }
    if (!words.sound || words.at != text.tokens.size()) {
        throw StatementRefused(CODE_SYNTAX, "LOAD or IMPORT of a stream is not written like this");
    }
    return command;
}

std::vector<BulkColumn> ColumnsOf(sqlite3 *database, const TableName &table) {
    sqlite3_stmt *raw = nullptr;
    // What is generated or hidden cannot be set.
    sqlite3_prepare_v2(database,
                       "SELECT name, type FROM pragma_table_xinfo(?1, ?2) WHERE hidden = 0", -1,
                       &raw, nullptr);
    const StatementHandle statement(raw);
    if (raw == nullptr) throw RefusedByDatabase(database);
    sqlite3_bind_text(raw, 1, table.table.c_str(), -1, SQLITE_STATIC);
    const char *schema = table.schema.empty() ? nullptr : table.schema.c_str();
    sqlite3_bind_text(raw, 2, schema, -1, SQLITE_STATIC);
    std::vector<BulkColumn> columns;
    while (Step(raw)) {
        BulkColumn column;
        column.name = reinterpret_cast<const char *>(sqlite3_column_text(raw, 0));
        const auto *declaration = reinterpret_cast<const char *>(sqlite3_column_text(raw, 1));
        column.type.type_id = TYPE_CHAR;
        const std::optional<DeclaredType> type = TypeOfDeclaration(declaration);
        if (type) column.type = *type;
        columns.push_back(column);
    }
    if (columns.empty()) throw StatementRefused(CODE_NO_TABLE, "no such table: " + table.table);
    return columns;
}

std::string QuotedTable(const TableName &table) {
    const std::string schema = table.schema.empty() ? "" : QuoteName(table.schema) + ".";
    return schema + QuoteName(table.table);
}

std::string InsertText(const TableName &table, const std::vector<BulkColumn> &columns) {
    std::string names;
    std::string values;
    for (size_t i = 0; i < columns.size(); i++) {
        if (i > 0) {
            names += ", ";
            values += ", ";
        }
        names += QuoteName(columns[i].name);
        // All other types have one form on the wire and one in the database.
        const int32_t type_id = columns[i].type.type_id;
        const std::string value = "?" + std::to_string(i + 1);
        const bool many_forms = type_id == TYPE_NUMERIC || type_id == TYPE_GUID;
        values += many_forms ? StoredCall(columns[i].type, value) : value;
    }
    return "INSERT INTO " + QuotedTable(table) + " (" + names + ") VALUES (" + values + ")";
}

// Whether a row of the table sets off nothing but the server's own triggers, which have nothing to
// do for a row that is inserted in its stored form.
bool HasNoTriggers(sqlite3 *database, const TableName &table) {
    sqlite3_stmt *raw = nullptr;
    sqlite3_prepare_v2(
        database,
        "SELECT 1 FROM (SELECT * FROM sqlite_schema UNION ALL SELECT * FROM temp.sqlite_schema) "
        "WHERE type = 'trigger' AND tbl_name = ?1 COLLATE NOCASE "
        "AND name <> 'tavud_insert_' || tbl_name COLLATE NOCASE "
        "AND name <> 'tavud_update_' || tbl_name COLLATE NOCASE",
        -1, &raw, nullptr);
    const StatementHandle statement(raw);
    if (raw == nullptr) throw RefusedByDatabase(database);
    sqlite3_bind_text(raw, 1, table.table.c_str(), -1, SQLITE_STATIC);
    return !Step(raw);
}

StatementHandle PrepareInsert(sqlite3 *database, const TableName &table,
                              const std::vector<BulkColumn> &columns) {
    const std::string sql = InsertText(table, columns);
    const int triggers = HasNoTriggers(database, table) ? 0 : 1;
    sqlite3_stmt *raw = nullptr;
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, triggers, nullptr);
    sqlite3_prepare_v3(database, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &raw, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 1, nullptr);
    StatementHandle insert(raw);
    if (!insert) throw RefusedByDatabase(database);
    return insert;
}

// The rows of the stream, one after the other, in step whatever is in them.
class RowStream {
public:
    explicit RowStream(Channel *channel) : channel_(channel) {}

    // Tells the client that rows may come. Before them one word goes each way.
    void Open() {
        channel_->WriteByte(ANSWER_GO_ON);
        channel_->Flush();
        channel_->ReadInt64();
        channel_->WriteInt64(STREAM_WORD);
        channel_->Flush();
        open_ = true;
    }
    // False at the end of the stream. The row holds until the next call.
    bool Next(std::string_view *row) {
        const size_t bytes = NextLength();
        if (open_) *row = channel_->ReadView(bytes, &spare_);
        return open_;
    }
    void SkipRest() {
        for (size_t bytes = NextLength(); open_; bytes = NextLength()) {
            channel_->SkipBytes(bytes);
        }
    }
    bool IsOpen() const {
        return open_;
    }

private:
    size_t NextLength() {
        const int32_t bytes = channel_->ReadInt32();
        if (bytes < 0 || bytes > ROW_BYTES_MAX) {
            throw BadFrame("row of " + std::to_string(bytes) + " bytes in a stream, limit " +
                           std::to_string(ROW_BYTES_MAX));
        }
        open_ = bytes != 0;
        return static_cast<size_t>(bytes);
    }

    Channel *channel_;
    bool open_ = false;
    std::string spare_;
};

[[noreturn]] void RefuseRowForm(const std::string &what) {
    throw StatementRefused(CODE_STREAM, what);
}

// Binds the values of one row. A row is a bitmap with two bits for each column and, for each column
// that has a value, its length and its bytes.
void BindRow(sqlite3_stmt *insert, const std::vector<BulkColumn> &columns, std::string_view row) {
    const size_t bitmap_bytes = (columns.size() + 3) / 4;
    if (row.size() < bitmap_bytes) RefuseRowForm("a row is shorter than its bitmap");
    const std::string_view bitmap = row.substr(0, bitmap_bytes);
    row.remove_prefix(bitmap_bytes);
    for (size_t i = 0; i < columns.size(); i++) {
        const int index = static_cast<int>(i) + 1;
        const int bits = static_cast<uint8_t>(bitmap[i / 4]) >> i % 4 * 2 & 3;
        if (bits == 1) {
            sqlite3_bind_null(insert, index);
            continue;
        }
        if (bits != 2) RefuseRowForm("column " + columns[i].name + " is neither there nor NULL");
        if (row.size() < 4) RefuseRowForm("a row ends before column " + columns[i].name);
        const int64_t bytes = LoadInteger(row, 4);
        row.remove_prefix(4);
        if (bytes < 0 || bytes > static_cast<int64_t>(row.size())) {
            RefuseRowForm("column " + columns[i].name + " has " + std::to_string(bytes) +
                          " bytes, of which the row holds " + std::to_string(row.size()));
        }
        const std::string_view value = row.substr(0, static_cast<size_t>(bytes));
        row.remove_prefix(value.size());
        if (!BindPresentValue(insert, index, columns[i].type.type_id, value)) {
            throw StatementRefused(CODE_VALUE, "column " + columns[i].name + " got " +
                                                   std::to_string(bytes) + " bytes that are no " +
                                                   DescribeType(columns[i].type));
        }
    }
    if (!row.empty()) {
        RefuseRowForm("a row has " + std::to_string(row.size()) + " bytes behind its last column");
    }
}

// Puts rows into a table, within a transaction.
class Loader {
public:
    Loader(Workplace *place, const BulkCommand &command)
        : place_(place), leaves_out_(command.leaves_out) {
        sqlite3 *database = place->transaction.database;
        columns_ = ColumnsOf(database, command.table);
        insert_ = PrepareInsert(database, command.table, columns_);
    }

    // Throws StatementRefused with the number of the row that ended it.
    void TakeAll(RowStream *rows) {
        std::string_view row;
        while (rows->Next(&row)) {
            row_number_++;
            try {
                BindRow(insert_.get(), columns_, row);
                const ResetAtEnd reset(insert_.get());
                Step(insert_.get());
            } catch (const StatementRefused &refused) {
                Refused(InRow(refused, row_number_));
            }
        }
        if (left_out_ == 0) return;
        const std::string sum =
            std::to_string(left_out_) + " of " + std::to_string(row_number_) + " rows left out";
        WriteTextItem(place_->channel, ANSWER_WARNING, Bracketed(CODE_ROWS_LEFT_OUT, sum));
    }

private:
    void Refused(const StatementRefused &refused) {
        // Some failures, such as a full disk, have ended the transaction.
        const bool ended = sqlite3_get_autocommit(place_->transaction.database) != 0;
        if (!leaves_out_ || ended) throw refused;
        left_out_++;
        if (left_out_ > WARNINGS_MAX) return;
        WriteTextItem(place_->channel, ANSWER_WARNING, refused.what());
        place_->channel->Flush();
    }

    Workplace *place_;
    bool leaves_out_;
    std::vector<BulkColumn> columns_;
    StatementHandle insert_;
    uint64_t row_number_ = 0;
    uint64_t left_out_ = 0;
};

}  // namespace

void RunBulk(Workplace *place, const Statement &statement) {
    const BulkCommand command = ReadCommand(Tokenise(statement.text));
    RowStream rows(place->channel);
    bool begun = false;
    try {
        ChangeScope scope(place->transaction, true);
        if (command.replaces) {
            RunSql(place->transaction.database, "DELETE FROM " + QuotedTable(command.table));
        }
        Loader loader(place, command);
        begun = true;
        rows.Open();
        loader.TakeAll(&rows);
        scope.Finish();
    } catch (const StatementRefused &refused) {
        if (!begun) throw;
        // The client goes on sending what it has; it hears of this on the side.
        WriteTextItem(place->channel, ANSWER_ERROR, refused.what());
        place->channel->Flush();
        if (rows.IsOpen()) rows.SkipRest();
    }
}

}  // namespace tavud
