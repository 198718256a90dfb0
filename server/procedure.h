// The built-in procedures, which exist to give output parameters.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "server/execute.h"
#include "server/tokens.h"

namespace tavud {

// A CALL or EXEC taken apart.
struct ProcedureCall {
    std::string name;
    std::vector<std::string> arguments;  // the text of each

    // The select by which the database reads the arguments and finds their parameters.
    std::string Arguments() const;
};

// Throws StatementRefused when it is no call, or none of a procedure that there is.
ProcedureCall ReadCall(const TokenisedText &text);

// The parameters of a compiled call, counted from 1, that stand for its outputs.
std::vector<int> OutputMarkers(const Statement &call);

// Runs a compiled call and writes the items of its outputs. Throws StatementRefused.
void RunCall(Workplace *place, Statement *call, ParameterList *parameters, bool last);

}  // namespace tavud
