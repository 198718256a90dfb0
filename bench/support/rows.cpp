// The rows that the fetch benchmarks fetch.
#include "support/rows.h"

#include <cstdio>
#include <random>
#include <string>

static constexpr int64_t BLOCK_ROWS = 2000;

static std::string Field(const std::string &name, int32_t type, int32_t size) {
    return WireText("T." + name) + WireInt32(type) + WireInt32(size) + WireInt32(0);
}

static std::string FieldList() {
    return "A" + WireInt32(6) + Field("SMALL", 5, -1) + Field("LARGE", 6, -1) +
           Field("REAL", 9, -1) + Field("WORDS", 30, 20) + Field("MOMENT", 13, -1) +
           Field("ROWID", 45, -1);
}

ReplayResult MakeRows(int64_t rows) {
    ReplayResult result;
    result.field_list = FieldList();
    result.rows.reserve((size_t)rows * 90);
    std::mt19937_64 random(20240229);
    for (int64_t row = 0; row < rows; row++) {
        char words[21];
        snprintf(words, sizeof words, "%020llu", (unsigned long long)random());
        std::string &bytes = result.rows;
        bytes += 'R';
        bytes += WireInt32(4) + WireInt32((int32_t)random());
        bytes += WireInt32(8) + WireInt64((int64_t)random());
        bytes += WireInt32(8) + WireDouble((double)(random() % 1000000) / 64);
        bytes += WireText(words);
        bytes += WireInt32(8) + WireInt64((int64_t)(random() % 4000000000000));
        bytes += WireText(std::to_string(row + 1));
        if ((row + 1) % BLOCK_ROWS == 0 || row + 1 == rows) {
            result.block_ends.push_back(bytes.size());
        }
    }
    result.first_block_bytes = result.block_ends.front();
    return result;
}
