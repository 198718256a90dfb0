// The whole conversation with the n-th allocation failing, for every n.
#include <gtest/gtest.h>

#include <set>

#include "fault/child.h"
#include "platform/memory.h"
#include "platform/wait.h"

// Goes through all of them, up to the conversation that no failure reaches. Returns the waits in
// which conversations have ended.
static std::set<int32_t> FailEachInItsTurn(Manner manner) {
    std::set<int32_t> waits;
    EXPECT_EQ(0, MakeTables());
    bool reached = true;
    for (uint64_t n = 1; reached; n++) {
        const Outcome outcome = ConverseInChild(
            manner, [n] { MemFailAt(n); }, [] { return MemFailed(); });
        EXPECT_TRUE(IsPromised(outcome)) << "allocation " << n << ": " << Tell(outcome);
        if (outcome.ending == ENDED_WAITING) {
            waits.insert(outcome.wait_point);
        }
        reached = outcome.reached;
        if (!reached) {
            EXPECT_EQ(ENDED_FINISHED, outcome.ending) << Tell(outcome);
            EXPECT_EQ(nullptr, outcome.first_bad_call) << Tell(outcome);
            EXPECT_EQ(MANY_ROWS, outcome.rows);
        }
    }
    return waits;
}

// The waits behind a field list or a row stream that broke off, and behind a reader that could not
// be started.
static const std::set<int32_t> broken_off = {WAIT_RESPONSE_DONE, WAIT_ROWS_AHEAD};

TEST(Memory, EachAllocationFailsInItsTurn) {
    EXPECT_EQ(broken_off, FailEachInItsTurn(CAREFUL));
}

TEST(Memory, EachAllocationFailsInItsTurnAndTheApplicationGoesOn) {
    EXPECT_EQ(broken_off, FailEachInItsTurn(STUBBORN));
}
