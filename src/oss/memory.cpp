// SPDX-License-Identifier: MIT
// Private memory, for any thread; the contract is in oss/memory.h.
#include <oss/memory.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>

#include "inject.h"
#include "system_error.h"
#include "trace_lines.h"

static_assert(alignof(std::max_align_t) >= 16, "the C library's memory is aligned as the interface says");

void *_ossMemAlloc(uint64_t size, const char *sourceTag, uint32_t line) {
  if (oss::injected(OSSFaultMemoryAlloc)) [[unlikely]]
    return nullptr;
  // One byte for 0: the C library may return null for 0 bytes, which would look like a failure.
  void *memory = std::malloc(size == 0 ? 1 : size);
  if (memory != nullptr) {
    oss::countHeld(OSSFaultHeldBlocks, 1);
  } else {
    static_cast<void>(oss::systemFailure(oss::Rc::OssNoMemory, ENOMEM));
    oss::traceRefusedMemory(size, sourceTag, line);
  }
  return memory;
}

uint32_t _ossMemFree(void *memory, const char *, uint32_t) {
  const bool madeToFail = oss::injected(OSSFaultMemoryFree);
  if (memory != nullptr) oss::countHeld(OSSFaultHeldBlocks, -1);
  std::free(memory);
  return oss::code(oss::reported(oss::Rc::Ok, madeToFail));
}
