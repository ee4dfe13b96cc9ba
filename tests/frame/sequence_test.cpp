// The sequence lock in every order: each load of a reader is made before, between and after all stores of writers.
//
// A reader stores nothing. So the states that the writers go through are recorded once, and in place of waiting a
// reader goes on to any later state between two of its loads. Readers and writers with one mistake each show that a
// torn value would be found.
#include "frame/sequence.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <vector>

namespace {

using sntr::readWord, sntr::writeWord;

struct Shared {
  SNodeLatchBlock_t block{};
  std::uint64_t words[2]{};
};
struct Values {
  std::uint64_t first, second;
};

using Gap = std::function<void()>;
using Writer = void (*)(Shared &, std::uint64_t value, const Gap &);
using Reader = bool (*)(const Shared &, Values &, const Gap &);

void storeWords(Shared &shared, std::uint64_t value, const Gap &gap) {
  for (std::uint64_t &word : shared.words) writeWord<std::uint64_t>(&word, value), gap();
}

void write(Shared &shared, std::uint64_t value, const Gap &gap) {
  sntr::beginWrite(shared.block, gap);
  gap();
  storeWords(shared, value, gap);
  sntr::endWrite(shared.block);
  gap();
}

void writeAndCountLast(Shared &shared, std::uint64_t value, const Gap &gap) {
  sntr::storeAligned(&shared.block.writeInProgress, 1);
  gap();
  storeWords(shared, value, gap);
  sntr::storeAligned(&shared.block.writeCount, sntr::successorOf(sntr::loadAligned(&shared.block.writeCount)));
  gap();
  sntr::endWrite(shared.block);
  gap();
}

Values loadWords(const Shared &shared, const Gap &gap) {
  gap();
  const auto first = readWord<std::uint64_t>(&shared.words[0]);
  gap();
  const auto second = readWord<std::uint64_t>(&shared.words[1]);
  gap();
  return {first, second};
}

bool read(const Shared &shared, Values &values, const Gap &gap) {
  std::int32_t count = 0;
  if (!sntr::beginSequence(shared.block, count, gap)) return false;
  values = loadWords(shared, gap);
  return sntr::endSequence(shared.block, count);
}

bool readMarkFirst(const Shared &shared, Values &values, const Gap &gap) {
  const bool isFree = sntr::loadAligned(&shared.block.writeInProgress) == 0;
  gap();
  const std::int32_t count = sntr::loadAligned(&shared.block.writeCount);
  values = loadWords(shared, gap);
  return isFree && sntr::endSequence(shared.block, count);
}

bool readWhateverTheMark(const Shared &shared, Values &values, const Gap &gap) {
  std::int32_t count = 0;
  static_cast<void>(sntr::beginSequence(shared.block, count, gap));
  values = loadWords(shared, gap);
  return sntr::endSequence(shared.block, count);
}

bool readWhateverTheCount(const Shared &shared, Values &values, const Gap &gap) {
  std::int32_t count = 0;
  const bool isFree = sntr::beginSequence(shared.block, count, gap);
  values = loadWords(shared, gap);
  return isFree;
}

// The states after each store of three writers, who store 1, 2 and 3.
std::vector<Shared> statesOf(Writer writer, std::int32_t firstCount) {
  Shared shared;
  sntr::storeAligned(&shared.block.writeCount, firstCount);
  std::vector<Shared> states{shared};
  for (std::uint64_t value = 1; value <= 3; ++value) writer(shared, value, [&] { states.push_back(shared); });
  return states;
}

struct Tally {
  int torn = 0;
  std::set<std::uint64_t> accepted;
};

// Reads once for each way in which the states can pass during four gaps and before them.
Tally readInEveryOrder(Writer writer, std::int32_t firstCount, Reader reader) {
  const std::vector<Shared> states = statesOf(writer, firstCount);
  constexpr std::size_t kMoments = 5;
  Tally tally;
  const std::function<void(std::vector<std::size_t>)> goOn = [&](std::vector<std::size_t> moments) {
    if (moments.size() < kMoments) {
      for (std::size_t at = moments.empty() ? 0 : moments.back(); at < states.size(); ++at) {
        moments.push_back(at), goOn(moments), moments.pop_back();
      }
      return;
    }
    Shared seen = states[moments[0]];
    std::size_t gaps = 0;
    Values values{};
    if (!reader(seen, values, [&] { seen = states[moments.at(++gaps)]; })) return;
    if (values.first != values.second) ++tally.torn;
    tally.accepted.insert(values.first);
  };
  goOn({});
  return tally;
}

TEST(Sequence, IsNeverTornInAnyOrder) {
  for (const std::int32_t count : {0, -2, 0x7ffffffe}) {
    const Tally tally = readInEveryOrder(write, count, read);
    EXPECT_EQ(tally.torn, 0) << "from count " << count;
    EXPECT_EQ(tally.accepted, (std::set<std::uint64_t>{0, 1, 2, 3})) << "from count " << count;
  }
}

TEST(Sequence, IsTornByEachMistake) {
  const struct {
    const char *name;
    Writer writer;
    Reader reader;
  } rows[] = {{"mark before count", write, readMarkFirst},
              {"mark not looked at", write, readWhateverTheMark},
              {"count not compared", write, readWhateverTheCount},
              {"data before the writer's count", writeAndCountLast, read}};
  for (const auto &row : rows) EXPECT_GT(readInEveryOrder(row.writer, 0, row.reader).torn, 0) << row.name;
}

}  // namespace
