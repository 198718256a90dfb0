// Steps over the lexical pieces of a statement text. Each takes a pointer at the opening character
// and returns a pointer behind the piece.
#pragma once

const char *SkipSingleQuoted(const char *text);
const char *SkipDoubleQuoted(const char *text);
// Over the marker name that follows the first character; does not consume what ends it.
const char *SkipBareWord(const char *text);
