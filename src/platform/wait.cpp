// Waits, each with its name.
#include "platform/wait.h"

#include "platform/clock.h"

// The names of the waits, in the order of WaitPoint.
static const char *const wait_name_table[] = {
    "connection permit",               // WAIT_CONN_PERMIT
    "connection permit at tear-down",  // WAIT_CONN_FREE
    "connection permit at close",      // WAIT_CLOSE_PERMIT
    "end of the response",             // WAIT_RESPONSE_DONE
    "rows ahead of the fetch",         // WAIT_ROWS_AHEAD
    "complete row count",              // WAIT_ROW_COUNT
    "fetch-ahead block",               // WAIT_AHEAD_RELEASE
    "rows of the next block",          // WAIT_AHEAD_ROWS
    "turn of the fetch-ahead reader",  // WAIT_AHEAD_TURN
    "idle pool connection",            // WAIT_POOL_PERMIT
    "large value connection",          // WAIT_LOB_CONN
    "bulk acknowledgement",            // WAIT_BULK_READER
};
static_assert(sizeof wait_name_table / sizeof wait_name_table[0] == WAIT_POINT_COUNT);

const char *WaitPointName(WaitPoint point) {
    return wait_name_table[point];
}

#ifdef TAVU_TEST_SEAMS
#include <atomic>

static std::atomic<void (*)(WaitPoint)> wait_hook;
static std::atomic<bool> sleeps_skipped;

void WaitSetHook(void (*hook)(WaitPoint point)) {
    wait_hook = hook;
}

void WaitSkipSleeps(bool skip) {
    sleeps_skipped = skip;
}

static bool SleepsSkipped(void) {
    return sleeps_skipped;
}

static void EnterWait(WaitPoint point) {
    void (*hook)(WaitPoint) = wait_hook.load();
    if (hook != NULL) {
        hook(point);
    }
}
#else
static bool SleepsSkipped(void) {
    return false;
}

static void EnterWait(WaitPoint point) {
    (void)point;
}
#endif

void WaitStep(WaitPoint point) {
    EnterWait(point);
    if (!SleepsSkipped()) {
        ClockSleepMs(POLL_STEP_MS);
    }
}

void WaitSpin(WaitPoint point) {
    EnterWait(point);
    __builtin_ia32_pause();
}

void WaitSemaphore(Semaphore *semaphore, WaitPoint point) {
    if (SemaphoreTryTake(semaphore)) return;
    EnterWait(point);
    SemaphoreTake(semaphore);
}
