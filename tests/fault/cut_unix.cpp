// The whole conversation with the server's answers cut at the k-th byte, for every k. The answers
// are written out; no server takes part.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "fault/child.h"
#include "platform/socket.h"
#include "platform/wait.h"
#include "support/bytes.h"
#include "support/net.h"

// What comes behind the cut.
enum Behind {
    THE_END,      // the end of the stream, then and ever
    AN_ERROR,     // a failed receive, then and ever
    A_NEW_SERVER  // the end of the stream, and 'K' to every request of the next connection
};

static const Bytes field_list_of_three =
    Hex("00000004 "
        "00000008 'FAULT.ID' 00000005 FFFFFFFF 00000002 "
        "0000000B 'FAULT.WORDS' 0000001E 00000014 00000402 "
        "0000000B 'FAULT.REAL8' 00000009 FFFFFFFF 00000002 "
        "00000005 'ROWID' 0000002D 00000014 00000000");

static const Bytes field_list_of_two =
    Hex("00000003 "
        "0000000D 'FAULT_MANY.ID' 00000005 FFFFFFFF 00000002 "
        "00000005 'WORDS' 0000001E 00000014 00000402 "
        "00000005 'ROWID' 0000002D 00000014 00000000");

static const Bytes three_rows =
    Hex("'R' 00000004 00000001 00000003 'one' 00000008 3FE0000000000000 00000001 '1' "
        "'M' 0000000C '[E00001] hey' "
        "'*' 00000002 'bm' 00000004 00000002 00000003 'two' 00000000 00000001 '2' "
        "'R' 00000004 00000003 00000005 'three' 00000008 41CDCD6500000000 00000001 '3'");

static const Bytes two_rows =
    Hex("'R' 00000004 00000001 00000005 'row 1' 00000001 '1' "
        "'R' 00000004 00000007 00000005 'row 7' 00000001 '7'");

// The answers to the requests of the conversation, in their order.
static std::vector<Bytes> Answers() {
    const Bytes done = Hex("'K'");
    const Bytes inserted = Hex("'I' 00000001 '1' 'K'");
    return {
        done,  // the login
        done,  // CREATE TABLE
        Hex("'$' 00000003 "
            "00000002 'ID' 0000001E 00000000 00000001 "
            "00000005 'WORDS' 0000001E 00000000 00000001 "
            "00000005 'REAL8' 0000001E 00000000 00000001 'K'"),
        inserted,
        inserted,
        inserted,
        done,  // DEALLOCATE
        done,  // COMMIT
        Hex("'A'") + field_list_of_three + done,
        Hex("'A'") + field_list_of_three + three_rows + Hex("'W' 00000003 '[W]' 'K'"),
        done,  // DEALLOCATE
        Hex("'A'") + field_list_of_two + done,
        Hex("'A'") + field_list_of_two + two_rows + Hex("'U' 00000001 'K'"),
        done,                                  // DEALLOCATE
        Hex("'U' 00000001 'U' 00000002 'K'"),  // DROP TABLE
        done,                                  // COMMIT
        done                                   // the COMMIT of the logoff
    };
}

static std::vector<Bytes> answers;
static size_t answer_number;
static size_t answer_offset;
static size_t bytes_to_cut;
static bool cut_reached;
static bool new_server_came;
static int unanswered_requests;
static Behind behind;

static int64_t Swallow(SocketId socket, const void *bytes, size_t count) {
    if (socket == 0) return -1;
    if (cut_reached && count >= 5 && memcmp(bytes, "login", 5) == 0) {
        new_server_came = true;
    }
    unanswered_requests++;
    return (int64_t)count;
}

static int64_t BehindTheCut(uint8_t *bytes) {
    if (!cut_reached) {
        cut_reached = true;
        unanswered_requests = 0;
    }
    if (behind == AN_ERROR) return -1;
    if (behind == THE_END || !new_server_came) return 0;
    if (unanswered_requests == 0) {
        EndChild(ENDED_UNANSWERED);
    }
    unanswered_requests = 0;
    bytes[0] = 'K';
    return 1;
}

// Gives out one answer at a time, as a server does that waits for the next request.
static int64_t ReceiveUpToTheCut(SocketId socket, void *target, size_t count) {
    if (socket == 0) return -1;
    if (bytes_to_cut == 0) return BehindTheCut((uint8_t *)target);
    if (answer_number == answers.size()) {
        EndChild(ENDED_UNANSWERED);
    }
    const Bytes &answer = answers[answer_number];
    const size_t left = std::min(bytes_to_cut, answer.size() - answer_offset);
    const size_t given = std::min(count, left);
    memcpy(target, answer.data() + answer_offset, given);
    bytes_to_cut -= given;
    answer_offset += given;
    if (answer_offset == answer.size()) {
        answer_number++;
        answer_offset = 0;
    }
    return (int64_t)given;
}

class Cut : public testing::Test {
protected:
    void SetUp() override {
        answers = Answers();
        for (const Bytes &answer : answers) {
            total_ += answer.size();
        }
        listener_ = NetListen(&port_);
        ASSERT_NE(NET_NONE, listener_);
    }

    void TearDown() override {
        NetClose(listener_, false);
    }

    Outcome CutAt(size_t k, Behind what, Manner manner) {
        const std::string link = "127.0.0.1:" + std::to_string(port_) + "/SYSTEM";
        const Outcome outcome = ConverseInChild(
            link, manner,
            [k, what] {
                bytes_to_cut = k;
                behind = what;
                SocketSetHooks(Swallow, ReceiveUpToTheCut);
            },
            [] { return cut_reached; });
        // Nobody talks over these connections; they are to leave the listener's queue.
        for (uintptr_t made = NetAccept(listener_, 0); made != NET_NONE;) {
            NetClose(made, true);
            made = NetAccept(listener_, 0);
        }
        return outcome;
    }

    // Returns the results of the first calls that failed, over all k.
    std::set<int32_t> CutEverywhere(Behind what, Manner manner) {
        std::set<int32_t> codes;
        for (size_t k = 0; k < total_; k++) {
            const Outcome outcome = CutAt(k, what, manner);
            EXPECT_TRUE(IsPromised(outcome)) << "cut at byte " << k << ": " << Tell(outcome);
            EXPECT_TRUE(outcome.reached) << "cut at byte " << k;
            if (outcome.first_bad_call != nullptr) {
                codes.insert(outcome.first_bad_code);
            }
        }
        return codes;
    }

    size_t total_ = 0;
    uintptr_t listener_ = NET_NONE;
    uint16_t port_ = 0;
};

TEST_F(Cut, BehindTheLastByteNothingIsMissing) {
    const Outcome outcome = CutAt(total_, THE_END, CAREFUL);
    EXPECT_TRUE(IsPromised(outcome)) << Tell(outcome);
    EXPECT_EQ(ENDED_FINISHED, outcome.ending) << Tell(outcome);
    EXPECT_FALSE(outcome.reached);
    EXPECT_EQ(nullptr, outcome.first_bad_call) << Tell(outcome);
    EXPECT_EQ(2, outcome.rows);
}

TEST_F(Cut, AtEachByteWithTheEndOfTheStream) {
    EXPECT_EQ((std::set<int32_t>{-1, -3, -4}), CutEverywhere(THE_END, CAREFUL));
}

TEST_F(Cut, AtEachByteWithAFailedReceive) {
    EXPECT_EQ((std::set<int32_t>{-1, -3, -4}), CutEverywhere(AN_ERROR, CAREFUL));
}

TEST_F(Cut, AtEachByteAndTheApplicationGoesOn) {
    EXPECT_EQ((std::set<int32_t>{-1, -3, -4}), CutEverywhere(THE_END, STUBBORN));
}

TEST_F(Cut, AtEachByteWithANewServerBehindIt) {
    EXPECT_EQ((std::set<int32_t>{-1, -3, -4, -24}), CutEverywhere(A_NEW_SERVER, CAREFUL));
}

TEST_F(Cut, AtEachByteWithANewServerBehindItAndTheApplicationGoesOn) {
    EXPECT_EQ((std::set<int32_t>{-1, -3, -4, -24}), CutEverywhere(A_NEW_SERVER, STUBBORN));
}

static std::atomic<int64_t> reader_bytes_to_cut;
static std::thread::id main_thread;

static int64_t ReceiveUpToTheReadersCut(SocketId socket, void *bytes, size_t count) {
    if (socket == 0) return -1;
    if (std::this_thread::get_id() == main_thread) {
        return NetReceive((uintptr_t)socket, bytes, count);
    }
    const int64_t left = reader_bytes_to_cut;
    const int64_t received = NetReceive((uintptr_t)socket, bytes, std::min((size_t)left, count));
    reader_bytes_to_cut -= received;
    return received;
}

// The rows that came are handed out; the release of the result waits for an end that nobody tells.
TEST(CutInTheBackground, LeavesTheReleaseOfTheResultWaiting) {
    ASSERT_EQ(0, MakeTables());
    bool reached = true;
    int64_t cuts = 0;
    for (int64_t k = 0; reached; k += 977) {
        const Outcome outcome = ConverseInChild(
            CAREFUL,
            [k] {
                main_thread = std::this_thread::get_id();
                reader_bytes_to_cut = k;
                SocketSetHooks(nullptr, ReceiveUpToTheReadersCut);
            },
            [] { return reader_bytes_to_cut == 0; });
        reached = outcome.reached;
        EXPECT_EQ(nullptr, outcome.first_bad_call) << k << ": " << Tell(outcome);
        EXPECT_EQ(reached ? ENDED_WAITING : ENDED_FINISHED, outcome.ending)
            << k << ": " << Tell(outcome);
        if (reached) {
            EXPECT_EQ(WAIT_RESPONSE_DONE, outcome.wait_point) << k << ": " << Tell(outcome);
            EXPECT_LE(2000, outcome.rows) << k;
            EXPECT_GT(MANY_ROWS, outcome.rows) << k;
            cuts++;
        } else {
            EXPECT_EQ(MANY_ROWS, outcome.rows) << k;
        }
    }
    // A row is 29 bytes; of the 1200 behind the first block some came with that.
    EXPECT_LT(20, cuts);
    EXPECT_GT(37, cuts);
}
