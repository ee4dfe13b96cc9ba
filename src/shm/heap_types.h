// SPDX-License-Identifier: MIT
// Differences between a domain's heap and a pool's, as data: an eyecatcher and the result codes.
#pragma once

#include "shm/heap_header.h"

namespace sntr {

struct HeapTraits {
  std::uint64_t eyecatcher;
  Rc notThis;         // another eyecatcher, or the heap reaches beyond its memory
  Rc offsetMismatch;  // the stored header offset differs
  Rc marked;          // marked for deletion
  Rc noBlock;         // no free block is large enough
  Rc full;            // not enough free bytes in all
  Rc misfit;          // header and skip-list area do not fit
  Rc notFound;        // no block at this offset
};

inline constexpr HeapTraits kDomainHeap = {
    kDomainEyecatcher,
    Rc::NotADomain,
    Rc::DomainOffsetMismatch,
    Rc::DomainMarkedForDeletion,
    Rc::DomainNoBlockLargeEnough,
    Rc::DomainFull,
    Rc::DomainHeaderMisfit,
    Rc::DomainBlockNotFound,
};
inline constexpr HeapTraits kPoolHeap = {
    kPoolEyecatcher,
    Rc::NotAPool,
    Rc::PoolOffsetMismatch,
    Rc::PoolMarkedForDeletion,
    Rc::PoolNoBlockLargeEnough,
    Rc::PoolFull,
    Rc::PoolHeaderMisfit,
    Rc::PoolBlockNotFound,
};

constexpr const HeapTraits &traitsOf(HeapType type) { return type == HeapType::Domain ? kDomainHeap : kPoolHeap; }

// Converts a caller's number to a type. Returns BadHeapType for another number.
constexpr Rc heapTypeFrom(std::uint32_t number, HeapType &type) {
  if (number != 1 && number != 2) return Rc::BadHeapType;
  type = static_cast<HeapType>(number);
  return Rc::Ok;
}

}  // namespace sntr
