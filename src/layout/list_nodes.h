// SPDX-License-Identifier: MIT
// The lists of attached segments and of modules: their heads in a domain's header, and their entries.
//
// An entry is a link and the caller's record, in one format for both forms. In a shared list a link is an offset from
// the start of the domain. Every process that maps the domain reads it, so no row may ever change. In a private list a
// link is an address of this process.
#pragma once

#include <sntr/segments.h>

#include <cstddef>

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

// Shared. The heads, next to one another in the header of a domain.
struct SharedListHeads {
  std::uint64_t attached;
  std::uint64_t modules;
};

inline constexpr FieldRow kSharedListHeadsFields[] = {
    SNTR_FIELD(SharedListHeads, 0, 8, attached, "first entry of the shared list of attached segments"),
    SNTR_FIELD(SharedListHeads, 8, 8, modules, "first entry of the shared list of modules"),
};
static_assert(tiles(kSharedListHeadsFields, 16) && sizeof(SharedListHeads) == 16);

// Offset of the link in an entry of either list. Freeing a pool needs nothing else of an entry.
constexpr std::uint64_t kListLinkAt = 0;

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
static_assert(offsetof(AttachListNode, next) == kListLinkAt && offsetof(ModuleListNode, next) == kListLinkAt);

}  // namespace sntr
