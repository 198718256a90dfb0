// User memory blocks and the list of an environment's.
#include "oci/usermem.h"

#include <cstdint>
#include <cstring>

#include "platform/memory.h"

constexpr size_t HEADER_BYTES = 16;

void *UserMemAlloc(void *ctxp, OCIMallocFunc malocfp, size_t bytes) {
    if (bytes > SIZE_MAX - HEADER_BYTES) return NULL;
    size_t block_bytes = bytes + HEADER_BYTES;
    void *block = malocfp != NULL ? malocfp(ctxp, block_bytes) : MemAlloc(block_bytes);
    if (block == NULL) return NULL;
    std::memset(block, 0, block_bytes);
    return (uint8_t *)block + HEADER_BYTES;
}

void UserMemRelease(void *ctxp, OCIMallocFunc malocfp, OCIFreeFunc mfreefp, void *memory) {
    if (memory == NULL) return;
    void *block = (uint8_t *)memory - HEADER_BYTES;
    if (mfreefp != NULL) {
        mfreefp(ctxp, block);
    } else if (malocfp == NULL) {
        MemFree(block);
    }
}

void *UserMemAdd(OCIEnv *env, size_t bytes) {
    void *memory = UserMemAlloc(env->ctxp, env->malocfp, bytes);
    if (memory == NULL) return NULL;
    UserMemNode *node = (UserMemNode *)MemAlloc(sizeof(UserMemNode));
    if (node == NULL) {
        UserMemRelease(env->ctxp, env->malocfp, env->mfreefp, memory);
        return NULL;
    }
    node->memory = memory;
    node->next = env->usermem_list;
    env->usermem_list = node;
    return memory;
}

void UserMemDrop(OCIEnv *env, void *memory) {
    if (memory == NULL) return;
    for (UserMemNode *node = env->usermem_list; node != NULL; node = node->next) {
        if (node->memory == memory) {
            node->memory = NULL;
        }
    }
    UserMemRelease(env->ctxp, env->malocfp, env->mfreefp, memory);
}

void UserMemRemove(OCIEnv *env, void *memory) {
    if (memory == NULL) return;
    UserMemNode *node = env->usermem_list;
    if (node->memory == memory) {
        // This path is the heap's alone: what came from the application's allocator stays with it.
        env->usermem_list = node->next;
        UserMemRelease(env->ctxp, env->malocfp, NULL, memory);
        MemFree(node);
        return;
    }
    while (node->next != NULL && node->next->memory != NULL && node->next->memory != memory) {
        node = node->next;
    }
    UserMemNode *found = node->next;
    if (found == NULL || found->memory == NULL) return;
    node->next = found->next;
    UserMemRelease(env->ctxp, env->malocfp, env->mfreefp, memory);
    MemFree(found);
}

void UserMemReleaseAll(OCIEnv *env) {
    while (env->usermem_list->next != NULL) {
        UserMemNode *head = env->usermem_list;
        env->usermem_list = head->next;
        UserMemRelease(env->ctxp, env->malocfp, env->mfreefp, head->memory);
        MemFree(head);
    }
    UserMemRelease(env->ctxp, env->malocfp, env->mfreefp, env->first_usermem.memory);
}
