// The whole conversation with the connection lost at the n-th send, for every n.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <set>

#include "fault/child.h"
#include "platform/socket.h"
#include "support/net.h"

// A send of 1 is the next one; at 0 and below it has happened.
static std::atomic<int> sends_to_failure;
static bool server_is_gone;

static int64_t SendOrLose(SocketId socket, const void *bytes, size_t count) {
    if (socket == 0) return -1;
    const int left = --sends_to_failure;
    if (left == 0 || (left < 0 && server_is_gone)) {
        // What is lost is lost in both directions.
        shutdown((int)socket, SHUT_RDWR);
        return -1;
    }
    return NetSend((uintptr_t)socket, bytes, count);
}

static int64_t ReceivePlainly(SocketId socket, void *bytes, size_t count) {
    return socket == 0 ? -1 : NetReceive((uintptr_t)socket, bytes, count);
}

// Returns the results of the first calls that failed, over all n.
static std::set<int32_t> LoseEachInItsTurn(Manner manner, bool for_good) {
    std::set<int32_t> codes;
    EXPECT_EQ(0, MakeTables());
    bool reached = true;
    for (int n = 1; reached; n++) {
        const Outcome outcome = ConverseInChild(
            manner,
            [n, for_good] {
                sends_to_failure = n;
                server_is_gone = for_good;
                SocketSetHooks(SendOrLose, ReceivePlainly);
            },
            [] { return sends_to_failure <= 0; });
        EXPECT_TRUE(IsPromised(outcome)) << "send " << n << ": " << Tell(outcome);
        reached = outcome.reached;
        if (outcome.first_bad_call != nullptr) {
            codes.insert(outcome.first_bad_code);
        }
        if (!reached) {
            EXPECT_EQ(nullptr, outcome.first_bad_call) << Tell(outcome);
        }
    }
    return codes;
}

// -1 from the logon, -4 from what never reconnects, -24 from what has reconnected, and -3 where the
// column of a define with indicators was asked for when the execution had lost its results.
TEST(Sends, EachLosesTheConnectionInItsTurn) {
    EXPECT_EQ((std::set<int32_t>{-1, -3, -4, -24}), LoseEachInItsTurn(CAREFUL, false));
}

TEST(Sends, EachLosesTheConnectionInItsTurnAndTheApplicationGoesOn) {
    EXPECT_EQ((std::set<int32_t>{-1, -3, -4, -24}), LoseEachInItsTurn(STUBBORN, false));
}

TEST(Sends, EachIsTheLastThatTheServerSees) {
    EXPECT_EQ((std::set<int32_t>{-1, -3, -4}), LoseEachInItsTurn(CAREFUL, true));
}

TEST(Sends, EachIsTheLastThatTheServerSeesAndTheApplicationGoesOn) {
    EXPECT_EQ((std::set<int32_t>{-1, -3, -4}), LoseEachInItsTurn(STUBBORN, true));
}
