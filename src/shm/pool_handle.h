// The making and unmaking of pool handles: private memory only; the thread that creates, connects or ends the handle.
#pragma once

#include "layout/rc.h"
#include "sntr/types.h"

namespace sntr {

// PoolHandleAllocFailed, and `out` is left alone.
Rc storeHandle(const ShmPoolHandle &draft, ShmPoolHandle *&out);

// Frees a handle and nulls the caller's pointer, whatever the answer: what was given to the services layer once must
// not be used again. PoolHandleFreeFailed.
Rc freeHandle(ShmPoolHandle *&pool);

}  // namespace sntr
