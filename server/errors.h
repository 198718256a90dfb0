// What a statement can be refused with: a text that begins with its code in square brackets.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include <sqlite3.h>

namespace tavud {

// The codes that the server gives. docs/tavud.md lists what each means.
inline constexpr const char *CODE_NO_TABLE = "E5001";
inline constexpr const char *CODE_NO_COLUMN = "E5002";
inline constexpr const char *CODE_EXISTS = "E5003";
inline constexpr const char *CODE_NO_FUNCTION = "E5004";
inline constexpr const char *CODE_BAD_TYPE = "E5010";
inline constexpr const char *CODE_TABLE_FORM = "E5011";
inline constexpr const char *CODE_NO_STATEMENT = "E10001";
inline constexpr const char *CODE_NO_CURSOR = "E10002";
inline constexpr const char *CODE_CURSOR = "E10003";
inline constexpr const char *CODE_PARAMETER_COUNT = "E10049";
inline constexpr const char *CODE_PARAMETER_NAME = "E10050";
inline constexpr const char *CODE_PARAMETER_VALUE = "E10051";
inline constexpr const char *CODE_ARRAY = "E10052";
inline constexpr const char *CODE_OUTPUT = "E10053";
inline constexpr const char *CODE_LARGE_OBJECT = "E10060";
inline constexpr const char *CODE_STREAM = "E10070";
inline constexpr const char *CODE_ROWS_LEFT_OUT = "E10071";
inline constexpr const char *CODE_GENERAL = "E11000";
inline constexpr const char *CODE_TRANSACTION = "E12001";
inline constexpr const char *CODE_UNIQUE = "E13001";
inline constexpr const char *CODE_NOT_NULL = "E13002";
inline constexpr const char *CODE_CHECK = "E13003";
inline constexpr const char *CODE_FOREIGN_KEY = "E13004";
inline constexpr const char *CODE_VALUE = "E16001";
inline constexpr const char *CODE_RESULT_VALUE = "E16002";
inline constexpr const char *CODE_BUSY = "E17001";
inline constexpr const char *CODE_LOGIN_TEXT = "E18001";
inline constexpr const char *CODE_LOGIN_DATABASE = "E18003";
inline constexpr const char *CODE_LOGIN_USER = "E18004";
inline constexpr const char *CODE_LOGIN_CIPHER = "E18010";
inline constexpr const char *CODE_SYNTAX = "E19001";
inline constexpr const char *CODE_NOT_ALLOWED = "E19002";

// Carries the whole text that goes behind the letter 'E', bracket and all.
struct StatementRefused : std::runtime_error {
    StatementRefused(const char *code, std::string_view text);
    explicit StatementRefused(const std::string &whole_text);
};

// The same refusal with " (row N)" behind its text, N counting from 1.
StatementRefused InRow(const StatementRefused &refused, uint64_t row);

// "[code]text".
std::string Bracketed(const char *code, std::string_view text);

// What the database says of its last failure, under the code of its kind.
StatementRefused RefusedByDatabase(sqlite3 *database);

}  // namespace tavud
