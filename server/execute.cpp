// Running one statement and writing what it answers.
#include "server/execute.h"

#include <string>
#include <vector>

#include "server/errors.h"
#include "server/rewrite.h"
#include "server/tokens.h"
#include "server/triggers.h"
#include "server/values.h"

namespace tavud {

namespace {

// In front of a data item; clients pass over it.
constexpr int32_t DATA_NUMBER = 1;
constexpr const char *VERSION_TEXT = "tavud 0.1.0 (SQLite " SQLITE_VERSION ")";

// Leaves the statement ready for its next run and without the values of this one.
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

// True when there is a row.
bool Step(sqlite3_stmt *statement) {
    const int result = sqlite3_step(statement);
    if (result == SQLITE_ROW) return true;
    if (result != SQLITE_DONE) throw RefusedByDatabase(sqlite3_db_handle(statement));
    return false;
}

// A select of a session with rowids has the rowid column in any case; here it must be added.
bool LacksRowid(const Workplace &place, const Statement &statement) {
    return statement.verb == Verb::Select && place.login.return_rowid && !statement.rowid_inside;
}

void WriteFields(Channel *channel, const std::vector<Column> &columns) {
    channel->WriteByte(ANSWER_ROWS);
    channel->WriteInt32(static_cast<int32_t>(columns.size()));
    for (const Column &column : columns) {
        channel->WriteText(column.name);
        channel->WriteInt32(column.type.type_id);
        channel->WriteInt32(column.type.size);
        channel->WriteInt32(column.flags);
    }
}

// The field list, and a row for each step; the statement has made its first.
void WriteRows(const Workplace &place, const Statement &statement, bool on_row) {
    sqlite3_stmt *compiled = statement.compiled.get();
    std::vector<Column> columns = DescribeColumns(statement, on_row);
    const size_t given = columns.size();
    if (LacksRowid(place, statement)) columns.push_back(RowidColumn());
    WriteFields(place.channel, columns);
    std::string row;
    for (; on_row; on_row = Step(compiled)) {
        row.assign(1, static_cast<char>(ANSWER_ROW));
        for (size_t i = 0; i < given; i++) {
            if (AppendColumn(compiled, static_cast<int>(i), columns[i].type,
                             place.login.lob_descriptor, &row)) {
                continue;
            }
            throw StatementRefused(CODE_RESULT_VALUE, "column " + columns[i].name +
                                                          " has a value that is no " +
                                                          DescribeType(columns[i].type));
        }
        if (given < columns.size()) AppendInt32(&row, 0);
        place.channel->WriteBytes(row);
    }
}

// The rows that a statement inserted, updated or deleted. An insert of one row gives its rowid as
// the bookmark. The letter of an insert stands for exactly one row, so any other number of rows is
// told with the letter that carries a number.
void WriteCount(Channel *channel, Verb verb, int64_t rows, int64_t rowid) {
    if (verb == Verb::Insert && rows == 1) {
        channel->WriteByte(ANSWER_INSERTED);
        channel->WriteText(std::to_string(rowid));
        return;
    }
    channel->WriteByte(verb == Verb::Delete ? ANSWER_DELETED : ANSWER_UPDATED);
    channel->WriteInt32(static_cast<int32_t>(rows));
}

bool CountsRows(Verb verb) {
    return verb == Verb::Insert || verb == Verb::Update || verb == Verb::Delete;
}

void RunChange(Workplace *place, Statement *statement, ParameterList *parameters, bool last) {
    sqlite3 *database = place->transaction.database;
    ChangeScope scope(place->transaction, false);
    int64_t rows = 0;
    bool gave_rows = false;
    {
        const ResetAtEnd reset(statement->compiled.get());
        parameters->Bind(statement->compiled.get(), last);
        const bool on_row = Step(statement->compiled.get());
        gave_rows = sqlite3_column_count(statement->compiled.get()) > 0;
        if (gave_rows) WriteRows(*place, *statement, on_row);
        rows = sqlite3_changes64(database);
    }
    scope.Finish();
    if (gave_rows || !CountsRows(statement->verb)) return;
    WriteCount(place->channel, statement->verb, rows, sqlite3_last_insert_rowid(database));
}

void RunDeclaration(Workplace *place, Statement *statement) {
    sqlite3 *database = place->transaction.database;
    const TokenisedText text = Tokenise(statement->text);
    std::optional<TableName> table = CreatedTable(text);
    const std::optional<TableName> altered = AlteredTable(text);
    ChangeScope scope(place->transaction, true);
    if (altered) {
        table = altered;
        DropTriggers(database, *altered);
    }
    {
        const ResetAtEnd reset(statement->compiled.get());
        Step(statement->compiled.get());
    }
    if (const std::optional<std::string> renamed = RenamedTo(text)) table->table = *renamed;
    if (table) MakeTriggers(database, *table);
    scope.Finish();
}

void RunReading(Workplace *place, Statement *statement, ParameterList *parameters, bool last) {
    const ResetAtEnd reset(statement->compiled.get());
    parameters->Bind(statement->compiled.get(), last);
    const bool on_row = Step(statement->compiled.get());
    if (sqlite3_column_count(statement->compiled.get()) > 0) {
        WriteRows(*place, *statement, on_row);
    }
}

// The field list of a result that no table stands behind: one text without a length.
void WriteOneField(Channel *channel, const char *name) {
    Column column;
    column.name = name;
    column.type.type_id = TYPE_CHAR;
    column.type.size = NO_SIZE;
    WriteFields(channel, {column});
}

void AnswerVersion(Channel *channel) {
    WriteOneField(channel, "VERSION");
    WriteTextItem(channel, ANSWER_ROW, VERSION_TEXT);
}

// A length and bytes that clients take as they come, without deciphering them.
void WriteBareText(Channel *channel, std::string_view text) {
    channel->WriteInt32(static_cast<int32_t>(text.size()));
    channel->WriteBare(text);
}

// A row with the text as its bookmark and as its one value.
void AnswerBookmark(Channel *channel, std::string_view text) {
    WriteOneField(channel, "BOOKMARK");
    channel->WriteByte(ANSWER_MARKED_ROW);
    WriteBareText(channel, text);
    channel->WriteText(text);
}

void AnswerData(Channel *channel, std::string_view text) {
    channel->WriteByte(ANSWER_DATA);
    channel->WriteInt32(DATA_NUMBER);
    WriteBareText(channel, text);
}

// "tavud message 'text'" and its like answer with just that item, so that a test can have each of
// them when it wants.
void RunOwn(Channel *channel, const Statement &statement) {
    const TokenisedText text = Tokenise(statement.text);
    const bool sound = text.tokens.size() == 3 && text.tokens[2].kind == TokenKind::String &&
                       text.IsAnyWord(1, {"MESSAGE", "WARNING", "ERROR", "DATA", "BOOKMARK"});
    if (!sound) {
        throw StatementRefused(CODE_SYNTAX,
                               "TAVUD takes MESSAGE, WARNING, ERROR, DATA or BOOKMARK and a text");
    }
    const std::string argument = UnquoteString(text.TextOf(2));
    if (text.IsWord(1, "DATA")) return AnswerData(channel, argument);
    if (text.IsWord(1, "BOOKMARK")) return AnswerBookmark(channel, argument);
    uint8_t letter = ANSWER_ERROR;
    if (text.IsWord(1, "MESSAGE")) letter = ANSWER_MESSAGE;
    if (text.IsWord(1, "WARNING")) letter = ANSWER_WARNING;
    WriteTextItem(channel, letter, argument);
}

}  // namespace

void WriteTextItem(Channel *channel, uint8_t letter, std::string_view text) {
    channel->WriteByte(letter);
    channel->WriteText(text);
}

void WriteDescription(const Workplace &place, const Statement &statement) {
    std::vector<Column> columns = DescribeColumns(statement, false);
    if (LacksRowid(place, statement)) columns.push_back(RowidColumn());
    WriteFields(place.channel, columns);
}

void Execute(Workplace *place, Statement *statement, ParameterList *parameters, bool last) {
    switch (statement->verb) {
        case Verb::Begin:
        case Verb::Commit:
        case Verb::Rollback:
        case Verb::Savepoint:
        case Verb::AutoCommit: RunTransactionStatement(&place->transaction, *statement); return;
        case Verb::ShowVersion: AnswerVersion(place->channel); return;
        case Verb::Own: RunOwn(place->channel, *statement); return;
        default: break;
    }
    Compile(place->transaction.database, place->login.return_rowid, statement);
    if (statement->verb == Verb::Declare) {
        RunDeclaration(place, statement);
    } else if (sqlite3_stmt_readonly(statement->compiled.get()) != 0) {
        RunReading(place, statement, parameters, last);
    } else {
        RunChange(place, statement, parameters, last);
    }
}

}  // namespace tavud
