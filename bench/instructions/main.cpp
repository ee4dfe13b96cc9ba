// SPDX-License-Identifier: MIT
// Repeats one call over tags 1 to 1,000, so that instructions.py can count its instructions.
// Arguments: the call's name, and the number of rounds over the tags. Exit status: 0, 1 if a call failed, 2 if the
// arguments are wrong.
#include <cstdlib>
#include <string_view>

#include "support/other_stores.h"

namespace bench {

namespace {

constexpr std::uint32_t kProperties = 1000;

template <class Store, std::uint64_t (Store::*call)(Key)>
std::uint64_t repeat(unsigned long rounds) {
  Store store(kProperties);
  std::uint64_t wrong = 0;
  for (unsigned long round = 0; round < rounds; ++round) {
    for (std::uint32_t i = 0; i < kProperties; ++i) wrong |= (store.*call)(keyOf(i, Tags::Dense));
  }
  return wrong;
}

struct Call {
  std::string_view name;
  std::uint64_t (*run)(unsigned long rounds);
};
constexpr Call kCalls[] = {{"get_r", repeat<RNode, &RNode::get>},
                           {"set_r", repeat<RNode, &RNode::set>},
                           {"get_v64", repeat<VNode<64>, &VNode<64>::get>},
                           {"set_v64", repeat<VNode<64>, &VNode<64>::set>}};

}  // namespace

}  // namespace bench

int main(int argc, char **argv) {
  if (argc != 3) return 2;
  for (const bench::Call &call : bench::kCalls) {
    if (call.name == argv[1]) return call.run(std::strtoul(argv[2], nullptr, 10)) == 0 ? 0 : 1;
  }
  return 2;
}
