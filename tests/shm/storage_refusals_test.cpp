// SPDX-License-Identifier: MIT
// What domains and pools refuse, with which code, in which order, and that a refusal changes nothing; and what they
// survive.
#include <oss/latch.h>
#include <sntr/heap.h>

#include <random>

#include "storage_fixture.h"

namespace shm_test {
namespace {

constexpr U64 kAsked = 0x1004;

// Parameters with which a domain is not made, a pool is not made, a domain is not connected to. Ok: the row is not for
// that.
const struct {
  const char *name;
  Rc domain, pool, connection;
  Params params;
  U64 size = kAsked;
} kArguments[] = {
    {"the offset first", ParamOffsetUneven, Ok, ParamOffsetUneven, {.handle = 1, .offset = 12, .userArea = kHuge}},
    {"user area", BadUserAreaSize, BadUserAreaSize, Ok, {.handle = 1, .userArea = kAsked + 1}},
    {"user area of all", BadVersion, BadVersion, Ok, {.handle = 1, .userArea = kAsked}},
    {"handle selector", BadVersion, BadVersion, BadVersion, {.reserved = 1, .handle = 1, .latch = 1}},
    {"latch selector", BadLatchVersion, BadLatchVersion, Ok, {.reserved = 1, .latch = 1}},
    {"a selector is 64 bits", BadLatchVersion, BadLatchVersion, Ok, {.latch = 0x101317d17}},
    {"then that",
     BadReservedSelector,
     BadReservedSelector,
     BadReservedSelector,
     {.reserved = 1, .granule = 1, .kind = 4}},
    {"granule below 8", DomainGranuleBad, PoolGranuleBad, Ok, {.granule = 7, .kind = 9}},
    {"granule 9", DomainGranuleUneven, PoolGranuleUneven, Ok, {.granule = 9}},
    {"granule of all", DomainGranuleUneven, PoolGranuleUneven, Ok, {.granule = kAsked}},
    {"granule above all", DomainGranuleBad, PoolGranuleBad, Ok, {.granule = kAsked + 4}},
    {"default granule above all", DomainGranuleBad, Ok, Ok, {}, 0x800},
    {"kind of an existing segment", BadDomainKind, Ok, Ok, {.kind = SNTR_DOMAIN_ATTACHED}},
    {"a kind is 64 bits", BadDomainKind, Ok, BadDomainKind, {.kind = 0x100000001}},
    {"no memory", NullBase, Ok, NullBase, {.kind = kMemory}, 0x4000},
    {"no bytes", Ok, PoolGranuleBad, Ok, {}, 0},
    {"above what the domain has", Ok, DomainFull, Ok, {}, kHuge},
    {"above what is free", Ok, DomainFull, Ok, {}, kSize - 0x1000},
    {"lists above all", DomainHeaderMisfit, DomainFull, Ok, {.slots = 250000}},
    {"another header offset", Ok, Ok, NotADomain, {.offset = 64}},
    {"header behind the end", DomainHeaderMisfit, Ok, NotADomain, {.offset = kSize - 0x100}, kSize},
    {"offset that wraps", DomainHeaderMisfit, Ok, NotADomain, {.offset = kHuge - 7, .kind = kMemory}},
    {"all wraps", DomainHeaderMisfit, Ok, Ok, {.offset = kHuge / 2 + 1, .kind = kMemory}, kHuge - 7},
    {"user area that wraps", DomainHeaderMisfit, Ok, Ok, {.userArea = kHuge, .kind = kMemory}, kHuge},
    {"a byte too few", DomainHeaderMisfit, Ok, Ok, {.slots = 25, .granule = 8, .kind = kMemory}, 0x1e8 + 5303}};

TEST_F(Storage, RefusalsOfParametersComeInOrderAndLeaveNothing) {
  const OSSIPCResID owners = newKey();
  alignas(8) char small[0x1e8 + 5304] = {};
  Domain *owner = nullptr, *other = domain;
  Pool *made = pool;
  ASSERT_RC(sntrCreateShmDomain(&owners, nullptr, kSize, nullptr, &owner), Ok);
  EXPECT_EQ(std::pair(infoOf(owner).maxLevel, infoOf(owner).granule), std::pair(U64{7}, U64{0x1000})) << "defaults";
  EXPECT_EQ(std::pair(infoOf(pool).maxLevel, infoOf(pool).granule), std::pair(U64{10}, U64{8})) << "defaults";
  for (const auto &row : kArguments) {
    SCOPED_TRACE(row.name);
    char *const memory = row.params.kind == kMemory && row.domain != NullBase ? small : nullptr;
    expectRefused(row.domain, [&] { return makeDomain(other, row.params, row.size, memory); });
    expectRefused(row.pool, [&] { return makePool(made, row.params, row.size); });
    expectRefused(row.connection, [&] { return connectBy(row.params, other, memory, &owners); });
    EXPECT_TRUE(other == domain && made == pool) << "a handle was made";
    EXPECT_FALSE(segmentIsLeft(key));
    EXPECT_EQ(infoOf(domain).allocatedCount, 2u);
    EXPECT_EQ(infoOf(owner).connectCount, 1u);
  }
  for (const char byte : small) ASSERT_EQ(byte, 0) << "memory was written although the domain does not fit";
  expectRefused(NullKey, [&] { return sntrCreateShmDomain(nullptr, nullptr, kSize, nullptr, &other); });
  expectRefused(NullKey, [&] { return sntrConnectToShmDomain(nullptr, nullptr, nullptr, &other); });
  expectRefused(NullDomainHandle, [&] { return sntrCreateShmDomain(&key, nullptr, kSize, nullptr, nullptr); });
  expectRefused(NullDomainHandle, [&] { return sntrConnectToShmDomain(&owners, nullptr, nullptr, nullptr); });
  // The parameters of the creation may be used to connect: what only they have is not looked at.
  const Params shared{.latch = 1, .granule = 1, .userArea = kHuge, .kind = SNTR_DOMAIN_CREATED};
  EXPECT_RC(connectBy(shared, other, nullptr, &owners), Ok);
  EXPECT_EQ(infoOf(owner).connectCount, 2u);
  EXPECT_EQ(other->domainKind, SNTR_DOMAIN_ATTACHED);
  EXPECT_RC(disconnect(&other), Ok);
  EXPECT_RC(freeUnused(&owner), Ok);
}

TEST_F(Storage, RefusalsOfAConnectionToAPool) {
  const U64 header = pool->poolHeaderOffset;
  const std::pair<U64, Rc> rows[] = {{header + 4, PoolOffsetUneven}, {header + 8, NotAPool},
                                     {kDomainHeader, NotAPool},      {0, ChunkOutsideHeap},
                                     {kSize - 0x1e8, NotAPool},      {kSize - 0x1e0, ChunkOutsideHeap},
                                     {kSize, ChunkOutsideHeap},      {kHuge - 7, ChunkOutsideHeap}};
  Pool *none = nullptr;
  for (const auto &[offset, rc] : rows) {
    SCOPED_TRACE(offset);
    expectRefused(rc, [&, at = offset] { return sntrConnectToShmPool(&none, domain, at, this); });
    EXPECT_EQ(none, nullptr);
  }
  expectRefused(NullPoolHandle, [&] { return sntrConnectToShmPool(nullptr, nullptr, 4, nullptr); });
  expectRefused(NullPoolHandle, [&] { return createPool(nullptr, nullptr, 0); });
  expectRefused(NullStorageOutput, [&] { return sntrConnectToShmPool(&none, domain, 4, nullptr); });
}

// An operation on a handle; the names begin with different letters. One that is refused leaves its outputs alone.
template <class Handle>
struct Operation {
  const char *name;
  U32 (*call)(Storage &t, Handle *h);
};

template <class Handle>
constexpr Operation<Handle> kOfBoth[] = {
    {"connect", [](Storage &t, Handle *other) { return t.connect(other); }},
    {"disconnect", [](Storage &, Handle *h) { return disconnect(&h); }},
    {"free", [](Storage &, Handle *h) { return freeAlways(&h); }},
    {"info", [](Storage &t, Handle *h) { return getInfo(h, &t.info); }},
    {"set data", [](Storage &t, Handle *h) { return setData(h, kUserArea, t.data); }},
    {"get data", [](Storage &t, Handle *h) { return getData(h, &t.size, t.data); }},
    {"latch", [](Storage &, Handle *h) { return latch(h); }},
    {"unlatch", [](Storage &, Handle *h) { return unlatch(h); }}};
constexpr Operation<Domain> kOfDomain[] = {
    {"handle's end", [](Storage &, Domain *h) { return destroyHandle(&h); }},
    {"mark", [](Storage &, Domain *h) { return sntrMarkShmDomainForDeletion(h); }},
    {"pool made", [](Storage &t, Domain *h) { return createPool(&t.above, h, 0x400); }},
    {"join a pool", [](Storage &t, Domain *h) { return sntrConnectToShmPool(&t.above, h, headerOf(t.pool), h); }},
    {"end of a pool", [](Storage &t, Domain *) { return freeAlways(&t.pool); }}};
constexpr Operation<Pool> kOfPool[] = {{"allocate", [](Storage &t, Pool *h) { return allocate(&t.block, h, 8); }},
                                       {"release", [](Storage &t, Pool *h) { return release(&t.block, h); }}};

// The operations, by first letter, that look at the handle, the header, the latch and the lists.
constexpr const char *kOnHandle = "dfisgluhmpjar", *kOnHeader = "cdefisglumpjar";
constexpr const char *kOnLatch = "cdeflupar", *kOnLists = "cdefilpar";

// A damaged word of a handle, or of the header behind it, and the code of those operations. Ok: not for this kind.
const struct {
  const char *name;
  bool inHandle;
  U64 offset, value;
  const char *by;
  Rc domain, pool;
} kDamages[] = {{"null base", true, 0, 0, kOnHandle, NullBase, NullBase},
                {"uneven header offset", true, 16, 12, kOnHandle, DomainOffsetUneven, PoolOffsetUneven},
                {"header behind the domain", true, 16, kSize, kOnHandle, NotADomain, ChunkOutsideHeap},
                {"less than a header mapped", true, 32, kDomainHeader + 0x1e0, kOnHandle, NotADomain, Ok},
                {"uneven domain offset", true, 8, 4, kOnHandle, Ok, DomainOffsetUneven},
                {"uneven chunk offset", true, 24, 0x104, kOnHandle, Ok, PoolChunkOffsetUneven},
                {"no chunk there", true, 24, 0x3008, "f", Ok, DomainBlockNotFound},
                {"reserved selector", false, 0x00, 0x101317d17, "ef", BadReservedSelector, BadReservedSelector},
                {"domain's reserved selector", false, 0x00, 1, "d", BadReservedSelector, Ok},
                {"handle selector", false, 0x08, 0x101317d17, "efh", BadVersion, BadVersion},
                {"domain's handle selector", false, 0x08, 1, "d", BadVersion, Ok},
                {"latch selector", false, 0x10, 0x101317d17, "ef", BadLatchVersion, BadLatchVersion},
                {"eyecatcher", false, 0x18, 0, kOnHeader, NotADomain, NotAPool},
                {"mark", false, 0x20, 1, "c", DomainMarkedForDeletion, PoolMarkedForDeletion},
                {"stored offset", false, 0x28, 8, kOnHeader, DomainOffsetMismatch, PoolOffsetMismatch},
                {"larger than the domain", false, 0x38, kSize + 1, kOnHeader, NotADomain, NotAPool},
                {"a total that wraps", false, 0x38, kHuge - 0x100, kOnHeader, NotADomain, NotAPool},
                {"larger than its chunk", false, 0x38, 0x9000, "f", Ok, ChunkOutsideHeap},
                {"no granule", false, 0x58, 0, "a", Ok, PoolGranuleBad},
                {"uneven granule", false, 0x58, 12, "a", Ok, PoolGranuleUneven},
                {"granule near the end of numbers", false, 0x58, kHuge - 7, "a", Ok, PoolGranuleBad},
                {"latch not stamped", false, 0x60, 0, kOnLatch, BadLatchVersion, BadLatchVersion},
                {"user area", false, 0xf0, kHuge, "cdefisgpar", StoredUserAreaTooLarge, StoredUserAreaTooLarge},
                {"no levels", false, kLists, 0, kOnLists, ChunkOutsideHeap, ChunkOutsideHeap},
                {"too many levels", false, kLists, 26, kOnLists, ChunkOutsideHeap, ChunkOutsideHeap},
                {"settings' latch not stamped", false, 0x180, 0, "pa", BadLatchVersion, BadLatchVersion},
                {"settings' pad type", false, 0x158, 0x123456780000000b, "pa", UnknownPadType, UnknownPadType},
                {"settings' front pads", false, 0x178, 0x200000009, "pa", BadFrontPadCount, BadFrontPadCount},
                {"settings' back pads", false, 0x178, 2, "pa", BadBackPadCount, BadBackPadCount},
                {"pads of a freed pool before it", false, kHuge - 7, 0xf4eeda7a00000000, "c", Ok, UnknownPadType}};

TEST_F(Storage, RefusalsOfADamagedHandleOrHeaderChangeNothing) {
  ASSERT_RC(allocate(&block, pool, 8), Ok);
  const auto test = [&](auto *handle, const auto &operation) {
    const auto isOf = [&](const char *letters) { return std::strchr(letters, *operation.name) != nullptr; };
    const auto expectNoChange = [&](const char *why, auto *h, Rc want) {
      SCOPED_TRACE(std::string(operation.name) + ", " + why);
      const auto before = bytes();
      EXPECT_RC(operation.call(*this, h), want);
      EXPECT_TRUE(before == bytes()) << "something was changed";
    };
    const Rc null = of(handle, NullDomainHandle, NullPoolHandle);
    if (isOf(kOnHandle)) expectRefused(null, [&] { return operation.call(*this, nullptr); });
    ASSERT_RC(latch(handle), Ok);
    if (isOf("acdeflpr")) expectNoChange("this thread holds the latch", handle, LatchFailed);
    ASSERT_RC(unlatch(handle), Ok);
    for (const auto &row : kDamages) {
      const Rc want = of(handle, row.domain, row.pool);
      if (want == Ok || !isOf(row.by)) continue;
      auto copy = *handle;
      void *const record = row.inHandle ? static_cast<void *>(&copy) : base;
      const U64 at = row.offset + (row.inHandle ? 0 : headerOf(handle));
      damaged(record, at, row.value, [&] { expectNoChange(row.name, &copy, want); });
      EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0) << operation.name << ", " << row.name;
    }
  };
  for (const auto &operation : kOfBoth<Domain>) test(domain, operation);
  for (const auto &operation : kOfDomain) test(domain, operation);
  for (const auto &operation : kOfBoth<Pool>) test(pool, operation);
  for (const auto &operation : kOfPool) test(pool, operation);
}

TEST_F(Storage, RefusalsOfNull) {
  forBoth([&](auto *handle) {
    decltype(handle) *none = nullptr;
    const Rc null = of(handle, NullDomainHandle, NullPoolHandle);
    for (const U32 rc : {disconnect(none), freeAlways(none), destroyHandle(none)}) EXPECT_RC(rc, null);
    EXPECT_RC(getInfo(handle, nullptr), NullInfoRecord);
    EXPECT_RC(setData(handle, 0, nullptr), NullUserData);
    EXPECT_RC(getData(handle, &size, nullptr), NullUserData);
    EXPECT_RC(getData(handle, nullptr, data), NullStorageOutput);
  });
  EXPECT_RC(allocate(nullptr, pool, 8), NullStorageOutput);
  EXPECT_RC(release(nullptr, pool), NullStorageOutput);
  EXPECT_RC(release(&block, pool), NullBlock);
}

// Every word of a domain's header and bookkeeping and of a whole pool, overwritten with values that mislead, alone and
// with another: no operation crashes, hangs, keeps a latch, or hands out memory that is not the domain's.
class StorageDamage : public Storage {
 protected:
  void SetUp() override {
    Storage::SetUp();
    ASSERT_RC(freeAlways(&pool), Ok);
    ASSERT_RC(makePool(pool, Params{.slots = 10, .levels = 5, .userArea = kUserArea}, 0x1000), Ok);
    std::vector<void *> blocks;
    while (allocate(&block, pool, 40) == 0) blocks.push_back(block);
    for (std::size_t i = 0; i < blocks.size(); i += 3) ASSERT_RC(release(&blocks[i], pool), Ok);
    block = blocks[1];
  }
  void expectInside(const void *given, U64 bytes) {
    const U64 offset = reinterpret_cast<std::uintptr_t>(given) - reinterpret_cast<std::uintptr_t>(base);
    EXPECT_TRUE(offset < kSize && bytes <= kSize - offset) << offset;
  }

  void useAll(bool compacts) {
    Pool *other = nullptr, *made = nullptr;
    void *small = nullptr, *large = nullptr, *old = block;
    getInfo(domain, &info), getInfo(pool, &info), getData(domain, &size, data), getData(pool, &size, data);
    if (latch(pool) == 0) unlatch(pool);
    release(&old, pool);
    if (allocate(&small, pool, 0x20) == 0) expectInside(small, 0x20);
    if (allocate(&large, pool, 0x200) == 0) expectInside(large, 0x200);
    if (small != nullptr) release(&small, pool);
    if (connect(other) == 0 && disconnect(&other) != 0) destroyHandle(&other);
    if (createPool(&made, domain, 0x400) == 0) expectInside(base + made->poolHeaderOffset, 0x1e8);
    if (made != nullptr && freeAlways(&made) != 0) destroyHandle(&made);
    if (compacts) sntrDefragmentSList(base, 1, kDomainHeader), sntrDefragmentSList(base, 2, pool->poolHeaderOffset);
    if (connect(other) == 0 && freeAlways(&other) != 0) destroyHandle(&other);
  }

  // Overwrites each word from a header on. Latches are left whole: a damaged one is the services layer's to survive,
  // and would keep every operation out of what is to be tried here.
  void sweep(U64 header, U64 swept) {
    const auto isLatch = [](U64 field) {
      return (field >= 0x60 && field < 0xe8) || (field >= 0x180 && field < kLists);
    };
    const std::vector<char> sound(base, base + kSize);
    std::mt19937_64 random(header);
    ossVLatchSetWaitLimit(20);
    for (U64 field = 0; field < swept && !HasFailure(); field += 8) {
      const U64 at = header + field, now = wordAt(base, at);
      for (const U64 value : {U64{0}, U64{1}, kHuge, U64{1} << 63, kSize, kSize - 8, now + 8, now - 8, now + 4, at,
                              header + kLists + 0x10}) {
        const U64 another = random() % 2 == 0 ? field : 8 * (random() % (swept / 8));
        if (isLatch(field) || isLatch(another)) continue;
        SCOPED_TRACE(testing::Message() << "words " << field << " and " << another << ", value " << value);
        for (const U64 word : {another, field}) setWordAt<U64>(base, header + word, word == field ? value : random());
        useAll(field != 0x38 && another != 0x38);  // compaction has no handle: it relies on the total
        EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0);
        std::memcpy(base, sound.data(), kSize);
      }
    }
    ossVLatchSetWaitLimit(30000);
  }
};

TEST_F(StorageDamage, OfADomainIsSurvived) { sweep(kDomainHeader, kLists + infoOf(domain).skipListAreaSize); }

TEST_F(StorageDamage, OfAPoolIsSurvived) { sweep(pool->poolHeaderOffset, infoOf(pool).totalSize); }

}  // namespace
}  // namespace shm_test
