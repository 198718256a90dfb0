// The machine-wide control file.
#pragma once

#include "records/handles.h"

// Stores the file's values on a new server; without a file only `has_control_file` 0.
void ControlFileRead(TVCIServer *server);
