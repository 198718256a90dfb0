// The row store: where each row stands, how the index grows, and what a missing block costs.
#include <gtest/gtest.h>

#include "platform/memory.h"
#include "stmt/row_rig.h"
#include "stmt/rows.h"
#include "tavu/tvci.h"

// A statement with one result, whose rows are no more than their numbers.
struct RowStoreTest : testing::Test {
    RowRig rig;
    ResultSet *result = NewResultSet(&rig.stmt);
    RowStore *store = &result->store;

    static RowImage *RowNumber(int64_t n) {
        return (RowImage *)(uintptr_t)(n + 1);
    }

    void AppendUpTo(int64_t count) {
        for (int64_t n = store->row_count.load(); n < count; n++) {
            ASSERT_EQ(0, AppendRow(result, RowNumber(n)));
        }
    }

    int16_t Counter() const {
        return *(int16_t *)store->slots[0];
    }

    RowImage **Block(int32_t slot) const {
        return (RowImage **)store->slots[slot];
    }
};

TEST_F(RowStoreTest, TheFirstRowMakesTheIndexAndItsFirstBlock) {
    EXPECT_EQ(nullptr, store->slots);
    AppendUpTo(1);
    EXPECT_EQ(1000, store->capacity);
    EXPECT_EQ(1, store->row_count.load());
    EXPECT_EQ(1, Counter());
    EXPECT_EQ(RowNumber(0), Block(1)[0]);
    EXPECT_EQ(nullptr, store->slots[2]);
}

TEST_F(RowStoreTest, The1001stRowMakesTheSecondBlock) {
    AppendUpTo(1000);
    EXPECT_EQ(1000, store->capacity);
    EXPECT_EQ(1, Counter());
    AppendUpTo(1001);
    EXPECT_EQ(2000, store->capacity);
    EXPECT_EQ(2, Counter());
    EXPECT_EQ(RowNumber(999), Block(1)[999]);
    EXPECT_EQ(RowNumber(1000), Block(2)[0]);
}

TEST_F(RowStoreTest, Row16000IsInSlot17AtPlace0) {
    AppendUpTo(16000);
    EXPECT_EQ(16, Counter());
    EXPECT_EQ(16000, store->capacity);
    AppendUpTo(16001);
    EXPECT_EQ(17, Counter());
    EXPECT_EQ(26000, store->capacity);
    EXPECT_EQ(RowNumber(15999), Block(16)[999]);
    EXPECT_EQ(RowNumber(16000), Block(17)[0]);
    EXPECT_EQ(&Block(17)[0], RowSlot(result, 16000));
}

TEST_F(RowStoreTest, Row176000IsInSlot33AtPlace0) {
    AppendUpTo(176001);
    EXPECT_EQ(33, Counter());
    EXPECT_EQ(276000, store->capacity);
    EXPECT_EQ(RowNumber(175999), Block(32)[9999]);
    EXPECT_EQ(RowNumber(176000), Block(33)[0]);
    for (int64_t n = 0; n < 176001; n++) {
        ASSERT_EQ(RowNumber(n), *RowSlot(result, n));
    }
}

TEST_F(RowStoreTest, RowsNeverMove) {
    AppendUpTo(1);
    RowImage **const place = RowSlot(result, 0);
    AppendUpTo(20000);
    EXPECT_EQ(place, RowSlot(result, 0));
    EXPECT_EQ(RowNumber(0), *place);
}

// The place of a row in an index whose blocks are no memory, as slot number and place.
struct RowPlaceTest : RowStoreTest {
    static constexpr uintptr_t BLOCK_APART = (uintptr_t)1 << 36;

    void *slots[ROW_INDEX_SLOTS] = {};

    RowPlaceTest() {
        for (uintptr_t slot = 1; slot < ROW_INDEX_SLOTS; slot++) {
            slots[slot] = (void *)(slot * BLOCK_APART);
        }
        store->slots = slots;
    }

    ~RowPlaceTest() override {
        store->slots = nullptr;
    }

    void ExpectPlace(int64_t n, uintptr_t slot, uintptr_t place) {
        EXPECT_EQ(slot * BLOCK_APART + place * 8, (uintptr_t)RowSlot(result, n)) << n;
    }
};

TEST_F(RowPlaceTest, TheEdgesOfEachTier) {
    ExpectPlace(0, 1, 0);
    ExpectPlace(999, 1, 999);
    ExpectPlace(1000, 2, 0);
    ExpectPlace(15999, 16, 999);
    ExpectPlace(16000, 17, 0);
    ExpectPlace(16001, 17, 1);
    ExpectPlace(25999, 17, 9999);
    ExpectPlace(26000, 18, 0);
    ExpectPlace(175999, 32, 9999);
    ExpectPlace(176000, 33, 0);
    ExpectPlace(176001, 33, 1);
    ExpectPlace(276000, 34, 0);
    ExpectPlace(3375999, 64, 99999);
    ExpectPlace(3376000, 65, 0);
    ExpectPlace(3376001, 65, 1);
    ExpectPlace(4376000, 66, 0);
    ExpectPlace(67375999, 128, 999999);
    ExpectPlace(67376000, 129, 0);
    ExpectPlace(67376001, 129, 1);
    ExpectPlace(77376000, 130, 0);
    ExpectPlace(1347375999, 256, 9999999);
    ExpectPlace(1347376000, 257, 0);
    ExpectPlace(1347376001, 257, 1);
    ExpectPlace(1447376000, 258, 0);
    ExpectPlace(26947375999, 512, 99999999);
    ExpectPlace(26947376000, 513, 0);
    ExpectPlace(26947376001, 513, 1);
    ExpectPlace(27947376000, 514, 0);
    ExpectPlace(537947375999, 1023, 999999999);
}

TEST_F(RowPlaceTest, ARowWithoutABlockHasNoPlace) {
    slots[18] = nullptr;
    EXPECT_EQ(nullptr, RowSlot(result, 26000));
    EXPECT_EQ(nullptr, RowSlot(result, 35999));
    ExpectPlace(36000, 19, 0);
}

// The status -1, as the two systems report it.
static bool ExitedWithMinusOne(int status) {
    return status == -1 || status == 0xFF00;
}

using RowPlaceDeathTest = RowPlaceTest;

TEST_F(RowPlaceDeathTest, ARowBeyondTheStoreEndsTheProcess) {
    EXPECT_EXIT(RowSlot(result, 537947376000), ExitedWithMinusOne, "");
    EXPECT_EXIT(RowSlot(result, INT64_MAX), ExitedWithMinusOne, "");
    EXPECT_EXIT(RowSlot(result, -1), ExitedWithMinusOne, "");
}

// An index of which only the counter is real, as full as it says.
struct IndexGrowthTest : RowStoreTest {
    void Fill(int16_t blocks, int64_t rows) {
        AppendUpTo(1);
        *(int16_t *)store->slots[0] = blocks;
        store->capacity = rows;
        store->row_count = rows;
    }
};

TEST_F(IndexGrowthTest, RowsThatEachNewBlockAdds) {
    const struct {
        int16_t blocks;
        int64_t rows;
        int64_t added;
    } lines[] = {
        {1, 1000, 1000},           {15, 15000, 1000},
        {16, 16000, 10000},        {31, 166000, 10000},
        {32, 176000, 100000},      {63, 3276000, 100000},
        {64, 3376000, 1000000},    {127, 66376000, 1000000},
        {128, 67376000, 10000000}, {255, 1337376000, 10000000},
    };
    Fill(1, 1000);
    for (const auto &line : lines) {
        *(int16_t *)store->slots[0] = line.blocks;
        store->capacity = line.rows;
        store->row_count = line.rows;
        EXPECT_EQ(0, AppendRow(result, RowNumber(line.rows)));
        EXPECT_EQ(line.blocks + 1, Counter());
        EXPECT_EQ(line.rows + line.added, store->capacity);
        EXPECT_EQ(line.rows + 1, store->row_count.load());
        EXPECT_EQ(RowNumber(line.rows), Block(line.blocks + 1)[0]);
        MemFree(store->slots[line.blocks + 1]);
        store->slots[line.blocks + 1] = nullptr;
    }
}

TEST_F(IndexGrowthTest, AnIndexWithoutAFreeSlotIsNoMemory) {
    Fill(1023, 537947376000);
    EXPECT_EQ(-5, AppendRow(result, RowNumber(0)));
    EXPECT_EQ(1024, Counter());
    EXPECT_EQ(-5, AppendRow(result, RowNumber(0)));
    EXPECT_EQ(1024, Counter());
    EXPECT_EQ(537947376000, store->row_count.load());
    EXPECT_EQ(537947376000, store->capacity);
}

TEST_F(RowStoreTest, NoMemoryForTheIndexLosesTheRowAndKeepsNothing) {
    const int64_t blocks = MemLiveBlocks();
    for (const uint64_t request : {1, 2, 3}) {
        MemFailAt(request);
        EXPECT_EQ(-5, AppendRow(result, RowNumber(0)));
        EXPECT_EQ(blocks, MemLiveBlocks());
        EXPECT_EQ(nullptr, store->slots);
        EXPECT_EQ(0, store->row_count.load());
    }
    AppendUpTo(1);
    EXPECT_EQ(RowNumber(0), *RowSlot(result, 0));
}

TEST_F(RowStoreTest, ABlockThatCouldNotBeHadLosesAllRowsBehindIt) {
    AppendUpTo(1000);
    MemFailAt(1);
    EXPECT_EQ(-5, AppendRow(result, RowNumber(1000)));
    EXPECT_EQ(2, Counter());
    EXPECT_EQ(1000, store->capacity);
    EXPECT_EQ(1000, store->row_count.load());
    // The counter stays raised: the next block goes to slot 3, and slot 2 stays without one.
    for (int n = 0; n < 3000; n++) {
        EXPECT_EQ(-5, AppendRow(result, RowNumber(1000)));
    }
    EXPECT_EQ(3, Counter());
    EXPECT_EQ(nullptr, store->slots[2]);
    EXPECT_EQ(1000, store->row_count.load());
    EXPECT_EQ(RowNumber(999), *RowSlot(result, 999));
}

TEST_F(RowStoreTest, TheStatementsLockIsFreeAfterAFailedBlock) {
    AppendUpTo(1000);
    MemFailAt(1);
    EXPECT_EQ(-5, AppendRow(result, RowNumber(1000)));
    MutexLock(&rig.stmt.lock);
    MutexUnlock(&rig.stmt.lock);
}

TEST_F(RowStoreTest, FreeingAnIndexWithAHoleFreesAll) {
    const int64_t blocks = MemLiveBlocks();
    AppendUpTo(1000);
    MemFailAt(1);
    EXPECT_EQ(-5, AppendRow(result, RowNumber(1000)));
    EXPECT_EQ(-5, AppendRow(result, RowNumber(1000)));
    RowStoreFree(store);
    EXPECT_EQ(blocks, MemLiveBlocks());
    EXPECT_EQ(nullptr, store->slots);
    RowStoreFree(store);
}
