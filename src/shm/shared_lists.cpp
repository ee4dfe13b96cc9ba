// SPDX-License-Identifier: MIT
// See shared_lists.h.
#include "shm/shared_lists.h"

#include "layout/list_nodes.h"
#include "layout/words.h"

namespace sntr {

namespace {

// One list, walked once from its head.
class Walk {
 public:
  Walk(const HeapView &domain, std::uint64_t low, std::uint64_t high) : domain_(domain), low_(low), high_(high) {}

  void unlinkFrom(std::uint64_t *head) {
    void *word = head;
    for (;;) {
      const std::uint64_t first = readWord<std::uint64_t>(word);
      const std::uint64_t kept = firstKept(first);
      if (kept != first) publishWord<std::uint64_t>(word, kept);
      if (!canBeEntry(kept) || comesBack(kept)) return;
      word = linkOf(kept);
    }
  }

 private:
  bool canBeEntry(std::uint64_t offset) const {
    return isMultipleOf8(offset) && liesWithin(offset, kListLinkAt + kWordSize, domain_.blocksLow, domain_.end);
  }
  void *linkOf(std::uint64_t entry) const { return domain_.at(entry + kListLinkAt); }

  // Returns the first remaining entry from a link on; 0 if there is none, or none is reachable.
  std::uint64_t firstKept(std::uint64_t link) {
    while (link >= low_ && link < high_) {
      if (!canBeEntry(link) || comesBack(link)) return 0;
      link = readWord<std::uint64_t>(linkOf(link));
      if (!canBeEntry(link)) return 0;
    }
    return link;
  }

  // Returns true in a loop, or after more steps than a list can need. It compares with one marked entry, a later one
  // each time the number of steps has doubled. So it detects a loop before the third pass.
  bool comesBack(std::uint64_t entry) {
    if (entry == mark_ || ++steps_ > domain_.steps) return true;
    if (steps_ != nextMark_) return false;
    mark_ = entry;
    nextMark_ *= 2;
    return false;
  }

  const HeapView &domain_;
  std::uint64_t low_;
  std::uint64_t high_;
  std::uint64_t steps_ = 0;
  std::uint64_t nextMark_ = 1;
  std::uint64_t mark_ = 0;
};

}  // namespace

void unlinkEntriesWithin(const HeapView &domain, std::uint64_t low, std::uint64_t high) {
  SharedListHeads &heads = domain.tail->lists;
  for (std::uint64_t *const head : {&heads.attached, &heads.modules}) Walk(domain, low, high).unlinkFrom(head);
}

}  // namespace sntr
