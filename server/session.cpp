// One connection from its login to its end.
#include "server/session.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "server/errors.h"
#include "server/login.h"
#include "server/tokens.h"

namespace tavud {

namespace {

constexpr uint32_t LOCK_WAIT_S_MAX = 24 * 3600;
constexpr int32_t PARAMETER_KIND_INPUT = 1;

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

std::string ParameterName(const char *name) {
    return name == nullptr || name[0] == '?' ? "" : name + 1;
}

}  // namespace

Session::Session(Channel *channel, const Options &options, const KeyPair *key_pair,
                 const Database &database, const std::atomic<bool> *stopping)
    : options_(options), key_pair_(key_pair), database_(database) {
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
    RequestReader reader(place_.channel);
    for (;;) {
        Answer(reader.Read());
    }
}

void Session::Answer(const Request &request) {
    try {
        Dispatch(request);
    } catch (const StatementRefused &refused) {
        WriteTextItem(place_.channel, ANSWER_ERROR, refused.what());
    }
    place_.channel->WriteByte(ANSWER_END);
    place_.channel->Flush();
}

void Session::Dispatch(const Request &request) {
    if (request.array_rows != 0) {
        throw StatementRefused(CODE_ARRAY, "array execution is not offered");
    }
    if (const std::optional<std::string> name = NameToRun(request.text)) {
        RunAll(Named(*name), request.parameters);
        return;
    }
    const TokenisedText text = Tokenise(request.text);
    if (text.IsWord(0, "PREPARE")) {
        PrepareNamed(text);
    } else if (text.IsWord(0, "DEALLOCATE")) {
        Deallocate(text);
    } else {
        Statements statements = ReadStatements(request.text);
        RunAll(&statements, request.parameters);
    }
}

Session::Statements *Session::Named(const std::string &name) {
    const auto found = prepared_.find(name);
    if (found == prepared_.end()) {
        throw StatementRefused(CODE_NO_STATEMENT, "no statement " + name + " is prepared");
    }
    return &found->second;
}

// Later statements may need tables that earlier ones make, so this goes only up to the first that
// is no select and no change of data.
void Session::CompileAhead(Statements *statements) {
    for (Statement &statement : *statements) {
        Compile(handle_.get(), place_.login.return_rowid, &statement);
        if (statement.verb == Verb::Declare || statement.verb == Verb::Other) return;
    }
}

void Session::WriteDescriptions(const Statements &statements) {
    const auto with_rows =
        std::find_if(statements.begin(), statements.end(), [](const Statement &statement) {
            return sqlite3_column_count(statement.compiled.get()) > 0;
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
        for (int i = 1; i <= sqlite3_bind_parameter_count(compiled); i++) {
            place_.channel->WriteText(ParameterName(sqlite3_bind_parameter_name(compiled, i)));
            // The database takes any type anywhere, so each parameter is told as a text without a
            // length.
            place_.channel->WriteInt32(TYPE_CHAR);
            place_.channel->WriteInt32(NO_SIZE);
            place_.channel->WriteInt32(PARAMETER_KIND_INPUT);
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
    prepared_[text.NameOf(1)] = std::move(statements);
}

void Session::Deallocate(const TokenisedText &text) {
    const std::string name = text.NameOf(1);
    Named(name);
    prepared_.erase(name);
}

void Session::RunAll(Statements *statements, const std::vector<Parameter> &parameters) {
    ParameterList list(parameters);
    for (Statement &statement : *statements) {
        Execute(&place_, &statement, &list, &statement == &statements->back());
    }
}

}  // namespace tavud
