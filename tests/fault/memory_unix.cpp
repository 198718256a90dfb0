// The whole conversation with the n-th allocation failing, for every n.
#include <gtest/gtest.h>

#include <cstdlib>

#include "fault/child.h"
#include "platform/memory.h"

static void FailEachInItsTurn(Manner manner) {
    ASSERT_EQ(0, MakeTables());
    bool reached = true;
    for (uint64_t n = 1; reached; n++) {
        const Outcome outcome = ConverseInChild(
            manner, [n] { MemFailAt(n); }, [] { return MemFailed(); });
        EXPECT_TRUE(IsPromised(outcome)) << "allocation " << n << ": " << Tell(outcome);
        if (getenv("FAULT_VERBOSE")) fprintf(stderr, "%d: %s\n", (int)n, Tell(outcome).c_str());
        reached = outcome.reached || outcome.ending != ENDED_FINISHED;
        if (!reached) {
            EXPECT_EQ(nullptr, outcome.first_bad_call) << Tell(outcome);
            EXPECT_EQ(MANY_ROWS, outcome.rows);
        }
    }
}

TEST(Memory, EachAllocationFailsInItsTurn) {
    FailEachInItsTurn(CAREFUL);
}

TEST(Memory, EachAllocationFailsInItsTurnAndTheApplicationGoesOn) {
    FailEachInItsTurn(STUBBORN);
}
