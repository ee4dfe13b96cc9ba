// SPDX-License-Identifier: MIT
// Properties of all kinds whose words another process scribbled over: each operation ends, stays inside the node,
// returns on the fast way what it returns on the full way, leaves every section, and changes nothing that is not its
// own. While tracing is on there is the full way alone.
//
// The node is one private allocation, so the address sanitizer sees a step outside it.
#include <oss/trace.h>

#include <random>
#include <set>
#include <tuple>

#include "properties/kind_node.h"

namespace properties_test {
namespace {

constexpr std::uint64_t kAll = ~std::uint64_t{0};
constexpr int kRounds = SNTR_SANITIZED ? 200 : 2000;

// Words, what each is set to, and what the operations must return then.
struct DamageRow {
  bool applies;
  const char *name;
  std::vector<std::uint64_t> at, values;
  std::vector<std::pair<std::string, Rc>> expected;

  // Without a code of its own an operation finds the damage, or does not meet it.
  std::set<Rc> codesOf(char operation, const Kind &kind) const {
    for (const auto &[letters, code] : expected) {
      if (letters.find(operation) != std::string::npos) return {code};
    }
    return {Rc::Ok, kind.damaged, kind.notFound, kind.notInTable, Rc::BytesOutsideArea};
  }
};

class Damage : public FilledKindNode {
 protected:
  std::vector<DamageRow> rows() const {
    const bool isBase = kind->isBase(), hasID = kind->hasID(), hasBytes = kind->hasBytes(), chains = isTable && hasID;
    const std::uint64_t r = record(1), value = r + (hasID ? 0x20 : 0x10), s = slot(1), counts = area + kind->limits;
    const std::string each = operations(), all = each + "BSp";
    const Rc damaged = kind->damaged;
    return {
        {true, "only created", {kCondition}, {SNTR_CONDITION_CREATED}, {{all, Rc::NodeNotInitialized}}},
        {true, "abandoned", {kCondition}, {SNTR_CONDITION_ABANDONED}, {{all, Rc::NodeAbandoned}}},
        {true, "no condition", {kCondition}, {0, 6, kAll}, {{all, Rc::ConditionOutOfRange}}},
        {true, "no model", {kModel}, {6, kAll}, {{each + "BS", Rc::ValueOutOfRange}}},
        {true, "no stamp", {kStamp}, {0, kAll}, {{each + "BS", Rc::BadLatchVersion}}},
        {true, "small node", {kSize}, {0, 0xb60, end - 1}, {{all, Rc::AreaOutsideNode}}},
        {true, "more used than there is", {entry() + 8}, {word(entry()) + 1, kAll}, {{all, Rc::AreaOverused}}},
        {true, "area too large", {entry()}, {0x4000001, kAll - 7}, {{all, Rc::AreaOutsideNode}}},
        {true, "area gone", {entry() + 16}, {0}, {{all, Rc::AreaNeverCreated}}},
        {true, "elsewhere", {entry() + 16}, {8, 0xb5f, nodeSize - 8, kAll}, {{all, Rc::AreaOutsideNode}}},
        {!isTable, "none in use", {entry() + 8}, {0, kind->arrayHeader}, {{"gsrwdp", kind->notFound}, {"c", Rc::Ok}}},
        {isBase, "deleted", {entry() + 8}, {0}, {{"BS", kind->notFound}}},
        {!isTable, "all in use", {entry() + 8}, {end - area}, {{"gsrwkcBSp", Rc::Ok}, {"a", kind->full}}},
        {true, "stored tag", {r}, {0x100001, kAll}, {{"k", Rc::TagTooLarge}}},
        {!isBase, "buckets", {counts}, {0x186a4, 0x186a3, 700, kAll}, {{all, Rc::BadBucketCount}}},
        {hasID, "maxIDSize", {area}, {0x1001, kAll}, {{all, Rc::MaxIDSizeTooLarge}}},
        {hasID, "idOffset", {r + 0x10}, {0, area - 1, end, kAll}, {{"gsrwadkp", Rc::BytesOutsideArea}}},
        {hasID, "idLength", {r + 0x18}, {kMaxID + 1, kAll}, {{"gsrwadp", Rc::BytesOutsideArea}, {"k", Rc::IDTooLong}}},
        {hasBytes, "valueOffset", {value}, {0, area - 1, end, kAll}, {{"gskBS", kind->outside}}},
        {hasBytes, "another's value", {value}, {area, value}, {{"gsBS", kind->outside}}},
        {hasBytes, "valueSize", {value + 8}, {0, kMaxValue + 1, kAll}, {{"gkB", Rc::BadValueSize}, {"sS", Rc::Ok}}},
        {hasBytes && !isBase, "maxValueSize", {counts - 8}, {0, 0x3000001, kAll}, {{all, Rc::BadMaxValueSize}}},
        {isTable, "bucket", {bucket(0)}, {1, area, s + 8, slot(4), end, kAll - 3}, {{"gsrwadckp", damaged}}},
        {isTable, "loop, or nowhere", {slot(2)}, {slot(0), s, slot(2), 1, area, end, kAll}, {{"ack", damaged}}},
        {isTable, "a bad link must not spread", {s}, {1, s, s + 8, end, kAll}, {{"dack", damaged}}},
        {isTable, "freed count", {end - 8}, {0x8001, 0x7000, kAll}, {{"ad", Rc::BadFreedStack}}},
        {isTable, "freed slot", {end - 24}, {0, area, s + 8, slot(4), kAll}, {{"a", Rc::NoRoomForSlot}}},
        {isTable, "next free slot", {end - 16}, {0, area, slot(0)}, {{"gsrwadckBSp", damaged}}},
        {isTable, "stack meets the slots", {end - 16}, {end - 24}, {{"d", Rc::NoRoomForFreedSlot}}},
        {isTable, "used less than a word", {entry() + 8}, {0}, {{"a", Rc::BadFreedStack}}},
        {isTable, "used less than a slot", {entry() + 8}, {16}, {{"d", damaged}}},
        {chains, "more buckets", {counts + 8, counts + 16}, {0, 0x186a4, 700, kAll}, {{all, Rc::BadBucketCount}}},
        {chains, "tag bucket", {bucket(1)}, {1, area, s, slot(4) + 8, kAll}, {{"at", damaged}}},
        {chains, "id bucket", {bucket(2)}, {1, area, s, slot(4) + 0x18, kAll}, {{"a", damaged}}},
        {chains, "tagNext", {s + 0x08}, {1, area, slot(4) + 8, end - 8, end, kAll}, {{"dt", damaged}}},
        {chains, "idNext", {s + 0x18}, {1, area, slot(4) + 0x18, end - 8, end, kAll}, {{"d", damaged}}},
        {chains, "prev", {s + 0x10, s + 0x20}, {1, area, slot(0), end - 4, end, kAll}, {{"d", damaged}}},
        {chains, "in no chain", {s + 0x10, s + 0x20}, {0}, {{"d", Rc::Ok}}},
        {chains, "before leads elsewhere", {slot(2) + 0x08, slot(2) + 0x18}, {0, slot(0)}, {{"d", damaged}}},
        {chains, "next leads elsewhere", {slot(0) + 0x10, slot(0) + 0x20}, {0, slot(0)}, {{"d", damaged}}},
        {chains, "loop of tags", {slot(0) + 8}, {slot(0) + 8, slot(2) + 8}, {{"t", damaged}}},
    };
  }

  // Runs each operation on the damaged node, and those with a fast way on the full way too. With the damage of a row,
  // an operation that fails changes nothing and returns nothing, and no other changes what is not the list's.
  void hit(const DamageRow *row, const std::vector<std::pair<std::uint64_t, std::uint64_t>> &damage,
           const std::string &letters, std::uint64_t held = 0) {
    const std::string undamaged = content();
    std::string place = row != nullptr ? row->name : "wild";
    for (const auto &[at, value] : damage) {
      setWord(at, value);
      place += ", " + std::to_string(at) + " is " + std::to_string(value);
    }
    const std::string damaged = content(), before[] = {contentOf(false), contentOf(true)};
    const auto outcomeOf = [&](char operation) {
      got = {};
      const std::uint32_t rc = run(operation, held);
      std::tuple outcome(rc, got, content());
      restore(damaged);
      return outcome;
    };
    for (const char operation : letters) {
      const auto fast = outcomeOf(operation);
      const auto &[rc, returned, left] = fast;
      SCOPED_TRACE(place + ", " + operation + ": " + named(rc));
      EXPECT_NE(sntr::findResultCode(rc), nullptr);
      if (row != nullptr) {
        const std::set<Rc> possible = row->codesOf(operation, *kind);
        EXPECT_EQ(possible.count(static_cast<Rc>(rc)), 1u) << "and not " << named(*possible.begin());
        EXPECT_TRUE(contentOf(rc == 0, left) == before[rc == 0]) << "something was changed";
        EXPECT_TRUE(rc == 0 || operation == 'c' || returned == Got{}) << "something was returned";
      }
      if (operation != 'g' && operation != 's') continue;
      EXPECT_RC(ossTraceOn("/dev/null"), Rc::Ok);
      const auto full = outcomeOf(operation);
      EXPECT_RC(ossTraceOff(), Rc::Ok);
      EXPECT_TRUE(fast == full) << "the full way does otherwise: " << named(std::get<0>(full));
    }
    restore(undamaged);
  }

  static constexpr std::uint64_t kSize = offsetof(SNodeCB_t, nodeSize);
  static constexpr std::uint64_t kOptions = offsetof(SNodeCB_t, nodeOptions);
  static constexpr std::uint64_t kCondition = offsetof(SNodeCB_t, nodeCondition);
  static constexpr std::uint64_t kModel = offsetof(SNodeCB_t, concurrencyModel);
  static constexpr std::uint64_t kLatches = offsetof(SNodeCB_t, primaryLatch);
  static constexpr std::uint64_t kStamp = kLatches + offsetof(SNodeLatchBlock_t, latchVersion);
  static constexpr std::uint64_t kMark = kLatches + offsetof(SNodeLatchBlock_t, writeInProgress);
};

TEST_F(Damage, IsToldByItsCode) {
  forEachFilled(support::kAllKinds, [&] {
    for (const DamageRow &row : rows()) {
      if (!row.applies) continue;
      for (const std::uint64_t at : row.at) {
        for (const std::uint64_t value : row.values) hit(&row, {{at, value}}, operations() + "BSp");
      }
    }
  });
}

// Each of the words with each of the values, and then two words at once.
TEST_F(Damage, BothWaysEndAlike) {
  std::mt19937_64 random(seedOfRun());
  forEachFilled(support::kAllKinds, [&] {
    const std::string letters = operations() + "BSp" + (kind->isBase() ? "" : "HL");
    std::set<std::uint64_t> at = {kOptions, kMark}, values = {1, 2, 3, 0x8000, kAll / 2 + 1, nodeSize - 8, nodeSize};
    for (const DamageRow &row : rows()) {
      if (!row.applies || row.at[0] == kSize) continue;  // what lies in the node follows from its size alone
      at.insert(row.at.begin(), row.at.end());
      values.insert(row.values.begin(), row.values.end());
    }
    for (std::uint64_t i = 0; i < (kind->isBase() ? 1 : 4); ++i) {
      for (std::uint64_t link = isTable ? slot(i) : record(i); link < record(i) + 0x30; link += 8) at.insert(link);
    }
    for (const std::uint64_t each : at) {
      for (const std::uint64_t value : values) hit(nullptr, {{each, value}}, letters);
    }
    const auto any = [&](const auto &from) {
      return *std::next(from.begin(), static_cast<int>(random() % from.size()));
    };
    for (int round = 0; round < kRounds && !HasFailure(); ++round) {
      const std::uint64_t near = any(at);
      hit(nullptr, {{any(at), any(values)}, {near, word(near) + random() % 3 - 1}}, letters, random() % 2);
    }
  });
}

}  // namespace
}  // namespace properties_test
