// Readers without the latch against writers, for as long as wanted: processes with several threads read registers and
// bytes of all six kinds, by key and by record, while others set them, add and delete beside them, and lay lists out.
//
//   torture [reads]    reads of each kind; 200,000 if not given
//
// Prints a line for each kind; exit status 1 if any value was torn, 2 if something failed that nobody disturbs.
//
// Each round has a new node, in memory that forked processes share: array or table, its areas and registers aligned or
// at odd bytes and across a line of the cache, and its count of writes shortly before it wraps.
#include <oss/memory.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cinttypes>
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
constexpr std::uint64_t kReaders = 2, kThreads = 2;  // processes, and threads of each
const Key kPaired{7, "key"}, kAlone{8, "key"};       // value and result code set together, by record; value by key

// Shared by all processes; the node stands behind it.
struct alignas(64) Scene {
  std::atomic<std::uint64_t> reads[kKinds], busy[kKinds], torn[kKinds];
  std::atomic<std::uint64_t> failures;
  std::atomic<bool> isThere[kKinds];
  std::atomic<std::uint64_t> readersLeft;
};

// A value is one byte throughout: a register has it four times, bytes as often as the byte says, and so does the result
// code.
std::uint64_t sizeOf(std::uint64_t byte) { return byte < 4 ? kMaxValue - byte : 1 + byte * 5 % 300; }
Value valueOf(std::uint64_t byte) {
  return {static_cast<std::int32_t>(byte * 0x01010101), std::string(sizeOf(byte), static_cast<char>(byte))};
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
    void *const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    scene_ = new (memory) Scene{};
    node_ = reinterpret_cast<SNodeCB_t *>(scene_ + 1);
    for (std::uint64_t i = 0; i < 256; ++i) values_[i] = valueOf(i);
  }

  void run(const Round &round, std::uint64_t reads) {
    prepare(round);
    pid_t others[1 + kReaders] = {start([&] { inThreads([&] { layOutAndSet(round); }, [&] { addAndDelete(); }); })};
    const auto work = [&] { read(reads / (kReaders * kThreads) + 1); };
    for (std::uint64_t i = 1; i <= kReaders; ++i) others[i] = start([&] { inThreads(work, work); });
    for (const pid_t pid : others) {
      int status = 0;
      check(waitpid(pid, &status, 0) == pid && status == 0, "a process ended badly");
    }
  }

  int report() const {
    std::uint64_t torn = 0;
    for (std::size_t i = 0; i < kKinds; ++i) {
      torn += scene_->torn[i];
      std::printf("%-6s %12" PRIu64 " reads %8" PRIu64 " busy %8" PRIu64 " torn\n", support::kAllKinds[i]->name,
                  scene_->reads[i].load(), scene_->busy[i].load(), scene_->torn[i].load());
    }
    return torn != 0 ? 1 : scene_->failures != 0 ? 2 : 0;
  }

 private:
  void check(bool holds, const char *what) {
    if (!holds && scene_->failures++ < 10) std::printf("failed: %s\n", what);
  }

  pid_t start(const std::function<void()> &work) {
    std::fflush(stdout);
    const pid_t pid = fork();
    if (pid != 0) return pid;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    work();
    std::fflush(stdout);
    _exit(0);
  }

  // A new node without lists, made in private memory. In an odd round the base register lies half in the next line.
  void prepare(const Round &round) {
    SNodeCB_t *made = nullptr, *address = nullptr;
    std::uint64_t sizes[SNTR_AREA_COUNT] = {}, size = 0;
    sizes[0] = round.odd ? 2 * kLine - 2 - kBaseRegister % kLine : 0, sizes[SNTR_AREA_R] = 0x2000;
    sizes[SNTR_AREA_BASE_R] = 0x90, sizes[SNTR_AREA_BASE_V] = 0x1a8 + kMaxValue;
    for (std::size_t i = SNTR_AREA_V; i <= SNTR_AREA_IV; ++i) sizes[i] = 0x800 + 32 * (0x270 + kMaxValue);
    check(sntrCreateNodeInPM(&made, 0x7e0, sizes, &size, &address, SNTR_VERSION, SNTR_VERSION) == 0, "node");
    check(sntrInitNode(&made, 0, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr) == 0, "initialize");
    check(sntrActivateNode(&made) == 0, "activate");
    check(made->primaryLatch.writeCount.swap(round.count, nullptr) == 0, "count");
    std::memcpy(static_cast<void *>(node_), made, std::min(size, kMemory));
    check(size <= kMemory && _ossMemFree(made, "", 0) == 0, "free");
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
    const std::uint64_t byte = kind.hasBytes() ? r.bytes[0] : r.number & 0xff;
    if (withRC && r.rc != byte) return false;
    if (!kind.hasBytes()) return r.number == static_cast<std::int32_t>(byte * 0x01010101);
    return r.size == sizeOf(byte) && std::all_of(r.bytes, r.bytes + r.size, [&](auto each) { return each == byte; });
  }

  void count(std::size_t kind, const Reading &r, bool withRC, bool wasThere) {
    if (r.code == sntr::code(sntr::Rc::LatchFailed)) {
      ++scene_->busy[kind];
    } else if (r.code == 0 ? !isWhole(*support::kAllKinds[kind], r, withRC) : wasThere) {
      ++scene_->torn[kind];
    }
  }

  void readOne(std::size_t i, SNodeProperty_t *&record, Reading &r, bool withRC) {
    const Properties all{node_, *support::kAllKinds[i]};
    const bool wasThere = scene_->isThere[i];
    if (withRC && record == nullptr) {
      if (!wasThere) return;
      check(sntrEnterCriticalSectionBeforeRead(node_, &node_->primaryLatch) == 0, "enter");
      check(all.record(kPaired, record) == 0, "record");
      check(sntrExitCriticalSectionAfterRead(node_, &node_->primaryLatch) == 0, "exit");
    }
    r.code = withRC ? all.getBoth(record, r.number, r.size, r.bytes, r.rc)
                    : all.getInto(keyOf(all.kind, kAlone), r.number, r.size, r.bytes);
    count(i, r, withRC, wasThere);
  }

  void read(std::uint64_t reads) {
    SNodeProperty_t *records[kKinds] = {};
    const auto r = std::make_unique<Reading>();
    for (std::uint64_t turn = 0, done = 0; done < reads; ++turn) {
      if (scene_->isThere[kKinds - 1]) ++done;
      for (std::size_t i = 0; i < kKinds; ++i) readOne(i, records[i], *r, turn % 2 != 0);
    }
    for (auto &kind : scene_->reads) kind += reads;
    --scene_->readersLeft;
  }

  // ---- writers

  void layOutAndSet(const Round &round) {
    SNodeProperty_t *records[kKinds] = {};
    for (std::size_t i = 0; i < kKinds; ++i) {
      const Properties all{node_, *support::kAllKinds[i]};
      std::this_thread::sleep_for(std::chrono::milliseconds(1));  // others read, and find nothing yet
      const bool isLaidOut = all.kind.isBase() || all.create(round.layout, kCapacity, kMaxID, kMaxValue) == 0;
      check(isLaidOut && all.add(kPaired, values_[1]) == 0, "first property");
      check(all.kind.isBase() || all.add(kAlone, values_[1]) == 0, "second property");
      check(all.record(kPaired, records[i]) == 0 && all.setBoth(records[i], values_[1], 1) == 0, "first pair");
      scene_->isThere[i] = true;
    }
    const std::uint64_t inLine = (reinterpret_cast<std::uintptr_t>(records[4]) + 0x10) % kLine;
    check(!round.odd || inLine == kLine - 2, "no register crosses a line");
    for (std::uint64_t next = 0; scene_->readersLeft > 0; ++next) setAll(records, next * 7 & 0xff);
  }

  void setAll(SNodeProperty_t *(&records)[kKinds], std::uint64_t which) {
    for (std::size_t i = 0; i < kKinds; ++i) {
      const Properties all{node_, *support::kAllKinds[i]};
      check(all.setBoth(records[i], values_[which], which) == 0, "set both");
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

  static void inThreads(const std::function<void()> &one, const std::function<void()> &other) {
    std::thread thread(other);
    one();
    thread.join();
  }

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
    for (const Round &round : rounds) torture.run(round, reads / (times * rounds.size()) + 1);
  }
  return torture.report();
}
