// The numbers that a session key is drawn from.
#include <gtest/gtest.h>

#include <thread>

#include "platform/clock.h"
#include "platform/random.h"
#include "wire/login.h"

// Runs on a thread that has drawn nothing yet.
template <typename Body>
static void OnAFreshThread(const Body &body) {
    std::thread(body).join();
}

TEST(RandomNext, BeginsOnEveryThreadAsWithASeedOfOne) {
    for (int thread = 0; thread < 2; thread++) {
        OnAFreshThread([] {
            EXPECT_EQ(41, RandomNext());
            EXPECT_EQ(18467, RandomNext());
            EXPECT_EQ(6334, RandomNext());
            EXPECT_EQ(26500, RandomNext());
            EXPECT_EQ(19169, RandomNext());
            EXPECT_EQ(15724, RandomNext());
        });
    }
}

TEST(RandomSeed, StartsTheSequenceAnew) {
    OnAFreshThread([] {
        RandomSeed(1);
        EXPECT_EQ(41, RandomNext());
        // 0 * 214013 + 2531011 is 0x269EC3, and 0x26 is 38.
        RandomSeed(0);
        EXPECT_EQ(38, RandomNext());
        EXPECT_EQ(7719, RandomNext());
        // The state wraps at 32 bits.
        RandomSeed(0xFFFFFFFF);
        EXPECT_EQ(35, RandomNext());
    });
}

// Takes the seeding for done, whatever ran before.
static void Seed() {
    LoginRandom(0, 1);
}

TEST(LoginRandom, ScalesADrawToTheBounds) {
    Seed();
    OnAFreshThread([] {
        // 41, 18467, 6334 and 26500 of 32767.
        EXPECT_EQ(5374116u, LoginRandom(0, 0xFFFFFFFF));
        EXPECT_EQ(2420580493u, LoginRandom(0, 0xFFFFFFFF));
        EXPECT_EQ(19u, LoginRandom(0, 100));
        EXPECT_EQ(1080u, LoginRandom(1000, 100));
    });
}

TEST(LoginRandom, ReachesBothEnds) {
    Seed();
    OnAFreshThread([] {
        // States whose next draws are 32767 and 0.
        RandomSeed(30091);
        EXPECT_EQ(0xFFFFFFFFu, LoginRandom(0, 0xFFFFFFFF));
        RandomSeed(30091);
        EXPECT_EQ(10u, LoginRandom(3, 7));
        RandomSeed(30091);
        EXPECT_EQ(4u, LoginRandom(5, 0xFFFFFFFF));
        RandomSeed(20057);
        EXPECT_EQ(7u, LoginRandom(7, 0xFFFFFFFF));
    });
}

TEST(LoginRandom, SeedsOnceFromTheTimesAndDiscardsDraws) {
    OnAFreshThread([] {
        ClockSetForTest(600);
        ClockSetRunMsForTest(400);
        LoginRandomForgetSeed();
        // The first draw behind a seed of 1000 is 3304, so that 232 more are discarded.
        EXPECT_EQ(330311520u, LoginRandom(0, 0xFFFFFFFF));
        EXPECT_EQ(674123868u, LoginRandom(0, 0xFFFFFFFF));
        EXPECT_EQ(3037293074u, LoginRandom(0, 0xFFFFFFFF));
        ClockSetForTest(-1);
        ClockSetRunMsForTest(-1);
    });
}

TEST(LoginRandom, IsTheSameOnEveryThreadButTheFirst) {
    Seed();
    for (int thread = 0; thread < 2; thread++) {
        OnAFreshThread([] { EXPECT_EQ(5374116u, LoginRandom(0, 0xFFFFFFFF)); });
    }
}

TEST(ClockRunMs, DoesNotRunBackwards) {
    const int64_t before = ClockRunMs();
    EXPECT_GE(before, 0);
    EXPECT_GE(ClockRunMs(), before);
}
