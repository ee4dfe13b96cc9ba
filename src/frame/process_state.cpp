// SPDX-License-Identifier: MIT
// See process_state.h: the globals, the first and the counted initializations, and the cleanup.
//
// A failed cleanup can be repeated: each pointer is cleared before its memory is freed, so nothing is freed twice.
#include "frame/process_state.h"

#include <oss/latch.h>
#include <oss/memory.h>

#include <new>

#include "frame/trace.h"
#include "layout/version.h"

namespace sntr {

namespace {

constexpr char kSourceTag[] = "sntr";

// First word of the services layer's process-private latches; both records that embed one hold it from load on.
constexpr std::uint64_t kLatchIdentity = 0xa050004;

constexpr SegmentInfoGlobal segmentInfoAtLoad() {
  SegmentInfoGlobal global{};
  global.info.key.high = kLatchIdentity;
  return global;
}

constexpr SegmentListHead segmentListAtLoad() {
  SegmentListHead head{};
  head.latchIdentity = kLatchIdentity;
  return head;
}

}  // namespace

SpinGuard::SpinGuard(std::uint8_t &latch) noexcept : latch_(latch) {
  // Acquire: pairs with the release of the last holder. The services layer waits for a conflict and can sleep.
  if (__atomic_exchange_n(&latch_, std::uint8_t{1}, __ATOMIC_ACQUIRE) != 0) ossLockGetConflict(&latch_);
}

// Release: pairs with the exchange of the next holder.
SpinGuard::~SpinGuard() { __atomic_store_n(&latch_, std::uint8_t{0}, __ATOMIC_RELEASE); }

}  // namespace sntr

using namespace sntr;

// Constant-initialized, so that they are valid before any code of the program runs.
extern "C" {
constinit std::uint32_t sntrAPIIsInitialized = 0;
constinit std::uint32_t sntrAPIInitRefCount = 0;
constinit std::uint8_t sntrAPIInitLatch = 0;
constinit std::uint8_t sntrSegAttachLatch = 0;
constinit std::uint32_t sntrGARefCount = 0;
constinit SegmentInfoGlobal sntrGASegInfo = segmentInfoAtLoad();
constinit SegmentListHead sntrSegLLHeader = segmentListAtLoad();
constinit ModuleListHead sntrGCFLLHeader = {};
constinit SegAttachHead *pSegAttachList = nullptr;
}

namespace sntr {

namespace {

// Clears a pointer, then frees its memory, so that no cleanup frees it again. Returns the services layer's code.
template <class T>
Rc freeAndForget(T *&pointer) {
  T *const memory = pointer;
  pointer = nullptr;
  return memory == nullptr ? Rc::Ok : static_cast<Rc>(_ossMemFree(memory, kSourceTag, __LINE__));
}

Rc freeHandles(ShmSegInfo_t &info) {
  if (Rc rc = freeAndForget(info.pool); failed(rc)) return rc;
  return freeAndForget(info.domain);
}

// Two independent steps: a segment operation may have stamped the record without marking it filled, or the reverse.
Rc tearDownSegmentInfo() {
  if (sntrGASegInfo.state == SNTR_SEGMENT_INFO_FILLED) sntrGASegInfo.state = SNTR_SEGMENT_INFO_EMPTY;
  return sntrGASegInfo.info.recordVersion == kVersionWord ? freeHandles(sntrGASegInfo.info) : Rc::Ok;
}

Rc freeAttachCell(SegAttachCell *cell) {
  if (Rc rc = freeHandles(*cell->info); failed(rc)) return rc;
  if (Rc rc = freeAndForget(cell->info); failed(rc)) return rc;
  return freeAndForget(cell);
}

// Returns true for a stamped record. Another one stays with its cell, since its owner is unknown.
bool isTrusted(const SegAttachCell *cell) { return cell->info != nullptr && cell->info->recordVersion == kVersionWord; }

Rc tearDownAttachList(SegAttachHead &head) {
  SegAttachCell *cell = head.first;
  head.first = nullptr;
  while (cell != nullptr) {
    SegAttachCell *const next = cell->next;
    if (isTrusted(cell)) {
      if (Rc rc = freeAttachCell(cell); failed(rc)) return rc;
    }
    cell = next;
  }
  return Rc::Ok;
}

// Frees everything. The head is null if an earlier cleanup failed to free it.
Rc tearDown(const Trace &t) {
  if (Rc rc = tearDownSegmentInfo(); failed(rc)) return t.fail(40, rc);
  if (pSegAttachList != nullptr) {
    if (Rc rc = tearDownAttachList(*pSegAttachList); failed(rc)) return t.fail(50, rc);
  }
  if (Rc rc = freeAndForget(pSegAttachList); failed(rc)) return t.fail(60, rc);
  sntrAPIInitRefCount = 0;
  sntrAPIIsInitialized = SNTR_CLEANED_UP;
  return Rc::Ok;
}

Rc cleanUp(const Trace &t, std::uint32_t mode) {
  const SpinGuard init(sntrAPIInitLatch);
  if (sntrAPIIsInitialized != SNTR_INITIALIZED) return t.fail(10, Rc::NotInitialized);
  const SpinGuard attach(sntrSegAttachLatch);
  if (mode != SNTR_CLEANUP_ONE_REFERENCE && mode != SNTR_CLEANUP_ALL) return t.fail(20, Rc::BadCleanupMode);
  if (mode == SNTR_CLEANUP_ONE_REFERENCE && sntrAPIInitRefCount > 1) {
    --sntrAPIInitRefCount;
    return Rc::Ok;
  }
  return tearDown(t);
}

// The caller holds both latches.
Rc setUp(const Trace &t, std::uint32_t firstVersion, std::uint32_t secondVersion) {
  if (firstVersion != kVersionWord) return t.fail(20, Rc::BadVersion);
  void *const memory = _ossMemAlloc(sizeof(SegAttachHead), kSourceTag, __LINE__);
  if (memory == nullptr) return t.fail(30, Rc::AttachListAllocFailed);
  pSegAttachList = new (memory) SegAttachHead{};
  sntrSegLLHeader.first = nullptr;
  sntrGCFLLHeader.first = nullptr;
  sntrSegLLHeader.firstVersion = firstVersion;
  sntrSegLLHeader.secondVersion = secondVersion;
  sntrAPIIsInitialized = SNTR_INITIALIZED;
  sntrAPIInitRefCount = 1;
  return Rc::Ok;
}

// Forces the attach latch free first: the process may have been forked while a thread held it. No segment operation can
// be under way in a library that is not initialized.
Rc initializeFirst(const Trace &t, std::uint32_t firstVersion, std::uint32_t secondVersion) {
  sntrGASegInfo.state = SNTR_SEGMENT_INFO_EMPTY;
  if (secondVersion != kVersionWord) return t.fail(10, Rc::BadLatchVersion);
  // Release, like every release of the latch.
  __atomic_store_n(&sntrSegAttachLatch, std::uint8_t{0}, __ATOMIC_RELEASE);
  const SpinGuard attach(sntrSegAttachLatch);
  return setUp(t, firstVersion, secondVersion);
}

Rc initializeAgain(const Trace &t) {
  const SpinGuard attach(sntrSegAttachLatch);
  if (sntrAPIIsInitialized != SNTR_INITIALIZED) return t.fail(40, Rc::NotInitialized);
  ++sntrAPIInitRefCount;
  return Rc::Ok;
}

}  // namespace

}  // namespace sntr

extern "C" {

std::uint32_t SNTROneTimeOnlyInitialization(std::uint32_t firstVersion, std::uint32_t secondVersion) {
  return traced(Fn::SNTROneTimeOnlyInitialization, [&](const Trace &t) {
    const SpinGuard init(sntrAPIInitLatch);
    return sntrAPIInitRefCount == 0 ? initializeFirst(t, firstVersion, secondVersion) : initializeAgain(t);
  });
}

std::uint32_t SNTRCleanup(std::uint32_t mode) {
  return traced(Fn::SNTRCleanup, [&](const Trace &t) { return cleanUp(t, mode); });
}

}  // extern "C"
