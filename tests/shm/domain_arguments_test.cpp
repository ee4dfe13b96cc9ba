// What domains refuse, with which code, in which order; and that a refusal changes nothing.
#include <oss/log.h>

#include <functional>

#include "domain_fixture.h"

namespace shm_test {
namespace {

constexpr std::uint64_t kHuge = ~std::uint64_t{0};

// The arguments of a creation that would succeed, for a row to spoil.
struct CreateArguments {
  const OSSIPCResID *key;
  void *address;
  std::uint64_t size;
  ShmDomainParams params;
  ShmDomainHandle **domain;

  void inMemory(void *memory) {
    params.domainKind = SNTR_DOMAIN_MEMORY;
    address = memory;
  }
};

struct CreateRow {
  const char *name;
  Rc want;
  std::function<void(CreateArguments &)> spoil;
};

alignas(8) char smallMemory[0x100];

const CreateRow kCreateRows[] = {
    {"null output", Rc::NullDomainHandle, [](auto &a) { a.domain = nullptr; }},
    {"the offset is tested before all else", Rc::ParamOffsetUneven,
     [](auto &a) {
       a.params.heapHeaderOffset = 12;
       a.params.userAppAreaSize = kHuge;
     }},
    {"the user area before the selectors", Rc::BadUserAreaSize,
     [](auto &a) {
       a.params.userAppAreaSize = a.size + 1;
       a.params.handleAllocSelector = 1;
     }},
    {"handle selector before latch selector", Rc::BadVersion,
     [](auto &a) { a.params.handleAllocSelector = a.params.latchSelector = a.params.reservedSelector = 1; }},
    {"latch selector before reserved selector", Rc::BadLatchVersion,
     [](auto &a) { a.params.latchSelector = a.params.reservedSelector = 1; }},
    {"a selector is 64 bits", Rc::BadLatchVersion, [](auto &a) { a.params.latchSelector = 0x101317d17; }},
    {"reserved selector before granule", Rc::BadReservedSelector,
     [](auto &a) {
       a.params.reservedSelector = 1;
       a.params.granule = 1;
     }},
    {"granule below 8", Rc::DomainGranuleBad, [](auto &a) { a.params.granule = 7; }},
    {"granule 9", Rc::DomainGranuleUneven, [](auto &a) { a.params.granule = 9; }},
    {"granule as large as the domain, uneven", Rc::DomainGranuleUneven, [](auto &a) { a.params.granule = a.size - 4; }},
    {"granule above the domain", Rc::DomainGranuleBad, [](auto &a) { a.params.granule = a.size + 8; }},
    {"default granule above the domain", Rc::DomainGranuleBad, [](auto &a) { a.size = 0x800; }},
    {"granule before kind", Rc::DomainGranuleBad,
     [](auto &a) {
       a.params.granule = 1;
       a.params.domainKind = 9;
     }},
    {"kind of an existing segment", Rc::BadDomainKind, [](auto &a) { a.params.domainKind = SNTR_DOMAIN_ATTACHED; }},
    {"a kind is 64 bits", Rc::BadDomainKind, [](auto &a) { a.params.domainKind = 0x100000001; }},
    {"no key", Rc::NullKey, [](auto &a) { a.key = nullptr; }},
    {"no memory", Rc::NullBase, [](auto &a) { a.inMemory(nullptr); }},
    {"lists larger than the domain", Rc::DomainHeaderMisfit, [](auto &a) { a.params.slotCount = 10000; }},
    {"header behind the end", Rc::DomainHeaderMisfit, [](auto &a) { a.params.heapHeaderOffset = a.size - 0x100; }},
    {"header offset that wraps", Rc::DomainHeaderMisfit,
     [](auto &a) {
       a.inMemory(smallMemory);
       a.params.heapHeaderOffset = kHuge - 7;
     }},
    {"user area that wraps", Rc::DomainHeaderMisfit,
     [](auto &a) {
       a.inMemory(smallMemory);
       a.params.userAppAreaSize = a.size = kHuge;
     }},
    {"no byte of managed space left", Rc::DomainHeaderMisfit,
     [](auto &a) {
       a.inMemory(smallMemory);
       a.params.granule = 8;
       a.params.slotCount = 25;
       a.size = 0x1e8 + 5296 + 7;
     }},
};

using DomainCreate = DomainTest;

TEST_F(DomainCreate, RefusesBadArgumentsAndLeavesNothing) {
  for (const CreateRow &row : kCreateRows) {
    SCOPED_TRACE(row.name);
    auto *const untouched = reinterpret_cast<ShmDomainHandle *>(this);
    ShmDomainHandle *domain = untouched;
    CreateArguments a{&key_, nullptr, kSize, {}, &domain};
    row.spoil(a);
    EXPECT_RC(sntrCreateShmDomain(a.key, a.address, a.size, &a.params, a.domain), row.want);
    EXPECT_EQ(domain, untouched);
    EXPECT_FALSE(segmentExists(key_));
  }
  for (const char byte : smallMemory) ASSERT_EQ(byte, 0) << "memory was written although the domain does not fit";
}

struct ConnectRow {
  const char *name;
  Rc want;
  std::function<void(CreateArguments &)> spoil;
};

const ConnectRow kConnectRows[] = {
    {"null output", Rc::NullDomainHandle, [](auto &a) { a.domain = nullptr; }},
    {"the offset is tested before all else", Rc::ParamOffsetUneven,
     [](auto &a) {
       a.params.heapHeaderOffset = 4;
       a.params.handleAllocSelector = 1;
     }},
    {"handle selector before reserved selector", Rc::BadVersion,
     [](auto &a) { a.params.handleAllocSelector = a.params.reservedSelector = 1; }},
    {"reserved selector before kind", Rc::BadReservedSelector,
     [](auto &a) {
       a.params.reservedSelector = 1;
       a.params.domainKind = 4;
     }},
    {"unknown kind", Rc::BadDomainKind, [](auto &a) { a.params.domainKind = 4; }},
    {"no key", Rc::NullKey, [](auto &a) { a.key = nullptr; }},
    {"no memory", Rc::NullBase, [](auto &a) { a.inMemory(nullptr); }},
    {"another header offset", Rc::NotADomain, [](auto &a) { a.params.heapHeaderOffset = 64; }},
    {"a header offset behind the segment", Rc::NotADomain, [](auto &a) { a.params.heapHeaderOffset = kHuge - 7; }},
    {"fields of creation only are ignored", Rc::Ok,
     [](auto &a) {
       a.params.latchSelector = a.params.granule = 1;
       a.params.userAppAreaSize = kHuge;
     }},
    {"the kind of creation counts as that of an existing segment", Rc::Ok,
     [](auto &a) { a.params.domainKind = SNTR_DOMAIN_CREATED; }},
};

using DomainConnect = DomainTest;

TEST_F(DomainConnect, RefusesBadArgumentsAndCountsNothing) {
  ShmDomainHandle *owner = createSegment();
  for (const ConnectRow &row : kConnectRows) {
    SCOPED_TRACE(row.name);
    ShmDomainHandle *domain = nullptr;
    CreateArguments a{&key_, nullptr, 0, {}, &domain};
    row.spoil(a);
    EXPECT_RC(sntrConnectToShmDomain(a.key, a.address, &a.params, a.domain), row.want);
    EXPECT_EQ(domain != nullptr, row.want == Rc::Ok);
    if (domain == nullptr) {
      EXPECT_EQ(infoOf(owner).connectCount, 1u);
      continue;
    }
    EXPECT_EQ(domain->domainKind, SNTR_DOMAIN_ATTACHED);
    EXPECT_RC(sntrDisconnectFromShmDomain(&domain), Rc::Ok);
  }
  end(owner);
}

// An operation on a handle. It gets a copy of the pointer, so that a handle that is freed by mistake is noticed.
struct HandleOperation {
  const char *name;
  bool looksAtHeader;
  std::uint32_t (*call)(ShmDomainHandle *domain);
};

std::uint64_t userData[4];

const HandleOperation kOperations[] = {
    {"disconnect", true, [](ShmDomainHandle *d) { return sntrDisconnectFromShmDomain(&d); }},
    {"free", true, [](ShmDomainHandle *d) { return sntrFreeShmDomain(&d, SNTR_FREE_DOMAIN_ALWAYS); }},
    {"mark", true, [](ShmDomainHandle *d) { return sntrMarkShmDomainForDeletion(d); }},
    {"destroy handle", false, [](ShmDomainHandle *d) { return sntrDestroyShmDomainHandle(&d); }},
    {"info", true,
     [](ShmDomainHandle *d) {
       ShmHeapInfo info;
       return sntrGetShmDomainInfo(d, &info);
     }},
    {"set user data", true, [](ShmDomainHandle *d) { return sntrSetDomainUserAppData(d, 16, userData); }},
    {"get user data", true,
     [](ShmDomainHandle *d) {
       std::uint64_t size = 0;
       return sntrGetDomainUserAppData(d, &size, userData);
     }},
    {"latch", true, [](ShmDomainHandle *d) { return sntrLatchShmDomain(d); }},
    {"unlatch", true, [](ShmDomainHandle *d) { return sntrUnlatchShmDomain(d); }},
    {"create pool", true,
     [](ShmDomainHandle *d) {
       ShmPoolHandle *pool = nullptr;
       return createPool(&pool, d, 0x1000);
     }},
    {"connect to pool", true,
     [](ShmDomainHandle *d) {
       ShmPoolHandle *pool = nullptr;
       return sntrConnectToShmPool(&pool, d, 0x1000, d);
     }},
};

struct HandleDamage {
  const char *name;
  Rc want;
  bool ofHeader;
  std::uint64_t offset;
  std::uint64_t value;
};

// Offsets 0 and 16 of the handle are its base and header offset; 32 is what is mapped.
const HandleDamage kDamages[] = {
    {"null base", Rc::NullBase, false, 0, 0},
    {"uneven offset", Rc::DomainOffsetUneven, false, 16, 12},
    {"nothing of a header is mapped", Rc::NotADomain, false, 32, 0x1e0},
    {"eyecatcher gone", Rc::NotADomain, true, 0x18, 0},
    {"eyecatcher of a pool", Rc::NotADomain, true, 0x18, 0xf00df4ee},
    {"another stored offset", Rc::DomainOffsetMismatch, true, 0x28, 8},
    {"larger than its segment", Rc::NotADomain, true, 0x38, 0x40001},
};

using DomainHandles = DomainTest;

TEST_F(DomainHandles, EveryOperationRefusesDamageAndChangesNothing) {
  ShmDomainParams params{};
  params.userAppAreaSize = 16;
  ShmDomainHandle *domain = createInMemory(params);
  for (const HandleOperation &operation : kOperations) {
    SCOPED_TRACE(operation.name);
    EXPECT_RC(operation.call(nullptr), Rc::NullDomainHandle);
    for (const HandleDamage &damage : kDamages) {
      if (damage.ofHeader && !operation.looksAtHeader) continue;
      SCOPED_TRACE(damage.name);
      void *const record = damage.ofHeader ? domain->baseAddress : domain;
      const Damage<std::uint64_t> spoiled(record, damage.offset, damage.value);
      const auto bytes = memory_;
      EXPECT_RC(operation.call(domain), damage.want);
      EXPECT_EQ(bytes, memory_);
    }
  }
  end(domain);
}

struct LogLines {
  int count = 0;
  std::uint32_t code = 0, severity = 0;
  static void take(void *context, std::uint32_t, std::uint32_t code, std::uint32_t, std::uint32_t severity,
                   const char *) {
    auto *lines = static_cast<LogLines *>(context);
    *lines = LogLines{lines->count + 1, code, severity};
  }
};

TEST_F(DomainHandles, ABadHandleIsLoggedOnceAsAnError) {
  for (const HandleOperation &operation : kOperations) {
    SCOPED_TRACE(operation.name);
    LogLines lines;
    ossLogSetSink(LogLines::take, &lines);
    operation.call(nullptr);
    ossLogSetSink(nullptr, nullptr);
    EXPECT_EQ(lines.count, 1);
    EXPECT_RC(lines.code, Rc::NullDomainHandle);
    EXPECT_EQ(lines.severity, 3u);
  }
}

struct SelectorRow {
  const char *name;
  Rc want;
  std::uint64_t offset;
  std::uint32_t (*call)(ShmDomainHandle *domain);
};

std::uint32_t disconnect(ShmDomainHandle *d) { return sntrDisconnectFromShmDomain(&d); }
std::uint32_t freeIt(ShmDomainHandle *d) { return sntrFreeShmDomain(&d, SNTR_FREE_DOMAIN_ALWAYS); }
std::uint32_t destroyHandle(ShmDomainHandle *d) { return sntrDestroyShmDomainHandle(&d); }

const SelectorRow kSelectorRows[] = {
    {"disconnect, reserved", Rc::BadReservedSelector, 0x00, disconnect},
    {"disconnect, handle", Rc::BadVersion, 0x08, disconnect},
    {"free, reserved", Rc::BadReservedSelector, 0x00, freeIt},
    {"free, handle", Rc::BadVersion, 0x08, freeIt},
    {"free, latch", Rc::BadLatchVersion, 0x10, freeIt},
    {"destroy handle, handle", Rc::BadVersion, 0x08, destroyHandle},
};

TEST_F(DomainHandles, StoredSelectorsMustBeTheVersionWord) {
  ShmDomainHandle *domain = createInMemory();
  for (const SelectorRow &row : kSelectorRows) {
    SCOPED_TRACE(row.name);
    const Damage<std::uint64_t> spoiled(domain->baseAddress, row.offset, 0x101317d17);
    EXPECT_RC(row.call(domain), row.want);
  }
  EXPECT_EQ(infoOf(domain).connectCount, 1u);
  end(domain);
}

TEST_F(DomainHandles, NullPointersToHandlesAndOutputs) {
  ShmDomainHandle *domain = createInMemory();
  ShmDomainHandle *none = nullptr;
  std::uint64_t size = 0;
  const struct {
    const char *name;
    std::uint32_t got;
    Rc want;
  } rows[] = {
      {"disconnect null", sntrDisconnectFromShmDomain(nullptr), Rc::NullDomainHandle},
      {"disconnect none", sntrDisconnectFromShmDomain(&none), Rc::NullDomainHandle},
      {"free null", sntrFreeShmDomain(nullptr, SNTR_FREE_DOMAIN_ALWAYS), Rc::NullDomainHandle},
      {"free none", sntrFreeShmDomain(&none, SNTR_FREE_DOMAIN_ALWAYS), Rc::NullDomainHandle},
      {"destroy null", sntrDestroyShmDomainHandle(nullptr), Rc::NullDomainHandle},
      {"destroy none", sntrDestroyShmDomainHandle(&none), Rc::NullDomainHandle},
      {"info", sntrGetShmDomainInfo(domain, nullptr), Rc::NullInfoRecord},
      {"set", sntrSetDomainUserAppData(domain, 0, nullptr), Rc::NullUserData},
      {"get bytes", sntrGetDomainUserAppData(domain, &size, nullptr), Rc::NullUserData},
      {"get size", sntrGetDomainUserAppData(domain, nullptr, userData), Rc::NullStorageOutput},
  };
  for (const auto &row : rows) EXPECT_EQ(named(row.got), named(row.want)) << row.name;
  end(domain);
}

}  // namespace
}  // namespace shm_test
