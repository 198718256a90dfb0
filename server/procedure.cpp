// The built-in procedures, which exist to give output parameters.
#include "server/procedure.h"

#include <algorithm>
#include <iterator>
#include <span>

#include "server/errors.h"
#include "server/functions.h"
#include "server/values.h"

namespace tavud {

namespace {

struct Output {
    size_t argument;         // index of the argument that takes it
    const char *expression;  // over the arguments ?1, ?2, ...; null: argument 2 as the type that
                             // argument 1 names
    int32_t type_id;
};

struct Procedure {
    std::string_view name;
    size_t argument_count;
    std::span<const Output> outputs;
};

constexpr Output convert_outputs[] = {
    {2, nullptr, TYPE_EMPTY},
};
constexpr Output divide_outputs[] = {
    {2, "CAST(?1 AS INTEGER) / CAST(?2 AS INTEGER)", TYPE_BIGINT},
    {3, "CAST(?1 AS INTEGER) % CAST(?2 AS INTEGER)", TYPE_BIGINT},
};
constexpr Output measure_outputs[] = {
    {1, "length(?1)",               TYPE_INTEGER},
    {2, "length(CAST(?1 AS BLOB))", TYPE_INTEGER},
};

constexpr Procedure procedure_table[] = {
    {"TAVUD_CONVERT", 3, convert_outputs},
    {"TAVUD_DIVIDE",  4, divide_outputs },
    {"TAVUD_MEASURE", 3, measure_outputs},
};

const Procedure &ProcedureOf(std::string_view name) {
    for (const Procedure &procedure : procedure_table) {
        if (EqualIgnoringCase(procedure.name, name)) return procedure;
    }
    throw StatementRefused(CODE_NO_FUNCTION, "no such procedure: " + std::string(name));
}

[[noreturn]] void RefuseForm() {
    throw StatementRefused(CODE_SYNTAX, "CALL takes a procedure and its arguments in parentheses");
}

// The texts between the commas from token `first` to before `behind`.
std::vector<std::string> SplitArguments(const TokenisedText &text, size_t first, size_t behind) {
    std::vector<std::string> arguments;
    for (size_t at = first; at <= behind;) {
        if (at < behind && !text.IsPunctuation(at, ',')) {
            at = text.IsPunctuation(at, '(') ? text.BehindParenthesis(at) : at + 1;
            continue;
        }
        if (at == first) RefuseForm();
        const size_t start = text.tokens[first].start;
        arguments.emplace_back(text.text.substr(start, text.tokens[at - 1].end - start));
        first = ++at;
    }
    return arguments;
}

// The database's number of the parameter that an argument is; 0 when it is anything else.
int MarkerIndex(sqlite3_stmt *compiled, const std::vector<std::string> &arguments, size_t which) {
    int question_marks = 0;
    for (size_t i = 0; i <= which; i++) {
        const TokenisedText argument = Tokenise(arguments[i]);
        for (size_t at = 0; at < argument.tokens.size(); at++) {
            if (argument.TextOf(at) == "?") question_marks++;
        }
    }
    const TokenisedText argument = Tokenise(arguments[which]);
    if (argument.tokens.size() != 1 || argument.tokens[0].kind != TokenKind::Marker) return 0;
    const std::string marker(argument.TextOf(0));
    const int index =
        marker == "?" ? question_marks : sqlite3_bind_parameter_index(compiled, marker.c_str());
    return index <= sqlite3_bind_parameter_count(compiled) ? index : 0;
}

// The parameter that takes an output, counted from 1.
int TakerOf(const ProcedureCall &call, const Output &output, sqlite3_stmt *compiled,
            const ParameterList &parameters) {
    const int index = MarkerIndex(compiled, call.arguments, output.argument);
    if (index < 1 || parameters.Bound(index).kind != PARAMETER_OUTPUT) {
        throw StatementRefused(CODE_OUTPUT, "argument " + std::to_string(output.argument + 1) +
                                                " of " + call.name +
                                                " is an output: it takes an output parameter");
    }
    return index;
}

DeclaredType TypeInArgument(sqlite3_stmt *arguments) {
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(arguments, 0));
    const std::string declaration = text == nullptr ? "" : text;
    const std::optional<DeclaredType> type = ParseDeclaration(declaration);
    if (!type) throw StatementRefused(CODE_BAD_TYPE, "there is no type " + declaration);
    return *type;
}

// Appends the length and the bytes of an output. `arguments` stands on the row of the arguments.
void AppendOutput(sqlite3_stmt *arguments, const std::string &expression, const DeclaredType &type,
                  std::string *item) {
    sqlite3 *database = sqlite3_db_handle(arguments);
    sqlite3_stmt *raw = nullptr;
    const std::string sql = "SELECT " + expression;
    sqlite3_prepare_v2(database, sql.c_str(), -1, &raw, nullptr);
    const StatementHandle compiled(raw);
    if (raw == nullptr) throw RefusedByDatabase(database);
    for (int i = 1; i <= sqlite3_bind_parameter_count(raw); i++) {
        sqlite3_bind_value(raw, i, sqlite3_column_value(arguments, i - 1));
    }
    Step(raw);
    if (!AppendColumn(raw, 0, type, nullptr, item)) {
        throw StatementRefused(CODE_RESULT_VALUE, "an output is no " + DescribeType(type));
    }
}

}  // namespace

std::string ProcedureCall::Arguments() const {
    std::string sql = "SELECT ";
    for (const std::string &argument : arguments) {
        if (&argument != arguments.data()) sql += ", ";
        sql += argument;
    }
    return sql;
}

ProcedureCall ReadCall(const TokenisedText &text) {
    const size_t last = text.tokens.size() - 1;
    const bool sound = text.IsName(1) && text.IsPunctuation(2, '(') &&
                       text.IsPunctuation(last, ')') && text.BehindParenthesis(2) == last + 1;
    if (!sound) RefuseForm();
    ProcedureCall call;
    const Procedure &procedure = ProcedureOf(text.NameOf(1));
    call.name = procedure.name;
    call.arguments = SplitArguments(text, 3, last);
    if (call.arguments.size() != procedure.argument_count) {
        throw StatementRefused(CODE_PARAMETER_COUNT,
                               call.name + " takes " + std::to_string(procedure.argument_count) +
                                   " arguments, not " + std::to_string(call.arguments.size()));
    }
    return call;
}

std::vector<int> OutputMarkers(const Statement &call) {
    const ProcedureCall read = ReadCall(Tokenise(call.text));
    std::vector<int> markers;
    for (const Output &output : ProcedureOf(read.name).outputs) {
        markers.push_back(MarkerIndex(call.compiled.get(), read.arguments, output.argument));
    }
    return markers;
}

void RunCall(Workplace *place, Statement *call, ParameterList *parameters, bool last) {
    sqlite3_stmt *compiled = call->compiled.get();
    const ProcedureCall read = ReadCall(Tokenise(call->text));
    const ResetAtEnd reset(compiled);
    parameters->Bind(compiled, last);
    // All items or none: an output that cannot be given takes back those before it.
    std::string items;
    const std::span<const Output> outputs = ProcedureOf(read.name).outputs;
    std::vector<int> takers;
    std::transform(
        outputs.begin(), outputs.end(), std::back_inserter(takers),
        [&](const Output &output) { return TakerOf(read, output, compiled, *parameters); });
    Step(compiled);
    for (size_t i = 0; i < outputs.size(); i++) {
        DeclaredType type;
        type.type_id = outputs[i].type_id;
        const bool converts = outputs[i].expression == nullptr;
        if (converts) type = TypeInArgument(compiled);
        items.push_back(static_cast<char>(ANSWER_OUTPUT));
        AppendInt32(&items, static_cast<int32_t>(parameters->RequestIndex(takers[i])));
        AppendInt32(&items, type.type_id);
        AppendOutput(compiled, converts ? StoredCall(type, "?2") : outputs[i].expression, type,
                     &items);
    }
    place->channel->WriteBytes(items);
}

}  // namespace tavud
