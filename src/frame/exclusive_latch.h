// The exclusive latch of the storage manager: a selector and a services-layer latch, 0x88 bytes in shared memory. A
// heap has two, taken one after the other and never nested.
#pragma once

#include <oss/latch.h>

#include <cstdint>

#include "layout/field_table.h"
#include "layout/rc.h"

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

// NullExclusiveLatch, BadLatchVersion (the selector is not the version word), LatchFailed. Initializing stores the
// selector last.
Rc initializeExclusiveLatch(ExclusiveLatch *latch, std::uint64_t selector);
Rc enterExclusive(ExclusiveLatch *latch);
Rc exitExclusive(ExclusiveLatch *latch);

}  // namespace sntr
