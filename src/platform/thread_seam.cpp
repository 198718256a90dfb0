// The seam at which a test makes a thread's start fail.
#include "platform/thread_seam.h"

#include "platform/thread.h"

#ifdef TAVU_TEST_SEAMS
#include <atomic>

static std::atomic<unsigned> starts_to_failure;

void ThreadFailAt(unsigned n) {
    starts_to_failure = n;
}

bool ThreadStartFails(void) {
    unsigned left = starts_to_failure.load();
    while (left != 0 && !starts_to_failure.compare_exchange_weak(left, left - 1)) {
    }
    return left == 1;
}
#else
bool ThreadStartFails(void) {
    return false;
}
#endif
