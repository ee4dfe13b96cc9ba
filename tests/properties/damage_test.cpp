// Lists of all kinds and base properties whose words another process scribbled over: each operation ends, stays inside
// the node, tells, leaves every section, and changes nothing that is not its own.
//
// The node is one private allocation, so the address sanitizer sees a step outside it.
#include <set>

#include "properties/kind_node.h"

namespace properties_test {
namespace {

constexpr std::uint64_t kAll = ~std::uint64_t{0};

// Words, what each is set to, and what the operations must answer then.
struct DamageRow {
  const char *name;
  std::vector<std::uint64_t> at, values;
  std::vector<std::pair<std::string, Rc>> expected;
};
using Rows = std::vector<DamageRow>;

class Damage : public FilledKindNode {
 protected:
  Rows ofNode() const {
    const std::string each = operations();
    return {
        {"more used than there is", {entry() + 8}, {word(entry()) + 1, kAll}, {{each, Rc::AreaOverused}}},
        {"area too large", {entry()}, {0x4000001, kAll - 7}, {{each, Rc::AreaOutsideNode}}},
        {"area gone", {entry() + 16}, {0}, {{each, Rc::AreaNeverCreated}}},
        {"area elsewhere", {entry() + 16}, {8, 0xb5f, word(0x20) - 8, kAll}, {{each, Rc::AreaOutsideNode}}},
    };
  }

  Rows ofRecords() const {
    const std::uint64_t r = record(1), value = r + (kind->hasID() ? 0x20 : 0x10);
    const std::string each = operations();
    Rows rows = {{"stored tag", {r}, {0x100001, kAll}, {{"k", Rc::TagTooLarge}}}};
    if (!kind->isBase()) {
      rows.push_back({"buckets", {area + kind->limits}, {0x186a4, 0x186a3, 500, kAll}, {{each, Rc::BadBucketCount}}});
    }
    if (kind->hasID()) {
      rows.push_back({"maxIDSize", {area}, {0x1001, kAll}, {{each, Rc::MaxIDSizeTooLarge}}});
      rows.push_back({"idOffset", {r + 0x10}, {0, area - 1, end, kAll}, {{"gsrwadk", Rc::BytesOutsideArea}}});
      rows.push_back(
          {"idLength", {r + 0x18}, {kMaxID + 1, kAll}, {{"gsrwad", Rc::BytesOutsideArea}, {"k", Rc::IDTooLong}}});
    }
    if (!kind->hasBytes()) return rows;
    rows.push_back({"valueOffset", {value}, {0, area - 1, end, kAll}, {{"gsk", kind->outside}}});
    rows.push_back({"another's value", {value}, {area, value}, {{"gs", kind->outside}}});
    rows.push_back({"valueSize", {value + 8}, {0, 17, kAll}, {{"gk", Rc::BadValueSize}, {"s", Rc::Ok}}});
    if (kind->isBase()) return rows;
    const std::uint64_t maximum = kind->hasID() ? area + 8 : area;
    rows.push_back({"maxValueSize", {maximum}, {0, 0x3000001, kAll}, {{each, Rc::BadMaxValueSize}}});
    return rows;
  }

  Rows ofTable() const {
    const Rc damaged = kind->damaged;
    const std::uint64_t s = slot(1), counts = area + kind->limits;
    Rows rows = {
        {"bucket", {bucket(0)}, {1, area, s + 8, slot(4), end, kAll - 3}, {{"gsrwadck", damaged}}},
        {"loop", {slot(2)}, {slot(0), s, slot(2)}, {{"ack", damaged}}},
        {"last leads nowhere", {slot(2)}, {1, area, end, kAll}, {{"ack", damaged}}},
        {"a bad link must not spread", {s}, {1, s, s + 8, end, kAll}, {{"dack", damaged}}},
        {"freed count", {end - 8}, {0x8001, 0x7000, kAll}, {{"ad", Rc::BadFreedStack}}},
        {"freed slot", {end - 24}, {0, area, s + 8, slot(4), kAll}, {{"a", Rc::NoRoomForSlot}}},
        {"next free slot", {end - 16}, {0, area, slot(0)}, {{"gsrwadck", damaged}}},
        {"stack meets the slots", {end - 16}, {end - 24}, {{"d", Rc::NoRoomForFreedSlot}}},
        {"used less than a word", {entry() + 8}, {0}, {{"a", Rc::BadFreedStack}}},
        {"used less than a slot", {entry() + 8}, {16}, {{"d", damaged}}},
    };
    if (!kind->hasID()) return rows;
    const Rows more = {
        {"other buckets", {counts + 8, counts + 16}, {0, 0x186a4, 500, kAll}, {{operations(), Rc::BadBucketCount}}},
        {"tag bucket", {bucket(1)}, {1, area, s, slot(4) + 8, kAll}, {{"at", damaged}}},
        {"id bucket", {bucket(2)}, {1, area, s, slot(4) + 0x18, kAll}, {{"a", damaged}}},
        {"tagNext", {s + 0x08}, {1, area, slot(4) + 8, end - 8, end, kAll}, {{"dt", damaged}}},
        {"idNext", {s + 0x18}, {1, area, slot(4) + 0x18, end - 8, end, kAll}, {{"d", damaged}}},
        {"tagPrev, idPrev", {s + 0x10, s + 0x20}, {1, area, slot(0), end - 4, end, kAll}, {{"d", damaged}}},
        {"in no chain", {s + 0x10, s + 0x20}, {0}, {{"d", Rc::Ok}}},
        {"before leads elsewhere", {slot(2) + 0x08, slot(2) + 0x18}, {0, slot(0)}, {{"d", damaged}}},
        {"next leads elsewhere", {slot(0) + 0x10, slot(0) + 0x20}, {0, slot(0)}, {{"d", damaged}}},
        {"loop of tags", {slot(0) + 8}, {slot(0) + 8, slot(2) + 8}, {{"t", damaged}}},
    };
    rows.insert(rows.end(), more.begin(), more.end());
    return rows;
  }

  // The node without its latches and, where a change is allowed, without what a change of the list changes.
  std::string contentOf(bool mayChange) const {
    std::string all = content();
    std::memset(all.data() + 0x250, 0, 0x308);
    if (!mayChange) return all;
    std::memset(all.data() + area, 0, end - area);
    std::memset(all.data() + entry() + 8, 0, 8);
    std::memset(all.data() + 0x50, 0, 128);
    return all;
  }

  // One operation over one damaged word. One that fails changes nothing; no other changes what is not the list's.
  void hit(const DamageRow &row, std::uint64_t at, std::uint64_t value, char operation) {
    const std::set<Rc> possible = {Rc::Ok, kind->damaged, kind->notFound, kind->notInTable, Rc::BytesOutsideArea};
    const std::string undamaged = content();
    setWord(at, value);
    const std::string before[] = {contentOf(false), contentOf(true)};
    const std::uint32_t rc = run(operation);
    const std::string place =
        row.name + (", " + text(operation)) + std::to_string(at - area) + " is " + std::to_string(value);
    const Rc *wanted = nullptr;
    for (const auto &[operations, code] : row.expected) {
      if (operations.find(operation) != std::string::npos) wanted = &code;
    }
    if (wanted != nullptr) EXPECT_RC(rc, *wanted) << place;
    if (wanted == nullptr) EXPECT_EQ(possible.count(static_cast<Rc>(rc)), 1u) << place << ": " << named(rc);
    EXPECT_TRUE(contentOf(rc == 0) == before[rc == 0]) << place << ": something was changed";
    restore(undamaged);
  }
  void hitEach(const Rows &rows) {
    for (const DamageRow &row : rows) {
      for (const std::uint64_t at : row.at) {
        for (const std::uint64_t value : row.values) hitByEach(row, at, value);
      }
    }
  }
  void hitByEach(const DamageRow &row, std::uint64_t at, std::uint64_t value) {
    for (const char operation : operations()) hit(row, at, value, operation);
  }

  // The words that the operations go by, and what is wild for one or another of them.
  std::vector<std::uint64_t> words() const {
    std::vector<std::uint64_t> all = {entry(), entry() + 8, entry() + 16, 0x20, end - 8, end - 16, end - 24};
    for (std::uint64_t at = area; at < slot(0); at += 8) all.push_back(at);
    for (std::uint64_t i = 0; i < 4; ++i) {
      for (std::uint64_t at = isTable ? slot(i) : record(i); at < record(i) + 0x30; at += 8) all.push_back(at);
    }
    return all;
  }
  std::vector<std::uint64_t> wild() const {
    std::vector<std::uint64_t> all = {0,         1, 2, 3, 8, area - 8, area, area + 8, end - 16, end, word(0x20) - 8,
                                      word(0x20)};
    all.insert(all.end(), {0x8000, 0x8001, 0x186a3, 0x186a4, 0x4000000, 0x4000001, kAll / 2 + 1, kAll - 7, kAll});
    for (std::uint64_t i = 0; i < 5; ++i) all.insert(all.end(), {slot(i), slot(i) + kind->chain, slot(i) + 1});
    return all;
  }

  // Every operation comes back with a code, whatever the words hold.
  void expectKnownAnswers(std::uint64_t at, std::uint64_t value) {
    std::vector<std::uint32_t> answers = kind == &kR ? runOthers() : std::vector<std::uint32_t>{};
    for (const char operation : operations() + "HL") answers.push_back(run(operation));
    for (const std::uint32_t rc : answers) {
      EXPECT_NE(sntr::findResultCode(rc), nullptr) << where() << ": " << named(rc) << ", " << at << " is " << value;
    }
  }

  // R's other operations.
  std::vector<std::uint32_t> runOthers() {
    std::uint64_t out[2] = {};
    std::int32_t value = 0, *address = nullptr;
    SNodeProperty_t *found = nullptr, *const kept = reinterpret_cast<SNodeProperty_t *>(bytes() + record(1));
    return {sntrGetAddressForRProperty(node, 7, &found),
            sntrGetAddressForRPropertyValue(node, 4, &address),
            sntrGetValueAndRCForRProperty(node, kept, &value, out, 0),
            sntrSetValueAndRCForRProperty(node, kept, 1, 1, 0),
            sntrGetFirstRPropertyLocation(node, &found, &out[0], &out[1]),
            sntrGetNumberOfFreedLListNodes(node, SNTR_KIND_R, out)};
  }
};

TEST_F(Damage, IsToldByItsCode) {
  forEachFilled(support::kAllKinds, [&] {
    hitEach(ofNode());
    hitEach(ofRecords());
    if (isTable) hitEach(ofTable());
  });
}

TEST_F(Damage, ARefusalChangesNothing) {
  forEachFilled(support::kLists, [&] {
    const std::string before = contentOf(false);
    const Rc missing = isTable ? kind->notInTable : kind->notFound;
    EXPECT_RC(of().add({4, "bb"}, {9, "new"}), kind->exists) << where();
    EXPECT_RC(of().erase({5, "bb"}), missing) << where();
    EXPECT_RC(of().set({5, "bb"}, {9, "new"}), kind->notFound) << where();
    EXPECT_RC(of().setRC({5, "bb"}, 9), missing) << where();
    EXPECT_TRUE(contentOf(false) == before) << where();
  });
}

TEST_F(Damage, EachWordWithEachWildValue) {
  forEachFilled(support::kLists, [&] {
    const std::string whole = content();
    for (const std::uint64_t at : words()) {
      for (const std::uint64_t value : wild()) {
        setWord(at, value);
        expectKnownAnswers(at, value);
        restore(whole);
      }
    }
  });
}

TEST_F(Damage, ABaseAreaMustHoldItsRecord) {
  for (const Kind *f : {&kBaseR, &kBaseV}) {
    fill(*f, SNTR_LAYOUT_ARRAY);
    setWord(entry() + 8, 0);
    setWord(entry(), f == &kBaseR ? 0x8f : 0x1a7);
    for (const char operation : {'g', 's', 'd', 'k'}) EXPECT_RC(run(operation), f->damaged) << text(operation);
    EXPECT_RC(run('a'), f == &kBaseR ? Rc::BaseRAreaTooSmall : Rc::BaseVAreaTooSmall);
  }
}

TEST_F(Damage, FreshSlotsEndBelowTheStack) {
  table(1, 6, {2});
  const std::uint64_t last = areaEnd();
  for (const std::uint64_t next : {area, area + 17, last - 16, last - 0x98, kAll}) {
    setWord(last - 16, next);
    std::uint64_t offset = 0;
    EXPECT_RC(sntrGetFreeSpaceOffsetForProperty(node, SNTR_KIND_R, &offset), Rc::NextFreeOutsideArea) << next;
    EXPECT_EQ(word(last - 16), next);
  }
}

TEST_F(Damage, AnArrayCountsNoMoreThanItHolds) {
  array(3, {1, 2, 3});
  for (const std::uint64_t used : {std::uint64_t{0}, std::uint64_t{7}, std::uint64_t{8}, word(kSize)}) {
    setWord(kUsed, used);
    std::uint64_t count = 9;
    EXPECT_RC(sntrReturnRPropertyCount(node, 0, &count, 0), Rc::Ok);
    EXPECT_EQ(count, used > 8 ? 3U : 0U) << used;
    std::int32_t value = 0;
    EXPECT_RC(sntrGetValueForRProperty(node, 3, &value, 0), used > 8 ? Rc::Ok : Rc::RNotFound) << used;
  }
}

}  // namespace
}  // namespace properties_test
