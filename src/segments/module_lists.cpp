// SPDX-License-Identifier: MIT
// The exported lists of modules. list_operations.h does the work.
#include "segments/list_operations.h"

using namespace sntr;

extern "C" {

std::uint32_t sntrFindGCFNodeInLList(const ShmPoolHandle *pool, const char *path, GCFModuleInfo **record) {
  return findEntry<ModuleEntry>(Fn::sntrFindGCFNodeInLList, SharedPlace(pool), path, record);
}

std::uint32_t sntrFindGCFNodeInPMLList(const char *path, GCFModuleInfo **record) {
  return findEntry<ModuleEntry>(Fn::sntrFindGCFNodeInPMLList, PrivatePlace(), path, record);
}

std::uint32_t sntrInsertGCFNodeIntoLList(const ShmPoolHandle *pool, const GCFModuleInfo *record,
                                         GCFModuleInfo **stored) {
  return insertEntry<ModuleEntry>(Fn::sntrInsertGCFNodeIntoLList, SharedPlace(pool), record, stored);
}

std::uint32_t sntrInsertGCFNodeIntoPMLList(const GCFModuleInfo *record, GCFModuleInfo **stored) {
  return insertEntry<ModuleEntry>(Fn::sntrInsertGCFNodeIntoPMLList, PrivatePlace(), record, stored);
}

std::uint32_t sntrDeleteGCFNodeFromLList(const ShmPoolHandle *pool, const char *path) {
  return deleteEntry<ModuleEntry>(Fn::sntrDeleteGCFNodeFromLList, SharedPlace(pool), path);
}

std::uint32_t sntrDeleteGCFNodeFromPMLList(const char *path) {
  return deleteEntry<ModuleEntry>(Fn::sntrDeleteGCFNodeFromPMLList, PrivatePlace(), path);
}

std::uint32_t sntrDeleteGCFLList(const ShmPoolHandle *pool) {
  return deleteEntries<ModuleEntry>(Fn::sntrDeleteGCFLList, SharedPlace(pool));
}

std::uint32_t sntrDeleteGCFPMLList(void) {
  return deleteEntries<ModuleEntry>(Fn::sntrDeleteGCFPMLList, PrivatePlace());
}

std::uint32_t sntrPrintGCFNodeLList(const ShmPoolHandle *pool) {
  return printEntries<ModuleEntry>(Fn::sntrPrintGCFNodeLList, SharedPlace(pool));
}

std::uint32_t sntrPrintGCFNodePMLList(void) {
  return printEntries<ModuleEntry>(Fn::sntrPrintGCFNodePMLList, PrivatePlace());
}

}  // extern "C"
