// One connection from its login to its end.
#include "server/session.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <optional>
#include <utility>

#include "server/errors.h"
#include "server/get_lob.h"
#include "server/login.h"
#include "server/procedure.h"
#include "server/tokens.h"

namespace tavud {

namespace {

constexpr uint32_t LOCK_WAIT_S_MAX = 24 * 3600;
constexpr int PROTOCOL_WITHOUT_ARRAY_TYPES = 201;

std::vector<Statement> ReadStatements(std::string_view text) {
    std::vector<Statement> statements;
    for (std::string &one : SplitStatements(text)) {
        statements.push_back(MakeStatement(std::move(one)));
    }
    if (statements.empty()) throw StatementRefused(CODE_SYNTAX, "the text holds no statement");
    return statements;
}

// The name in "? NAME ", the text that runs a prepared statement; nothing for any other text.
std::optional<std::string> NameToRun(std::string_view text) {
    if (!text.starts_with('?')) return std::nullopt;
    text.remove_prefix(1);
    const size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) return "";
    text.remove_prefix(first);
    return std::string(text.substr(0, text.find_first_of(" ;")));
}

// Whether nothing but a ";" comes at token `at`.
bool EndsAt(const TokenisedText &text, size_t at) {
    return text.tokens.size() == at ||
           (text.tokens.size() == at + 1 && text.IsPunctuation(at, ';'));
}

// The name in "OPEN name" and "CLOSE name".
std::string NameAlone(const TokenisedText &text) {
    if (!text.IsName(1) || !EndsAt(text, 2)) {
        throw StatementRefused(CODE_SYNTAX,
                               std::string(text.TextOf(0)) + " takes the name of a cursor");
    }
    return text.NameOf(1);
}

std::string ParameterName(const char *name) {
    return name == nullptr || name[0] == '?' ? "" : name + 1;
}

}  // namespace

Session::Session(Channel *channel, const Options &options, const KeyPair *key_pair,
                 const Database &database, const std::atomic<bool> *stopping)
    : options_(options), key_pair_(key_pair), database_(database), cursors_(&place_) {
    place_.channel = channel;
    patience_.stopping = stopping;
}

void Session::Run() {
    std::optional<Login> login = AnswerLogin(place_.channel, options_, key_pair_);
    if (!login) return;
    place_.login = *std::move(login);
    if (place_.login.lock_timeout_s > 0) {
        const auto seconds = static_cast<uint32_t>(place_.login.lock_timeout_s);
        patience_.lock_wait_ms = std::min(seconds, LOCK_WAIT_S_MAX) * 1000;
    }
    handle_ = OpenSession(database_, &patience_);
    place_.transaction.database = handle_.get();
    place_.transaction.auto_commit = place_.login.auto_commit;
    place_.typed_array_rows = options_.protocol != PROTOCOL_WITHOUT_ARRAY_TYPES;
    if (place_.login.lob_descriptor) {
        place_.giver = std::make_unique<LargeObjectGiver>(&database_.Objects(), place_.login.user,
                                                          options_.lob_inline_bytes);
    }
    RequestReader reader(place_.channel);
    for (;;) {
        Request request = reader.Read();
        Answer(&request);
    }
}

void Session::Answer(Request *request) {
    try {
        Dispatch(request);
    } catch (const StatementRefused &refused) {
        WriteTextItem(place_.channel, ANSWER_ERROR, refused.what());
    }
    place_.channel->WriteByte(ANSWER_END);
    place_.channel->Flush();
}

void Session::Dispatch(Request *request) {
    if (const std::optional<std::string> name = NameToRun(request->text)) {
        cursors_.Settle();
        RunAll(Named(*name), *request);
        return;
    }
    const TokenisedText text = Tokenise(request->text);
    if (text.IsWord(0, "FETCH")) return FetchCursor(text);
    if (text.IsWord(0, "CLOSE")) return cursors_.Close(NameAlone(text));
    if (IsGetLob(text)) return AnswerGetLob(place_, database_, text);
    cursors_.Settle();
    if (text.IsWord(0, "DECLARE")) {
        DeclareCursor(text, std::move(request->parameters));
    } else if (text.IsWord(0, "OPEN")) {
        cursors_.Open(NameAlone(text));
    } else if (text.IsWord(0, "PREPARE")) {
        PrepareNamed(text);
    } else if (text.IsWord(0, "DEALLOCATE")) {
        Deallocate(text);
    } else {
        Statements statements = ReadStatements(request->text);
        RunAll(&statements, *request);
    }
}

Session::Statements *Session::Named(const std::string &name) {
    const auto found = prepared_.find(UpperCase(name));
    if (found == prepared_.end()) {
        throw StatementRefused(CODE_NO_STATEMENT, "no statement " + name + " is prepared");
    }
    return &found->second;
}

// Later statements may need tables that earlier ones make, so this goes only up to the first that
// is no select and no change of data.
void Session::CompileAhead(Statements *statements) {
    for (Statement &statement : *statements) {
        Compile(handle_.get(), place_.WantsRowid(), &statement);
        switch (statement.verb) {
            case Verb::Declare:
            case Verb::Bulk:
            case Verb::Other: return;
            default: break;
        }
    }
}

void Session::WriteDescriptions(const Statements &statements) {
    const auto with_rows =
        std::find_if(statements.begin(), statements.end(), [](const Statement &statement) {
            return statement.verb != Verb::Call &&
                   sqlite3_column_count(statement.compiled.get()) > 0;
        });
    if (with_rows != statements.end()) WriteDescription(place_, *with_rows);
    int count = 0;
    for (const Statement &statement : statements) {
        count += sqlite3_bind_parameter_count(statement.compiled.get());
    }
    if (count == 0) return;
    place_.channel->WriteByte(ANSWER_PARAMETERS);
    place_.channel->WriteInt32(count);
    for (const Statement &statement : statements) {
        sqlite3_stmt *compiled = statement.compiled.get();
        std::vector<int> outputs;
        if (statement.verb == Verb::Call) outputs = OutputMarkers(statement);
        for (int i = 1; i <= sqlite3_bind_parameter_count(compiled); i++) {
            place_.channel->WriteText(ParameterName(sqlite3_bind_parameter_name(compiled, i)));
            // The database takes any type anywhere, so each parameter is told as a text without a
            // length.
            place_.channel->WriteInt32(TYPE_CHAR);
            place_.channel->WriteInt32(NO_SIZE);
            const bool output = std::count(outputs.begin(), outputs.end(), i) > 0;
            place_.channel->WriteInt32(output ? PARAMETER_OUTPUT : PARAMETER_INPUT);
        }
    }
}

void Session::PrepareNamed(const TokenisedText &text) {
    if (!text.IsName(1) || !text.IsWord(2, "AS")) {
        throw StatementRefused(CODE_SYNTAX, "PREPARE takes a name, AS and a statement");
    }
    Statements statements = ReadStatements(text.text.substr(text.tokens[2].end));
    CompileAhead(&statements);
    WriteDescriptions(statements);
    prepared_[UpperCase(text.NameOf(1))] = std::move(statements);
}

void Session::Deallocate(const TokenisedText &text) {
    const std::string name = text.NameOf(1);
    Named(name);
    prepared_.erase(UpperCase(name));
}

// The query is a prepared statement's or stands in the text itself. The parameters are kept for the
// cursor's opening.
void Session::DeclareCursor(const TokenisedText &text, std::vector<Parameter> parameters) {
    if (!text.IsName(1) || !text.IsWord(2, "CURSOR") || !text.IsWord(3, "FOR")) {
        throw StatementRefused(CODE_SYNTAX, "DECLARE takes a name, CURSOR FOR and a query");
    }
    Statements written;
    const Statements *queries = &written;
    if (text.IsName(4) && EndsAt(text, 5)) {
        queries = Named(text.NameOf(4));
    } else {
        written = ReadStatements(text.text.substr(text.tokens[3].end));
    }
    if (queries->size() != 1) throw StatementRefused(CODE_CURSOR, "a cursor takes one query");
    // Compiled once more: the statement itself may be run while the cursor is open.
    cursors_.Declare(text.NameOf(1), MakeStatement(queries->front().text), std::move(parameters));
}

void Session::FetchCursor(const TokenisedText &text) {
    const std::string_view digits = text.TextOf(1);
    uint64_t count = 0;
    const char *end = digits.data() + digits.size();
    const auto parsed = std::from_chars(digits.data(), end, count);
    const bool sound = parsed.ec == std::errc() && parsed.ptr == end && text.IsWord(2, "FROM") &&
                       text.IsName(3) && EndsAt(text, 4);
    if (!sound) {
        throw StatementRefused(CODE_SYNTAX, "FETCH takes a number, FROM and the name of a cursor");
    }
    cursors_.Fetch(text.NameOf(3), count);
}

void Session::RunAll(Statements *statements, const Request &request) {
    // Without parameters no values of further rows have come.
    if (request.array_rows > 0 && !request.parameters.empty()) {
        if (statements->size() != 1) {
            throw StatementRefused(CODE_ARRAY, "an array execution takes one statement");
        }
        ExecuteArray(&place_, &statements->front(), request);
        return;
    }
    ParameterList list(request.parameters);
    for (Statement &statement : *statements) {
        Execute(&place_, &statement, &list, &statement == &statements->back());
    }
}

}  // namespace tavud
