// The login: reading its text, judging it, and the verdict.
#include "server/login.h"

#include <algorithm>
#include <charconv>

#include "server/errors.h"
#include "server/tokens.h"

namespace tavud {

namespace {

constexpr uint8_t VERDICT_ACCEPTED = 'K';
constexpr uint8_t VERDICT_FURTHER = 'N';
constexpr uint8_t VERDICT_REFUSED = 'E';

// Clients build the text in a buffer of 512 bytes with its terminator.
constexpr size_t LOGIN_BYTES_MAX = 511;
constexpr std::string_view LOGIN_START = "login database = ";
constexpr std::string_view CIPHER_START = "~ssl~";
// Ends each block of the enciphered text but the last, which ends in zeros.
constexpr std::string_view MORE_BLOCKS = "\x07\x07";
constexpr size_t CHUNK_BYTES = KeyPair::BLOCK_BYTES - MORE_BLOCKS.size();
// The top bit of a session key is clear, so that the key is below every modulus.
constexpr uint8_t SESSION_KEY_SPARE_BIT = 0x80;
constexpr std::string_view VERSION_ITEM = " version = '";

// Takes a text apart from its left end.
struct Items {
    std::string_view rest;

    bool Take(std::string_view item) {
        if (!rest.starts_with(item)) return false;
        rest.remove_prefix(item.size());
        return true;
    }

    // What stands before `close`, which is taken too. Values are not escaped, so the first one
    // closes.
    bool TakeTo(std::string_view close, std::string *value) {
        const size_t at = rest.find(close);
        if (at == std::string_view::npos) return false;
        *value = rest.substr(0, at);
        rest.remove_prefix(at + close.size());
        return true;
    }
};

bool TakeLockTimeout(Items *items, int32_t *seconds) {
    if (!items->Take(" lock_timeout = ")) return true;
    const char *end = items->rest.data() + items->rest.size();
    const auto parsed = std::from_chars(items->rest.data(), end, *seconds);
    if (parsed.ec != std::errc() || *seconds <= 0) return false;
    items->rest.remove_prefix(static_cast<size_t>(parsed.ptr - items->rest.data()));
    return true;
}

// The text has neither length nor terminator: its last item tells that it is whole.
bool IsWhole(std::string_view text) {
    if (text.empty() || text.back() != '\'') return false;
    const size_t auto_commit = text.find(" auto_commit = 'o");
    if (auto_commit == std::string_view::npos) return false;
    const size_t version = text.find(VERSION_ITEM, auto_commit);
    return version != std::string_view::npos && text.size() > version + VERSION_ITEM.size();
}

bool CannotBegin(std::string_view text, std::string_view start) {
    const size_t shared = std::min(text.size(), start.size());
    return text.substr(0, shared) != start.substr(0, shared);
}

std::string ReadLoginText(Channel *channel) {
    std::string text;
    while (!IsWhole(text)) {
        if (text == CIPHER_START) return text;
        if (text.size() == LOGIN_BYTES_MAX) throw BadFrame("login text without an end");
        text.push_back(static_cast<char>(channel->ReadByte()));
        if (CannotBegin(text, LOGIN_START) && CannotBegin(text, CIPHER_START)) {
            throw BadFrame("a login was expected");
        }
    }
    return text;
}

// Reads the blocks of an enciphered message in their plain form.
struct BlockReader {
    Channel *channel;
    const KeyPair &key_pair;
    bool sound = true;  // false once a block came that the public key cannot have made

    std::string Read() {
        const std::string block = channel->ReadBytes(KeyPair::BLOCK_BYTES);
        const std::optional<std::string> plain = key_pair.Decipher(block);
        if (!plain) sound = false;
        return plain.value_or(std::string(KeyPair::BLOCK_BYTES, '\0'));
    }
};

// Takes the zeros of the last block off a text. False when there are none, or more than one block
// of them, or something behind the first.
bool CutPadding(std::string *text) {
    const size_t end = text->find('\0');
    const size_t last_block = text->size() - KeyPair::BLOCK_BYTES;
    if (end == std::string::npos || end < last_block || end >= last_block + CHUNK_BYTES) {
        return false;
    }
    if (text->find_first_not_of('\0', end) != std::string::npos) return false;
    text->resize(end);
    return true;
}

// Hands out the public key, and reads the session key and the text that come back enciphered with
// it. Nothing when they are malformed. A malformed message too is read to its last block before the
// keystreams start, so that the refusal meets a client that has sent everything.
std::optional<std::string> ReadEncipheredText(Channel *channel, const KeyPair &key_pair) {
    channel->WriteBytes(key_pair.Exponent());
    channel->WriteBytes(key_pair.Modulus());
    channel->Flush();
    BlockReader blocks{channel, key_pair};
    const std::string session_key = blocks.Read();
    std::string text;
    std::string block = blocks.Read();
    for (; block.ends_with(MORE_BLOCKS); block = blocks.Read()) {
        text.append(block, 0, CHUNK_BYTES);
        if (text.size() > LOGIN_BYTES_MAX) throw BadFrame("login text without an end");
    }
    text.append(block);
    channel->StartCipher(session_key);
    const bool key_fits = (static_cast<uint8_t>(session_key.back()) & SESSION_KEY_SPARE_BIT) == 0;
    if (!blocks.sound || !key_fits || !CutPadding(&text)) return std::nullopt;
    if (text.size() > LOGIN_BYTES_MAX) throw BadFrame("login text without an end");
    return text;
}

void Refuse(Channel *channel, const char *code, std::string_view text) {
    channel->WriteByte(VERDICT_REFUSED);
    channel->WriteText(Bracketed(code, text));
    channel->Flush();
}

void Accept(Channel *channel, int protocol) {
    if (protocol == 301) {
        channel->WriteByte(VERDICT_FURTHER);
        channel->WriteInt32(protocol);
    }
    channel->WriteByte(VERDICT_ACCEPTED);
    channel->Flush();
}

bool IsKnown(const Login &login, const Options &options) {
    return std::any_of(options.users.begin(), options.users.end(), [&](const User &user) {
        return EqualIgnoringCase(user.name, login.user) && user.password == login.password;
    });
}

}  // namespace

std::optional<Login> ParseLogin(std::string_view text) {
    Items items{text};
    Login login;
    std::string auto_commit;
    const bool fixed_part = items.Take(LOGIN_START) && items.TakeTo(" user='", &login.database) &&
                            items.TakeTo("' password='", &login.user) &&
                            items.TakeTo("' encryptor = '", &login.password) &&
                            items.TakeTo("' char_set = '", &login.encryptor) &&
                            items.TakeTo("' time_zone = '", &login.char_set) &&
                            items.TakeTo("' iso_level = '", &login.time_zone) &&
                            items.TakeTo("'", &login.iso_level);
    if (!fixed_part || !TakeLockTimeout(&items, &login.lock_timeout_s)) return std::nullopt;
    if (!items.Take(" auto_commit = '") || !items.TakeTo("'", &auto_commit)) return std::nullopt;
    if (auto_commit != "on" && auto_commit != "off") return std::nullopt;
    login.auto_commit = auto_commit == "on";
    login.return_cursor_id = items.Take(" return_cursor_id  = 'on'");
    login.lob_descriptor = items.Take(" lob_ret=descriptor");
    login.return_rowid = items.Take(" return_rowid=true");
    login.return_schema = items.Take(" return_schema=on");
    if (!items.Take(VERSION_ITEM) || !items.TakeTo("'", &login.version)) return std::nullopt;
    if (!items.rest.empty()) return std::nullopt;
    return login;
}

std::optional<Login> AnswerLogin(Channel *channel, const Options &options,
                                 const KeyPair *key_pair) {
    std::optional<std::string> text = ReadLoginText(channel);
    if (text == CIPHER_START) {
        if (key_pair == nullptr) {
            Refuse(channel, CODE_LOGIN_CIPHER, "this server offers no enciphered login");
            return std::nullopt;
        }
        text = ReadEncipheredText(channel, *key_pair);
    }
    std::optional<Login> login;
    if (text) login = ParseLogin(*text);
    if (!login) {
        Refuse(channel, CODE_LOGIN_TEXT, "login text is malformed");
        return std::nullopt;
    }
    if (!EqualIgnoringCase(login->database, options.database_name)) {
        Refuse(channel, CODE_LOGIN_DATABASE, "database " + login->database + " does not exist");
        return std::nullopt;
    }
    if (!IsKnown(*login, options)) {
        Refuse(channel, CODE_LOGIN_USER, "user name or password is wrong");
        return std::nullopt;
    }
    Accept(channel, options.protocol);
    return login;
}

}  // namespace tavud
