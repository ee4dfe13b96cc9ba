// What domains refuse, with which code, in which order; and that a refusal changes nothing.
#include "storage_fixture.h"

namespace shm_test {
namespace {

using P = ShmDomainParams;
using Field = std::uint64_t P::*;

enum class Place { Segment, NoKey, Memory, NoMemory };

// Arguments of a creation or connection that would succeed, but for some fields.
struct ArgumentRow {
  const char *name;
  Rc want;
  std::vector<std::pair<Field, std::uint64_t>> fields;
  Place place = Place::Segment;
  std::uint64_t size = kSize;

  P params() const {
    P params{};
    if (place >= Place::Memory) params.domainKind = SNTR_DOMAIN_MEMORY;
    for (const auto &[field, value] : fields) params.*field = value;
    return params;
  }
};

alignas(8) char smallMemory[0x100];

const ArgumentRow kCreateRows[] = {
    {"the offset first", Rc::ParamOffsetUneven, {{&P::heapHeaderOffset, 12}, {&P::userAppAreaSize, kHuge}}},
    {"then the user area", Rc::BadUserAreaSize, {{&P::userAppAreaSize, kSize + 1}, {&P::handleAllocSelector, 1}}},
    {"handle selector", Rc::BadVersion, {{&P::handleAllocSelector, 1}, {&P::latchSelector, 1}}},
    {"latch selector", Rc::BadLatchVersion, {{&P::latchSelector, 1}, {&P::reservedSelector, 1}}},
    {"a selector is 64 bits", Rc::BadLatchVersion, {{&P::latchSelector, 0x101317d17}}},
    {"reserved selector before granule", Rc::BadReservedSelector, {{&P::reservedSelector, 1}, {&P::granule, 1}}},
    {"granule below 8, before kind", Rc::DomainGranuleBad, {{&P::granule, 7}, {&P::domainKind, 9}}},
    {"granule 9", Rc::DomainGranuleUneven, {{&P::granule, 9}}},
    {"granule up to the domain's size, uneven", Rc::DomainGranuleUneven, {{&P::granule, kSize - 4}}},
    {"granule above the domain", Rc::DomainGranuleBad, {{&P::granule, kSize + 8}}},
    {"default granule above the domain", Rc::DomainGranuleBad, {}, Place::Segment, 0x800},
    {"kind of an existing segment", Rc::BadDomainKind, {{&P::domainKind, SNTR_DOMAIN_ATTACHED}}},
    {"a kind is 64 bits", Rc::BadDomainKind, {{&P::domainKind, 0x100000001}}},
    {"no key", Rc::NullKey, {}, Place::NoKey},
    {"no memory", Rc::NullBase, {}, Place::NoMemory},
    {"lists larger than the domain", Rc::DomainHeaderMisfit, {{&P::slotCount, 10000}}},
    {"header behind the end", Rc::DomainHeaderMisfit, {{&P::heapHeaderOffset, kSize - 0x100}}},
    {"an offset that wraps", Rc::DomainHeaderMisfit, {{&P::heapHeaderOffset, kHuge - 7}}, Place::Memory},
    {"memory that wraps", Rc::DomainHeaderMisfit, {{&P::heapHeaderOffset, kHuge / 2 + 1}}, Place::Memory, kHuge - 7},
    {"user area that wraps", Rc::DomainHeaderMisfit, {{&P::userAppAreaSize, kHuge}}, Place::Memory, kHuge},
    {"one byte too few for a block",
     Rc::DomainHeaderMisfit,
     {{&P::granule, 8}, {&P::slotCount, 25}},
     Place::Memory,
     0x1e8 + 5296 + 7}};

using DomainArguments = DomainTest;

TEST_F(DomainArguments, OfACreationAreRefusedAndLeaveNothing) {
  auto *const untouched = reinterpret_cast<ShmDomainHandle *>(this);
  for (const ArgumentRow &row : kCreateRows) {
    ShmDomainHandle *domain = untouched;
    const P params = row.params();
    EXPECT_RC(sntrCreateShmDomain(row.place == Place::NoKey ? nullptr : &key_,
                                  row.place == Place::Memory ? smallMemory : nullptr, row.size, &params, &domain),
              row.want)
        << row.name;
    EXPECT_EQ(domain, untouched) << row.name;
    EXPECT_FALSE(support::segmentIsLeft(key_)) << row.name;
  }
  EXPECT_RC(sntrCreateShmDomain(&key_, nullptr, kSize, nullptr, nullptr), Rc::NullDomainHandle);
  for (const char byte : smallMemory) ASSERT_EQ(byte, 0) << "memory was written although the domain does not fit";
}

const ArgumentRow kConnectRows[] = {
    {"the offset first", Rc::ParamOffsetUneven, {{&P::heapHeaderOffset, 4}, {&P::handleAllocSelector, 1}}},
    {"handle selector", Rc::BadVersion, {{&P::handleAllocSelector, 1}, {&P::reservedSelector, 1}}},
    {"reserved selector before kind", Rc::BadReservedSelector, {{&P::reservedSelector, 1}, {&P::domainKind, 4}}},
    {"unknown kind", Rc::BadDomainKind, {{&P::domainKind, 4}}},
    {"no key", Rc::NullKey, {}, Place::NoKey},
    {"no memory", Rc::NullBase, {}, Place::NoMemory},
    {"another header offset", Rc::NotADomain, {{&P::heapHeaderOffset, 64}}},
    {"an offset behind the segment", Rc::NotADomain, {{&P::heapHeaderOffset, kHuge - 7}}},
    {"fields of creation", Rc::Ok, {{&P::latchSelector, 1}, {&P::granule, 1}, {&P::userAppAreaSize, kHuge}}},
    {"the kind of creation counts as that of an existing segment", Rc::Ok, {{&P::domainKind, SNTR_DOMAIN_CREATED}}}};

TEST_F(DomainArguments, OfAConnectionAreRefusedAndCountNothing) {
  ShmDomainHandle *owner = createSegment();
  for (const ArgumentRow &row : kConnectRows) {
    ShmDomainHandle *domain = nullptr;
    const P params = row.params();
    const OSSIPCResID *const key = row.place == Place::NoKey ? nullptr : &key_;
    EXPECT_RC(sntrConnectToShmDomain(key, nullptr, &params, &domain), row.want) << row.name;
    EXPECT_EQ(domain != nullptr, row.want == Rc::Ok) << row.name;
    EXPECT_EQ(infoOf(owner).connectCount, domain != nullptr ? 2u : 1u) << row.name;
    if (domain == nullptr) continue;
    EXPECT_EQ(domain->domainKind, SNTR_DOMAIN_ATTACHED);
    EXPECT_RC(sntrDisconnectFromShmDomain(&domain), Rc::Ok);
  }
  EXPECT_RC(sntrConnectToShmDomain(&key_, nullptr, nullptr, nullptr), Rc::NullDomainHandle);
  end(owner);
}

std::uint64_t userData[4], size;
ShmHeapInfo info;
ShmPoolHandle *pool;

// An operation on a handle. It gets a copy of the pointer, so that a handle that is freed by mistake is noticed.
const struct {
  const char *name;
  std::uint32_t (*call)(ShmDomainHandle *domain);
  bool looksAtHeader = true;
} kOperations[] = {{"disconnect", [](ShmDomainHandle *d) { return sntrDisconnectFromShmDomain(&d); }},
                   {"free", [](ShmDomainHandle *d) { return sntrFreeShmDomain(&d, SNTR_FREE_DOMAIN_ALWAYS); }},
                   {"destroy handle", [](ShmDomainHandle *d) { return sntrDestroyShmDomainHandle(&d); }, false},
                   {"mark", [](ShmDomainHandle *d) { return sntrMarkShmDomainForDeletion(d); }},
                   {"info", [](ShmDomainHandle *d) { return sntrGetShmDomainInfo(d, &info); }},
                   {"set user data", [](ShmDomainHandle *d) { return sntrSetDomainUserAppData(d, 16, userData); }},
                   {"get user data", [](ShmDomainHandle *d) { return sntrGetDomainUserAppData(d, &size, userData); }},
                   {"latch", [](ShmDomainHandle *d) { return sntrLatchShmDomain(d); }},
                   {"unlatch", [](ShmDomainHandle *d) { return sntrUnlatchShmDomain(d); }},
                   {"create pool", [](ShmDomainHandle *d) { return createPool(&pool, d, 0x1000); }},
                   {"connect to pool", [](ShmDomainHandle *d) { return sntrConnectToShmPool(&pool, d, 0x1000, d); }}};

// Offsets 0 and 16 of the handle are its base and header offset; 32 is what is mapped.
const struct {
  const char *name;
  Rc want;
  bool ofHeader;
  std::uint64_t offset, value;
} kDamages[] = {{"null base", Rc::NullBase, false, 0, 0},
                {"uneven offset", Rc::DomainOffsetUneven, false, 16, 12},
                {"nothing of a header is mapped", Rc::NotADomain, false, 32, 0x1e0},
                {"eyecatcher gone", Rc::NotADomain, true, 0x18, 0},
                {"eyecatcher of a pool", Rc::NotADomain, true, 0x18, 0xf00df4ee},
                {"another stored offset", Rc::DomainOffsetMismatch, true, 0x28, 8},
                {"larger than its segment", Rc::NotADomain, true, 0x38, 0x40001}};

TEST_F(DomainArguments, EveryOperationRefusesADamagedHandleAndLogsANullOneOnceAsAnError) {
  P params{};
  params.userAppAreaSize = 16;
  ShmDomainHandle *domain = createInMemory(params);
  for (const auto &operation : kOperations) {
    SCOPED_TRACE(operation.name);
    expectLogged([&] { return operation.call(nullptr); }, Rc::NullDomainHandle);
    for (const auto &damage : kDamages) {
      if (damage.ofHeader && !operation.looksAtHeader) continue;
      void *const record = damage.ofHeader ? domain->baseAddress : domain;
      const Damage<std::uint64_t> spoiled(record, damage.offset, damage.value);
      const auto bytes = memory_;
      EXPECT_RC(operation.call(domain), damage.want) << damage.name;
      EXPECT_EQ(bytes, memory_) << damage.name;
    }
  }
  EXPECT_RC(sntrDisconnectFromShmDomain(nullptr), Rc::NullDomainHandle);
  EXPECT_RC(sntrFreeShmDomain(nullptr, SNTR_FREE_DOMAIN_ALWAYS), Rc::NullDomainHandle);
  EXPECT_RC(sntrDestroyShmDomainHandle(nullptr), Rc::NullDomainHandle);
  EXPECT_RC(sntrGetShmDomainInfo(domain, nullptr), Rc::NullInfoRecord);
  EXPECT_RC(sntrSetDomainUserAppData(domain, 0, nullptr), Rc::NullUserData);
  EXPECT_RC(sntrGetDomainUserAppData(domain, &size, nullptr), Rc::NullUserData);
  EXPECT_RC(sntrGetDomainUserAppData(domain, nullptr, userData), Rc::NullStorageOutput);
  end(domain);
}

TEST_F(DomainArguments, StoredSelectorsMustBeTheVersionWord) {
  const struct {
    int operation;  // of kOperations: disconnect, free, destroy handle
    std::uint64_t offset;
    Rc want;
  } rows[] = {{0, 0x00, Rc::BadReservedSelector}, {0, 0x08, Rc::BadVersion},      {1, 0x00, Rc::BadReservedSelector},
              {1, 0x08, Rc::BadVersion},          {1, 0x10, Rc::BadLatchVersion}, {2, 0x08, Rc::BadVersion}};
  ShmDomainHandle *domain = createInMemory();
  for (const auto &row : rows) {
    const Damage<std::uint64_t> spoiled(domain->baseAddress, row.offset, 0x101317d17);
    EXPECT_RC(kOperations[row.operation].call(domain), row.want) << kOperations[row.operation].name << row.offset;
  }
  EXPECT_EQ(infoOf(domain).connectCount, 1u);
  end(domain);
}

}  // namespace
}  // namespace shm_test
