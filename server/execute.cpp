// Running one statement and writing what it answers.
#include "server/execute.h"

#include <optional>
#include <string>
#include <vector>

#include "server/bulk.h"
#include "server/errors.h"
#include "server/procedure.h"
#include "server/rewrite.h"
#include "server/rows.h"
#include "server/tokens.h"
#include "server/triggers.h"

namespace tavud {

namespace {

// In front of a data item; clients pass over it.
constexpr int32_t DATA_NUMBER = 1;
constexpr const char *VERSION_TEXT = "tavud 0.1.0 (SQLite " SQLITE_VERSION ")";

// The field list, and a row for each step; the statement has made its first.
void WriteRows(const Workplace &place, const Statement &statement, bool on_row) {
    const RowShape shape = ShapeRows(place, statement, on_row);
    WriteFields(place.channel, shape.columns);
    EncodedRow row;
    for (; on_row; on_row = Step(statement.compiled.get())) {
        EncodeRow(place, statement, shape, &row);
        WriteRow(place.channel, row);
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

// Binds and runs a statement once, with the rows that it gives. Returns the number of rows that it
// changed, or nothing when that is not to be told.
std::optional<int64_t> RunOnce(Workplace *place, Statement *statement, ParameterList *parameters,
                               bool last) {
    sqlite3_stmt *compiled = statement->compiled.get();
    const ResetAtEnd reset(compiled);
    parameters->Bind(compiled, last);
    const bool on_row = Step(compiled);
    const bool gives_rows = sqlite3_column_count(compiled) > 0;
    if (gives_rows) WriteRows(*place, *statement, on_row);
    if (gives_rows || !CountsRows(statement->verb)) return std::nullopt;
    return sqlite3_changes64(place->transaction.database);
}

void RunChange(Workplace *place, Statement *statement, ParameterList *parameters, bool last) {
    ChangeScope scope(place->transaction, false);
    const std::optional<int64_t> rows = RunOnce(place, statement, parameters, last);
    scope.Finish();
    if (!rows) return;
    WriteCount(place->channel, statement->verb, *rows,
               sqlite3_last_insert_rowid(place->transaction.database));
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

// "tavud bookmarks on" and "off". False when it is another statement.
bool SetBookmarks(Workplace *place, const Statement &statement) {
    const TokenisedText text = Tokenise(statement.text);
    const bool sound =
        text.tokens.size() == 3 && text.IsWord(1, "BOOKMARKS") && text.IsAnyWord(2, {"ON", "OFF"});
    if (sound) place->bookmarks = text.IsWord(2, "ON");
    return sound;
}

bool IsReadOnly(const Statement &statement) {
    return sqlite3_stmt_readonly(statement.compiled.get()) != 0;
}

// The sum of what the rows of an array execution changed.
std::optional<int64_t> RunArrayRows(Workplace *place, Statement *statement,
                                    const Request &request) {
    std::vector<Parameter> parameters = request.parameters;
    std::optional<int64_t> sum;
    for (uint32_t row = 0; row < request.array_rows; row++) {
        try {
            if (row > 0 && !ReadArrayBlock(request.array_blocks[row - 1], place->typed_array_rows,
                                           &parameters)) {
                throw StatementRefused(CODE_ARRAY, "values of an array row are malformed");
            }
            ParameterList list(parameters);
            const std::optional<int64_t> rows = RunOnce(place, statement, &list, true);
            if (rows) sum = sum.value_or(0) + *rows;
        } catch (const StatementRefused &refused) {
            throw InRow(refused, row + 1);
        }
    }
    return sum;
}

}  // namespace

void WriteTextItem(Channel *channel, uint8_t letter, std::string_view text) {
    channel->WriteByte(letter);
    channel->WriteText(text);
}

void WriteDescription(const Workplace &place, const Statement &statement) {
    WriteFields(place.channel, ShapeRows(place, statement, false).columns);
}

void Execute(Workplace *place, Statement *statement, ParameterList *parameters, bool last) {
    switch (statement->verb) {
        case Verb::Begin:
        case Verb::Commit:
        case Verb::Rollback:
        case Verb::Savepoint:
        case Verb::AutoCommit: RunTransactionStatement(&place->transaction, *statement); return;
        case Verb::ShowVersion: AnswerVersion(place->channel); return;
        case Verb::Bulk: RunBulk(place, *statement); return;
        case Verb::Own:
            if (!SetBookmarks(place, *statement)) RunOwn(place->channel, *statement);
            return;
        default: break;
    }
    Compile(place->transaction.database, place->WantsRowid(), statement);
    if (statement->verb == Verb::Declare) {
        RunDeclaration(place, statement);
    } else if (statement->verb == Verb::Call) {
        RunCall(place, statement, parameters, last);
    } else if (IsReadOnly(*statement)) {
        RunOnce(place, statement, parameters, last);
    } else {
        RunChange(place, statement, parameters, last);
    }
}

void ExecuteArray(Workplace *place, Statement *statement, const Request &request) {
    switch (statement->verb) {
        case Verb::Select:
        case Verb::Insert:
        case Verb::Update:
        case Verb::Delete: break;
        default:
            throw StatementRefused(CODE_ARRAY,
                                   "an array execution takes SELECT, INSERT, UPDATE or DELETE");
    }
    Compile(place->transaction.database, place->WantsRowid(), statement);
    if (IsReadOnly(*statement)) {
        RunArrayRows(place, statement, request);
        return;
    }
    ChangeScope scope(place->transaction, true);
    const std::optional<int64_t> rows = RunArrayRows(place, statement, request);
    scope.Finish();
    if (!rows) return;
    WriteCount(place->channel, statement->verb, *rows,
               sqlite3_last_insert_rowid(place->transaction.database));
}

}  // namespace tavud
