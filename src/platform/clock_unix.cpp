// Local calendar and sleep over POSIX.
#include <cerrno>

#include "platform/clock.h"

bool ClockToLocal(int64_t seconds, std::tm *local) {
    time_t time = (time_t)seconds;
    return localtime_r(&time, local) != NULL;
}

void ClockSleepMs(uint32_t milliseconds) {
    timespec left = {(time_t)(milliseconds / 1000), (long)(milliseconds % 1000) * 1000000};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}
