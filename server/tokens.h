// The words of an SQL text: enough of a scanner to tell statements apart and to rewrite a few.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tavud {

enum class TokenKind {
    Word,        // a keyword or a bare name
    QuotedName,  // "name", `name` or [name]
    String,      // 'text', and x'..' with its letter
    Number,
    Marker,       // ?, ?1, :name, @name or $name
    Punctuation,  // one character
};

// Where a token lies in its text: bytes `start` to before `end`.
struct Token {
    TokenKind kind;
    size_t start;
    size_t end;
};

// A text with its tokens, blanks and comments left out. Borrows the text.
struct TokenisedText {
    std::string_view text;
    std::vector<Token> tokens;

    std::string_view TextOf(size_t index) const;
    // Whether token `index` exists and is this bare word, in any case of letters.
    bool IsWord(size_t index, std::string_view upper_word) const;
    bool IsAnyWord(size_t index, std::initializer_list<std::string_view> upper_words) const;
    bool IsPunctuation(size_t index, char character) const;
    // A name without its quotes.
    std::string NameOf(size_t index) const;
    bool IsName(size_t index) const;
    // The index behind the ")" that closes the "(" at `index`, or the number of tokens.
    size_t BehindParenthesis(size_t index) const;
};

TokenisedText Tokenise(std::string_view text);

// The statements of a text, split at ";", without it and without empty ones. The body of a trigger
// stays with its CREATE TRIGGER.
std::vector<std::string> SplitStatements(std::string_view text);

std::string UpperCase(std::string_view text);
bool EqualIgnoringCase(std::string_view one, std::string_view other);
// The text between double quotes, with the quotes in it doubled.
std::string QuoteName(std::string_view name);
// The content of a string literal token: no quotes, doubled quotes single.
std::string UnquoteString(std::string_view literal);

}  // namespace tavud
