// SPDX-License-Identifier: MIT
// Readers without the latch against writers, for as long as wanted: processes with several threads read registers and
// bytes of all six kinds, by key and by record, while others set them, add and delete beside them, and lay lists out.
//
//   torture [reads]    reads of each kind; 200,000 if not given
//
// Prints a line for each kind; exit status 1 if any value was torn, 2 if another call failed.
//
// Each round has a new node, in memory that forked processes share: array or table, its areas and registers aligned or
// at odd bytes and across a line of the cache, and its count of writes shortly before it wraps.
#include <oss/memory.h>

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <thread>
#include <vector>

#include "support/actor.h"
#include "support/kinds.h"

namespace {

using support::Child, support::Key, support::Kind, support::Properties, support::Value;

constexpr std::size_t kKinds = std::size(support::kAllKinds);
constexpr std::uint64_t kMemory = 0x200000, kMaxValue = 4504, kMaxID = 8, kCapacity = 24;
constexpr std::uint64_t kLine = 64, kBaseRegister = 0xb60 + 0x10;
constexpr std::uint64_t kReaders = 2, kThreads = 2;  // processes, and threads of each
const Key kPaired{7, "key"}, kAlone{8, "key"};       // value and result code set together, by record; value by key

// Shared by all processes.
struct Scene {
  alignas(kLine) char node[kMemory];
  std::atomic<std::uint64_t> reads[kKinds], busy[kKinds], torn[kKinds], failures, readersLeft;
  std::atomic<SNodeProperty_t *> records[kKinds];  // of the pairs; null until there is a value to find
};

struct Reading {
  std::int32_t number = 0;
  std::uint64_t size = 0, rc = 0;
  unsigned char bytes[kMaxValue + 8] = {};
};

// A value is one byte throughout: a register has it four times, bytes as often as the byte says, and so does the result
// code.
std::uint64_t sizeOf(std::uint64_t byte) { return byte < 4 ? kMaxValue - byte : 1 + byte * 5 % 300; }
Value valueOf(std::uint64_t byte) {
  return {static_cast<std::int32_t>(byte * 0x01010101), std::string(sizeOf(byte), static_cast<char>(byte))};
}

bool isWhole(const Kind &kind, const Reading &r, bool withRC) {
  const std::uint64_t byte = kind.hasBytes() ? r.bytes[0] : r.number & 0xff;
  if (withRC && r.rc != byte) return false;
  if (!kind.hasBytes()) return r.number == static_cast<std::int32_t>(byte * 0x01010101);
  return r.size == sizeOf(byte) && std::all_of(r.bytes, r.bytes + r.size, [&](auto each) { return each == byte; });
}

class Torture {
 public:
  Torture() {
    for (std::uint64_t i = 0; i < 256; ++i) values_.push_back(valueOf(i));
  }

  // `count` is that of writes, at the start.
  void run(std::uint32_t layout, bool odd, std::int32_t count, std::uint64_t reads) {
    prepare(odd, count);
    const auto readSome = [&] { read(reads / (kReaders * kThreads) + 1); };
    std::list<Child> others;
    others.emplace_back(inThreads([&] { layOutAndSet(layout, odd); }, [&] { addAndDelete(); }));
    for (std::uint64_t i = 0; i < kReaders; ++i) others.emplace_back(inThreads(readSome, readSome));
    for (Child &other : others) check(other.result() == 0, "a process ended badly");
  }

  int report() {
    std::uint64_t torn = 0;
    for (std::size_t i = 0; i < kKinds; ++i) {
      torn += scene_->torn[i];
      std::printf("%-6s %12" PRIu64 " reads %8" PRIu64 " busy %8" PRIu64 " torn\n", support::kAllKinds[i]->name,
                  scene_->reads[i].load(), scene_->busy[i].load(), scene_->torn[i].load());
    }
    return torn != 0 ? 1 : scene_->failures != 0 ? 2 : 0;
  }

 private:
  static Child::Work inThreads(const std::function<void()> &one, const std::function<void()> &other) {
    return [=] {
      std::thread thread(other);
      one();
      thread.join();
      return 0;
    };
  }

  void check(bool holds, const char *what) {
    if (!holds && scene_->failures++ < 10) std::fprintf(stderr, "failed: %s\n", what);
  }

  // Makes a new node without lists, in private memory, and copies it. If `odd`, half the base register lies in the next
  // line.
  void prepare(bool odd, std::int32_t count) {
    SNodeCB_t *made = nullptr, *address = nullptr;
    std::uint64_t sizes[SNTR_AREA_COUNT] = {}, size = 0;
    sizes[0] = odd ? 2 * kLine - 2 - kBaseRegister % kLine : 0, sizes[SNTR_AREA_R] = 0x2000;
    sizes[SNTR_AREA_BASE_R] = 0x90, sizes[SNTR_AREA_BASE_V] = 0x1a8 + kMaxValue;
    for (std::size_t i = SNTR_AREA_V; i <= SNTR_AREA_IV; ++i) sizes[i] = 0x800 + 32 * (0x270 + kMaxValue);
    check(sntrCreateNodeInPM(&made, 0x7e0, sizes, &size, &address, SNTR_VERSION, SNTR_VERSION) == 0, "node");
    check(sntrInitNode(&made, 0, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr) == 0, "initialize");
    check(sntrActivateNode(&made) == 0 && made->primaryLatch.writeCount.swap(count, nullptr) == 0, "activate");
    std::memcpy(scene_->node, made, std::min(size, kMemory));
    check(size <= kMemory && _ossMemFree(made, "", 0) == 0, "free");
    for (auto &record : scene_->records) record = nullptr;
    scene_->readersLeft = kReaders * kThreads;
  }

  Properties at(std::size_t i) { return {reinterpret_cast<SNodeCB_t *>(scene_->node), *support::kAllKinds[i]}; }

  // ---- readers

  void read(std::uint64_t reads) {
    Reading r;
    for (std::uint64_t turn = 0, done = 0; done < reads; ++turn) {
      const bool withRC = turn % 2 != 0;
      if (scene_->records[kKinds - 1] != nullptr) ++done;
      for (std::size_t i = 0; i < kKinds; ++i) {
        const Properties all = at(i);
        SNodeProperty_t *const record = scene_->records[i];
        if (withRC && record == nullptr) continue;
        const Key &key = all.kind.isBase() ? kPaired : kAlone;  // there is one property of each base kind
        const std::uint32_t code =
            withRC ? all.getBoth(record, r.number, r.size, r.bytes, r.rc) : all.getInto(key, r.number, r.size, r.bytes);
        const bool isBusy = code == sntr::code(sntr::Rc::LatchFailed);
        const bool isTorn = code == 0 ? !isWhole(all.kind, r, withRC) : record != nullptr && !isBusy;
        if (isBusy) ++scene_->busy[i];
        if (isTorn) ++scene_->torn[i];
      }
    }
    for (auto &kind : scene_->reads) kind += reads;
    --scene_->readersLeft;
  }

  // ---- writers

  void layOutAndSet(std::uint32_t layout, bool odd) {
    for (std::size_t i = 0; i < kKinds; ++i) {
      const Properties all = at(i);
      SNodeProperty_t *record = nullptr;
      usleep(1000);  // others read, and find nothing yet
      check(all.kind.isBase() || all.create(layout, kCapacity, kMaxID, kMaxValue) == 0, "list");
      check(all.add(kPaired, values_[1]) == 0, "first property");
      check(all.kind.isBase() || all.add(kAlone, values_[1]) == 0, "second property");
      check(all.record(kPaired, record) == 0 && all.setBoth(record, values_[1], 1) == 0, "first pair");
      scene_->records[i] = record;
    }
    // The base register begins 0x10 bytes into its record, two bytes before the end of a line.
    check(!odd || (reinterpret_cast<std::uintptr_t>(scene_->records[4].load()) + 0x12) % kLine == 0, "no crossing");
    for (std::uint64_t next = 0; scene_->readersLeft > 0; next = (next + 7) % 256) {
      for (std::size_t i = 0; i < kKinds; ++i) {
        check(at(i).setBoth(scene_->records[i], values_[next], next) == 0, "set both");
        check(at(i).kind.isBase() || at(i).set(kAlone, values_[next]) == 0, "set");
      }
    }
  }

  // Adds and deletes other properties, before and behind those that are read.
  void addAndDelete() {
    for (std::uint64_t next = 0; scene_->readersLeft > 0; ++next) {
      const std::size_t i = next % std::size(support::kLists);
      const std::uint64_t some = next / std::size(support::kLists) * 5 % 14;
      const Key key{some < 6 ? some + 1 : some + 3, "other"};
      if (scene_->records[i] != nullptr && at(i).add(key, values_[next & 0xff]) != 0) at(i).erase(key);
    }
  }

  support::Shared<Scene> scene_;
  std::vector<Value> values_;
};

}  // namespace

int main(int argc, char **argv) {
  const std::uint64_t reads = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 200000;
  const std::uint64_t rounds = 8 * (1 + reads / 10000000);
  Torture torture;
  for (std::uint64_t i = 0; i < rounds; ++i) {
    const std::uint32_t layout = i % 2 == 0 ? SNTR_LAYOUT_HASH : SNTR_LAYOUT_ARRAY;
    torture.run(layout, i / 2 % 2 != 0, i / 4 % 2 == 0 ? -1000 : 0x7fffffff - 1000, reads / rounds + 1);
  }
  return torture.report();
}
