// The end of the process.
#include "platform/process.h"

#include <cstdlib>

void ProcessAbort(void) {
    abort();
}

void ProcessExit(int status) {
    exit(status);
}
