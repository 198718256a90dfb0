// The machine-wide control file, which would override defaults of new sessions and statements. This
// build reads none.
#include "client/control_file.h"

void ControlFileRead(TVCIServer *server) {
    server->has_control_file = 0;
}
