// SPDX-License-Identifier: MIT
// The utilities: not traced.
// Thread safety: any thread; there is no state.
#include <oss/identity.h>
#include <oss/trace.h>
#include <sntr/frame.h>

#include <algorithm>
#include <cstdint>

extern "C" {

std::uint32_t sntrPrintrc(std::uint32_t rc, char *buffer, std::uint64_t size) {
  return ecfErrorGetDescription(rc, buffer, size);
}

void sntrReverseByteSequence(std::uint8_t *bytes, std::uint64_t length) { std::reverse(bytes, bytes + length); }

std::uint32_t ossThreadIDAsInt(void) { return ossThreadID(); }

}  // extern "C"
