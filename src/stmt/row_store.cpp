// The row store: a tiered index of row pointers, in blocks that never move.
#include <cstddef>

#include "platform/memory.h"
#include "platform/process.h"
#include "stmt/rows.h"
#include "tavu/tvci.h"

// Index slots whose blocks are of one size.
struct StoreTier {
    int32_t first_slot;
    int64_t block_rows;
    int64_t first_row;
};

constexpr StoreTier tier_table[] = {
    {1,   1000,       0          },
    {17,  10000,      16000      },
    {33,  100000,     176000     },
    {65,  1000000,    3376000    },
    {129, 10000000,   67376000   },
    {257, 100000000,  1347376000 },
    {513, 1000000000, 26947376000},
};
constexpr int32_t TIER_COUNT = sizeof(tier_table) / sizeof(tier_table[0]);
constexpr uint64_t STORE_ROWS_MAX = 537947376000;

// Slot 0 of the index points to the number of blocks in use, of the width that it has there.
static int16_t *BlockCounter(const RowStore *store) {
    return (int16_t *)store->slots[0];
}

// Makes the index with its first block. On failure nothing is kept.
static int32_t CreateIndex(RowStore *store) {
    void **slots = (void **)MemAlloc(ROW_INDEX_SLOTS * sizeof(void *));
    int16_t *counter = (int16_t *)MemAlloc(sizeof(int16_t));
    void *block = MemAlloc((size_t)tier_table[0].block_rows * sizeof(RowImage *));
    if (slots == NULL || counter == NULL || block == NULL) {
        MemFree(slots);
        MemFree(counter);
        MemFree(block);
        return TVCI_NO_MEMORY;
    }
    *counter = 1;
    slots[0] = counter;
    slots[1] = block;
    store->slots = slots;
    store->capacity = tier_table[0].block_rows;
    return TVCI_SUCCESS;
}

// Adds one block. A failure leaves the counter raised, so that the rows of the block that could not
// be had stay without one.
static int32_t AddBlock(RowStore *store) {
    int16_t *counter = BlockCounter(store);
    if (*counter < ROW_INDEX_SLOTS) {
        ++*counter;
    }
    if (*counter >= ROW_INDEX_SLOTS) return TVCI_NO_MEMORY;
    int32_t tier = TIER_COUNT - 1;
    while (*counter < tier_table[tier].first_slot) {
        tier--;
    }
    void *block = MemAlloc((size_t)tier_table[tier].block_rows * sizeof(RowImage *));
    if (block == NULL) return TVCI_NO_MEMORY;
    store->slots[*counter] = block;
    store->capacity += tier_table[tier].block_rows;
    return TVCI_SUCCESS;
}

// With a tier that the compiler knows, the divisions are multiplications.
static inline RowImage **SlotInTier(const RowStore *store, uint64_t n, const StoreTier &tier) {
    const uint64_t row = n - (uint64_t)tier.first_row;
    const uint64_t block_rows = (uint64_t)tier.block_rows;
    RowImage **block = (RowImage **)store->slots[row / block_rows + (uint64_t)tier.first_slot];
    return block == NULL ? NULL : block + row % block_rows;
}

// The comparisons are with one above the end of each tier: the first row of the next tier is place
// 0 of its first block by either line.
RowImage **RowSlot(ResultSet *result, int64_t n) {
    const RowStore *store = &result->store;
    const uint64_t row = (uint64_t)n;
    if (row < 16001) return SlotInTier(store, row, tier_table[0]);
    if (row < 176001) return SlotInTier(store, row, tier_table[1]);
    if (row < 3376001) return SlotInTier(store, row, tier_table[2]);
    if (row < 67376001) return SlotInTier(store, row, tier_table[3]);
    if (row < 1347376001) return SlotInTier(store, row, tier_table[4]);
    if (row < 26947376001) return SlotInTier(store, row, tier_table[5]);
    if (row < STORE_ROWS_MAX) return SlotInTier(store, row, tier_table[6]);
    ProcessExit(-1);
}

int32_t AppendRow(ResultSet *result, RowImage *row) {
    RowStore *store = &result->store;
    const int64_t count = store->row_count.load(std::memory_order_relaxed);
    int32_t status = TVCI_SUCCESS;
    if (store->capacity == 0) {
        status = CreateIndex(store);
    } else if (store->capacity <= count) {
        MutexLock(&result->statement->lock);
        status = AddBlock(store);
        MutexUnlock(&result->statement->lock);
    }
    if (status != TVCI_SUCCESS) return status;
    RowImage **slot = RowSlot(result, count);
    if (slot == NULL) return TVCI_NO_MEMORY;
    *slot = row;
    // The fetch side counts without the lock: what it counts must be stored.
    MutexLock(&result->count_lock);
    store->row_count.store(count + 1, std::memory_order_release);
    MutexUnlock(&result->count_lock);
    return TVCI_SUCCESS;
}

void RowStoreFree(RowStore *store) {
    if (store->slots == NULL) return;
    for (int32_t slot = 0; slot < ROW_INDEX_SLOTS; slot++) {
        MemFree(store->slots[slot]);
    }
    MemFree(store->slots);
    store->slots = NULL;
    store->row_count.store(0, std::memory_order_release);
    store->capacity = 0;
}
