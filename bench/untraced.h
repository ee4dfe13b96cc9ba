// SPDX-License-Identifier: MIT
// Included before every file of the library's second build: a constant turns the trace off, and the compiler removes
// it.
#pragma once

#include <oss/trace.h>

#define ossTraceIsOn() 0
