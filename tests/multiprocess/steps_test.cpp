// Reads and writes that are stopped after every single instruction, in the library as it is shipped. What the other
// process does at that stop must neither wait for the stopped one, unless that one is inside a section, nor tear a
// value.
//
// The stopped process has its stack and its output in memory that this one shares. So each stop is left twice: the
// process runs on to its end, its registers and its memory are put back, and it goes one instruction further.
#include <elf.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/uio.h>
#include <sys/wait.h>

#include <csignal>
#include <cstring>
#include <functional>
#include <set>

#include "multiprocess/shared_segment.h"
#include "support/kinds.h"

#if !SNTR_SANITIZED

namespace multiprocess_test {
namespace {

using support::Key, support::Kind, support::Properties, support::Value, support::named;

constexpr std::uint64_t kMaxValue = 5000, kMaxID = 8;

struct Outcome {
  std::uint32_t rc = 0;
  std::int32_t number = 0;
  std::uint64_t size = 0;
  char bytes[kMaxValue] = {};
};

using Work = std::function<void(Outcome &)>;

class Stepped {
 public:
  explicit Stepped(const Work &work) : work_(work) {
    void *const memory = mmap(nullptr, sizeof(Own), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    own_ = new (memory) Own;
    pid_ = clone(run, own_->stack + sizeof own_->stack, SIGCHLD, this);
    EXPECT_GT(pid_, 0);
    waits();
  }
  ~Stepped() {
    if (!refused_) kill(pid_, SIGKILL), waitpid(pid_, nullptr, 0);
    munmap(own_, sizeof(Own));
  }
  Stepped(const Stepped &) = delete;
  Stepped &operator=(const Stepped &) = delete;

  struct Saved {
    std::string own, registers[2];
  };
  Saved save() const {
    Saved saved{{reinterpret_cast<const char *>(own_), sizeof(Own)}, {std::string(0x4000, 0), std::string(0x4000, 0)}};
    transfer(PTRACE_GETREGSET, saved);
    return saved;
  }
  void restore(Saved &saved) const {
    std::memcpy(static_cast<void *>(own_), saved.own.data(), sizeof(Own));
    transfer(PTRACE_SETREGSET, saved);
  }
  void goOn(bool toTheEnd) {
    EXPECT_EQ(ptrace(toTheEnd ? PTRACE_CONT : PTRACE_SINGLESTEP, pid_, nullptr, nullptr), 0);
    waits();
  }
  bool refused() const { return refused_; }
  bool hasEnded() const { return own_->ended; }
  const Outcome &outcome() const { return own_->outcome; }

 private:
#ifdef __x86_64__
  static constexpr long kSets[] = {NT_PRSTATUS, NT_X86_XSTATE};
#else
  static constexpr long kSets[] = {NT_PRSTATUS, NT_PRFPREG};
#endif
  struct Own {
    alignas(64) char stack[0x10000];
    Outcome outcome;
    volatile bool ended;
  };

  static int run(void *address) {
    auto *const self = static_cast<Stepped *>(address);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(1);
    self->work_(self->own_->outcome);  // so that each call is linked, and the thread known to the library
    kill(getpid(), SIGSTOP);
    self->work_(self->own_->outcome);
    self->own_->ended = true;
    kill(getpid(), SIGSTOP);
    _exit(0);
  }
  void transfer(__ptrace_request request, Saved &saved) const {
    for (std::size_t i = 0; i < 2; ++i) {
      iovec place{saved.registers[i].data(), saved.registers[i].size()};
      EXPECT_EQ(ptrace(request, pid_, kSets[i], &place), 0);
      saved.registers[i].resize(place.iov_len);
    }
  }
  void waits() {
    int status = 0;
    EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
    refused_ = !WIFSTOPPED(status);
    if (!refused_) EXPECT_TRUE(WSTOPSIG(status) == SIGSTOP || WSTOPSIG(status) == SIGTRAP) << WSTOPSIG(status);
  }

  const Work work_;
  Own *own_ = nullptr;
  pid_t pid_ = 0;
  bool refused_ = false;
};

class Steps : public SharedSegment {
 protected:
  void SetUp() override {
    createDomain(0x100000);
    createPool(0x40000);
    if (Stepped([](Outcome &) {}).refused()) GTEST_SKIP() << "this system lets no process be traced";
    ossVLatchSetWaitLimit(1);  // a call that has to wait for a stopped process fails
  }
  void TearDown() override {
    ossVLatchSetWaitLimit(30000);
    SharedSegment::TearDown();
  }

  // A node with every kind, in which `kind` is looked at, and its values old, new, and half of each.
  void prepare(const Kind &kind, std::uint32_t layout, std::size_t size) {
    if (node != nullptr) ASSERT_RC(sntrDisclaimNode(&node, pool, SNTR_VERSION), Rc::Ok);
    support::Sizes sizes{};
    sizes[SNTR_AREA_BASE_R] = 0x90, sizes[SNTR_AREA_BASE_V] = 0x1a8 + kMaxValue, sizes[SNTR_AREA_R] = 0x400;
    for (std::size_t i = SNTR_AREA_V; i <= SNTR_AREA_IV; ++i) sizes[i] = 0x200 + 3 * (0x260 + kMaxValue);
    createActiveNode(0x7e0, sizes);
    for (const Kind *each : support::kLists) {
      ASSERT_RC((Properties{node, *each}.create(layout, 2, kMaxID, kMaxValue)), Rc::Ok) << each->name;
    }
    free = std::make_unique<Properties>(Properties{node, kind});
    old = {1, std::string(size, 'a')}, changed = {2, std::string(size - 7, 'b')};
    half = {2, std::string(size / 2, 'b') + std::string(size - size / 2, 'a')};
    if (!kind.isBase()) ASSERT_RC(free->add({1, "other"}, old), Rc::Ok);
    ASSERT_RC(free->add(kKey, old), Rc::Ok) << kind.name;
    place = std::string(kind.name) + (layout == SNTR_LAYOUT_HASH ? " table " : " array ") + std::to_string(size);
  }

  void get(Outcome &o) const { o.rc = free->getInto(kKey, o.number, o.size, o.bytes); }
  std::string whatIs(const Outcome &o) const {
    if (o.rc != 0) return named(o.rc);
    const bool hasBytes = free->kind.hasBytes();
    for (const Value *value : {&old, &changed}) {
      const bool same = hasBytes ? std::string(o.bytes, o.size) == value->bytes : o.number == value->number;
      if (same) return value == &old ? "old" : "new";
    }
    return "torn";
  }
  std::string whatIsThere() const {
    Outcome outcome;
    get(outcome);
    return whatIs(outcome);
  }

  // At each stop of another process's work: acts; the work goes on to its end; `after` looks at it. One of the two
  // notes what was seen, which must be all that is expected. Returns the stops. The first ones are disturbed by sets
  // instead.
  int atEachStop(const std::set<std::string> &expected, const Work &work, const std::function<void()> &act,
                 const std::function<void(const Outcome &)> &after, int disturbed = 0) {
    Stepped other(work);
    EXPECT_RC(free->set(kKey, old), Rc::Ok);
    seen.clear();
    int stops = 0;
    for (; stops < disturbed && !other.hasEnded(); ++stops, other.goOn(false)) {
      if (stops % (disturbed / 6) == 0) EXPECT_RC(free->set(kKey, changed), Rc::Ok);
    }
    for (; !other.hasEnded() && !HasFailure(); ++stops, other.goOn(false)) {
      SCOPED_TRACE(place + ", stop " + std::to_string(stops));
      const std::string content(reinterpret_cast<const char *>(node), node->nodeSize);
      Stepped::Saved saved = other.save();
      act();
      other.goOn(true);
      EXPECT_TRUE(other.hasEnded());
      after(other.outcome());
      other.restore(saved);
      std::memcpy(static_cast<void *>(node), content.data(), content.size());
    }
    EXPECT_EQ(seen, expected) << place;
    return stops;
  }

  // Where each stop waits for its limit, many bytes are for one kind in one layout.
  enum class Stops { AreShort, Wait };
  void forEachValue(Stops stops, const std::function<void()> &test) {
    const std::pair<std::uint32_t, std::size_t> forms[] = {
        {SNTR_LAYOUT_HASH, 64}, {SNTR_LAYOUT_HASH, kMaxValue}, {SNTR_LAYOUT_ARRAY, 64}, {SNTR_LAYOUT_ARRAY, kMaxValue}};
    for (const Kind *kind : support::kAllKinds) {
      for (const auto &[layout, size] : forms) {
        const bool isUsual = kind == &support::kV && layout == SNTR_LAYOUT_HASH;
        if (size != 64 && (!kind->hasBytes() || (stops == Stops::Wait && !isUsual))) continue;
        if (kind->isBase() && layout == SNTR_LAYOUT_ARRAY) continue;
        prepare(*kind, layout, size);
        if (!HasFailure()) test();
        if (HasFailure()) return;
      }
    }
  }

  const Work getIt = [this](Outcome &o) { get(o); };
  const Key kKey{2, "bb"};
  std::unique_ptr<Properties> free;
  Value old, changed, half;
  std::string place;
  std::set<std::string> seen;
  const std::string kRefused = named(Rc::LatchFailed);
};

TEST_F(Steps, AReaderHoldsUpNoWriterAndSeesNoHalf) {
  forEachValue(Stops::AreShort, [&] {
    const auto note = [&](const Outcome &o) { seen.insert(whatIs(o)); };
    const auto set = [&] { EXPECT_RC(free->set(kKey, changed), Rc::Ok); };
    const auto setBack = [&] { EXPECT_RC(free->set(kKey, old), Rc::Ok); };
    const int stops = atEachStop({"new", "old"}, getIt, set, note);
    const int more = atEachStop({"new", "old"}, getIt, setBack, note, 2 * stops);
    EXPECT_GT(more, 2 * stops) << place << ": the reader did not begin again and again";
  });
}

TEST_F(Steps, AReaderSeesNothingOfAnUnfinishedWrite) {
  forEachValue(Stops::Wait, [&] {
    const auto setHalf = [&] {
      EXPECT_RC(sntrEnterCriticalSectionBeforeWrite(node, &node->primaryLatch), Rc::Ok);
      EXPECT_RC((Properties{node, free->kind, 1}.set(kKey, half)), Rc::Ok);
    };
    atEachStop({"old", kRefused}, getIt, setHalf, [&](const Outcome &o) {
      seen.insert(whatIs(o));
      EXPECT_RC(sntrExitCriticalSectionAfterWrite(node, &node->primaryLatch), Rc::Ok);
    });
  });
}

TEST_F(Steps, AStoppedWriterShowsNoHalf) {
  forEachValue(Stops::Wait, [&] {
    const Work set = [&](Outcome &o) { o.rc = free->set(kKey, changed); };
    atEachStop(
        {"old", "new", kRefused}, set, [&] { seen.insert(whatIsThere()); },
        [&](const Outcome &o) {
          EXPECT_RC(o.rc, Rc::Ok);
          EXPECT_EQ(whatIsThere(), "new");
        });
  });
}

// The first read finds the dead owner, the second one the mark that it left.
TEST_F(Steps, ReadersGoOnWhenAWriterDiesInside) {
  prepare(support::kR, SNTR_LAYOUT_HASH, 64);
  {
    Stepped writer([&](Outcome &o) { o.rc = free->set(kKey, changed); });
    const char *const mark = reinterpret_cast<const char *>(&node->primaryLatch.writeInProgress);
    while (*mark == 0 && !writer.hasEnded()) writer.goOn(false);
    EXPECT_FALSE(writer.hasEnded());
  }
  for (int i = 0; i < 2; ++i) EXPECT_EQ(whatIsThere(), "new");
}

TEST_F(Steps, AReadSectionHoldsUpNoReader) {
  forEachValue(Stops::AreShort, [&] {
    const Work readSection = [&](Outcome &o) {
      o.rc = sntrEnterCriticalSectionBeforeRead(node, &node->primaryLatch);
      if (o.rc == 0) o.rc = sntrExitCriticalSectionAfterRead(node, &node->primaryLatch);
    };
    const auto look = [&] { seen.insert(whatIsThere()); };
    atEachStop({"old"}, readSection, look, [&](const Outcome &o) { EXPECT_RC(o.rc, Rc::Ok); });
  });
}

}  // namespace
}  // namespace multiprocess_test

#endif
