// The abnormal end of the process over POSIX.
#include <cstdlib>

#include "platform/process.h"

void ProcessAbort(void) {
    abort();
}
