// V, IR and IV lists and base properties whose words another process scribbled over, and services that fail: each
// operation ends, tells, leaves every section, and changes nothing that is not its own.
//
// The node is one private allocation, so the address sanitizer sees a step outside it.
#include <set>

#include "properties/r_node.h"

namespace properties_test {
namespace {

constexpr std::uint64_t kMaxID = 8, kMaxValue = 16, kCapacity = 32;
constexpr std::uint64_t kAll = ~std::uint64_t{0};

// A kind: where things stand in its area - a table has one bucket in each of its arrays - and its codes. A count at 0
// is that of a base kind, which has no list; a value at 0 that of a register.
struct Places {
  std::uint64_t entry = 0, count = 0, arrays = 0, arrayHeader = 0, tableHeader = 0, chain = 0, stride = 0, value = 0;
};
struct Codes {
  Rc damaged, outside, notFound, notInTable;
};
struct Form : Places, Codes {
  const char *name;
  bool isBase() const { return count == 0; }
  bool hasID() const { return arrays == 3; }
  bool hasBytes() const { return value != 0; }
};
constexpr Form kV = {{7, 0x08, 1, 0x10, 0x10, 0x08, 0x1a8 + kMaxValue, 0x10},
                     {Rc::VDamaged, Rc::VValueOutsideArea, Rc::VNotFound, Rc::VNotInTable},
                     "V"};
constexpr Form kIR = {{8, 0x08, 3, 0x10, 0x20, 0x28, 0x228 + kMaxID, 0},
                      {Rc::IRDamaged, Rc::IRDamaged, Rc::IRNotFound, Rc::IRNotInTable},
                      "IR"};
constexpr Form kIV = {{9, 0x10, 3, 0x18, 0x28, 0x28, 0x1b8 + kMaxID + kMaxValue, 0x20},
                      {Rc::IVDamaged, Rc::IVValueOutsideArea, Rc::IVNotFound, Rc::IVNotInTable},
                      "IV"};
constexpr Form kBaseR = {
    {.entry = 4}, {Rc::BaseRDamaged, Rc::BaseRDamaged, Rc::BaseRNotFound, Rc::BaseRNotFound}, "BaseR"};
constexpr Form kBaseV = {{.entry = 5, .value = 0x10},
                         {Rc::BaseVDamaged, Rc::BaseVValueOutsideArea, Rc::BaseVNotFound, Rc::BaseVNotFound},
                         "BaseV"};

class KindNode : public RNode {
 protected:
  void createNode() {
    if (node != nullptr) freeNode();
    std::uint64_t sizes[SNTR_AREA_COUNT] = {}, size = 0;
    sizes[0] = 67, sizes[4] = 0x95, sizes[5] = 0x1a8 + kMaxValue, sizes[63] = 67;  // odd places, and neighbours
    sizes[7] = sizes[8] = sizes[9] = 0x60 + 6 * (0x250 + kMaxValue) + 0x25;
    ASSERT_RC(sntrCreateNodeInPM(&node, 0x760, sizes, &size, &node, SNTR_VERSION, SNTR_VERSION), Rc::Ok);
    ASSERT_RC(sntrInitNode(&node, 0, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr), Rc::Ok);
    ASSERT_RC(sntrActivateNode(&node), Rc::Ok);
    buffer.assign(size, 0);
  }

  std::uint32_t create(const Form &f, std::uint32_t layout, std::uint64_t count) {
    const std::uint64_t tags[] = {2, 4}, lengths[] = {1, 2}, sizes[] = {3, 16};
    const void *const ids[] = {"a", "bb"}, *const values[] = {"old", "sixteen letters."};
    const std::int32_t numbers[] = {20, 40};
    if (&f == &kV) return sntrCreateVPropertyList(node, tags, sizes, values, count, 1 + count, kMaxValue, layout, 0);
    if (&f == &kIR)
      return sntrCreateIRPropertyList(node, tags, lengths, ids, numbers, count, 1 + count, kMaxID, layout, 0);
    return sntrCreateIVPropertyList(node, tags, lengths, ids, sizes, values, count, 1 + count, kMaxID, kMaxValue,
                                    layout, 0);
  }
  std::uint32_t add(const Form &f, std::uint64_t tag, const char *id) {
    if (&f == &kV) return sntrAddVProperty(node, tag, 3, "old", 0);
    if (&f == &kIR) return sntrAddIRProperty(node, tag, std::strlen(id), id, 7, 0);
    if (&f == &kIV) return sntrAddIVProperty(node, tag, std::strlen(id), id, 3, "old", 0);
    return &f == &kBaseR ? sntrCreateBaseRProperty(node, tag, 7, 0) : sntrCreateBaseVProperty(node, tag, 3, "old", 0);
  }
  std::uint32_t erase(const Form &f, std::uint64_t tag, const char *id) {
    if (&f == &kV) return sntrDeleteVProperty(node, tag, 0);
    if (&f == &kIR) return sntrDeleteIRProperty(node, tag, std::strlen(id), id, 0);
    if (&f == &kIV) return sntrDeleteIVProperty(node, tag, std::strlen(id), id, 0);
    return &f == &kBaseR ? sntrDeleteBaseRProperty(node, tag, 0) : sntrDeleteBaseVProperty(node, tag, 0);
  }
  std::uint32_t get(const Form &f) {
    if (&f == &kV) return sntrGetValueForVProperty(node, 4, out, nullptr, buffer.data(), 0);
    if (&f == &kIR) return sntrGetValueForIRProperty(node, 4, 2, "bb", &number, 0);
    if (&f == &kIV) return sntrGetValueForIVProperty(node, 4, 2, "bb", out, nullptr, buffer.data(), 0);
    if (&f == &kBaseR) return sntrGetValueForBaseRProperty(node, 4, &number, 0);
    return sntrGetValueForBaseVProperty(node, 4, out, nullptr, buffer.data(), 0);
  }
  std::uint32_t set(const Form &f) {
    if (&f == &kV) return sntrSetValueForVProperty(node, 4, 3, "new", 0);
    if (&f == &kIR) return sntrSetValueForIRProperty(node, 4, 2, "bb", 1, 0);
    if (&f == &kIV) return sntrSetValueForIVProperty(node, 4, 2, "bb", 3, "new", 0);
    if (&f == &kBaseR) return sntrSetValueForBaseRProperty(node, 4, 1, 0);
    return sntrSetValueForBaseVProperty(node, 4, 3, "new", 0);
  }
  std::uint32_t count(const Form &f, std::uint64_t tag) {
    if (&f == &kV) return sntrReturnVPropertyCount(node, tag, out, 0);
    if (&f == &kIR) return sntrReturnIRPropertyCount(node, tag, out, 0);
    return sntrReturnIVPropertyCount(node, tag, out, 0);
  }
  std::uint32_t keysOut(const Form &f) {
    std::uint64_t lengths[kCapacity], sizes[kCapacity];
    char ids[kCapacity * kMaxID];
    if (&f == &kV) return sntrReturnVProperties(node, out, sizes, 0, kCapacity, 0);
    if (&f == &kIR) return sntrReturnIRProperties(node, out, lengths, ids, 0, kCapacity, kMaxID, 0);
    if (&f == &kIV) return sntrReturnIVProperties(node, out, lengths, ids, sizes, 0, kCapacity, kMaxID, 0);
    return &f == &kBaseR ? sntrReturnBaseRProperty(node, out, 0) : sntrReturnBaseVProperty(node, out, sizes, 0);
  }

  // An operation by its letter: get, set, add, delete, count, count of a tag, keys out; L and H lay the list out. They
  // work on the middle property, (4, "bb"); what is added, (7, "x"), comes behind the last. A base kind has only 4.
  std::uint32_t run(char operation) {
    if (operation == 'g') return get(*form);
    if (operation == 's') return set(*form);
    if (operation == 'a') return add(*form, form->isBase() ? 4 : 7, "x");
    if (operation == 'd') return erase(*form, 4, "bb");
    if (operation == 'c' || operation == 't') return count(*form, operation == 'c' ? 0 : 4);
    if (operation == 'k') return keysOut(*form);
    return create(*form, operation == 'L' ? SNTR_LAYOUT_ARRAY : SNTR_LAYOUT_HASH, 2);
  }

  // (2, "a"), (4, "bb"), (6, "c"), each in the one bucket of every array of a table, and a place that was freed. V is
  // laid out for the base kinds too, whose limit is V's.
  void fill(const Form &f, std::uint32_t layout) {
    createNode();
    form = &f, isTable = layout == SNTR_LAYOUT_HASH && !f.isBase();
    area = word(entry() + 16), end = area + word(entry());
    ASSERT_RC(create(f.isBase() ? kV : f, layout, 0), Rc::Ok);
    const std::pair<std::uint64_t, const char *> keys[] = {{2, "a"}, {4, "bb"}, {6, "c"}, {8, "d"}};
    for (const auto &[tag, id] : keys) {
      if (!f.isBase() || tag == 4) ASSERT_RC(add(f, tag, id), Rc::Ok) << f.name;
    }
    if (!f.isBase()) ASSERT_RC(erase(f, 8, "d"), Rc::Ok) << f.name;
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

  std::string text(char operation) const {
    return std::string(form->name) + (isTable ? " table, " : " array, ") + operation + ": ";
  }
  std::uint64_t entry() const { return 0x560 + 24 * form->entry; }
  std::uint64_t bucket(std::uint64_t array) const { return area + form->tableHeader + 8 * array; }
  std::uint64_t slot(std::uint64_t i) const { return bucket(form->arrays) + i * (form->chain + form->stride); }
  std::uint64_t record(std::uint64_t i) const {
    return isTable ? slot(i) + form->chain : area + form->arrayHeader + i * form->stride;  // a base kind's one: both 0
  }

  const Form *form = nullptr;
  bool isTable = false;
  std::uint64_t end = 0;
  std::string buffer;  // of the node's size: no value is larger
  std::uint64_t out[kCapacity] = {};
  std::int32_t number = 0;
};

// Words, what each is set to, and what the operations must answer then.
struct Damage {
  const char *name;
  std::vector<std::uint64_t> at, values;
  std::vector<std::pair<std::string, Rc>> expected;
};
using Rows = std::vector<Damage>;

// A block that cannot be freed is of no use to a caller, so its failure is not told.
constexpr OSSFaultKind kFailing[] = {OSSFaultMemoryAlloc,  OSSFaultLatchInit,  OSSFaultLatchGet,
                                     OSSFaultLatchRelease, OSSFaultAtomicInit, OSSFaultAtomicIncrement,
                                     OSSFaultAtomicAdd,    OSSFaultAtomicSwap};

class KindsDamage : public KindNode {
 protected:
  std::string operations() const { return form->isBase() ? "gsadk" : "gsadctk"; }

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
    const std::uint64_t r = record(1), value = r + form->value;
    const std::string each = operations();
    Rows rows = {{"stored tag", {r}, {0x100001, kAll}, {{"k", Rc::TagTooLarge}}}};
    if (!form->isBase()) {
      rows.push_back({"buckets", {area + form->count}, {0x186a4, 0x186a3, 500, kAll}, {{each, Rc::BadBucketCount}}});
    }
    if (form->hasID()) {
      rows.push_back({"maxIDSize", {area}, {0x1001, kAll}, {{each, Rc::MaxIDSizeTooLarge}}});
      rows.push_back({"idOffset", {r + 0x10}, {0, area - 1, end, kAll}, {{"gsadk", Rc::BytesOutsideArea}}});
      rows.push_back(
          {"idLength", {r + 0x18}, {kMaxID + 1, kAll}, {{"gsad", Rc::BytesOutsideArea}, {"k", Rc::IDTooLong}}});
    }
    if (!form->hasBytes()) return rows;
    rows.push_back({"valueOffset", {value}, {0, area - 1, end, kAll}, {{"gsk", form->outside}}});
    rows.push_back({"another's value", {value}, {area, value}, {{"gs", form->outside}}});
    rows.push_back({"valueSize", {value + 8}, {0, 17, kAll}, {{"gk", Rc::BadValueSize}, {"s", Rc::Ok}}});
    if (form->isBase()) return rows;
    const std::uint64_t maximum = form->hasID() ? area + 8 : area;
    rows.push_back({"maxValueSize", {maximum}, {0, 0x3000001, kAll}, {{each, Rc::BadMaxValueSize}}});
    return rows;
  }

  Rows ofTable() const {
    const Rc damaged = form->damaged;
    const std::uint64_t s = slot(1), counts = area + form->count;
    Rows rows = {
        {"bucket", {bucket(0)}, {1, area, s + 8, slot(4), end, kAll - 3}, {{"gsadck", damaged}}},
        {"loop", {slot(2)}, {slot(0), s, slot(2)}, {{"ack", damaged}}},
        {"last leads nowhere", {slot(2)}, {1, area, end, kAll}, {{"ack", damaged}}},
        {"a bad link must not spread", {s}, {1, s + 8, end, kAll}, {{"dack", damaged}}},
        {"freed count", {end - 8}, {0x8001, 0x7000, kAll}, {{"ad", Rc::BadFreedStack}}},
        {"freed slot", {end - 24}, {0, area, s + 8, slot(4), kAll}, {{"a", Rc::NoRoomForSlot}}},
        {"next free slot", {end - 16}, {0, area, slot(0)}, {{"gsadck", damaged}}},
        {"used less than a slot", {entry() + 8}, {16}, {{"d", damaged}}},
    };
    if (!form->hasID()) return rows;
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

  // One operation over one damaged word. One that fails changes nothing; no other changes what is not the list's.
  void hit(const Damage &row, std::uint64_t at, std::uint64_t value, char operation) {
    const std::set<Rc> possible = {Rc::Ok, form->damaged, form->notFound, form->notInTable, Rc::BytesOutsideArea};
    const std::string undamaged = content();
    setWord(at, value);
    const std::string before[] = {contentOf(false), contentOf(true)};
    const std::uint32_t rc = run(operation);
    const std::string where =
        row.name + (", " + text(operation)) + std::to_string(at - area) + " is " + std::to_string(value);
    const Rc *wanted = nullptr;
    for (const auto &[operations, code] : row.expected) {
      if (operations.find(operation) != std::string::npos) wanted = &code;
    }
    if (wanted != nullptr) EXPECT_RC(rc, *wanted) << where;
    if (wanted == nullptr) EXPECT_EQ(possible.count(static_cast<Rc>(rc)), 1u) << where << ": " << named(rc);
    EXPECT_TRUE(contentOf(rc == 0) == before[rc == 0]) << where << ": something was changed";
    restore(undamaged);
  }
  void hitEach(const Rows &rows) {
    for (const Damage &row : rows) {
      for (const std::uint64_t at : row.at) {
        for (const std::uint64_t value : row.values) {
          for (const char operation : operations()) hit(row, at, value, operation);
        }
      }
    }
  }

  // Makes one call fail, and perhaps the release of the latch; false when the operation makes no such call.
  bool failNth(OSSFaultKind kind, std::uint64_t nth, bool releaseToo, char operation) {
    const std::uint64_t calls = ossFaultCalls(kind), used = word(entry() + 8);
    const std::string tail(bytes() + end - 24, 24);
    ossFaultArm(kind, nth);
    if (releaseToo) ossFaultArm(OSSFaultLatchRelease, 1);
    const std::uint32_t rc = run(operation);
    ossFaultDisarm();
    const bool met = ossFaultCalls(kind) - calls >= nth;
    const std::string where = text(operation) + std::to_string(nth) + " of calls " + std::to_string(kind);
    const Rc code = kind == OSSFaultMemoryAlloc ? Rc::DomainHandleAllocFailed
                    : kind < OSSFaultAtomicInit ? Rc::LatchFailed
                                                : Rc::AtomicFailed;
    EXPECT_RC(rc, met ? code : Rc::Ok) << where;
    EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << where;
    if (met && !form->isBase() && operation != 'L' && operation != 'H') EXPECT_RC(run('k'), Rc::Ok) << where;
    if (!met || operation != 'a' || (kind != OSSFaultAtomicInit && kind != OSSFaultLatchInit)) return met;
    EXPECT_EQ(word(entry() + 8), used) << where;
    EXPECT_EQ(std::string(bytes() + end - 24, 24), tail) << where << ": the slot was not given back";
    return met;
  }
};

TEST_F(KindsDamage, IsToldByItsCode) {
  for (const Form *f : {&kV, &kIR, &kIV, &kBaseR, &kBaseV}) {
    for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
      fill(*f, layout);
      hitEach(ofNode());
      hitEach(ofRecords());
      if (isTable) hitEach(ofTable());
    }
  }
}

TEST_F(KindsDamage, ABaseAreaMustHoldItsRecord) {
  for (const Form *f : {&kBaseR, &kBaseV}) {
    fill(*f, SNTR_LAYOUT_ARRAY);
    setWord(entry() + 8, 0);
    setWord(entry(), f == &kBaseR ? 0x8f : 0x1a7);
    for (const char operation : {'g', 's', 'd', 'k'}) EXPECT_RC(run(operation), f->damaged) << text(operation);
    EXPECT_RC(run('a'), f == &kBaseR ? Rc::BaseRAreaTooSmall : Rc::BaseVAreaTooSmall);
  }
}

// Each call of the services layer in each operation fails in turn, alone and with a latch that cannot be given back
// after it: the first failure is the answer, the latch is left, and the list can be used.
TEST_F(KindsDamage, AnArrayWhoseRecordsHaveNoRoomTakesNoProperties) {
  createNode();
  form = &kIR;
  const std::uint64_t tags[] = {2, 4}, lengths[] = {0, 0};
  const void *const ids[] = {"", ""};
  const std::int32_t numbers[] = {20, 40};
  const std::uint64_t used = word(entry() + 8);
  EXPECT_RC(sntrCreateIRPropertyList(node, tags, lengths, ids, numbers, 2, 2, 0, SNTR_LAYOUT_ARRAY, 0), Rc::IRListFull);
  EXPECT_EQ(word(entry() + 8), used);
  EXPECT_RC(sntrCreateIRPropertyList(node, tags, lengths, ids, numbers, 2, 2, 0, SNTR_LAYOUT_HASH, 0), Rc::Ok);
}

TEST_F(KindsDamage, EachFailingCallIsTold) {
  for (const Form *f : {&kV, &kIR, &kIV, &kBaseR, &kBaseV}) {
    for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
      fill(*f, layout);
      const std::string undamaged = content();
      for (const char operation : operations() + (f->isBase() ? "" : "LH")) {
        std::uint64_t failed = 0;
        for (const OSSFaultKind kind : kFailing) {
          for (std::uint64_t nth = 1; failNth(kind, nth, false, operation); ++nth, ++failed) {
            restore(undamaged);
            if (kind != OSSFaultLatchRelease) failNth(kind, nth, true, operation);
            restore(undamaged);
          }
          restore(undamaged);
        }
        EXPECT_GT(failed, 1u) << f->name << ", operation " << operation << " makes no calls that can fail";
      }
    }
  }
}

// The counter is the step behind the link: the property is there and counted, but in no chain of tags or identifiers -
// whatever links the slot held when it was freed - and can be deleted.
TEST_F(KindsDamage, AFailingChangeCounterLeavesThePropertyLinked) {
  for (const Form *f : {&kV, &kIR, &kIV}) {
    for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
      for (const bool reuse : {false, true}) {
        fill(*f, layout);
        SCOPED_TRACE(std::string(f->name) + (isTable ? " table" : " array") + (reuse ? ", freed" : ", fresh"));
        if (!reuse) ASSERT_RC(add(*f, 9, "e"), Rc::Ok);
        const std::uint64_t place = reuse ? 3 : 4, used = word(entry() + 8);
        ossFaultArm(OSSFaultAtomicIncrement, 2);  // the first counts the write section
        EXPECT_RC(add(*f, 7, "x"), Rc::AtomicFailed);
        EXPECT_RC(count(*f, 0), Rc::Ok);
        EXPECT_EQ(out[0], place + 1);
        EXPECT_EQ(word(record(place)), 7u);
        EXPECT_EQ(word(entry() + 8),
                  used + form->chain * (isTable ? 1 : 0) + form->stride - (isTable && reuse ? 8 : 0));
        EXPECT_RC(count(*f, 7), isTable && f->hasID() ? f->notInTable : Rc::Ok);
        for (std::uint64_t link = 0x08; isTable && link < form->chain; link += 8) {
          EXPECT_EQ(word(slot(place) + link), 0u) << "link " << link;
        }
        EXPECT_RC(add(*f, 7, "x"), f == &kV ? Rc::VExists : f == &kIR ? Rc::IRExists : Rc::IVExists);
        ossFaultArm(OSSFaultAtomicIncrement, 2);
        EXPECT_RC(erase(*f, 7, "x"), Rc::AtomicFailed);
        EXPECT_RC(erase(*f, 7, "x"), isTable ? f->notInTable : f->notFound) << "a failing counter brings nothing back";
      }
    }
  }
}

}  // namespace
}  // namespace properties_test
