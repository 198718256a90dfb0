// User memory: blocks that the application asks for with a handle and that live as long as the
// environment.
#pragma once

#include "oci/records.h"

// Returns `bytes` zeroed bytes behind a header of 16, from the callback or the heap; NULL when
// there is no memory.
void *UserMemAlloc(void *ctxp, OCIMallocFunc malocfp, size_t bytes);

// Releases a block of UserMemAlloc, through mfreefp when that is set. NULL is ignored. Without
// mfreefp a block that came from malocfp is not the heap's: it is left alone.
void UserMemRelease(void *ctxp, OCIMallocFunc malocfp, OCIFreeFunc mfreefp, void *memory);

// Allocates through the environment's callbacks and puts the block at the head of its list; NULL
// when there is no memory.
void *UserMemAdd(OCIEnv *env, size_t bytes);

// Releases a block that stays on the list as a node without one.
void UserMemDrop(OCIEnv *env, void *memory);

// Takes a block off the list and releases it. NULL is ignored. A block at the head of the list is
// released without mfreefp.
void UserMemRemove(OCIEnv *env, void *memory);

// Releases all blocks of an environment that is about to be freed.
void UserMemReleaseAll(OCIEnv *env);
