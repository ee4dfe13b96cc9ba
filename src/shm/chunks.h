// Taking chunks from a heap and giving them back, inside its latch.
#pragma once

#include "shm/allocated_list.h"
#include "shm/chunk_pads.h"
#include "shm/free_list.h"
#include "shm/heap_view.h"

namespace sntr {

// Takes n bytes by best fit from the high end of a free block and records the chunk, with its pads written before it
// exists. The type's noBlock when no free block is large enough for it and for the bookkeeping it needs.
Rc takeChunk(const HeapView &view, std::uint64_t n, std::uint64_t userSize, const ChunkPads &pads,
             std::uint64_t &offset);

// Gives a recorded chunk back, merged with free neighbours, inside an intent that the caller states. Whether the
// record's node may be used again afterwards: not where it lies in the chunk itself.
enum class NodeAfter { Reusable, Gone };
Rc returnChunk(const HeapView &view, const Record &record, NodeAfter after);

// The same for the chunk at an offset, a caller's; the type's notFound where no caller's chunk begins there.
Rc returnChunkAt(const HeapView &view, std::uint64_t offset);

// Best fit without a record.
Rc takeFreeBlock(const HeapView &view, std::uint64_t n, std::uint64_t &offset);

}  // namespace sntr
