// SPDX-License-Identifier: MIT
// The exclusive latch of the storage manager: a selector and a services-layer latch, 0x88 bytes in shared memory. A
// heap has two, taken one after the other and never nested.
// Thread safety: any thread of any process.
#pragma once

#include <oss/fast_paths.h>
#include <oss/latch.h>

#include <cstdint>

#include "layout/field_table.h"
#include "layout/rc.h"
#include "layout/version.h"
#include "layout/words.h"

namespace sntr {

// Shared.
struct ExclusiveLatch {
  std::uint32_t latchSelector;
  ossVLatch latch;
  unsigned char unused[0x84 - sizeof(ossVLatch)];
};

inline constexpr FieldRow kExclusiveLatchFields[] = {
    SNTR_FIELD(ExclusiveLatch, 0x00, 4, latchSelector, "the version word once initialized"),
    SNTR_FIELD(ExclusiveLatch, 0x04, 64, latch, "services-layer latch"),
    SNTR_FIELD(ExclusiveLatch, 0x44, 0x44, unused, "rest of the 0x84 bytes kept for a services-layer latch"),
};
static_assert(tiles(kExclusiveLatchFields, 0x88) && sizeof(ExclusiveLatch) == 0x88);

// Each returns 0, or NullExclusiveLatch, BadLatchVersion (the selector is not the version word) or LatchFailed.
// Initializing stores the selector last.
Rc initializeExclusiveLatch(ExclusiveLatch *latch, std::uint64_t selector);
Rc enterExclusive(ExclusiveLatch *latch);
Rc exitExclusive(ExclusiveLatch *latch);

// Inline versions for a caller that enters and leaves in one function; codes and order of checks are the same. `owner`
// receives the word with which the latch was taken, or 0 if the call above took it. The latch is not null.
inline Rc enterExclusive(ExclusiveLatch *latch, std::uint64_t &owner) {
  owner = 0;
  if (readWord<std::uint32_t>(&latch->latchSelector) == kVersionWord) owner = ossVLatchTryGet(&latch->latch);
  return owner != 0 ? Rc::Ok : enterExclusive(latch);
}
inline Rc exitExclusive(ExclusiveLatch *latch, std::uint64_t owner) {
  const bool known = readWord<std::uint32_t>(&latch->latchSelector) == kVersionWord;
  return known && ossVLatchTryRelease(&latch->latch, owner) ? Rc::Ok : exitExclusive(latch);
}

}  // namespace sntr
