// The machine-wide control file: up to ten words, each of which sets one value of a server.
#include "client/control_file.h"

#include <cstdio>

#include "platform/file.h"
#include "platform/text.h"

// Words behind the tenth are not read.
constexpr int32_t WORDS_MAX = 10;
// Room for a word with its NUL. Of a longer one the rest is passed over.
constexpr size_t WORD_BYTES = 64;
// A word that begins so ends the file.
constexpr char END_MARK = '.';

// Skips blanks, keeps WORD_BYTES - 1 characters and throws away the others of the same word.
static const char *const WORD_SCAN = "%63s%*[^ \t\n\v\f\r]";
static_assert(WORD_BYTES == 64);

static void SetDefaults(TVCIServer *server) {
    server->ctl_auto_commit = 1;
    server->ctl_server_cursor = 0;
    TextCopy(server->ctl_char_set, sizeof(server->ctl_char_set), "GBK");
}

static int32_t ServerCursor(const char *word) {
    if (TextStartsNoCase(word, "servercursor_on")) return 1;
    if (TextStartsNoCase(word, "servercursor_withasync")) return 3;
    return 0;
}

// What follows a known beginning is looked at no further than its own value: "charset_GBKx" is GBK.
static void TakeWord(TVCIServer *server, const char *word) {
    if (TextStartsNoCase(word, "charset_")) {
        TextCopy(server->ctl_char_set, sizeof(server->ctl_char_set),
                 TextStartsNoCase(word, "charset_GBK") ? "GBK" : "UTF8");
    } else if (TextStartsNoCase(word, "autocommit_")) {
        server->ctl_auto_commit = TextStartsNoCase(word, "autocommit_on") ? 1 : 0;
    } else if (TextStartsNoCase(word, "servercursor_")) {
        server->ctl_server_cursor = ServerCursor(word);
    }
}

static void ReadWords(TVCIServer *server, FILE *file) {
    for (int32_t word_index = 0; word_index < WORDS_MAX; word_index++) {
        char word[WORD_BYTES] = "";
        if (fscanf(file, WORD_SCAN, word) == EOF || word[0] == END_MARK) return;
        TakeWord(server, word);
    }
}

void ControlFileRead(TVCIServer *server) {
    server->has_control_file = 0;
    if (!FileExists(TAVU_CONTROL_FILE)) return;
    server->has_control_file = 1;
    SetDefaults(server);
    // Never closed: each server that was ever made keeps one file open. The C library's own list of
    // open files names it, so that no leak checker takes it for lost.
    FILE *file = FileOpen(TAVU_CONTROL_FILE);
    if (file != NULL) {
        ReadWords(server, file);
    }
}
