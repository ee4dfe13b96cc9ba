// SPDX-License-Identifier: MIT
// The exported lists of attached segments, and the comparison of segment keys. list_operations.h does the work.
#include "segments/list_operations.h"

using namespace sntr;

extern "C" {

std::uint32_t sntrCompareSegID(std::uint32_t mode, const void *a, const void *b, std::int64_t *order) {
  return traced(Fn::sntrCompareSegID, [&](const Trace &t) {
    if (order == nullptr) return t.fail(1, Rc::SegmentCompareFailed);
    int compared = 0;
    const Rc rc =
        compareSegmentKeys(mode, static_cast<const OSSIPCResID *>(a), static_cast<const OSSIPCResID *>(b), compared);
    if (failed(rc)) return t.fail(2, rc);
    *order = compared;
    return Rc::Ok;
  });
}

std::uint32_t sntrFindAttachSegInfoNodeInLList(const ShmPoolHandle *pool, const OSSIPCResID *key,
                                               AttachSegInfo **record) {
  return findEntry<AttachEntry>(Fn::sntrFindAttachSegInfoNodeInLList, SharedPlace(pool), key, record);
}

std::uint32_t sntrFindAttachSegInfoNodeInPMLList(const OSSIPCResID *key, AttachSegInfo **record) {
  return findEntry<AttachEntry>(Fn::sntrFindAttachSegInfoNodeInPMLList, PrivatePlace(), key, record);
}

std::uint32_t sntrInsertAttachSegInfoNodeIntoLList(const ShmPoolHandle *pool, const AttachSegInfo *record,
                                                   AttachSegInfo **stored) {
  return insertEntry<AttachEntry>(Fn::sntrInsertAttachSegInfoNodeIntoLList, SharedPlace(pool), record, stored);
}

std::uint32_t sntrInsertAttachSegInfoNodeIntoPMLList(const AttachSegInfo *record, AttachSegInfo **stored) {
  return insertEntry<AttachEntry>(Fn::sntrInsertAttachSegInfoNodeIntoPMLList, PrivatePlace(), record, stored);
}

std::uint32_t sntrDeleteAttachSegInfoNodeFromLList(const ShmPoolHandle *pool, const OSSIPCResID *key) {
  return deleteEntry<AttachEntry>(Fn::sntrDeleteAttachSegInfoNodeFromLList, SharedPlace(pool), key);
}

std::uint32_t sntrDeleteAttachSegInfoNodeFromPMLList(const OSSIPCResID *key) {
  return deleteEntry<AttachEntry>(Fn::sntrDeleteAttachSegInfoNodeFromPMLList, PrivatePlace(), key);
}

std::uint32_t sntrDeleteAttachSegInfoLList(const ShmPoolHandle *pool) {
  return deleteEntries<AttachEntry>(Fn::sntrDeleteAttachSegInfoLList, SharedPlace(pool));
}

std::uint32_t sntrDeleteAttachSegInfoPMLList(void) {
  return deleteEntries<AttachEntry>(Fn::sntrDeleteAttachSegInfoPMLList, PrivatePlace());
}

std::uint32_t sntrPrintAttachSegInfoNodeLList(const ShmPoolHandle *pool) {
  return printEntries<AttachEntry>(Fn::sntrPrintAttachSegInfoNodeLList, SharedPlace(pool));
}

std::uint32_t sntrPrintAttachSegInfoNodePMLList(void) {
  return printEntries<AttachEntry>(Fn::sntrPrintAttachSegInfoNodePMLList, PrivatePlace());
}

}  // extern "C"
