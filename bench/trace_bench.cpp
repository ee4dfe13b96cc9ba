// SPDX-License-Identifier: MIT
// The cost of tracing while it is off: the library beside a second build of it without any trace. Both are called
// through pointers, on the same nodes.
#include <dlfcn.h>

#include "support/r_stores.h"

namespace bench {

namespace {

struct Library {
  decltype(&sntrGetValueForRProperty) get;
  decltype(&sntrSetValueForRProperty) set;
};

Library product() { return {sntrGetValueForRProperty, sntrSetValueForRProperty}; }

// Loads the second library with its names bound within it, so that it does not call the product.
Library untraced() {
  void *handle = dlopen(SNTR_UNTRACED_LIBRARY, RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND);
  require(handle != nullptr, "loading the library without traces");
  Library library{};
  library.get = reinterpret_cast<decltype(library.get)>(dlsym(handle, "sntrGetValueForRProperty"));
  library.set = reinterpret_cast<decltype(library.set)>(dlsym(handle, "sntrSetValueForRProperty"));
  require(library.get != nullptr && library.set != nullptr && library.get != sntrGetValueForRProperty,
          "finding the functions without traces");
  return library;
}

void addLibrary(const std::string &subject, Library (*load)()) {
  for (const std::uint32_t n : {10U, 1000U}) {
    add("trace_off_get_r/" + subject, [load](benchmark::State &state) {
      const Library library = load();
      SNodeCB_t *node = cached<RNode>(number(state), Tags::Dense).node;
      timeEach(state, Order::below(number(state)), [&](Key key) {
        std::int32_t value = 0;
        const std::uint32_t rc = library.get(node, key.tag, &value, 0);
        return answer(rc, value, key);
      });
    })->Arg(n);
    add("trace_off_set_r/" + subject, [load](benchmark::State &state) {
      const Library library = load();
      SNodeCB_t *node = cached<RNode>(number(state), Tags::Dense).node;
      timeEach(state, Order::below(number(state)),
               [&](Key key) -> std::uint64_t { return library.set(node, key.tag, valueOf(key), 0); });
    })->Arg(n);
  }
}

const bool registered = [] {
  addLibrary("compiled_in", product);
  addLibrary("compiled_out", untraced);
  return true;
}();

}  // namespace

}  // namespace bench
