// Steps over the lexical pieces of a statement text.
#include "values/scan.h"

#include <cstring>

// Behind a backslash. One before a character of `escapable` hides that character from the walk; any
// other stands for itself.
static const char *SkipBackslash(const char *text, const char *escapable) {
    return text[1] != '\0' && strchr(escapable, text[1]) != NULL ? text + 2 : text + 1;
}

const char *SkipStringLiteral(const char *text) {
    while (*text != '\0') {
        if (*text == '\\') {
            text = SkipBackslash(text, "\\'_");
        } else if (*text != '\'') {
            text++;
        } else if (text[1] == '\'') {
            text += 2;
        } else {
            return text + 1;
        }
    }
    return text;
}

const char *SkipQuotedName(const char *text) {
    while (*text != '\0') {
        if (*text == '\\') {
            text = SkipBackslash(text, "\\'_\"");
        } else if (*text != '"') {
            text++;
        } else {
            return text + 1;
        }
    }
    return text;
}

const char *SkipMarkerName(const char *text) {
    while (*text != '\0') {
        if (*text == '\\') {
            text = SkipBackslash(text, "\\'_\"");
        } else if (strchr("\n\r )*+,-/;", *text) != NULL) {
            return text;
        } else {
            text++;
        }
    }
    return text;
}
