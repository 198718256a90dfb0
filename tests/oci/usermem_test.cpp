// User memory: blocks beside a handle, from the application's allocator or the heap.
#include "oci/usermem.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>

#include "platform/memory.h"
#include "support/call_rig.h"

namespace {

// An application's allocator that counts and knows its blocks.
struct Allocator {
    std::map<void *, size_t> blocks;
    int32_t allocations = 0;
    int32_t releases = 0;
    int32_t unknown_releases = 0;
    bool fails = false;
};

void *CountingMalloc(void *ctxp, size_t size) {
    Allocator *allocator = (Allocator *)ctxp;
    allocator->allocations++;
    if (allocator->fails) return NULL;
    void *block = malloc(size);
    memset(block, 0x5A, size);
    allocator->blocks[block] = size;
    return block;
}

void *NoRealloc(void *, void *, size_t) {
    abort();
}

void CountingFree(void *ctxp, void *block) {
    Allocator *allocator = (Allocator *)ctxp;
    allocator->releases++;
    if (allocator->blocks.erase(block) == 0) {
        allocator->unknown_releases++;
        return;
    }
    free(block);
}

bool AllZero(const void *memory, size_t bytes) {
    for (size_t i = 0; i < bytes; i++) {
        if (((const uint8_t *)memory)[i] != 0) return false;
    }
    return true;
}

}  // namespace

class UserMem : public testing::Test {
protected:
    void SetUp() override {
        blocks_ = MemLiveBlocks();
    }

    void TearDown() override {
        MemFailAt(0);
        if (env_ != NULL) {
            EXPECT_EQ(0, OCIHandleFree(env_, OCI_HTYPE_ENV));
        }
        EXPECT_EQ(blocks_, MemLiveBlocks());
        EXPECT_EQ(0u, allocator_.blocks.size()) << "the allocator's blocks came back";
        EXPECT_EQ(0, allocator_.unknown_releases);
    }

    void CreateWithCallbacks(size_t bytes, void **memory) {
        ASSERT_EQ(0, OCIEnvCreate(&env_, 0, &allocator_, CountingMalloc, NoRealloc, CountingFree,
                                  bytes, memory));
    }

    OCIEnv *env_ = NULL;
    Allocator allocator_;
    int64_t blocks_ = 0;
};

TEST_F(UserMem, TheEnvironmentsBlockComesFromTheCallbackWithItsHeader) {
    void *memory = NULL;
    CreateWithCallbacks(100, &memory);
    ASSERT_NE(nullptr, memory);
    EXPECT_EQ(1, allocator_.allocations) << "the record itself is the heap's";
    EXPECT_EQ(116u, allocator_.blocks[(uint8_t *)memory - 16]);
    EXPECT_TRUE(AllZero((uint8_t *)memory - 16, 116));
    EXPECT_EQ(memory, env_->first_usermem.memory);
    EXPECT_EQ(&env_->first_usermem, env_->usermem_list);
    EXPECT_EQ(0, OCIHandleFree(env_, OCI_HTYPE_ENV));
    env_ = NULL;
    EXPECT_EQ(1, allocator_.releases);
}

TEST_F(UserMem, NoneIsMadeWithoutASizeOrASlot) {
    void *memory = (void *)0x5A;
    CreateWithCallbacks(0, &memory);
    EXPECT_EQ((void *)0x5A, memory);
    OCIError *err = NULL;
    EXPECT_EQ(0, OCIHandleAlloc(env_, (void **)&err, OCI_HTYPE_ERROR, 8, NULL));
    EXPECT_EQ(0, OCIHandleFree(err, OCI_HTYPE_ERROR));
    EXPECT_EQ(0, OCIHandleAlloc(env_, (void **)&err, OCI_HTYPE_ERROR, 0, &memory));
    EXPECT_EQ(0, OCIHandleFree(err, OCI_HTYPE_ERROR));
    EXPECT_EQ(0, allocator_.allocations);
}

TEST_F(UserMem, AHandlesBlockLivesAsLongAsTheEnvironment) {
    void *memory[3] = {};
    CreateWithCallbacks(8, &memory[0]);
    OCIError *err = NULL;
    EXPECT_EQ(0, OCIHandleAlloc(env_, (void **)&err, OCI_HTYPE_ERROR, 32, &memory[1]));
    OCISession *session = NULL;
    EXPECT_EQ(0, OCIHandleAlloc(env_, (void **)&session, OCI_HTYPE_SESSION, 16, &memory[2]));
    EXPECT_EQ(memory[2], session->usermem);
    EXPECT_TRUE(AllZero(memory[1], 32));
    EXPECT_EQ(memory[2], env_->usermem_list->memory) << "the newest stands at the head";
    EXPECT_EQ(memory[1], env_->usermem_list->next->memory);
    EXPECT_EQ(&env_->first_usermem, env_->usermem_list->next->next);
    EXPECT_EQ(0, OCIHandleFree(err, OCI_HTYPE_ERROR));
    EXPECT_EQ(-3, OCIHandleFree(session, OCI_HTYPE_SESSION));
    EXPECT_EQ(0, allocator_.releases);
    memset(memory[1], 1, 32);
    EXPECT_EQ(0, OCIHandleFree(env_, OCI_HTYPE_ENV));
    env_ = NULL;
    EXPECT_EQ(3, allocator_.releases);
}

TEST_F(UserMem, WithoutCallbacksItIsTheHeaps) {
    void *memory = NULL;
    ASSERT_EQ(0, OCIEnvInit(&env_, 0, 8, &memory));
    EXPECT_TRUE(AllZero((uint8_t *)memory - 16, 24));
    void *handle = NULL;
    EXPECT_EQ(-1, OCIHandleAlloc(env_, &handle, 4, 8, &memory));
    EXPECT_EQ(memory, env_->usermem_list->memory) << "an unknown type leaves the block on the list";
}

TEST_F(UserMem, AnAllocatorThatFailsGivesMinus1) {
    allocator_.fails = true;
    void *memory = (void *)0x5A;
    OCIEnv *env = NULL;
    EXPECT_EQ(-1, OCIEnvCreate(&env, 0, &allocator_, CountingMalloc, NoRealloc, CountingFree, 8,
                               &memory));
    EXPECT_EQ(nullptr, env);
    CreateWithCallbacks(0, NULL);
    void *handle = (void *)0x5A;
    EXPECT_EQ(-1, OCIHandleAlloc(env_, &handle, OCI_HTYPE_ERROR, 8, &memory));
    EXPECT_EQ((void *)0x5A, handle);
    EXPECT_EQ(&env_->first_usermem, env_->usermem_list);
}

TEST_F(UserMem, ASizeThatWrapsAroundIsRefused) {
    void *memory = NULL;
    OCIEnv *env = NULL;
    EXPECT_EQ(-1, OCIEnvInit(&env, 0, SIZE_MAX - 15, &memory));
    EXPECT_EQ(-1, OCIEnvInit(&env, 0, SIZE_MAX, &memory));
}

TEST_F(UserMem, AFailedRecordTakesItsBlockOffTheHeadWithoutTheReleaseCallback) {
    ASSERT_EQ(0, OCIEnvInit(&env_, 0, 0, NULL));
    env_->mfreefp = CountingFree;
    env_->ctxp = &allocator_;
    void *memory = (void *)0x5A;
    void *handle = (void *)0x5A;
    MemFailAt(3);  // the block, its node, the record
    EXPECT_EQ(-1, OCIHandleAlloc(env_, &handle, OCI_HTYPE_STMT, 8, &memory));
    EXPECT_TRUE(MemFailed());
    EXPECT_EQ(nullptr, memory);
    EXPECT_EQ(nullptr, handle);
    EXPECT_EQ(&env_->first_usermem, env_->usermem_list);
    EXPECT_EQ(0, allocator_.releases);
    env_->mfreefp = NULL;
}

TEST_F(UserMem, AFailedRecordLeavesTheApplicationsBlockToTheApplication) {
    CreateWithCallbacks(0, NULL);
    void *memory = NULL;
    void *handle = NULL;
    MemFailAt(2);  // the node, the record
    EXPECT_EQ(-1, OCIHandleAlloc(env_, &handle, OCI_HTYPE_STMT, 8, &memory));
    EXPECT_EQ(0, allocator_.releases);
    ASSERT_EQ(1u, allocator_.blocks.size());
    free(allocator_.blocks.begin()->first);
    allocator_.blocks.clear();
}

TEST_F(UserMem, AFailedRecordClearsTheSlotEvenWhenNoMemoryWasAskedFor) {
    void *memory = (void *)0x5A;
    OCIEnv *env = NULL;
    MemFailAt(1);
    EXPECT_EQ(-1, OCIEnvCreate(&env, 0, NULL, NULL, NULL, NULL, 0, &memory));
    EXPECT_EQ(nullptr, memory);
    ASSERT_EQ(0, OCIEnvInit(&env_, 0, 0, NULL));
    memory = (void *)0x5A;
    void *handle = (void *)0x5A;
    MemFailAt(1);
    EXPECT_EQ(-1, OCIHandleAlloc(env_, &handle, OCI_HTYPE_ERROR, 0, &memory));
    EXPECT_EQ(nullptr, memory);
}

TEST_F(UserMem, ANodeThatCannotBeHadReleasesTheBlock) {
    CreateWithCallbacks(0, NULL);
    void *memory = (void *)0x5A;
    void *handle = (void *)0x5A;
    MemFailAt(1);
    EXPECT_EQ(-1, OCIHandleAlloc(env_, &handle, OCI_HTYPE_STMT, 8, &memory));
    EXPECT_EQ(nullptr, memory);
    EXPECT_EQ(1, allocator_.releases);
}

TEST_F(UserMem, APendingSessionThatCannotBeQueuedIsTakenBack) {
    ASSERT_EQ(0, OCIEnvInit(&env_, 0, 0, NULL));
    for (uint32_t type : {OCI_HTYPE_SESSION, OCI_HTYPE_STMT}) {
        void *memory = (void *)0x5A;
        void *handle = (void *)0x5A;
        MemFailAt(4);  // the block, its node, the record, the array
        EXPECT_EQ(-1, OCIHandleAlloc(env_, &handle, type, 8, &memory));
        EXPECT_TRUE(MemFailed());
        EXPECT_EQ(nullptr, handle);
        EXPECT_NE(nullptr, memory) << "an address that must not be used";
        EXPECT_EQ(&env_->first_usermem, env_->usermem_list);
        EXPECT_EQ(0, env_->pending_session_count);
        EXPECT_EQ(0, env_->pending_stmt_count);
    }
}

TEST_F(UserMem, AFailedStepReleasesTheBlockByTheCallbackOnce) {
    CreateWithCallbacks(0, NULL);
    OCIServer *server = NewHandle<OCIServer>(env_, OCI_HTYPE_SERVER);
    EXPECT_EQ(0, OCIHandleFree(server, OCI_HTYPE_SERVER));
    void *memory = NULL;
    void *handle = (void *)0x5A;
    EXPECT_EQ(-1, OCIHandleAlloc(env_, &handle, OCI_HTYPE_SESSION, 8, &memory));
    EXPECT_EQ(nullptr, handle);
    EXPECT_NE(nullptr, memory) << "an address that must not be used";
    EXPECT_EQ(1, allocator_.releases);
    EXPECT_EQ(nullptr, env_->usermem_list->memory) << "its node stays, without a block";
    EXPECT_EQ(0, OCIHandleFree(env_, OCI_HTYPE_ENV));
    env_ = NULL;
    EXPECT_EQ(1, allocator_.releases);
}

TEST_F(UserMem, RemovalBehindTheHeadUsesTheCallbackAndStopsAtAnEmptyNode) {
    CreateWithCallbacks(0, NULL);
    void *first = UserMemAdd(env_, 8);
    void *second = UserMemAdd(env_, 8);
    UserMemRemove(env_, NULL);
    UserMemRemove(env_, first);
    EXPECT_EQ(1, allocator_.releases) << "the proper release";
    EXPECT_EQ(second, env_->usermem_list->memory);
    EXPECT_EQ(&env_->first_usermem, env_->usermem_list->next);
    void *third = UserMemAdd(env_, 8);
    UserMemDrop(env_, second);
    EXPECT_EQ(2, allocator_.releases);
    UserMemRemove(env_, second);
    EXPECT_EQ(2, allocator_.releases) << "what is not on the list is not released";
    EXPECT_EQ(third, env_->usermem_list->memory);
}

TEST_F(UserMem, ABlockFromACallbackWithoutAReleaseIsNotTheHeaps) {
    OCIEnv *env = NULL;
    void *memory = NULL;
    ASSERT_EQ(0, OCIEnvCreate(&env, 0, &allocator_, CountingMalloc, NULL, NULL, 8, &memory));
    EXPECT_EQ(0, OCIHandleFree(env, OCI_HTYPE_ENV));
    ASSERT_EQ(1u, allocator_.blocks.size());
    free(allocator_.blocks.begin()->first);
    allocator_.blocks.clear();
}

TEST_F(UserMem, DescriptorsChecksAreInTheirOwnOrder) {
    ASSERT_EQ(0, OCIEnvInit(&env_, 0, 0, NULL));
    void *locator = (void *)0x5A;
    OCIError *err = NewHandle<OCIError>(env_, OCI_HTYPE_ERROR);
    EXPECT_EQ(-1, OCIDescriptorAlloc(NULL, NULL, 7, 0, NULL));
    EXPECT_EQ(-2, OCIDescriptorAlloc(env_, NULL, OCI_DTYPE_LOB, 0, NULL));
    EXPECT_EQ(-2, OCIDescriptorAlloc(err, &locator, OCI_DTYPE_LOB, 0, NULL));
    EXPECT_EQ(-2, OCIDescriptorAlloc(env_, &locator, OCI_DTYPE_PARAM, 0, NULL));
    EXPECT_EQ((void *)0x5A, locator);
    EXPECT_EQ(-2, OCIDescriptorFree(NULL, OCI_DTYPE_LOB));
    EXPECT_EQ(-2, OCIDescriptorFree(err, OCI_DTYPE_LOB));
    EXPECT_EQ(0, OCIDescriptorAlloc(env_, &locator, OCI_DTYPE_LOB, 0, NULL));
    EXPECT_EQ(-2, OCIDescriptorFree(locator, OCI_DTYPE_PARAM));
    EXPECT_EQ(-2, OCIHandleFree(locator, OCI_DTYPE_LOB)) << "a descriptor is not a handle";
    EXPECT_EQ(0, OCIDescriptorFree(locator, OCI_DTYPE_LOB));
    EXPECT_EQ(0, OCIHandleFree(err, OCI_HTYPE_ERROR));
}

TEST_F(UserMem, ALocatorHasItsHolderAndItsBlock) {
    CreateWithCallbacks(0, NULL);
    OCILobLocator *locator = NULL;
    void *memory = NULL;
    ASSERT_EQ(0, OCIDescriptorAlloc(env_, (void **)&locator, OCI_DTYPE_LOB, 24, &memory));
    EXPECT_EQ(50u, locator->type);
    EXPECT_NE(nullptr, locator->native_lob);
    EXPECT_EQ(memory, env_->usermem_list->memory);
    EXPECT_EQ(0, OCIHandleFree(env_, OCI_HTYPE_ENV));
    env_ = NULL;
    EXPECT_EQ(0, OCIDescriptorFree(locator, OCI_DTYPE_LOB)) << "it outlives the environment";
}

TEST_F(UserMem, ALocatorThatCannotBeMadeLeavesNothing) {
    ASSERT_EQ(0, OCIEnvInit(&env_, 0, 0, NULL));
    int64_t before = MemLiveBlocks();
    for (uint64_t n = 1; n <= 4; n++) {
        void *locator = NULL;
        void *memory = NULL;
        MemFailAt(n);  // the locator, the holder, the block, its node
        EXPECT_EQ(-1, OCIDescriptorAlloc(env_, &locator, OCI_DTYPE_LOB, 24, &memory)) << n;
        EXPECT_TRUE(MemFailed()) << n;
        EXPECT_EQ(n > 2, locator != NULL) << "an address that must not be used";
        EXPECT_EQ(before, MemLiveBlocks()) << n;
    }
}
