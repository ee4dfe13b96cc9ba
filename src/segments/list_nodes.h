// The entries of the lists of attached segments and of modules: a link and the caller's record.
//
// One format for both forms. In a shared list, which every process that maps the domain reads, the link is an offset
// from the start of the domain, so no row may ever change; in a private list it is an address of this process.
#pragma once

#include <sntr/segments.h>

#include "layout/field_table.h"

namespace sntr {

// Shared, in a shared list.
template <class R>
struct ListNode {
  std::uint64_t next;  // 0 at the end
  R record;
};

using AttachListNode = ListNode<AttachSegInfo>;
using ModuleListNode = ListNode<GCFModuleInfo>;

inline constexpr FieldRow kAttachSegInfoFields[] = {
    SNTR_FIELD(AttachSegInfo, 0, 4, version, "the version word"),
    SNTR_FIELD(AttachSegInfo, 4, 4, reserved0, "not interpreted"),
    SNTR_FIELD(AttachSegInfo, 8, 4, latchVersion, "the version word"),
    SNTR_FIELD(AttachSegInfo, 12, 4, reserved1, "not interpreted"),
    SNTR_FIELD(AttachSegInfo, 16, 12, key, "the segment's key: u64, u32"),
    SNTR_FIELD(AttachSegInfo, 28, 4, reserved2, "not interpreted"),
    SNTR_FIELD(AttachSegInfo, 32, 8, reserved3, "not interpreted"),
};
static_assert(tiles(kAttachSegInfoFields, 40) && sizeof(AttachSegInfo) == 40);

inline constexpr FieldRow kModuleInfoFields[] = {
    SNTR_FIELD(GCFModuleInfo, 0, 0x400, path, "the module's path; NUL-terminated unless it fills the field"),
    SNTR_FIELD(GCFModuleInfo, 0x400, 0x20, data, "not interpreted"),
};
static_assert(tiles(kModuleInfoFields, 0x420) && sizeof(GCFModuleInfo) == 0x420);

inline constexpr FieldRow kAttachListNodeFields[] = {
    SNTR_FIELD(AttachListNode, 0, 8, next, "the next entry; 0 at the end"),
    SNTR_FIELD(AttachListNode, 8, 40, record, "the caller's record"),
};
static_assert(tiles(kAttachListNodeFields, 48) && sizeof(AttachListNode) == 48);

inline constexpr FieldRow kModuleListNodeFields[] = {
    SNTR_FIELD(ModuleListNode, 0, 8, next, "the next entry; 0 at the end"),
    SNTR_FIELD(ModuleListNode, 8, 0x420, record, "the caller's record"),
};
static_assert(tiles(kModuleListNodeFields, 0x428) && sizeof(ModuleListNode) == 0x428);

}  // namespace sntr
