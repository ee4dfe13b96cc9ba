// The exported lists of attached segments, and the comparison of segment keys that they rest on. Each name has its one
// definition here; the work is list_operations.h's.
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
  return traced(Fn::sntrFindAttachSegInfoNodeInLList,
                [&](const Trace &t) { return findEntry<AttachEntry>(t, SharedPlace(pool), key, record); });
}

std::uint32_t sntrFindAttachSegInfoNodeInPMLList(const OSSIPCResID *key, AttachSegInfo **record) {
  return traced(Fn::sntrFindAttachSegInfoNodeInPMLList,
                [&](const Trace &t) { return findEntry<AttachEntry>(t, PrivatePlace(), key, record); });
}

std::uint32_t sntrInsertAttachSegInfoNodeIntoLList(const ShmPoolHandle *pool, const AttachSegInfo *record,
                                                   AttachSegInfo **stored) {
  return traced(Fn::sntrInsertAttachSegInfoNodeIntoLList,
                [&](const Trace &t) { return insertEntry<AttachEntry>(t, SharedPlace(pool), record, stored); });
}

std::uint32_t sntrInsertAttachSegInfoNodeIntoPMLList(const AttachSegInfo *record, AttachSegInfo **stored) {
  return traced(Fn::sntrInsertAttachSegInfoNodeIntoPMLList,
                [&](const Trace &t) { return insertEntry<AttachEntry>(t, PrivatePlace(), record, stored); });
}

std::uint32_t sntrDeleteAttachSegInfoNodeFromLList(const ShmPoolHandle *pool, const OSSIPCResID *key) {
  return traced(Fn::sntrDeleteAttachSegInfoNodeFromLList,
                [&](const Trace &t) { return deleteEntry<AttachEntry>(t, SharedPlace(pool), key); });
}

std::uint32_t sntrDeleteAttachSegInfoNodeFromPMLList(const OSSIPCResID *key) {
  return traced(Fn::sntrDeleteAttachSegInfoNodeFromPMLList,
                [&](const Trace &t) { return deleteEntry<AttachEntry>(t, PrivatePlace(), key); });
}

std::uint32_t sntrDeleteAttachSegInfoLList(const ShmPoolHandle *pool) {
  return traced(Fn::sntrDeleteAttachSegInfoLList,
                [&](const Trace &t) { return deleteEntries<AttachEntry>(t, SharedPlace(pool)); });
}

std::uint32_t sntrDeleteAttachSegInfoPMLList(void) {
  return traced(Fn::sntrDeleteAttachSegInfoPMLList,
                [&](const Trace &t) { return deleteEntries<AttachEntry>(t, PrivatePlace()); });
}

std::uint32_t sntrPrintAttachSegInfoNodeLList(const ShmPoolHandle *pool) {
  return traced(Fn::sntrPrintAttachSegInfoNodeLList,
                [&](const Trace &t) { return printEntries<AttachEntry>(t, SharedPlace(pool)); });
}

std::uint32_t sntrPrintAttachSegInfoNodePMLList(void) {
  return traced(Fn::sntrPrintAttachSegInfoNodePMLList,
                [&](const Trace &t) { return printEntries<AttachEntry>(t, PrivatePlace()); });
}

}  // extern "C"
