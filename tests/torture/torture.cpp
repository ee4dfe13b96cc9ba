// Readers without the latch against writers, for as long as wanted: processes with several threads read registers and
// bytes of all six kinds, by key and by record, while others set them, add and delete beside them, and lay lists out.
//
//   torture [reads]    reads of each kind; 200,000 if not given
//
// Prints a line for each kind; exit status 1 if any value was torn, 2 if something failed that nobody disturbs.
//
// Each round has a new node, in memory that forked processes share: array or table, its areas and registers aligned or
// at odd bytes and across a line of the cache, and its count of writes shortly before it wraps.
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <thread>
#include <vector>

#include "support/kinds.h"

namespace {

using support::Key, support::Kind, support::Properties, support::Value;

constexpr std::size_t kKinds = std::size(support::kAllKinds);
constexpr std::uint64_t kMemory = 0x200000, kMaxValue = 4504, kMaxID = 8, kCapacity = 24;
constexpr std::uint64_t kLine = 64, kBaseRegister = 0xb60 + 0x10;
constexpr int kReaders = 2, kThreads = 2;       // processes, and threads of each
const Key kPaired{7, "key"}, kAlone{8, "key"};  // value and result code set together, by record; value by key

// Shared by all processes; the domain stands behind it.
struct Scene {
  std::atomic<std::uint64_t> reads[kKinds], busy[kKinds], torn[kKinds];
  std::atomic<std::uint64_t> failures;
  std::atomic<bool> isThere[kKinds];
  std::atomic<int> readersLeft;
};

// A value is one number throughout: a register twice 16 bits of it, bytes that byte, as often as it says, and the
// result code says the number again.
Value valueOf(std::uint64_t number) {
  const auto half = static_cast<std::uint32_t>(number & 0x7fff);
  const std::uint64_t byte = number & 0xff;
  return {static_cast<std::int32_t>(half << 16 | half),
          std::string(byte < 4 ? kMaxValue - byte : 1 + byte * 5 % 300, static_cast<char>(byte))};
}

struct Round {
  std::uint32_t layout;
  bool odd;
  std::int32_t count;
};

class Torture {
 public:
  Torture() {
    const std::size_t size = sizeof(Scene) + kMemory;
    memory_ = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    scene_ = new (memory_) Scene{};
    for (std::uint64_t i = 0; i < 256; ++i) values_[i] = valueOf(i * 0x77 << 8 | i);
  }

  void run(const Round &round, std::uint64_t reads) {
    prepare(round);
    std::vector<pid_t> others;
    for (int i = 0; i < kReaders; ++i) others.push_back(start([&] { read(reads / (kReaders * kThreads)); }));
    others.push_back(start([&] { change(round); }));
    for (const pid_t pid : others) {
      int status = 0;
      check(waitpid(pid, &status, 0) == pid && status == 0, "a process ended badly");
    }
  }

  int report() const {
    std::uint64_t torn = 0;
    for (std::size_t i = 0; i < kKinds; ++i) {
      torn += scene_->torn[i];
      std::printf("%-6s %12llu reads %8llu busy %8llu torn\n", support::kAllKinds[i]->name, number(scene_->reads[i]),
                  number(scene_->busy[i]), number(scene_->torn[i]));
    }
    return torn != 0 ? 1 : scene_->failures != 0 ? 2 : 0;
  }

 private:
  static unsigned long long number(std::uint64_t value) { return value; }

  void check(bool holds, const char *what) {
    if (!holds && scene_->failures++ < 10) std::printf("failed: %s\n", what);
  }

  // A process with `kThreads` threads that each do the work.
  pid_t start(const std::function<void()> &work) {
    std::fflush(stdout);
    const pid_t pid = fork();
    if (pid != 0) return pid;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    work();
    std::fflush(stdout);
    _exit(0);
  }

  // A new domain, pool and node without lists.
  void prepare(const Round &round) {
    ShmDomainParams params{};
    params.domainKind = SNTR_DOMAIN_MEMORY;
    std::memset(static_cast<char *>(memory_) + sizeof(Scene), 0, kMemory);
    ShmDomainHandle *domain = nullptr;
    ShmSegInfo_t info{};
    info.version = info.latchVersion = SNTR_VERSION;
    check(sntrCreateShmDomain(nullptr, static_cast<char *>(memory_) + sizeof(Scene), kMemory, &params, &domain) == 0,
          "domain");
    check(_sntrCreateShmPool(&info.pool, domain, kMemory * 3 / 4, nullptr, 0, "", 0) == 0, "pool");
    std::uint64_t sizes[SNTR_AREA_COUNT] = {}, size = 0, offset = 0;
    // So that the base register lies half in the next line. The last area keeps the size of the node, and so its place,
    // which a round that is not odd has shown.
    const std::uint64_t at = (reinterpret_cast<std::uintptr_t>(node_) + kBaseRegister) % kLine;
    sizes[0] = round.odd ? (2 * kLine - 2 - at) % kLine : 0, sizes[SNTR_AREA_COUNT - 1] = kLine - sizes[0];
    sizes[SNTR_AREA_BASE_R] = 0x90, sizes[SNTR_AREA_BASE_V] = 0x1a8 + kMaxValue, sizes[SNTR_AREA_R] = 0x2000;
    for (std::size_t i = SNTR_AREA_V; i <= SNTR_AREA_IV; ++i) sizes[i] = 0x800 + 32 * (0x270 + kMaxValue);
    check(sntrCreateNode(&info, &node_, 0x7e0, sizes, &size, &offset) == 0, "node");
    check(sntrInitNode(&node_, 0, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr) == 0, "initialize");
    check(sntrActivateNode(&node_) == 0, "activate");
    check(node_->primaryLatch.writeCount.swap(round.count, nullptr) == 0, "count");
    for (auto &isThere : scene_->isThere) isThere = false;
    scene_->readersLeft = kReaders * kThreads;
  }

  // There is one property of each base kind.
  static const Key &keyOf(const Kind &kind, const Key &key) { return kind.isBase() ? kPaired : key; }

  // ---- readers

  struct Reading {
    std::uint32_t code = 0;
    std::int32_t number = 0;
    std::uint64_t size = 0, rc = 0;
    unsigned char bytes[kMaxValue + 8] = {};
  };

  static bool isWhole(const Kind &kind, const Reading &r, bool withRC) {
    if (!kind.hasBytes()) {
      const auto bits = static_cast<std::uint32_t>(r.number);
      return bits >> 16 == (bits & 0xffff) && (!withRC || (r.rc & 0x7fff) == (bits & 0xffff));
    }
    const std::uint64_t byte = r.bytes[0];
    const bool isSame = std::all_of(r.bytes, r.bytes + r.size, [&](unsigned char each) { return each == byte; });
    const std::uint64_t size = byte < 4 ? kMaxValue - byte : 1 + byte * 5 % 300;
    return isSame && r.size == size && (!withRC || (r.rc & 0xff) == byte);
  }

  void count(std::size_t kind, const Reading &r, bool withRC, bool wasThere) {
    if (r.code == sntr::code(sntr::Rc::LatchFailed)) {
      ++scene_->busy[kind];
    } else if (r.code == 0 ? !isWhole(*support::kAllKinds[kind], r, withRC) : wasThere) {
      if (scene_->torn[kind]++ < 3)
        std::printf("%s: code %#x, %llu bytes\n", support::kAllKinds[kind]->name, r.code, number(r.size));
    }
  }

  void readOne(std::size_t i, SNodeProperty_t *&record, Reading &r, bool withRC) {
    const Properties all{node_, *support::kAllKinds[i]};
    const bool wasThere = scene_->isThere[i];
    if (withRC && record == nullptr && wasThere) check(all.record(keyOf(all.kind, kPaired), record) == 0, "record");
    if (withRC && record == nullptr) return;
    r.code = withRC ? all.getBoth(record, r.number, r.size, r.bytes, r.rc)
                    : all.getInto(keyOf(all.kind, kAlone), r.number, r.size, r.bytes);
    count(i, r, withRC, wasThere);
  }

  void read(std::uint64_t reads) {
    const auto work = [&] {
      SNodeProperty_t *records[kKinds] = {};
      const auto r = std::make_unique<Reading>();
      for (std::uint64_t turn = 0, done = 0; done < reads; ++turn) {
        if (scene_->isThere[kKinds - 1]) ++done;
        for (std::size_t i = 0; i < kKinds; ++i) readOne(i, records[i], *r, turn % 2 != 0);
      }
      for (auto &kind : scene_->reads) kind += reads;
      --scene_->readersLeft;
    };
    inThreads({work, work});
  }

  // ---- writers

  void change(const Round &round) {
    inThreads({[&] { layOutAndSet(round); }, [&] { addAndDelete(); }});
  }

  void layOutAndSet(const Round &round) {
    SNodeProperty_t *records[kKinds] = {};
    for (std::size_t i = 0; i < kKinds; ++i) {
      const Properties all{node_, *support::kAllKinds[i]};
      std::this_thread::sleep_for(std::chrono::milliseconds(1));  // others read, and find nothing yet
      const bool isLaidOut = all.kind.isBase() || all.create(round.layout, kCapacity, kMaxID, kMaxValue) == 0;
      check(isLaidOut && all.add(kPaired, values_[1]) == 0, "first property");
      check(all.kind.isBase() || all.add(kAlone, values_[1]) == 0, "second property");
      check(all.record(kPaired, records[i]) == 0 && all.setBoth(records[i], values_[1], 0x7701) == 0, "first pair");
      scene_->isThere[i] = true;
    }
    const auto base = reinterpret_cast<std::uintptr_t>(records[4]) + 0x10;
    check(!round.odd || base % kLine == kLine - 2, "no register crosses a line");
    for (std::uint64_t next = 0; scene_->readersLeft > 0; ++next) setAll(records, next * 7 & 0xff);
  }

  void setAll(SNodeProperty_t *(&records)[kKinds], std::uint64_t which) {
    for (std::size_t i = 0; i < kKinds; ++i) {
      const Properties all{node_, *support::kAllKinds[i]};
      check(all.setBoth(records[i], values_[which], (which * 0x77 << 8) | which) == 0, "set both");
      if (!all.kind.isBase()) check(all.set(kAlone, values_[which]) == 0, "set");
    }
  }

  // Other properties, before and behind the one that is read, come and go.
  void addAndDelete() {
    for (std::uint64_t next = 0; scene_->readersLeft > 0; ++next) {
      for (std::size_t i = 0; i < std::size(support::kLists); ++i) {
        if (!scene_->isThere[i]) continue;
        const Properties all{node_, *support::kLists[i]};
        const std::uint64_t some = next * 5 % 14;
        const Key key{some < 6 ? some + 1 : some + 3, "other"};
        if (all.add(key, values_[next & 0xff]) != 0) all.erase(key);
      }
    }
  }

  static void inThreads(const std::vector<std::function<void()>> &works) {
    std::vector<std::thread> threads;
    for (const auto &work : works) threads.emplace_back(work);
    for (std::thread &thread : threads) thread.join();
  }

  void *memory_ = nullptr;
  Scene *scene_ = nullptr;
  SNodeCB_t *node_ = nullptr;
  std::array<Value, 256> values_;
};

}  // namespace

int main(int argc, char **argv) {
  const std::uint64_t reads = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 200000;
  std::vector<Round> rounds;
  for (const std::uint32_t layout : {SNTR_LAYOUT_HASH, SNTR_LAYOUT_ARRAY}) {
    for (const bool odd : {false, true}) {
      for (const std::int32_t count : {-1000, 0x7fffffff - 1000}) rounds.push_back({layout, odd, count});
    }
  }
  const std::uint64_t times = 1 + reads / 10000000;
  Torture torture;
  for (std::uint64_t i = 0; i < times; ++i) {
    for (const Round &round : rounds) torture.run(round, reads / (times * rounds.size()));
  }
  return torture.report();
}
