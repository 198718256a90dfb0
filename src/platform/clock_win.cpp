// Local calendar and sleep over Windows.
#include <windows.h>

#include "platform/clock.h"

bool ClockToLocal(int64_t seconds, std::tm *local) {
    __time64_t time = seconds;
    return _localtime64_s(local, &time) == 0;
}

void ClockSleepMs(uint32_t milliseconds) {
    Sleep(milliseconds);
}
