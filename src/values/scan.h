// Steps over the lexical pieces of a statement text: literals, quoted names and marker names.
//
// Each walk comes in two forms, one that is given the opening character and one that is given what
// stands behind it. All of them end at the text's NUL at the latest.
#pragma once

// Start behind the opening character. The first two return a pointer behind the closing quote, the
// third one at the character that ends the name.
const char *SkipStringLiteral(const char *text);
const char *SkipQuotedName(const char *text);
const char *SkipMarkerName(const char *text);

// Start at the opening character.
inline const char *SkipSingleQuoted(const char *text) {
    return SkipStringLiteral(text + 1);
}

inline const char *SkipDoubleQuoted(const char *text) {
    return SkipQuotedName(text + 1);
}

inline const char *SkipBareWord(const char *text) {
    return SkipMarkerName(text + 1);
}
