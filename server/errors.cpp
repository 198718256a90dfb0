// What a statement can be refused with: a text that begins with its code in square brackets.
#include "server/errors.h"

namespace tavud {

namespace {

struct TextCode {
    std::string_view part;
    const char *code;
};

// The database gives one result code for all of these; the words tell them apart.
constexpr TextCode text_code_table[] = {
    {"no such table",      CODE_NO_TABLE   },
    {"no such view",       CODE_NO_TABLE   },
    {"no such index",      CODE_NO_TABLE   },
    {"no such trigger",    CODE_NO_TABLE   },
    {"no such column",     CODE_NO_COLUMN  },
    {"no column named",    CODE_NO_COLUMN  },
    {"unable to identify", CODE_NO_TABLE   },
    {"already exists",     CODE_EXISTS     },
    {"duplicate column",   CODE_EXISTS     },
    {"already another",    CODE_EXISTS     },
    {"no such function",   CODE_NO_FUNCTION},
    {"no such savepoint",  CODE_TRANSACTION},
    {"syntax error",       CODE_SYNTAX     },
    {"incomplete input",   CODE_SYNTAX     },
    {"unrecognized token", CODE_SYNTAX     },
};

const char *CodeOfConstraint(int extended_code) {
    switch (extended_code) {
        case SQLITE_CONSTRAINT_UNIQUE:
        case SQLITE_CONSTRAINT_PRIMARYKEY:
        case SQLITE_CONSTRAINT_ROWID: return CODE_UNIQUE;
        case SQLITE_CONSTRAINT_NOTNULL: return CODE_NOT_NULL;
        case SQLITE_CONSTRAINT_FOREIGNKEY: return CODE_FOREIGN_KEY;
        case SQLITE_CONSTRAINT_DATATYPE: return CODE_VALUE;
        default: return CODE_CHECK;
    }
}

const char *CodeOfText(std::string_view text) {
    for (const TextCode &entry : text_code_table) {
        if (text.find(entry.part) != std::string_view::npos) return entry.code;
    }
    return CODE_GENERAL;
}

}  // namespace

std::string Bracketed(const char *code, std::string_view text) {
    std::string whole = "[";
    whole += code;
    whole += ']';
    whole += text;
    return whole;
}

StatementRefused::StatementRefused(const char *code, std::string_view text)
    : std::runtime_error(Bracketed(code, text)) {}

StatementRefused::StatementRefused(const std::string &whole_text)
    : std::runtime_error(whole_text) {}

StatementRefused InRow(const StatementRefused &refused, uint64_t row) {
    return StatementRefused(refused.what() + (" (row " + std::to_string(row) + ")"));
}

StatementRefused RefusedByDatabase(sqlite3 *database) {
    const std::string text = sqlite3_errmsg(database);
    // The server's own SQL functions raise texts that bear their code already.
    if (text.starts_with('[')) return StatementRefused(text);
    switch (sqlite3_errcode(database)) {
        case SQLITE_CONSTRAINT:
            return StatementRefused(CodeOfConstraint(sqlite3_extended_errcode(database)), text);
        case SQLITE_MISMATCH: return StatementRefused(CODE_VALUE, text);
        case SQLITE_BUSY:
        case SQLITE_LOCKED: return StatementRefused(CODE_BUSY, text);
        case SQLITE_AUTH: return StatementRefused(CODE_NOT_ALLOWED, text);
        case SQLITE_ERROR: return StatementRefused(CodeOfText(text), text);
        default: return StatementRefused(CODE_GENERAL, text);
    }
}

}  // namespace tavud
