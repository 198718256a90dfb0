// Large objects that rows name instead of carrying them: kept until their readers have had time to
// ask for them, on whatever connection.
#include "server/large_object.h"

#include <charconv>
#include <utility>

#include "server/channel.h"
#include "server/tokens.h"
#include "server/types.h"

namespace tavud {

namespace {

// An identity is this letter and twelve hexadecimal digits. A client takes a text that begins with
// one of the two marks for an inline value, so it must be another letter.
constexpr char IDENTITY_LETTER = 'L';
constexpr size_t IDENTITY_DIGITS = 12;
constexpr char MARK_CLOB = 'c';
constexpr char MARK_BLOB = 'b';
constexpr char SEPARATOR = ':';

std::string IdentityOf(uint64_t number) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string identity(1, IDENTITY_LETTER);
    for (size_t i = IDENTITY_DIGITS; i > 0; i--) {
        identity.push_back(digits[number >> (i - 1) * 4 & 15]);
    }
    return identity;
}

bool ReadIdentity(std::string_view identity, uint64_t *number) {
    if (identity.size() != 1 + IDENTITY_DIGITS || identity[0] != IDENTITY_LETTER) return false;
    const char *end = identity.data() + identity.size();
    const auto parsed = std::from_chars(identity.data() + 1, end, *number, 16);
    return parsed.ec == std::errc() && parsed.ptr == end;
}

}  // namespace

uint64_t LargeObjects::Add(const LargeObject &object, std::string_view user) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const uint64_t number = next_number_++;
    entries_.emplace(number, Entry{object, std::string(user)});
    return number;
}

std::optional<LargeObject> LargeObjects::Find(std::string_view identity,
                                              std::string_view user) const {
    uint64_t number = 0;
    if (!ReadIdentity(identity, &number)) return std::nullopt;
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = entries_.find(number);
    if (found == entries_.end() || !EqualIgnoringCase(found->second.user, user)) {
        return std::nullopt;
    }
    return found->second.object;
}

void LargeObjects::Remove(const std::vector<uint64_t> &numbers) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const uint64_t number : numbers) {
        entries_.erase(number);
    }
}

LargeObjectGiver::LargeObjectGiver(LargeObjects *objects, std::string_view user,
                                   size_t inline_bytes_max, uint64_t later_bytes)
    : objects_(objects),
      user_(user),
      inline_bytes_max_(inline_bytes_max),
      later_bytes_(later_bytes) {}

LargeObjectGiver::~LargeObjectGiver() {
    objects_->Remove(previous_.numbers);
    objects_->Remove(current_.numbers);
}

void LargeObjectGiver::Append(std::string_view value, int32_t type_id, std::string *row) {
    if (value.size() <= inline_bytes_max_) {
        AppendInt32(row, static_cast<int32_t>(value.size() + 1));
        row->push_back(type_id == TYPE_CLOB ? MARK_CLOB : MARK_BLOB);
        row->append(value);
        return;
    }
    const std::string name = Keep(value, type_id);
    AppendInt32(row, static_cast<int32_t>(name.size()));
    row->append(name);
}

std::string LargeObjectGiver::Keep(std::string_view value, int32_t type_id) {
    if (current_.spool->Size() >= later_bytes_) {
        objects_->Remove(previous_.numbers);
        previous_ = std::exchange(current_, Generation());
    }
    LargeObject object;
    object.place = current_.spool->Append(value);
    object.spool = current_.spool;
    object.bytes = value.size();
    object.type_id = type_id;
    const uint64_t number = objects_->Add(object, user_);
    current_.numbers.push_back(number);
    return IdentityOf(number) + SEPARATOR + std::to_string(value.size());
}

}  // namespace tavud
