// The end of the process, asked for in good order.
#include "platform/process.h"

#include <cstdlib>

void ProcessExit(int status) {
    exit(status);
}
