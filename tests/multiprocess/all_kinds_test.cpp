// One process writes properties of all six kinds, another reads them: no value is ever seen half old and half new, and
// what stands beside a value belongs to it.
#include <map>
#include <set>
#include <thread>

#include "multiprocess/worker.h"

namespace multiprocess_test {
namespace {

constexpr std::uint64_t kMaxValue = 0x1000, kMaxID = 8, kCapacity = 5;
constexpr auto kTime = std::chrono::milliseconds(kSanitized ? 250 : 1000);  // for each layout
constexpr std::uint64_t kLeastRounds = kSanitized ? 20 : 200;

// The kinds with their keys. Tag 3 stands beside other identifiers too, so that its chains have several members.
struct Key {
  std::uint32_t kind;
  std::uint64_t tag;
  std::string id;
};
const std::vector<Key> kKeys = {{SNTR_KIND_R, 1, ""},  {SNTR_KIND_R, 3, ""},      {SNTR_KIND_V, 1, ""},
                                {SNTR_KIND_V, 3, ""},  {SNTR_KIND_IR, 3, "a"},    {SNTR_KIND_IR, 3, "bb"},
                                {SNTR_KIND_IV, 3, ""}, {SNTR_KIND_IV, 3, "bb"},   {SNTR_KIND_IV, 4, "a"},
                                {SNTR_KIND_IR, 4, ""}, {SNTR_KIND_BASE_R, 2, ""}, {SNTR_KIND_BASE_V, 2, ""}};

bool hasBytes(std::uint32_t kind) { return (kind & (SNTR_KIND_V | SNTR_KIND_IV | SNTR_KIND_BASE_V)) != 0; }

// What the writer's round of this number stores: a value of bytes is one letter throughout, and the letter tells the
// size; the result code tells the round.
std::size_t sizeOf(char letter) {
  const std::size_t sizes[] = {64, 0x1000, 1, 100, 0xfff, 64, 2000};
  return sizes[static_cast<std::size_t>(letter - 'a') % 7];
}
char letterOf(std::uint64_t round) { return static_cast<char>('a' + round % 26); }

struct Value {
  std::int32_t number = 0;
  std::uint64_t size = 0;
  char bytes[kMaxValue] = {};
  std::uint64_t rc = 0;

  Value() = default;
  explicit Value(std::uint64_t round) : number(static_cast<std::int32_t>(round)), size(sizeOf(letterOf(round))) {
    std::memset(bytes, letterOf(round), size);
    rc = round;
  }
  bool isWhole() const { return size == sizeOf(bytes[0]) && std::string(bytes, size) == std::string(size, bytes[0]); }
};

std::uint32_t add(SNodeCB_t *n, const Key &k, const Value &v, std::uint64_t held) {
  const char *const id = k.id.data();
  if (k.kind == SNTR_KIND_R) return sntrAddRProperty(n, k.tag, v.number, held);
  if (k.kind == SNTR_KIND_V) return sntrAddVProperty(n, k.tag, v.size, v.bytes, held);
  if (k.kind == SNTR_KIND_IR) return sntrAddIRProperty(n, k.tag, k.id.size(), id, v.number, held);
  if (k.kind == SNTR_KIND_IV) return sntrAddIVProperty(n, k.tag, k.id.size(), id, v.size, v.bytes, held);
  if (k.kind == SNTR_KIND_BASE_R) return sntrCreateBaseRProperty(n, k.tag, v.number, held);
  return sntrCreateBaseVProperty(n, k.tag, v.size, v.bytes, held);
}

std::uint32_t erase(SNodeCB_t *n, const Key &k, std::uint64_t held) {
  if (k.kind == SNTR_KIND_R) return sntrDeleteRProperty(n, k.tag, held);
  if (k.kind == SNTR_KIND_V) return sntrDeleteVProperty(n, k.tag, held);
  if (k.kind == SNTR_KIND_IR) return sntrDeleteIRProperty(n, k.tag, k.id.size(), k.id.data(), held);
  if (k.kind == SNTR_KIND_IV) return sntrDeleteIVProperty(n, k.tag, k.id.size(), k.id.data(), held);
  if (k.kind == SNTR_KIND_BASE_R) return sntrDeleteBaseRProperty(n, k.tag, held);
  return sntrDeleteBaseVProperty(n, k.tag, held);
}

std::uint32_t set(SNodeCB_t *n, const Key &k, const Value &v, std::uint64_t held) {
  const char *const id = k.id.data();
  if (k.kind == SNTR_KIND_R) return sntrSetValueForRProperty(n, k.tag, v.number, held);
  if (k.kind == SNTR_KIND_V) return sntrSetValueForVProperty(n, k.tag, v.size, v.bytes, held);
  if (k.kind == SNTR_KIND_IR) return sntrSetValueForIRProperty(n, k.tag, k.id.size(), id, v.number, held);
  if (k.kind == SNTR_KIND_IV) return sntrSetValueForIVProperty(n, k.tag, k.id.size(), id, v.size, v.bytes, held);
  if (k.kind == SNTR_KIND_BASE_R) return sntrSetValueForBaseRProperty(n, k.tag, v.number, held);
  return sntrSetValueForBaseVProperty(n, k.tag, v.size, v.bytes, held);
}

std::uint32_t setRC(SNodeCB_t *n, const Key &k, std::uint64_t rc, std::uint64_t held) {
  if (k.kind == SNTR_KIND_R) return sntrSetRCForRProperty(n, k.tag, rc, held);
  if (k.kind == SNTR_KIND_V) return sntrSetRCForVProperty(n, k.tag, rc, held);
  if (k.kind == SNTR_KIND_IR) return sntrSetRCForIRProperty(n, k.tag, k.id.size(), k.id.data(), rc, held);
  if (k.kind == SNTR_KIND_IV) return sntrSetRCForIVProperty(n, k.tag, k.id.size(), k.id.data(), rc, held);
  if (k.kind == SNTR_KIND_BASE_R) return sntrSetRCForBaseRProperty(n, k.tag, rc, held);
  return sntrSetRCForBaseVProperty(n, k.tag, rc, held);
}

std::uint32_t get(SNodeCB_t *n, const Key &k, Value &v, std::uint64_t held) {
  const char *const id = k.id.data();
  if (k.kind == SNTR_KIND_R) return sntrGetValueForRProperty(n, k.tag, &v.number, held);
  if (k.kind == SNTR_KIND_V) return sntrGetValueForVProperty(n, k.tag, &v.size, nullptr, v.bytes, held);
  if (k.kind == SNTR_KIND_IR) return sntrGetValueForIRProperty(n, k.tag, k.id.size(), id, &v.number, held);
  if (k.kind == SNTR_KIND_IV)
    return sntrGetValueForIVProperty(n, k.tag, k.id.size(), id, &v.size, nullptr, v.bytes, held);
  if (k.kind == SNTR_KIND_BASE_R) return sntrGetValueForBaseRProperty(n, k.tag, &v.number, held);
  return sntrGetValueForBaseVProperty(n, k.tag, &v.size, nullptr, v.bytes, held);
}

std::uint32_t getRC(SNodeCB_t *n, const Key &k, std::uint64_t &rc, std::uint64_t held) {
  if (k.kind == SNTR_KIND_R) return sntrGetRCForRProperty(n, k.tag, &rc, held);
  if (k.kind == SNTR_KIND_V) return sntrGetRCForVProperty(n, k.tag, &rc, held);
  if (k.kind == SNTR_KIND_IR) return sntrGetRCForIRProperty(n, k.tag, k.id.size(), k.id.data(), &rc, held);
  if (k.kind == SNTR_KIND_IV) return sntrGetRCForIVProperty(n, k.tag, k.id.size(), k.id.data(), &rc, held);
  if (k.kind == SNTR_KIND_BASE_R) return sntrGetRCForBaseRProperty(n, k.tag, &rc, held);
  return sntrGetRCForBaseVProperty(n, k.tag, &rc, held);
}

// A change of a value and its result code in one section; every third by taking the property away and adding it again,
// which moves it to another slot.
void change(SNodeCB_t *node, const Key &key, std::uint64_t round) {
  const Value value(round);
  ASSERT_RC(sntrEnterCriticalSectionBeforeWrite(node, &node->primaryLatch), Rc::Ok);
  if (round % 3 == 0) {
    EXPECT_RC(erase(node, key, 1), Rc::Ok) << round;
    EXPECT_RC(add(node, key, value, 1), Rc::Ok) << round;
  } else {
    EXPECT_RC(set(node, key, value, 1), Rc::Ok) << round;
  }
  EXPECT_RC(setRC(node, key, value.rc, 1), Rc::Ok) << round;
  ASSERT_RC(sntrExitCriticalSectionAfterWrite(node, &node->primaryLatch), Rc::Ok);
}

void writeAllKinds(const Task &task) {
  const Connection here(task);
  std::uint64_t round = 1;
  for (; !support::parentHasTold() && !testing::Test::HasFailure(); ++round) {
    for (const Key &key : kKeys) change(here.node, key, round);
    if (round == 1) support::tellParent();
  }
  EXPECT_GT(round, kLeastRounds);
}
const PartName kWriter("write all kinds", writeAllKinds);

class AllKinds : public SharedSegment {
 protected:
  void createLists(std::uint32_t layout) {
    std::array<std::uint64_t, SNTR_AREA_COUNT> sizes{};
    sizes[SNTR_AREA_NODE_ID] = 3;  // areas begin at odd bytes
    sizes[SNTR_AREA_BASE_R] = 0x90, sizes[SNTR_AREA_BASE_V] = 0x1a8 + kMaxValue, sizes[SNTR_AREA_R] = 0x801;
    for (std::size_t i = SNTR_AREA_V; i <= SNTR_AREA_IV; ++i) sizes[i] = 0x300 + 7 * (0x250 + kMaxValue);
    ShmSegInfo_t info{};
    info.version = info.latchVersion = SNTR_VERSION;
    info.domain = domain, info.pool = pool;
    std::uint64_t size = 0, offset = 0;
    ASSERT_RC(sntrCreateNode(&info, &node, 0x7e0, sizes.data(), &size, &offset), Rc::Ok);
    const auto start = reinterpret_cast<std::uint64_t>(base());
    ASSERT_RC(sntrInitNode(&node, start, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr), Rc::Ok);
    ASSERT_RC(sntrActivateNode(&node), Rc::Ok);
    const Places places{pool->poolHeaderOffset, offset};
    ASSERT_RC(sntrSetDomainUserAppData(domain, sizeof places, &places), Rc::Ok);
    const std::uint32_t created[] = {
        sntrCreateRPropertyList(node, nullptr, nullptr, 0, kCapacity, layout, 0),
        sntrCreateVPropertyList(node, nullptr, nullptr, nullptr, 0, kCapacity, kMaxValue, layout, 0),
        sntrCreateIRPropertyList(node, nullptr, nullptr, nullptr, nullptr, 0, kCapacity, kMaxID, layout, 0),
        sntrCreateIVPropertyList(node, nullptr, nullptr, nullptr, nullptr, nullptr, 0, kCapacity, kMaxID, kMaxValue,
                                 layout, 0)};
    for (const std::uint32_t rc : created) ASSERT_RC(rc, Rc::Ok);
    for (const Key &k : kKeys) ASSERT_RC(add(node, k, Value(0), 0), Rc::Ok) << k.kind << " " << k.tag;
  }

  // Value and result code together, and a value alone; the round that was seen.
  std::uint64_t look(const Key &k) {
    Value pair, alone;
    EXPECT_RC(sntrEnterCriticalSectionBeforeRead(node, &node->primaryLatch), Rc::Ok);
    EXPECT_RC(get(node, k, pair, 1), Rc::Ok);
    EXPECT_RC(getRC(node, k, pair.rc, 1), Rc::Ok);
    EXPECT_RC(sntrExitCriticalSectionAfterRead(node, &node->primaryLatch), Rc::Ok);
    EXPECT_RC(get(node, k, alone, 0), Rc::Ok);
    if (!hasBytes(k.kind)) {
      EXPECT_EQ(static_cast<std::uint64_t>(pair.number), pair.rc);
      EXPECT_GE(alone.number, pair.number) << "a later look saw an earlier value";
    } else {
      EXPECT_TRUE(pair.isWhole() && alone.isWhole()) << pair.size << " " << alone.size;
      EXPECT_EQ(pair.bytes[0], letterOf(pair.rc));
    }
    return pair.rc;
  }

  // The keys of one kind as they are copied out, and that each size is one which the writer gives.
  std::set<std::pair<std::uint64_t, std::string>> keysOut(std::uint32_t kind) {
    std::uint64_t tags[kCapacity] = {}, lengths[kCapacity] = {}, sizes[kCapacity] = {}, rc = 0;
    char ids[kCapacity * kMaxID] = {};
    if (kind == SNTR_KIND_R) rc = sntrReturnRProperties(node, tags, 0, kCapacity, 0);
    if (kind == SNTR_KIND_V) rc = sntrReturnVProperties(node, tags, sizes, 0, kCapacity, 0);
    if (kind == SNTR_KIND_IR) rc = sntrReturnIRProperties(node, tags, lengths, ids, 0, kCapacity, kMaxID, 0);
    if (kind == SNTR_KIND_IV) rc = sntrReturnIVProperties(node, tags, lengths, ids, sizes, 0, kCapacity, kMaxID, 0);
    if (kind == SNTR_KIND_BASE_R) rc = sntrReturnBaseRProperty(node, tags, 0);
    if (kind == SNTR_KIND_BASE_V) rc = sntrReturnBaseVProperty(node, tags, sizes, 0);
    EXPECT_RC(static_cast<std::uint32_t>(rc), Rc::Ok);
    std::set<std::pair<std::uint64_t, std::string>> keys;
    for (std::uint64_t i = 0; i < kCapacity && tags[i] != 0; ++i) {
      keys.emplace(tags[i], std::string(ids + kMaxID * i, lengths[i]));
      if (!hasBytes(kind)) continue;
      const std::set<std::size_t> known{64, 0x1000, 1, 100, 0xfff, 2000};
      EXPECT_EQ(known.count(sizes[i]), 1u) << sizes[i];
    }
    return keys;
  }
};

TEST_F(AllKinds, AreSeenWholeWhileAnotherProcessWritesThem) {
  createDomain(0x400000);
  createPool(0x100000);
  std::map<std::uint32_t, std::set<std::pair<std::uint64_t, std::string>>> expected;
  for (const Key &k : kKeys) expected[k.kind].emplace(k.tag, k.id);
  for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
    SCOPED_TRACE(layout == SNTR_LAYOUT_ARRAY ? "array" : "table");
    createLists(layout);
    Actor writer("write all kinds", task());
    ASSERT_TRUE(writer.waits());
    std::vector<std::set<std::uint64_t>> seen(kKeys.size());
    std::uint64_t rounds = 0;
    for (const auto end = Clock::now() + kTime; Clock::now() < end && !HasFailure(); ++rounds) {
      for (std::size_t i = 0; i < kKeys.size(); ++i) seen[i].insert(look(kKeys[i]));
      for (const auto &[kind, keys] : expected) EXPECT_EQ(keysOut(kind), keys) << kind;
      std::this_thread::sleep_for(std::chrono::microseconds(rounds % 64));  // so that neither side waits for long
    }
    writer.tell();
    EXPECT_EQ(writer.result(), 0);
    EXPECT_GT(rounds, kLeastRounds);
    for (std::size_t i = 0; i < kKeys.size(); ++i) EXPECT_GT(seen[i].size(), kLeastRounds / 4) << "key " << i;
    ASSERT_RC(sntrDisclaimNode(&node, pool, SNTR_VERSION), Rc::Ok);
  }
}

}  // namespace
}  // namespace multiprocess_test
