#pragma once

// What the linker defines in every program, as its documentation gives it; see CoreFoundation.h.

#include <mach-o/loader.h>

extern "C" const struct mach_header_64 _mh_execute_header;
