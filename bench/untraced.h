// Included before every file of the library's second build: there the trace is never on, the compiler knows it, and
// leaves out whatever would trace.
#pragma once

#include <oss/trace.h>

#define ossTraceIsOn() 0
