// Time: the calendar clock, the local calendar, and sleep.
#pragma once

#include <cstdint>
#include <ctime>

// Seconds since 1970-01-01 00:00:00 UTC.
int64_t ClockSeconds(void);

// Milliseconds that the process has run, by the C library's `clock`: processor time, or on Windows
// the time since its start.
int64_t ClockRunMs(void);

// Converts seconds to the local calendar. Returns false when they are out of its range.
bool ClockToLocal(int64_t seconds, std::tm *local);

// Converts a local calendar time to seconds; negative when the system cannot, or when the time lies
// before the epoch.
int64_t ClockFromLocal(std::tm *local);

void ClockSleepMs(uint32_t milliseconds);

#ifdef TAVU_TEST_SEAMS
// Makes ClockSeconds return `seconds`; a negative value switches it off.
void ClockSetForTest(int64_t seconds);
// Makes ClockRunMs return `milliseconds`; a negative value switches it off.
void ClockSetRunMsForTest(int64_t milliseconds);
#endif
