// SPDX-License-Identifier: MIT
// Allocation and release of chunks.
// Thread safety: the caller holds the heap's latch.
#pragma once

#include "shm/allocated_list.h"
#include "shm/chunk_pads.h"
#include "shm/free_list.h"
#include "shm/heap_view.h"

namespace sntr {

// Takes n bytes by best fit from the high end of a free block, writes the pads, then records the chunk. Returns the
// type's noBlock if no free block is large enough for the chunk and its bookkeeping.
Rc takeChunk(const HeapView &view, std::uint64_t n, std::uint64_t userSize, const ChunkPads &pads,
             std::uint64_t &offset);

// Returns a recorded chunk to the free list, merged with free neighbours; the caller states the intent. Gone: the
// record's node lies in the chunk itself and cannot be reused.
enum class NodeAfter { Reusable, Gone };
Rc returnChunk(const HeapView &view, const Record &record, NodeAfter after);

// Releases a caller's chunk by its offset; states the intent itself. Returns the type's notFound if there is none.
Rc returnChunkAt(const HeapView &view, std::uint64_t offset);

// Takes n bytes by best fit without a record.
Rc takeFreeBlock(const HeapView &view, std::uint64_t n, std::uint64_t &offset);

}  // namespace sntr
