// The seam at which a test makes a thread's start fail.
#pragma once

// Whether this start is the one that a test has chosen; false outside tests.
bool ThreadStartFails(void);
