// The exported lists of modules. Each name has its one definition here; the work is list_operations.h's.
#include "segments/list_operations.h"

using namespace sntr;

extern "C" {

std::uint32_t sntrFindGCFNodeInLList(const ShmPoolHandle *pool, const char *path, GCFModuleInfo **record) {
  return traced(Fn::sntrFindGCFNodeInLList,
                [&](const Trace &t) { return findEntry<ModuleEntry>(t, SharedPlace(pool), path, record); });
}

std::uint32_t sntrFindGCFNodeInPMLList(const char *path, GCFModuleInfo **record) {
  return traced(Fn::sntrFindGCFNodeInPMLList,
                [&](const Trace &t) { return findEntry<ModuleEntry>(t, PrivatePlace(), path, record); });
}

std::uint32_t sntrInsertGCFNodeIntoLList(const ShmPoolHandle *pool, const GCFModuleInfo *record,
                                         GCFModuleInfo **stored) {
  return traced(Fn::sntrInsertGCFNodeIntoLList,
                [&](const Trace &t) { return insertEntry<ModuleEntry>(t, SharedPlace(pool), record, stored); });
}

std::uint32_t sntrInsertGCFNodeIntoPMLList(const GCFModuleInfo *record, GCFModuleInfo **stored) {
  return traced(Fn::sntrInsertGCFNodeIntoPMLList,
                [&](const Trace &t) { return insertEntry<ModuleEntry>(t, PrivatePlace(), record, stored); });
}

std::uint32_t sntrDeleteGCFNodeFromLList(const ShmPoolHandle *pool, const char *path) {
  return traced(Fn::sntrDeleteGCFNodeFromLList,
                [&](const Trace &t) { return deleteEntry<ModuleEntry>(t, SharedPlace(pool), path); });
}

std::uint32_t sntrDeleteGCFNodeFromPMLList(const char *path) {
  return traced(Fn::sntrDeleteGCFNodeFromPMLList,
                [&](const Trace &t) { return deleteEntry<ModuleEntry>(t, PrivatePlace(), path); });
}

std::uint32_t sntrDeleteGCFLList(const ShmPoolHandle *pool) {
  return traced(Fn::sntrDeleteGCFLList,
                [&](const Trace &t) { return deleteEntries<ModuleEntry>(t, SharedPlace(pool)); });
}

std::uint32_t sntrDeleteGCFPMLList(void) {
  return traced(Fn::sntrDeleteGCFPMLList,
                [&](const Trace &t) { return deleteEntries<ModuleEntry>(t, PrivatePlace()); });
}

std::uint32_t sntrPrintGCFNodeLList(const ShmPoolHandle *pool) {
  return traced(Fn::sntrPrintGCFNodeLList,
                [&](const Trace &t) { return printEntries<ModuleEntry>(t, SharedPlace(pool)); });
}

std::uint32_t sntrPrintGCFNodePMLList(void) {
  return traced(Fn::sntrPrintGCFNodePMLList,
                [&](const Trace &t) { return printEntries<ModuleEntry>(t, PrivatePlace()); });
}

}  // extern "C"
