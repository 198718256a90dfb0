// The whole conversation with the server's answers delivered one byte at a time.
#include <gtest/gtest.h>

#include "fault/conversation.h"
#include "platform/memory.h"
#include "platform/socket.h"
#include "platform/wait.h"
#include "support/net.h"

static int64_t ReceiveOneByte(SocketId socket, void *bytes, size_t count) {
    if (socket == 0) return -1;
    return NetReceive((uintptr_t)socket, bytes, count == 0 ? 0 : 1);
}

static int64_t SendOneByte(SocketId socket, const void *bytes, size_t count) {
    if (socket == 0) return -1;
    const uint8_t *next = (const uint8_t *)bytes;
    for (size_t sent = 0; sent < count; sent++) {
        if (NetSend((uintptr_t)socket, next + sent, 1) != 1) return -1;
    }
    return (int64_t)count;
}

static void Converse() {
    Conversation conversation(ServerLink(), CAREFUL, [](const char *call, int32_t code) {
        if (std::string(call) == "OCIStmtFetch") {
            EXPECT_TRUE(code == OCI_SUCCESS || code == OCI_NO_DATA) << code;
        } else {
            EXPECT_EQ(OCI_SUCCESS, code) << call;
        }
    });
    const int64_t blocks = MemLiveBlocks();
    conversation.Run();
    EXPECT_EQ("", conversation.Problem());
    EXPECT_EQ(3, conversation.rows_read());
    EXPECT_EQ(MANY_ROWS, conversation.many_rows_read());
    EXPECT_EQ(blocks, MemLiveBlocks());
}

class OneByte : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(0, Conversation(ServerLink(), CAREFUL, [](const char *, int32_t) {}).Prepare());
    }

    void TearDown() override {
        SocketSetHooks(nullptr, nullptr);
    }
};

TEST_F(OneByte, AnswersArriveSo) {
    SocketSetHooks(nullptr, ReceiveOneByte);
    Converse();
}

TEST_F(OneByte, RequestsLeaveSo) {
    SocketSetHooks(SendOneByte, nullptr);
    Converse();
}
