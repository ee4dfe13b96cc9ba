// SPDX-License-Identifier: MIT
// Reads and writes that are stopped after every single instruction, in the library as it is shipped. The other
// process's work at that stop must never tear a value. It waits for the stopped process only if that one is inside a
// section.
//
// The stopped process has its stack and its output in memory that this one shares. So each stop has two continuations:
// the process runs on to its end; then its registers and memory are restored, and it takes one instruction more.
#include <elf.h>
#include <sched.h>
#include <sys/ptrace.h>
#include <sys/uio.h>

#include <cstring>
#include <functional>
#include <set>

#include "multiprocess/shared_segment.h"

#if !SNTR_SANITIZED

namespace multiprocess_test {
namespace {

using support::Key, support::Value, support::named;

constexpr std::uint64_t kMaxValue = 5000;

struct Outcome {
  std::uint32_t rc = 0;
  std::int32_t number = 0;
  std::uint64_t size = 0;
  char bytes[kMaxValue] = {};
};
using Work = std::function<void(Outcome &)>;

// A process that does its work a second time, as its caller lets it. The first time links each call, and registers the
// thread in the library.
class Stepped {
 public:
  explicit Stepped(const Work &work) : work_(work) {
    pid_ = clone(run, own_->stack + sizeof own_->stack, SIGCHLD, this);
    waits();
  }
  ~Stepped() {
    if (!refused()) kill(pid_, SIGKILL), waitpid(pid_, nullptr, 0);
  }

  // Acts, runs on to the end, looks at the outcome, and returns to this stop.
  void tryOut(const std::function<void()> &act, const std::function<void(const Outcome &)> &look) {
    const Own own = *own_;
    std::string registers[] = {std::string(0x4000, 0), std::string(0x4000, 0)};
    transfer(PTRACE_GETREGSET, registers);
    act();
    goOn(PTRACE_CONT);
    EXPECT_TRUE(own_->ended);
    look(own_->outcome);
    *own_ = own;
    transfer(PTRACE_SETREGSET, registers);
  }
  void goOn(__ptrace_request request) {
    EXPECT_EQ(ptrace(request, pid_, nullptr, nullptr), 0);
    waits();
  }
  bool refused() const { return !WIFSTOPPED(status_); }
  bool hasEnded() { return own_->ended; }

 private:
  struct Own {
    alignas(64) char stack[0x10000];
    Outcome outcome;
    bool ended;
  };
#ifdef __x86_64__
  static constexpr long kSets[] = {NT_PRSTATUS, NT_X86_XSTATE};
#else
  static constexpr long kSets[] = {NT_PRSTATUS, NT_PRFPREG};
#endif

  static int run(void *address) {
    auto *const self = static_cast<Stepped *>(address);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(1);
    self->work_(self->own_->outcome);
    raise(SIGSTOP);
    self->work_(self->own_->outcome);
    self->own_->ended = true;
    raise(SIGSTOP);
    _exit(0);
  }
  void transfer(__ptrace_request request, std::string (&registers)[2]) const {
    for (std::size_t i = 0; i < 2; ++i) {
      iovec place{registers[i].data(), registers[i].size()};
      EXPECT_EQ(ptrace(request, pid_, kSets[i], &place), 0);
      registers[i].resize(place.iov_len);
    }
  }
  void waits() {
    EXPECT_EQ(waitpid(pid_, &status_, 0), pid_);
    if (!refused()) EXPECT_TRUE(WSTOPSIG(status_) == SIGSTOP || WSTOPSIG(status_) == SIGTRAP) << WSTOPSIG(status_);
  }

  const Work work_;
  support::Shared<Own> own_;
  pid_t pid_ = 0;
  int status_ = 0;
};

struct Steps : SharedSegment {
  ~Steps() override { ossVLatchSetWaitLimit(30000); }
  void SetUp() override {
    create(0x100000, 0x40000);
    if (Stepped([](Outcome &) {}).refused()) GTEST_SKIP() << "this system lets no process be traced";
    ossVLatchSetWaitLimit(1);  // a call that has to wait for a stopped process fails
  }

  // Creates a node with every kind, to read `kind` in it, and sets its values: old, new, and half of each.
  void prepare(const Kind &kind, std::uint32_t layout, std::size_t size) {
    createNode(layout, 2, kMaxValue);
    free = std::make_unique<Properties>(Properties{node, kind});
    const std::size_t bytes = kind.hasBytes() ? size : 0, front = bytes / 2;
    old = {kind.hasBytes() ? 0 : 1, std::string(bytes, 'a')};
    changed = {2 * old.number, std::string(bytes - std::min<std::size_t>(bytes, 7), 'b')};
    half = {changed.number, std::string(front, 'b') + std::string(bytes - front, 'a')};
    if (!kind.isBase()) ASSERT_RC(free->add({1, "other"}, old), Rc::Ok);
    ASSERT_RC(free->add(kKey, old), Rc::Ok) << kind.name;
    place = std::string(kind.name) + (layout == SNTR_LAYOUT_HASH ? " table " : " array ") + std::to_string(size);
  }

  std::string whatIs(const Outcome &o) const {
    const Value got{o.number, {o.bytes, o.size}};
    return o.rc != 0 ? named(o.rc) : got == old ? "old" : got == changed ? "new" : "torn";
  }
  std::string whatIsThere() const {
    Outcome outcome;
    getIt(outcome);
    return whatIs(outcome);
  }

  // At each stop of another process's work, runs `act`, lets the work go on to its end, and runs `after` on it. One of
  // the two records what it sees, which must be exactly the expected set. Sets replace them at the first `disturbed`
  // stops. Returns the number of stops.
  int atEachStop(const std::set<std::string> &expected, const Work &work, const std::function<void()> &act,
                 const std::function<void(const Outcome &)> &after, int disturbed = 0) {
    Stepped other(work);
    EXPECT_RC(free->set(kKey, old), Rc::Ok);
    seen.clear();
    int stops = 0;
    for (; stops < disturbed && !other.hasEnded(); ++stops, other.goOn(PTRACE_SINGLESTEP)) {
      if (stops % (disturbed / 6) == 0) EXPECT_RC(free->set(kKey, changed), Rc::Ok);
    }
    for (; !other.hasEnded() && !HasFailure(); ++stops, other.goOn(PTRACE_SINGLESTEP)) {
      SCOPED_TRACE(place + ", stop " + std::to_string(stops));
      const std::string content(reinterpret_cast<const char *>(node), node->nodeSize);
      other.tryOut(act, after);
      std::memcpy(static_cast<void *>(node), content.data(), content.size());
    }
    EXPECT_EQ(seen, expected) << place;
    return stops;
  }

  // If each stop waits for its limit, only one kind in one layout has many bytes.
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

  const Work getIt = [this](Outcome &o) { o.rc = free->getInto(kKey, o.number, o.size, o.bytes); };
  const std::function<void()> look = [this] { seen.insert(whatIsThere()); };
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
    const auto set = [&](const Value &value) { return [&] { EXPECT_RC(free->set(kKey, value), Rc::Ok); }; };
    const int stops = atEachStop({"new", "old"}, getIt, set(changed), note);
    const int more = atEachStop({"new", "old"}, getIt, set(old), note, 2 * stops);
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
    atEachStop({"old", "new", kRefused}, set, look, [&](const Outcome &o) {
      EXPECT_RC(o.rc, Rc::Ok);
      EXPECT_EQ(whatIsThere(), "new");
    });
  });
}

// The first read detects the dead owner, the second one its mark.
TEST_F(Steps, ReadersGoOnWhenAWriterDiesInside) {
  prepare(support::kR, SNTR_LAYOUT_HASH, 64);
  {
    Stepped writer([&](Outcome &o) { o.rc = free->set(kKey, changed); });
    const char *const mark = reinterpret_cast<const char *>(&node->primaryLatch.writeInProgress);
    while (*mark == 0 && !writer.hasEnded()) writer.goOn(PTRACE_SINGLESTEP);
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
    atEachStop({"old"}, readSection, look, [&](const Outcome &o) { EXPECT_RC(o.rc, Rc::Ok); });
  });
}

}  // namespace
}  // namespace multiprocess_test

#endif
