// "get lob": the bytes of a large object that a row has named.
#include "server/get_lob.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "server/errors.h"
#include "server/rows.h"

namespace tavud {

namespace {

// Clients read each piece into a buffer of this size.
constexpr uint64_t PIECE_BYTES_MAX = 102400;
constexpr int32_t PIECE_FOLLOWS = 1;
constexpr int32_t NO_PIECE_FOLLOWS = 0;

bool ReadCount(const TokenisedText &text, size_t at, uint64_t *count) {
    const std::string_view digits = text.TextOf(at);
    const char *end = digits.data() + digits.size();
    const auto parsed = std::from_chars(digits.data(), end, *count);
    return parsed.ec == std::errc() && parsed.ptr == end;
}

void WritePieces(Channel *channel, const LargeObject &object, uint64_t offset, uint64_t limit) {
    uint64_t left = offset < object.bytes ? std::min(limit, object.bytes - offset) : 0;
    uint64_t place = object.place + offset;
    std::string piece;
    while (left > 0) {
        const auto bytes = static_cast<size_t>(std::min(left, PIECE_BYTES_MAX));
        piece.clear();
        AppendInt32(&piece, PIECE_FOLLOWS);
        AppendInt32(&piece, static_cast<int32_t>(bytes));
        const size_t head_bytes = piece.size();
        piece.resize(head_bytes + bytes);
        object.spool->Read(place, piece.data() + head_bytes, bytes);
        channel->WriteBytes(piece);
        place += bytes;
        left -= bytes;
    }
    channel->WriteInt32(NO_PIECE_FOLLOWS);
}

}  // namespace

bool IsGetLob(const TokenisedText &text) {
    return text.IsWord(0, "GET") && text.IsWord(1, "LOB");
}

void AnswerGetLob(const Workplace &place, const Database &database, const TokenisedText &text) {
    uint64_t offset = 0;
    uint64_t limit = 0;
    const bool sound = text.tokens.size() >= 7 && text.tokens[2].kind == TokenKind::String &&
                       text.IsWord(3, "OFFSET") && ReadCount(text, 4, &offset) &&
                       text.IsWord(5, "LIMIT") && ReadCount(text, 6, &limit) &&
                       (text.tokens.size() == 7 || text.IsPunctuation(7, ';'));
    if (!sound) {
        throw StatementRefused(CODE_SYNTAX,
                               "GET LOB takes a name, OFFSET, LIMIT and their numbers");
    }
    const std::string identity = UnquoteString(text.TextOf(2));
    const std::optional<LargeObject> object = database.Objects().Find(identity, place.login.user);
    if (!object) {
        throw StatementRefused(CODE_LARGE_OBJECT, "there is no large object " + identity);
    }
    Column column;
    column.name = "LOB";
    column.type.type_id = object->type_id;
    column.flags = FLAG_NULLABLE;
    WriteFields(place.channel, {column});
    place.channel->WriteByte(ANSWER_ROW);
    WritePieces(place.channel, *object, offset, limit);
}

}  // namespace tavud
