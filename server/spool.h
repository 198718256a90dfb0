// Bytes put aside: a file without a name that goes with its record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tavud {

// Made without a file; the first bytes make one, in the system's folder for temporary files. One
// thread appends; any thread may read what had been appended when it learned of it.
class Spool {
public:
    Spool() = default;
    ~Spool();
    Spool(const Spool &) = delete;
    Spool &operator=(const Spool &) = delete;

    // Returns the place of the bytes. Throws StatementRefused when the disk does not take them.
    uint64_t Append(std::string_view bytes);
    // Reads exactly `count` bytes that lie at `place`. Throws StatementRefused.
    void Read(uint64_t place, char *bytes, size_t count) const;

    uint64_t Size() const {
        return size_;
    }

private:
    int file_ = -1;
    uint64_t size_ = 0;
};

}  // namespace tavud
