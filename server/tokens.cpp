// The words of an SQL text: enough of a scanner to tell statements apart and to rewrite a few.
#include "server/tokens.h"

#include <algorithm>

namespace tavud {

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsWordCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || IsDigit(c) || c == '_' || c == '$' ||
           (static_cast<unsigned char>(c) & 0x80) != 0;
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

char Upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// Behind the blanks and comments that begin at `at`.
size_t SkipBlanks(std::string_view text, size_t at) {
    for (;;) {
        if (at < text.size() && IsBlank(text[at])) {
            at++;
        } else if (text.substr(at, 2) == "--") {
            at = std::min(text.find('\n', at), text.size());
        } else if (text.substr(at, 2) == "/*") {
            const size_t close = text.find("*/", at + 2);
            at = close == std::string_view::npos ? text.size() : close + 2;
        } else {
            return at;
        }
    }
}

// Behind the closing quote; a doubled one stays inside. The end of the text closes too.
size_t SkipQuoted(std::string_view text, size_t at, char close) {
    for (at++; at < text.size(); at++) {
        if (text[at] != close) continue;
        if (close == ']' || at + 1 >= text.size() || text[at + 1] != close) return at + 1;
        at++;
    }
    return text.size();
}

size_t SkipWord(std::string_view text, size_t at) {
    while (at < text.size() && IsWordCharacter(text[at])) {
        at++;
    }
    return at;
}

size_t SkipNumber(std::string_view text, size_t at) {
    while (at < text.size()) {
        const bool exponent_sign =
            (text[at] == '+' || text[at] == '-') && Upper(text[at - 1]) == 'E';
        if (!IsWordCharacter(text[at]) && text[at] != '.' && !exponent_sign) break;
        at++;
    }
    return at;
}

Token NextToken(std::string_view text, size_t at) {
    const char c = text[at];
    const char next = at + 1 < text.size() ? text[at + 1] : '\0';
    if (c == '\'') return {TokenKind::String, at, SkipQuoted(text, at, '\'')};
    if (Upper(c) == 'X' && next == '\'') {
        return {TokenKind::String, at, SkipQuoted(text, at + 1, '\'')};
    }
    if (c == '"' || c == '`') return {TokenKind::QuotedName, at, SkipQuoted(text, at, c)};
    if (c == '[') return {TokenKind::QuotedName, at, SkipQuoted(text, at, ']')};
    if (c == '?') return {TokenKind::Marker, at, SkipWord(text, at + 1)};
    if ((c == ':' || c == '@' || c == '$') && IsWordCharacter(next)) {
        return {TokenKind::Marker, at, SkipWord(text, at + 1)};
    }
    if (IsDigit(c) || (c == '.' && IsDigit(next))) {
        return {TokenKind::Number, at, SkipNumber(text, at + 1)};
    }
    if (IsWordCharacter(c)) return {TokenKind::Word, at, SkipWord(text, at)};
    return {TokenKind::Punctuation, at, at + 1};
}

}  // namespace

std::string_view TokenisedText::TextOf(size_t index) const {
    if (index >= tokens.size()) return {};
    return text.substr(tokens[index].start, tokens[index].end - tokens[index].start);
}

bool TokenisedText::IsWord(size_t index, std::string_view upper_word) const {
    return index < tokens.size() && tokens[index].kind == TokenKind::Word &&
           EqualIgnoringCase(TextOf(index), upper_word);
}

bool TokenisedText::IsAnyWord(size_t index,
                              std::initializer_list<std::string_view> upper_words) const {
    return std::any_of(upper_words.begin(), upper_words.end(),
                       [&](std::string_view word) { return IsWord(index, word); });
}

bool TokenisedText::IsPunctuation(size_t index, char character) const {
    return index < tokens.size() && tokens[index].kind == TokenKind::Punctuation &&
           text[tokens[index].start] == character;
}

bool TokenisedText::IsName(size_t index) const {
    return index < tokens.size() &&
           (tokens[index].kind == TokenKind::Word || tokens[index].kind == TokenKind::QuotedName ||
            tokens[index].kind == TokenKind::String);
}

std::string TokenisedText::NameOf(size_t index) const {
    const std::string_view name = TextOf(index);
    if (name.empty() || tokens[index].kind == TokenKind::Word) return std::string(name);
    const char close = name[0] == '[' ? ']' : name[0];
    std::string bare;
    for (size_t i = 1; i + 1 < name.size(); i++) {
        bare.push_back(name[i]);
        if (name[i] == close && name[i + 1] == close) i++;
    }
    return bare;
}

size_t TokenisedText::BehindParenthesis(size_t index) const {
    int depth = 0;
    for (; index < tokens.size(); index++) {
        if (IsPunctuation(index, '(')) depth++;
        if (IsPunctuation(index, ')') && --depth == 0) return index + 1;
    }
    return index;
}

TokenisedText Tokenise(std::string_view text) {
    TokenisedText result{text, {}};
    size_t at = SkipBlanks(text, 0);
    while (at < text.size()) {
        result.tokens.push_back(NextToken(text, at));
        at = SkipBlanks(text, result.tokens.back().end);
    }
    return result;
}

std::vector<std::string> SplitStatements(std::string_view text) {
    const TokenisedText all = Tokenise(text);
    std::vector<std::string> statements;
    size_t first = 0;
    for (size_t i = 0; i <= all.tokens.size(); i++) {
        const bool at_end = i == all.tokens.size();
        if (!at_end && !all.IsPunctuation(i, ';')) continue;
        const bool temporary = all.IsAnyWord(first + 1, {"TEMP", "TEMPORARY"});
        const bool trigger =
            all.IsWord(first, "CREATE") && all.IsWord(first + (temporary ? 2 : 1), "TRIGGER");
        const bool body_ends = i >= 2 && all.IsWord(i - 1, "END") && all.IsPunctuation(i - 2, ';');
        if (!at_end && trigger && !body_ends) continue;
        if (i > first) {
            const size_t start = all.tokens[first].start;
            statements.emplace_back(text.substr(start, all.tokens[i - 1].end - start));
        }
        first = i + 1;
    }
    return statements;
}

std::string UpperCase(std::string_view text) {
    std::string upper(text);
    std::transform(upper.begin(), upper.end(), upper.begin(), Upper);
    return upper;
}

bool EqualIgnoringCase(std::string_view one, std::string_view other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](char a, char b) { return Upper(a) == Upper(b); });
}

std::string QuoteName(std::string_view name) {
    std::string quoted = "\"";
    for (const char c : name) {
        quoted.push_back(c);
        if (c == '"') quoted.push_back(c);
    }
    quoted.push_back('"');
    return quoted;
}

std::string UnquoteString(std::string_view literal) {
    std::string bare;
    for (size_t i = 1; i + 1 < literal.size(); i++) {
        bare.push_back(literal[i]);
        if (literal[i] == '\'') i++;
    }
    return bare;
}

}  // namespace tavud
