// Reading a response for nobody: every item, and what fails.
#include "stmt/drain.h"

#include <gtest/gtest.h>

#include "stmt/stmt_rig.h"
#include "wire/connection.h"

// Drains this answer, behind which one byte more comes and is left unread.
static int32_t Drain(const char *answer) {
    StmtRig rig;
    rig.peer.Send(Hex(answer) + Hex("'k'"));
    rig.peer.Close();
    const int32_t status = DrainResponse(rig.session->conn);
    uint8_t next = 0;
    EXPECT_TRUE(ConnReadChar(rig.session->conn, &next));
    EXPECT_EQ('k', next) << answer;
    EXPECT_EQ(nullptr, rig.Result(0));
    EXPECT_EQ("|", rig.Error());
    return status;
}

TEST(DrainResponse, ReadsEveryItemUpToTheEnd) {
    for (const char *answer : {
             "'K'",
             "'D' 00000004 'K'",
             "'U' 00000004 'K'",
             "'I' 00000000 'K'",
             "'I' 00000003 'KKK' 'K'",
             "'I' FFFFFFFF 'K'",
             "'O' 00000001 00000002 'KK' 'K'",
             "'P' 00000000 00000005 00000004 4B4B4B4B 'K'",
             "'P' 00000000 0000001E 00000003 'KKK' 'K'",
             "'P' 00000000 0000001E 00000000 'K'",
             "'E' 00000004 'KKKK' 'K'",
             "'F' 00000004 'KKKK' 'K'",
             "'M' 00000000 'W' 00000001 'K' 'K'",
             "'$' 00000001 00000001 'K' 00000005 00000004 00000000 'K'",
             "'B' 'U' 00000004 'K'",
         }) {
        EXPECT_EQ(0, Drain(answer)) << answer;
    }
}

TEST(DrainResponse, AsksAPausedRowStreamToGoOn) {
    StmtRig rig;
    rig.peer.Send(
        Hex("'A' 00000003 00000001 'N' 00000005 FFFFFFFF 00000000 "
            "             00000001 'T' 0000001E 00000008 00000000 "
            "             00000001 'S' 00000004 FFFFFFFF 00000000"));
    rig.peer.Expect(Hex("'.'"));
    rig.peer.Send(
        Hex("'R' 00000004 4B4B4B4B 00000002 'KK' 00000001 4B4B "
            "'E' 00000001 'K' "
            "'*' 00000003 'KKK' 00000000 00000000 00000002 4B4B "
            "'M' 00000001 'K' "
            "'R' FFFFFFFF 00000001 'K' 00000000 "
            "'U' 00000001 'K'"));
    EXPECT_EQ(0, DrainResponse(rig.session->conn));
    EXPECT_EQ(nullptr, rig.Result(0));
}

TEST(DrainResponse, ReadsAnyNumberOfRows) {
    StmtRig rig;
    rig.peer.Send(Hex(ONE_FIELD));
    rig.peer.Expect(Hex("'.'"));
    rig.peer.Send(IntRows(0, 10000) + Hex("'K'"));
    const int64_t blocks = MemLiveBlocks();
    EXPECT_EQ(0, DrainResponse(rig.session->conn));
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(DrainResponse, CutAtAnyByteIsALostConnection) {
    const Bytes answer =
        Hex("'D' 00000004 'I' 00000002 'ab' 'O' 00000001 00000002 'ab' "
            "'P' 00000000 00000004 00000002 0102 'P' 00000000 0000001E 00000002 'ab' "
            "'W' 00000002 'ab' '$' 00000001 00000001 'p' 00000005 00000004 00000000 "
            "'A' 00000002 00000001 'N' 00000005 FFFFFFFF 00000000 "
            "             00000001 'T' 0000001E 00000008 00000000 "
            "'*' 00000002 'ab' 00000004 00000001 00000002 'ab' 'M' 00000001 'a' 'K'");
    for (size_t came = 0; came < answer.size(); came++) {
        StmtRig rig;
        const int64_t blocks = MemLiveBlocks();
        CannedAnswer canned(Bytes(answer.begin(), answer.begin() + (ptrdiff_t)came));
        EXPECT_EQ(-4, DrainResponse(rig.session->conn)) << came;
        EXPECT_EQ(blocks, MemLiveBlocks()) << came;
        rig.DropUnread();
    }
}

TEST(DrainResponse, ShortMemoryEndsInACodeAndLeavesNothingBehind) {
    StmtRig rig;
    const int64_t blocks = MemLiveBlocks();
    for (uint64_t n = 1;; n++) {
        CannedAnswer canned(Hex("'E' 00000001 'e'") + Hex(ONE_FIELD) +
                            Hex("'R' 00000004 00000001 'M' 00000001 'm' 'K'"));
        MemFailAt(n);
        const int32_t status = DrainResponse(rig.session->conn);
        const bool failed = MemFailed();
        MemFailAt(0);
        rig.DropUnread();
        EXPECT_EQ(blocks, MemLiveBlocks()) << n;
        if (!failed) {
            EXPECT_EQ(0, status);
            // Two texts, the array of the fields and a name.
            EXPECT_EQ(5u, n);
            break;
        }
        EXPECT_EQ(-5, status) << n;
    }
}

TEST(DrainResponse, NegativeCountsAndLengthsAreNoMemory) {
    for (const char *answer : {"'A' FFFFFFFF", "'E' FFFFFFFF", "'$' FFFFFFFF"}) {
        EXPECT_EQ(-5, Drain(answer)) << answer;
    }
}
