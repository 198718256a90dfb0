// The calendar clock and the process's own.
#include "platform/clock.h"

#ifdef TAVU_TEST_SEAMS
#include <atomic>

static std::atomic<int64_t> test_seconds{-1};
static std::atomic<int64_t> test_run_ms{-1};

void ClockSetForTest(int64_t seconds) {
    test_seconds = seconds;
}

void ClockSetRunMsForTest(int64_t milliseconds) {
    test_run_ms = milliseconds;
}

static int64_t TestSeconds(void) {
    return test_seconds;
}

static int64_t TestRunMs(void) {
    return test_run_ms;
}
#else
static int64_t TestSeconds(void) {
    return -1;
}

static int64_t TestRunMs(void) {
    return -1;
}
#endif

int64_t ClockSeconds(void) {
    int64_t fixed = TestSeconds();
    return fixed >= 0 ? fixed : (int64_t)time(NULL);
}

int64_t ClockRunMs(void) {
    int64_t fixed = TestRunMs();
    return fixed >= 0 ? fixed : (int64_t)clock() * 1000 / CLOCKS_PER_SEC;
}

int64_t ClockFromLocal(std::tm *local) {
    return (int64_t)mktime(local);
}
