// SPDX-License-Identifier: MIT
// Making and ending pool handles.
// Thread safety: the thread that creates, connects or ends the handle; private memory only.
#pragma once

#include "layout/rc.h"
#include "sntr/types.h"

namespace sntr {

// Makes a handle of the draft. Returns PoolHandleAllocFailed with `out` unchanged.
Rc storeHandle(const ShmPoolHandle &draft, ShmPoolHandle *&out);

// Frees a handle and nulls the caller's pointer, even if the services layer fails: the memory must not be used again.
// Returns PoolHandleFreeFailed.
Rc freeHandle(ShmPoolHandle *&pool);

}  // namespace sntr
