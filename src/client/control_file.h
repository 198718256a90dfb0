// The machine-wide control file, which overrides defaults of new sessions and statements.
#pragma once

#include "records/handles.h"

// Reads the file into the control-file values of a new server. Without a file it sets
// `has_control_file` to 0 and nothing else; a file that cannot be read counts as an empty one.
void ControlFileRead(TVCIServer *server);
