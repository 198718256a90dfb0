// One SQL statement of a request: what it is, its compiled form, its columns and its parameters.
#include "server/statement.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "server/errors.h"
#include "server/procedure.h"
#include "server/rewrite.h"
#include "server/tokens.h"
#include "server/values.h"

namespace tavud {

namespace {

constexpr int32_t ROWID_TEXT_BYTES = 20;
constexpr int32_t GUID_TEXT_BYTES = 36;

struct VerbEntry {
    std::string_view word;
    Verb verb;
};

constexpr VerbEntry verb_table[] = {
    {"SELECT",    Verb::Select    },
    {"INSERT",    Verb::Insert    },
    {"REPLACE",   Verb::Insert    },
    {"UPDATE",    Verb::Update    },
    {"DELETE",    Verb::Delete    },
    {"BEGIN",     Verb::Begin     },
    {"START",     Verb::Begin     },
    {"COMMIT",    Verb::Commit    },
    {"END",       Verb::Commit    },
    {"SAVEPOINT", Verb::Savepoint },
    {"RELEASE",   Verb::Savepoint },
    {"SET",       Verb::AutoCommit},
    {"CALL",      Verb::Call      },
    {"EXEC",      Verb::Call      },
    {"EXECUTE",   Verb::Call      },
    {"LOAD",      Verb::Bulk      },
    {"IMPORT",    Verb::Bulk      },
    {"REINDEX",   Verb::Reindex   },
    {"TAVUD",     Verb::Own       },
};

Verb WordVerb(const TokenisedText &text, size_t at) {
    for (const VerbEntry &entry : verb_table) {
        if (text.IsWord(at, entry.word)) return entry.verb;
    }
    return Verb::Other;
}

// The verb behind the common table expressions of a WITH, which can have the names of other verbs.
Verb VerbBehindWith(const TokenisedText &text) {
    for (size_t at = 1; at < text.tokens.size();) {
        if (text.IsAnyWord(at, {"SELECT", "INSERT", "REPLACE", "UPDATE", "DELETE"})) {
            return WordVerb(text, at);
        }
        at = text.IsPunctuation(at, '(') ? text.BehindParenthesis(at) : at + 1;
    }
    return Verb::Other;
}

StatementHandle Prepare(sqlite3 *database, const std::string &sql) {
    sqlite3_stmt *raw = nullptr;
    const int result = sqlite3_prepare_v3(database, sql.c_str(), static_cast<int>(sql.size()) + 1,
                                          SQLITE_PREPARE_PERSISTENT, &raw, nullptr);
    StatementHandle handle(raw);
    return result == SQLITE_OK ? std::move(handle) : StatementHandle();
}

// The type of an expression, as far as its first words tell it without running it.
DeclaredType GuessType(const TokenisedText &text, size_t first, size_t behind) {
    DeclaredType type;
    type.type_id = TYPE_CHAR;
    if (text.IsWord(first, "COUNT") && text.IsPunctuation(first + 1, '(')) {
        type.type_id = TYPE_BIGINT;
    } else if (first < behind && text.tokens[first].kind == TokenKind::Number &&
               (first + 1 == behind || text.IsName(first + 1))) {
        const bool real = text.TextOf(first).find_first_of(".eE") != std::string_view::npos;
        type.type_id = real ? TYPE_DOUBLE : TYPE_BIGINT;
    }
    return type;
}

// One guess for each item of the select list; a list with "*" has none, for there items and columns
// do not correspond.
std::vector<DeclaredType> GuessTypes(std::string_view sql) {
    const TokenisedText text = Tokenise(sql);
    std::vector<DeclaredType> types;
    size_t first = 1;
    for (size_t at = 1; at <= text.tokens.size();) {
        const bool ends = at == text.tokens.size() || text.IsWord(at, "FROM");
        if (ends || text.IsPunctuation(at, ',')) {
            types.push_back(GuessType(text, first, at));
            if (ends) break;
            first = at + 1;
        }
        if (text.IsPunctuation(at, '*') && (at == first || text.IsPunctuation(at - 1, '.'))) {
            return {};
        }
        at = text.IsPunctuation(at, '(') ? text.BehindParenthesis(at) : at + 1;
    }
    return types;
}

DeclaredType TypeOfValue(sqlite3_stmt *statement, int column) {
    DeclaredType type;
    switch (sqlite3_column_type(statement, column)) {
        case SQLITE_INTEGER: type.type_id = TYPE_BIGINT; break;
        case SQLITE_FLOAT: type.type_id = TYPE_DOUBLE; break;
        case SQLITE_BLOB: type.type_id = TYPE_BINARY; break;
        default: type.type_id = TYPE_CHAR; break;
    }
    return type;
}

// The database's own names for the columns of a CREATE TABLE ... AS SELECT, which stand for the
// widest type of their kind.
std::optional<DeclaredType> DerivedType(std::string_view declaration) {
    DeclaredType type;
    if (declaration == "INT") {
        type.type_id = TYPE_BIGINT;
    } else if (declaration == "REAL") {
        type.type_id = TYPE_DOUBLE;
    } else {
        return std::nullopt;
    }
    return type;
}

std::optional<DeclaredType> ColumnDeclaration(sqlite3_stmt *statement, int column) {
    const char *declaration = sqlite3_column_decltype(statement, column);
    if (declaration == nullptr) return std::nullopt;
    return TypeOfDeclaration(declaration);
}

// "." and "%" part the pieces of a name on the wire, so they cannot be in one.
std::string NamePart(const char *name) {
    std::string part = name == nullptr ? "" : name;
    std::replace(part.begin(), part.end(), '.', '_');
    std::replace(part.begin(), part.end(), '%', '_');
    return part;
}

std::string ColumnName(sqlite3_stmt *statement, int column) {
    const char *shown = sqlite3_column_name(statement, column);
    const char *origin = sqlite3_column_origin_name(statement, column);
    if (origin == nullptr) return NamePart(shown);
    std::string name =
        NamePart(sqlite3_column_table_name(statement, column)) + "." + NamePart(origin);
    if (shown != nullptr && std::string_view(shown) != origin) {
        name += "%";
        name += shown;
    }
    return name;
}

int32_t ColumnFlags(sqlite3_stmt *statement, int column, const DeclaredType &type) {
    int32_t flags = type.varying ? FLAG_VARYING : 0;
    const char *origin = sqlite3_column_origin_name(statement, column);
    int not_null = 0;
    if (origin != nullptr) {
        sqlite3_table_column_metadata(sqlite3_db_handle(statement),
                                      sqlite3_column_database_name(statement, column),
                                      sqlite3_column_table_name(statement, column), origin, nullptr,
                                      nullptr, &not_null, nullptr, nullptr);
    }
    return not_null != 0 ? flags : flags | FLAG_NULLABLE;
}

// "REINDEX t.*" is how clients ask for all indexes of a table.
std::string WithoutStar(const TokenisedText &text) {
    const size_t count = text.tokens.size();
    const bool starred =
        count > 3 && text.IsPunctuation(count - 1, '*') && text.IsPunctuation(count - 2, '.');
    return std::string(text.text.substr(0, text.tokens[starred ? count - 3 : count - 1].end));
}

std::string TextForDatabase(const TokenisedText &text, Verb verb) {
    switch (verb) {
        case Verb::Declare: return RewriteDeclarations(text);
        case Verb::Call: return ReadCall(text).Arguments();
        case Verb::Reindex: return WithoutStar(text);
        default: return std::string(text.text);
    }
}

}  // namespace

Verb VerbOf(const TokenisedText &statement) {
    const bool temporary = statement.IsAnyWord(1, {"TEMP", "TEMPORARY"});
    if (statement.IsWord(0, "CREATE") && statement.IsWord(temporary ? 2 : 1, "TABLE")) {
        return Verb::Declare;
    }
    if (statement.IsWord(0, "ALTER")) return Verb::Declare;
    if (statement.IsWord(0, "SHOW") && statement.IsWord(1, "VERSION")) return Verb::ShowVersion;
    if (statement.IsWord(0, "ROLLBACK")) {
        const size_t to = statement.IsAnyWord(1, {"WORK", "TRANSACTION"}) ? 2 : 1;
        return statement.IsWord(to, "TO") ? Verb::Savepoint : Verb::Rollback;
    }
    if (statement.IsWord(0, "WITH")) return VerbBehindWith(statement);
    return WordVerb(statement, 0);
}

Statement MakeStatement(std::string text) {
    Statement statement;
    statement.text = std::move(text);
    statement.verb = VerbOf(Tokenise(statement.text));
    return statement;
}

bool IsCompiled(Verb verb) {
    switch (verb) {
        case Verb::Select:
        case Verb::Insert:
        case Verb::Update:
        case Verb::Delete:
        case Verb::Declare:
        case Verb::Call:
        case Verb::Reindex:
        case Verb::Other: return true;
        default: return false;
    }
}

void Compile(sqlite3 *database, bool with_rowid, Statement *statement) {
    if (statement->compiled || !IsCompiled(statement->verb)) return;
    const TokenisedText text = Tokenise(statement->text);
    if (statement->verb == Verb::Select && with_rowid) {
        const std::optional<std::string> extended = AddRowid(text, database);
        if (extended) statement->compiled = Prepare(database, *extended);
        statement->rowid_inside = statement->compiled != nullptr;
    }
    if (!statement->compiled) {
        statement->compiled = Prepare(database, TextForDatabase(text, statement->verb));
    }
    if (!statement->compiled) throw RefusedByDatabase(database);
}

bool Step(sqlite3_stmt *statement) {
    const int result = sqlite3_step(statement);
    if (result == SQLITE_ROW) return true;
    if (result != SQLITE_DONE) throw RefusedByDatabase(sqlite3_db_handle(statement));
    return false;
}

std::optional<DeclaredType> TypeOfDeclaration(const char *declaration) {
    const std::optional<DeclaredType> derived = DerivedType(declaration);
    return derived ? derived : ParseDeclaration(declaration);
}

Column RowidColumn() {
    Column column;
    column.name = "ROWID";
    column.type.type_id = TYPE_ROWID;
    column.type.size = ROWID_TEXT_BYTES;
    return column;
}

std::vector<Column> DescribeColumns(const Statement &statement, bool on_row) {
    sqlite3_stmt *compiled = statement.compiled.get();
    const int count = sqlite3_column_count(compiled);
    const std::vector<DeclaredType> guesses =
        on_row ? std::vector<DeclaredType>() : GuessTypes(statement.text);
    std::vector<Column> columns;
    for (int i = 0; i < count; i++) {
        if (statement.rowid_inside && i == count - 1) {
            columns.push_back(RowidColumn());
            continue;
        }
        Column column;
        column.name = ColumnName(compiled, i);
        if (const std::optional<DeclaredType> declared = ColumnDeclaration(compiled, i)) {
            column.type = *declared;
        } else if (on_row) {
            column.type = TypeOfValue(compiled, i);
        } else {
            column.type.type_id = TYPE_CHAR;
            if (static_cast<size_t>(i) < guesses.size()) {
                column.type = guesses[static_cast<size_t>(i)];
            }
        }
        if (column.type.type_id == TYPE_GUID) column.type.size = GUID_TEXT_BYTES;
        column.flags = ColumnFlags(compiled, i, column.type);
        columns.push_back(std::move(column));
    }
    return columns;
}

const Parameter *ParameterList::ByName(const char *name) const {
    if (name == nullptr || name[0] == '?') return nullptr;
    for (const Parameter &parameter : parameters_) {
        if (!parameter.name.empty() && parameter.name == name + 1) return &parameter;
    }
    return nullptr;
}

void ParameterList::Bind(sqlite3_stmt *statement, bool last) {
    const int count = sqlite3_bind_parameter_count(statement);
    const bool named = !parameters_.empty() && !parameters_[0].name.empty();
    bound_.clear();
    for (int index = 1; index <= count; index++) {
        const char *name = sqlite3_bind_parameter_name(statement, index);
        const Parameter *parameter = ByName(name);
        if (parameter == nullptr && named) {
            throw StatementRefused(CODE_PARAMETER_NAME,
                                   "no value came for parameter " + std::string(name ? name : "?"));
        }
        if (parameter == nullptr && next_ < parameters_.size()) parameter = &parameters_[next_++];
        if (parameter == nullptr) {
            throw StatementRefused(CODE_PARAMETER_COUNT, "statement has more parameters than the " +
                                                             std::to_string(parameters_.size()) +
                                                             " that came");
        }
        bound_.push_back(static_cast<size_t>(parameter - parameters_.data()));
        if (!BindWireValue(statement, index, parameter->type_id, parameter->bytes)) {
            throw StatementRefused(CODE_PARAMETER_VALUE,
                                   "parameter " + std::to_string(index) + " of type " +
                                       std::to_string(parameter->type_id) + " and " +
                                       std::to_string(parameter->bytes.size()) +
                                       " bytes cannot be read");
        }
    }
    if (last && !named && next_ < parameters_.size()) {
        throw StatementRefused(CODE_PARAMETER_COUNT, std::to_string(parameters_.size()) +
                                                         " parameters came, the statement has " +
                                                         std::to_string(next_));
    }
}

}  // namespace tavud
