// Large objects that rows name instead of carrying them: kept until their readers have had time to
// ask for them, on whatever connection.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "server/spool.h"

namespace tavud {

// Where the bytes of a kept value lie. They stay readable as long as somebody holds the record.
struct LargeObject {
    std::shared_ptr<const Spool> spool;
    uint64_t place = 0;
    uint64_t bytes = 0;
    int32_t type_id = 0;  // TYPE_CLOB or TYPE_BLOB
};

// All that is kept, for all connections of the server. Used by many threads.
class LargeObjects {
public:
    // Returns the number under which the object is found.
    uint64_t Add(const LargeObject &object, std::string_view user);
    // Nothing when there is no object of that identity, or it is another user's.
    std::optional<LargeObject> Find(std::string_view identity, std::string_view user) const;
    void Remove(const std::vector<uint64_t> &numbers);

private:
    struct Entry {
        LargeObject object;
        std::string user;
    };

    mutable std::mutex mutex_;
    std::unordered_map<uint64_t, Entry> entries_;
    uint64_t next_number_ = 1;
};

// Turns the CLOB and BLOB values of one session's rows into what such a session gets for them. What
// it keeps goes with it, or before that when enough has been kept behind it.
class LargeObjectGiver {
public:
    static constexpr uint64_t LATER_BYTES = 1024 * 1024 * 1024;

    // `objects` is borrowed. Values of up to `inline_bytes_max` bytes travel in their rows. A
    // longer one is kept until at least `later_bytes` of others have been kept behind it.
    LargeObjectGiver(LargeObjects *objects, std::string_view user, size_t inline_bytes_max,
                     uint64_t later_bytes = LATER_BYTES);
    ~LargeObjectGiver();
    LargeObjectGiver(const LargeObjectGiver &) = delete;
    LargeObjectGiver &operator=(const LargeObjectGiver &) = delete;

    // Appends the int32 length and either the letter that marks an inline value and the value, or
    // the text that names it. Throws StatementRefused.
    void Append(std::string_view value, int32_t type_id, std::string *row);

private:
    // What was kept from its first value to the one that reached `later_bytes_`.
    struct Generation {
        std::shared_ptr<Spool> spool = std::make_shared<Spool>();
        std::vector<uint64_t> numbers;
    };

    std::string Keep(std::string_view value, int32_t type_id);

    LargeObjects *objects_;
    std::string user_;
    size_t inline_bytes_max_;
    uint64_t later_bytes_;
    Generation current_;
    Generation previous_;
};

}  // namespace tavud
