// The command line of the server.
#include "server/options.h"

#include <charconv>

namespace tavud {

namespace {

constexpr const char *help_text =
    R"(tavud - a development server for the Tavu client library

Speaks the server side of the wire protocol over an embedded SQLite database.

Usage: tavud [options]

  --port N              port to listen on; 0 lets the system choose one (default 5138)
  --bind ADDRESS        IPv4 address to listen on (default 127.0.0.1)
  --db FILE             database file, made when it does not exist; ":memory:" keeps the data in a
                        private temporary file that goes with the server (default ":memory:")
  --lob-inline N        bytes of a CLOB or BLOB that still travel in the row of a session that
                        asked for descriptors (default 2048)
  --database NAME       database name that a login must give (default SYSTEM)
  --user NAME:PASSWORD  a user who may log in; may be given more than once
                        (default SYSDBA:SYSDBA)
  --protocol 201|301    how a login is accepted: 201 answers 'K', 301 answers 'N', four bytes
                        and 'K' (default 301)
  --ssl                 accepts the enciphered login besides the plain one
  --key FILE            key pair of the enciphered login, made when it does not exist; without it
                        each start makes a fresh one. Needs --ssl
  --help                prints this and ends

When it is ready it prints one line on standard output:

  tavud: listening on ADDRESS port N

What it refuses or cannot read is told on standard error. SIGINT and SIGTERM end it: open
connections are closed, what they had not committed is rolled back.
)";

uint16_t ParsePort(const std::string &text) {
    uint16_t port = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), port);
    if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size() || text.empty()) {
        throw BadOption("--port takes a number from 0 to 65535, not \"" + text + "\"");
    }
    return port;
}

uint32_t ParseLobInline(const std::string &text) {
    uint32_t bytes = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), bytes);
    if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size() || bytes > INT32_MAX) {
        throw BadOption("--lob-inline takes a number of bytes, not \"" + text + "\"");
    }
    return bytes;
}

User ParseUser(const std::string &text) {
    const size_t colon = text.find(':');
    if (colon == std::string::npos || colon == 0) {
        throw BadOption("--user takes NAME:PASSWORD, not \"" + text + "\"");
    }
    return {text.substr(0, colon), text.substr(colon + 1)};
}

int ParseProtocol(const std::string &text) {
    if (text == "201") return 201;
    if (text == "301") return 301;
    throw BadOption("--protocol takes 201 or 301, not \"" + text + "\"");
}

std::string ParseKeyFile(const std::string &text) {
    if (text.empty()) throw BadOption("--key takes the name of a file");
    return text;
}

void Apply(const std::string &name, const std::string &value, Options *options) {
    if (name == "--port") {
        options->port = ParsePort(value);
    } else if (name == "--bind") {
        options->bind_address = value;
    } else if (name == "--db") {
        options->database_file = value;
    } else if (name == "--lob-inline") {
        options->lob_inline_bytes = ParseLobInline(value);
    } else if (name == "--database") {
        options->database_name = value;
    } else if (name == "--user") {
        options->users.push_back(ParseUser(value));
    } else if (name == "--protocol") {
        options->protocol = ParseProtocol(value);
    } else if (name == "--key") {
        options->key_file = ParseKeyFile(value);
    } else {
        throw BadOption("unknown option \"" + name + "\"");
    }
}

}  // namespace

const char *HelpText() {
    return help_text;
}

Options ParseOptions(const std::vector<std::string> &arguments) {
    Options options;
    for (size_t i = 0; i < arguments.size(); i++) {
        std::string name = arguments[i];
        if (name == "--help") {
            options.help = true;
            continue;
        }
        if (name == "--ssl") {
            options.cipher = true;
            continue;
        }
        const size_t equals = name.find('=');
        std::string value;
        if (equals != std::string::npos) {
            value = name.substr(equals + 1);
            name.resize(equals);
        } else {
            if (i + 1 == arguments.size()) {
                throw BadOption("option \"" + name + "\" is unknown or lacks its value");
            }
            value = arguments[++i];
        }
        Apply(name, value, &options);
    }
    if (!options.key_file.empty() && !options.cipher) throw BadOption("--key needs --ssl");
    if (options.users.empty()) options.users.push_back({"SYSDBA", "SYSDBA"});
    return options;
}

}  // namespace tavud
