// The login: reading its text, judging it, and the verdict.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "server/channel.h"
#include "server/key_pair.h"
#include "server/options.h"

namespace tavud {

// The items of a login text.
struct Login {
    std::string database;
    std::string user;
    std::string password;
    std::string encryptor;
    std::string char_set;
    std::string time_zone;
    std::string iso_level;
    int32_t lock_timeout_s = 0;  // 0: not given
    bool auto_commit = true;
    bool return_cursor_id = false;
    bool lob_descriptor = false;
    bool return_rowid = false;
    bool return_schema = false;
    std::string version;
};

// Nothing when the text is not in the one order that logins have.
std::optional<Login> ParseLogin(std::string_view text);

// Reads a login and answers it. `key_pair` is that of the enciphered form, null when that form is
// refused; after it the channel is enciphered. Nothing after a refusal, which has then been sent.
// Throws ConnectionClosed or BadFrame.
std::optional<Login> AnswerLogin(Channel *channel, const Options &options, const KeyPair *key_pair);

}  // namespace tavud
