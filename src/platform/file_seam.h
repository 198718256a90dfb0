// The seam at which a test learns what files were opened.
#pragma once

#include <cstdio>

// Tells a test of an opened file and returns it; `file` may be NULL.
FILE *FileOpenedHooked(FILE *file);
