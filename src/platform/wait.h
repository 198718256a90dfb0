// Waits: every place where a thread may wait without limit has a name here, and every such wait
// goes through one of the three functions below.
#pragma once

#include <cstdint>

#include "platform/lock.h"

#ifndef TAVU_POLL_STEP_MS
#define TAVU_POLL_STEP_MS 1000
#endif

// The step of every polling wait, in milliseconds.
constexpr uint32_t POLL_STEP_MS = TAVU_POLL_STEP_MS;

enum WaitPoint {
    WAIT_CONN_PERMIT,    // the connection's permit, held by another request or by its row reader
    WAIT_CONN_FREE,      // the connection's permit, before the connection is torn down
    WAIT_CLOSE_PERMIT,   // the connection's permit, when a statement with open rows is closed
    WAIT_RESPONSE_DONE,  // the end of a response, before its results are released
    WAIT_ROWS_AHEAD,     // the row reader, to be 100 rows ahead of the fetch or finished
    WAIT_ROW_COUNT,      // the row reader, to be finished before the rows are counted
    WAIT_AHEAD_RELEASE,  // the fetch-ahead reader, before its result is released
    WAIT_AHEAD_ROWS,     // the fetch-ahead reader's block, when the one before is used up
    WAIT_AHEAD_TURN,     // of the fetch-ahead reader itself: the fetch, to take its block
    WAIT_POOL_PERMIT,    // an idle connection of the pool
    WAIT_LOB_CONN,       // the connection for large values, while another thread makes it
    WAIT_BULK_READER,    // the acknowledgement reader of a bulk load
    WAIT_POINT_COUNT
};

// The name of a wait, as docs/limits.md lists it.
const char *WaitPointName(WaitPoint point);

// Sleeps one polling step.
void WaitStep(WaitPoint point);

// One turn of a busy loop: does not sleep.
void WaitSpin(WaitPoint point);

// Takes a permit, however long it lasts.
void WaitSemaphore(Semaphore *semaphore, WaitPoint point);

#ifdef TAVU_TEST_SEAMS
// Called with the name of the wait before each step, each spin turn, and before a semaphore wait
// that would block. NULL switches it off.
void WaitSetHook(void (*hook)(WaitPoint point));
// Makes polling steps return without the sleep, so that a test can go through all of a long wait.
void WaitSkipSleeps(bool skip);
#endif
