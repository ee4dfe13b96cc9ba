// Every word of a domain's and a pool's header and bookkeeping, each overwritten with values that mislead: no operation
// crashes, hangs, keeps a latch, or hands out memory that is not the domain's. Pages without access stand on both
// sides.
#include <oss/latch.h>
#include <sys/mman.h>

#include "storage_fixture.h"

namespace shm_test {
namespace {

class StorageDamage : public DomainTest {
 protected:
  static constexpr std::uint64_t kGuard = 0x10000;
  static constexpr std::uint64_t kPool = 0x2000;

  void SetUp() override {
    ossVLatchSetWaitLimit(20);
    whole_ = static_cast<char *>(mmap(nullptr, kSize + 2 * kGuard, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    base_ = whole_ + kGuard;
    ASSERT_EQ(mprotect(base_, kSize, PROT_READ | PROT_WRITE), 0);
    ShmDomainParams params{};
    params.domainKind = SNTR_DOMAIN_MEMORY;
    params.userAppAreaSize = 16;
    ASSERT_RC(sntrCreateShmDomain(nullptr, base_, kSize, &params, &domain_), Rc::Ok);
    ASSERT_RC(createPool(&pool_, domain_, kPool), Rc::Ok);
    for (void *&block : blocks_) ASSERT_RC(allocate(&block, pool_, 0x60), Rc::Ok);
    ASSERT_RC(release(&blocks_[1], pool_), Rc::Ok);
    ASSERT_RC(release(&blocks_[3], pool_), Rc::Ok);
    sound_.assign(base_, base_ + kSize);
  }
  void TearDown() override {
    EXPECT_RC(sntrDestroyShmPoolHandle(&pool_), Rc::Ok);
    end(domain_);
    munmap(whole_, kSize + 2 * kGuard);
    ossVLatchSetWaitLimit(30000);
    DomainTest::TearDown();
  }

  bool isInside(const void *block, std::uint64_t size) const {
    const auto at = reinterpret_cast<std::uintptr_t>(block), low = reinterpret_cast<std::uintptr_t>(base_);
    return at >= low && at + size <= low + kSize;
  }

  void useBlocks() {
    void *small = nullptr, *large = nullptr, *old = blocks_[2];
    release(&old, pool_);
    if (allocate(&small, pool_, 0x20) == 0) EXPECT_TRUE(isInside(small, 0x20));
    if (allocate(&large, pool_, 0x400) == 0) EXPECT_TRUE(isInside(large, 0x400));
    if (small != nullptr) release(&small, pool_);
  }
  void usePools() {
    ShmPoolHandle *other = nullptr, *made = nullptr;
    if (sntrConnectToShmPool(&other, domain_, pool_->poolHeaderOffset, this) == 0) {
      if (sntrDisconnectFromShmPool(&other) != 0) sntrDestroyShmPoolHandle(&other);
    }
    if (createPool(&made, domain_, 0x400) != 0) return;
    EXPECT_TRUE(isInside(base_ + made->poolHeaderOffset, 0x1e8));
    if (freePool(&made, SNTR_FREE_POOL_ALWAYS) != 0 && made != nullptr) sntrDestroyShmPoolHandle(&made);
  }
  void readAll() {
    ShmHeapInfo info{};
    std::uint64_t size = 0;
    sntrGetShmDomainInfo(domain_, &info);
    sntrGetShmPoolInfo(pool_, &info);
    sntrGetDomainUserAppData(domain_, &size, bytes_.data());
    sntrGetPoolUserAppData(pool_, &size, bytes_.data());
    if (sntrLatchShmPool(pool_) == 0) sntrUnlatchShmPool(pool_);
  }
  void freeThePool() {
    ShmPoolHandle copy = *pool_;
    ShmPoolHandle *handle = nullptr;
    sntrConnectToShmPool(&handle, domain_, copy.poolHeaderOffset, this);
    if (handle != nullptr && freePool(&handle, SNTR_FREE_POOL_ALWAYS) != 0 && handle != nullptr) {
      sntrDestroyShmPoolHandle(&handle);
    }
  }

  // Runs everything with each value in each word from `first` on. Latches are left whole: a damaged one is the services
  // layer's to survive, and would keep every operation out of what is to be tried here.
  void sweep(std::uint64_t header, std::uint64_t first, std::uint64_t last) {
    for (std::uint64_t offset = header + first; offset < header + last; offset += 8) {
      for (const std::uint64_t value : misleading(offset)) {
        SCOPED_TRACE(testing::Message() << "word at header + " << offset - header << ", value " << value);
        setWordAt<std::uint64_t>(base_, offset, value);
        readAll();
        useBlocks();
        usePools();
        freeThePool();
        EXPECT_EQ(ossFaultHeld(OSSFaultHeldLatches), 0);
        std::memcpy(base_, sound_.data(), kSize);
        if (HasFailure()) return;
      }
    }
  }
  // Numbers at the edges, and offsets that lead somewhere: to the header, to the word itself, to what it led to and a
  // bit.
  std::vector<std::uint64_t> misleading(std::uint64_t offset) const {
    const std::uint64_t now = wordAt<std::uint64_t>(base_, offset);
    return {0,      1,    ~std::uint64_t{0}, std::uint64_t{1} << 63, kSize, kSize - 8, now + 8, now - 8, now + 4,
            offset, 0x1f8};
  }

  char *whole_ = nullptr;
  char *base_ = nullptr;
  ShmDomainHandle *domain_ = nullptr;
  ShmPoolHandle *pool_ = nullptr;
  void *blocks_[5] = {};
  std::vector<char> sound_;
  std::vector<char> bytes_ = std::vector<char>(kSize);
};

// The parts of a header between its latches, and as much of the bookkeeping as is in use here.
struct Part {
  std::uint64_t first, last;
};
constexpr std::uint64_t kLists = 0x1e8;
const Part kParts[] = {{0x00, 0x60}, {0xe8, 0x160}, {kLists, kLists + 0x980}};

TEST_F(StorageDamage, OfADomainIsSurvived) {
  for (const Part &part : kParts) {
    const std::uint64_t userArea = part.first >= 0xf8 ? 16 : 0;
    sweep(0, part.first + userArea, part.last + (part.first > 0 ? 16 : 0));
  }
}

TEST_F(StorageDamage, OfAPoolIsSurvived) {
  for (const Part &part : kParts) sweep(pool_->poolHeaderOffset, part.first, part.last);
}

// A pool handle does not say what is mapped; the domain's own size must not be believed in its place.
TEST_F(StorageDamage, OfADomainsSizeIsToldThroughAPoolHandleToo) {
  const Damage<std::uint64_t> size(base_, 0x38, std::uint64_t{1} << 62);
  const Damage<std::uint64_t> area(base_, pool_->poolHeaderOffset + 0xf0, std::uint64_t{1} << 61);
  const Damage<std::uint64_t> poolSize(base_, pool_->poolHeaderOffset + 0x38, std::uint64_t{1} << 61);
  ShmPoolHandle copy = *pool_, *handle = &copy;
  EXPECT_RC(sntrSetPoolUserAppData(pool_, std::uint64_t{1} << 61, bytes_.data()), Rc::NotAPool);
  EXPECT_RC(freePool(&handle, SNTR_FREE_POOL_ALWAYS), Rc::NotADomain);
}

}  // namespace
}  // namespace shm_test
