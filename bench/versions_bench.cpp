// SPDX-License-Identifier: MIT
// The library beside an earlier commit of itself, whose built library SNTR_BENCH_BEFORE names; without it nothing is
// compared. Both are called through pointers, in one process, on the same nodes, in alternating rounds.
//
// The earlier library has a loader namespace of its own, because it brings a services layer under the same name. Its
// copy of the C library does not detect a fork: nothing forks here.
#include <dlfcn.h>

#include <cstdlib>

#include "support/other_stores.h"

namespace bench {

namespace {

constexpr std::uint32_t kProperties = 1000;

struct Library {
  decltype(&sntrGetValueForRProperty) getR;
  decltype(&sntrSetValueForRProperty) setR;
  decltype(&sntrGetValueForVProperty) getV;
  decltype(&sntrSetValueForVProperty) setV;
  decltype(&sntrGetValueForIRProperty) getIR;
  decltype(&sntrSetValueForIRProperty) setIR;
};

Library present() {
  return {sntrGetValueForRProperty, sntrSetValueForRProperty,  sntrGetValueForVProperty,
          sntrSetValueForVProperty, sntrGetValueForIRProperty, sntrSetValueForIRProperty};
}

const char *beforeAt() { return std::getenv("SNTR_BENCH_BEFORE"); }

template <class Function>
void find(void *handle, const char *name, Function &function) {
  function = reinterpret_cast<Function>(dlsym(handle, name));
  require(function != nullptr, std::string("the earlier library has no ") + name);
}

Library before() {
  static void *const handle = dlmopen(LM_ID_NEWLM, beforeAt(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) throw Failure(dlerror());
  Library library{};
  find(handle, "sntrGetValueForRProperty", library.getR);
  find(handle, "sntrSetValueForRProperty", library.setR);
  find(handle, "sntrGetValueForVProperty", library.getV);
  find(handle, "sntrSetValueForVProperty", library.setV);
  find(handle, "sntrGetValueForIRProperty", library.getIR);
  find(handle, "sntrSetValueForIRProperty", library.setIR);
  require(library.getR != sntrGetValueForRProperty, "the earlier library is the present one");
  return library;
}

std::uint64_t getR(const Library &library, SNodeCB_t *node, Key key) {
  std::int32_t value = 0;
  const std::uint32_t rc = library.getR(node, key.tag, &value, 0);
  return answer(rc, value, key);
}

std::uint64_t setR(const Library &library, SNodeCB_t *node, Key key) {
  return library.setR(node, key.tag, valueOf(key), 0);
}

using Value = Bytes<64>;

std::uint64_t getV(const Library &library, SNodeCB_t *node, Key key) {
  static Value value;
  std::uint64_t length = 0;
  const std::uint32_t rc = library.getV(node, key.tag, &length, nullptr, value.bytes, 0);
  return answerBytes(rc, value.bytes, length, sizeof value.bytes, key);
}

std::uint64_t setV(const Library &library, SNodeCB_t *node, Key key) {
  static Value value;
  std::memcpy(value.bytes, &key.index, sizeof key.index);
  return library.setV(node, key.tag, sizeof value.bytes, value.bytes, 0);
}

std::uint64_t getIR(const Library &library, SNodeCB_t *node, Key key) {
  std::int32_t value = 0;
  const std::uint32_t rc = library.getIR(node, kIRTag, kIDSize, IDs::of(key), &value, 0);
  return answer(rc, value, key);
}

std::uint64_t setIR(const Library &library, SNodeCB_t *node, Key key) {
  return library.setIR(node, kIRTag, kIDSize, IDs::of(key), valueOf(key), 0);
}

template <class Store, auto call>
void addCall(const std::string &work, const std::string &subject, Library (*load)()) {
  add("versions_" + work + "/" + subject, [load](benchmark::State &state) {
    const Library library = load();
    SNodeCB_t *node = cached<Store>(number(state)).node;
    timeEach(state, Order::below(number(state)), [&](Key key) { return call(library, node, key); });
  })->Arg(kProperties);
}

void addLibrary(const std::string &subject, Library (*load)()) {
  addCall<RNode, getR>("get_r", subject, load);
  addCall<RNode, setR>("set_r", subject, load);
  addCall<VNode<64>, getV>("get_v64", subject, load);
  addCall<VNode<64>, setV>("set_v64", subject, load);
  addCall<IRNode, getIR>("get_ir", subject, load);
  addCall<IRNode, setIR>("set_ir", subject, load);
}

const bool registered = [] {
  if (beforeAt() == nullptr) return false;
  addLibrary("ours", present);
  addLibrary("before", before);
  return true;
}();

}  // namespace

}  // namespace bench
