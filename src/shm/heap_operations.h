// SPDX-License-Identifier: MIT
// The exported operations that domains and pools have in common, each on the heap that a handle names.
//
// `heapOf` is domainHeap() or poolHeap(). Each operation checks the handle first and the shared header after that, so
// that a bad handle is never followed. Failures of the handle are the caller's own, and logged.
// Thread safety: any thread, with a handle of this process.
#pragma once

#include <cstdint>

#include "frame/trace.h"
#include "shm/heap_access.h"

namespace sntr {

// Runs `Rc work(Trace &, const HeapRef &)`, whose probes begin at 2.
template <auto heapOf, class Handle, class Work>
std::uint32_t onHeap(Fn fn, const Handle *handle, Work &&work) {
  return traced(fn, [&](Trace &t) {
    HeapRef heap{};
    if (Rc rc = heapOf(handle, heap); failed(rc)) return t.failLogged(1, rc);
    return work(t, heap);
  });
}

template <auto heapOf, class Handle>
std::uint32_t getHeapInfo(Fn fn, const Handle *handle, ShmHeapInfo *info) {
  return onHeap<heapOf>(fn, handle, [&](Trace &t, const HeapRef &heap) {
    if (info == nullptr) return t.failLogged(2, Rc::NullInfoRecord);
    return t.fail(3, heapInfo(heap, *info));
  });
}

template <auto heapOf, class Handle>
std::uint32_t getHeapLatch(Fn fn, const Handle *handle) {
  return onHeap<heapOf>(fn, handle, [](Trace &t, const HeapRef &heap) { return t.fail(2, latchHeap(heap)); });
}

template <auto heapOf, class Handle>
std::uint32_t releaseHeapLatch(Fn fn, const Handle *handle) {
  return onHeap<heapOf>(fn, handle, [](Trace &t, const HeapRef &heap) { return t.fail(2, unlatchHeap(heap)); });
}

template <auto heapOf, class Handle>
std::uint32_t setUserData(Fn fn, const Handle *handle, std::uint64_t size, const void *source) {
  return onHeap<heapOf>(fn, handle, [&](Trace &t, const HeapRef &heap) {
    if (source == nullptr) return t.failLogged(2, Rc::NullUserData);
    const Rc rc = copyUserDataIn(heap, size, source);
    return rc == Rc::BadUserAreaSize ? t.failLogged(3, rc) : t.fail(4, rc);
  });
}

template <auto heapOf, class Handle>
std::uint32_t getUserData(Fn fn, const Handle *handle, std::uint64_t *size, void *destination) {
  return onHeap<heapOf>(fn, handle, [&](Trace &t, const HeapRef &heap) {
    if (size == nullptr) return t.failLogged(2, Rc::NullStorageOutput);
    if (destination == nullptr) return t.failLogged(3, Rc::NullUserData);
    return t.fail(4, copyUserDataOut(heap, *size, destination));
  });
}

}  // namespace sntr
