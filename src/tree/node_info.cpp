// SPDX-License-Identifier: MIT
// The status-node-information record: the segment and the module of a node, as entries of the shared lists of the
// segment that stores them.
// Thread safety: any thread that holds no node's section.
#include <sntr/nodes.h>

#include <cstring>

#include "frame/trace.h"
#include "layout/version.h"
#include "segments/segment_key.h"
#include "segments/shared_entries.h"

namespace sntr {

namespace {

constexpr std::uint64_t kMostData = 0x1000;

Rc checkSizes(std::uint64_t firstSize, std::uint64_t dataSize) {
  if (firstSize > SNTR_MAX_TAG) return Rc::TagTooLarge;  // bounded like a tag
  return dataSize > kMostData ? Rc::DataTooLong : Rc::Ok;
}

// Existing entries are used unchanged.
Rc ensureEntries(const Trace &t, const ShmPoolHandle *pool, const OSSIPCResID &key, const void *module,
                 SNodeInfo &info) {
  AttachSegInfo segment{};
  segment.version = kVersionWord;
  segment.latchVersion = kVersionWord;
  segment.key = key;
  if (Rc rc = ensureAttachEntry(pool, segment, info.segmentEntry); failed(rc)) return t.fail(60, rc);
  GCFModuleInfo record{};
  if (module != nullptr) std::memcpy(&record, module, sizeof(record));
  return t.fail(70, ensureModuleEntry(pool, record, info.moduleEntry));
}

static_assert(sizeof(GCFModuleInfo) == 1056, "the module's record is the node's 1056-byte record");

}  // namespace

}  // namespace sntr

using namespace sntr;

extern "C" {

std::uint32_t sntrAddStatusNodeInfo(SNodeInfo *record, const ShmSegInfo_t *info, const OSSIPCResID *key,
                                    std::uint64_t value, std::uint64_t firstSize, std::uint64_t dataSize,
                                    const void *record1056) {
  return traced(Fn::sntrAddStatusNodeInfo, [&](const Trace &t) {
    if (info == nullptr || key == nullptr) return t.fail(10, Rc::NullKey);
    if (record == nullptr) return t.fail(20, Rc::NullNodeInfo);
    if (Rc rc = checkSizes(firstSize, dataSize); failed(rc)) return t.fail(30, rc);
    if (info->pool == nullptr) return t.fail(40, Rc::NullPoolHandle);
    SNodeInfo filled{value, firstSize, dataSize, 0, 0, 0, reinterpret_cast<std::uintptr_t>(info->pool->baseAddress)};
    if (Rc rc = ensureEntries(t, info->pool, readKey(key), record1056, filled); failed(rc)) return rc;
    *record = filled;
    return Rc::Ok;
  });
}

}  // extern "C"
