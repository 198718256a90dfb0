// The command line of the server.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace tavud {

struct User {
    std::string name;
    std::string password;
};

struct Options {
    std::string bind_address = "127.0.0.1";
    uint16_t port = 5138;  // 0: the system chooses
    std::string database_file = ":memory:";
    std::string database_name = "SYSTEM";
    uint32_t lob_inline_bytes =
        2048;                 // longer large objects are named, not sent, where it is asked
    std::vector<User> users;  // never empty after ParseOptions
    int protocol = 301;       // 201 or 301
    bool cipher = false;      // the enciphered login is accepted besides the plain one
    std::string key_file;     // "": a fresh key pair for each start
    bool help = false;
};

struct BadOption : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// `arguments` without the program's name. Throws BadOption.
Options ParseOptions(const std::vector<std::string> &arguments);

const char *HelpText();

}  // namespace tavud
