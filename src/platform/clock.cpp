// The calendar clock.
#include "platform/clock.h"

#ifdef TAVU_TEST_SEAMS
#include <atomic>

static std::atomic<int64_t> test_seconds{-1};

void ClockSetForTest(int64_t seconds) {
    test_seconds = seconds;
}

static int64_t TestSeconds(void) {
    return test_seconds;
}
#else
static int64_t TestSeconds(void) {
    return -1;
}
#endif

int64_t ClockSeconds(void) {
    int64_t fixed = TestSeconds();
    return fixed >= 0 ? fixed : (int64_t)time(NULL);
}

int64_t ClockFromLocal(std::tm *local) {
    return (int64_t)mktime(local);
}
