// SPDX-License-Identifier: MIT
// See chunk_pads.h.
#include "shm/chunk_pads.h"

#include "layout/offset.h"
#include "layout/words.h"

namespace sntr {

namespace {

// A pad scheme; F and B are the front and back pad counts.
struct PadScheme {
  std::uint32_t type;
  std::uint32_t added;  // bytes added to a request, plus 8 x (F + B) if there are pad words
  std::uint32_t front;  // bytes before the caller's, plus 8 x F if there are pad words
  bool hasPadWords;
  std::uint32_t countBefore;     // u32 front pad count at D minus this; 0 if none is stored
  std::uint32_t userSizeBefore;  // u64 caller's size at D minus this; 0 if there is no room
};

constexpr PadScheme kPadSchemes[] = {
    {0x00000000, 0x10, 0x10, false, 0, 0},       //
    {0xc0de1d1e, 0x10, 0x10, false, 0, 0},       //
    {kDefaultPadType, 0x20, 0x10, false, 0, 0},  //
    {0xdabc011a, 0x30, 0x18, false, 0, 0x10},    //
    {0xa110cbee, 0x30, 0x20, true, 0x18, 0x10},  //
    {0xa110ce87, 0x48, 0x38, true, 0x18, 0x10},  //
    {0xa110cbad, 0x40, 0x28, true, 0x20, 0x10},  //
    {0x78ec011a, 0x58, 0x40, true, 0x20, 0x10},  //
};

// The content of pad words; anything else was written by an overrun.
constexpr std::uint64_t kPadWord = 0xbadc0ffee0ddf00d;

const PadScheme *schemeOf(std::uint32_t type) {
  for (const PadScheme &scheme : kPadSchemes) {
    if (scheme.type == type) return &scheme;
  }
  return nullptr;
}

bool isPadCount(std::uint32_t words) { return words >= 1 && words <= 8; }

}  // namespace

Rc padsFor(std::uint32_t padType, std::uint32_t frontWords, std::uint32_t backWords, ChunkPads &pads) {
  if (!isPadCount(frontWords)) return Rc::BadFrontPadCount;
  if (!isPadCount(backWords)) return Rc::BadBackPadCount;
  const PadScheme *const scheme = schemeOf(padType);
  if (scheme == nullptr) return Rc::UnknownPadType;
  const std::uint64_t frontPads = scheme->hasPadWords ? kWordSize * frontWords : 0;
  const std::uint64_t backPads = scheme->hasPadWords ? kWordSize * backWords : 0;
  pads = ChunkPads{padType, frontWords, backWords, scheme->front + frontPads, scheme->added + frontPads + backPads};
  return Rc::Ok;
}

Rc frontOfBlock(const std::byte *d, std::uint64_t available, std::uint64_t &front) {
  if (available < kPadTypeBefore) return Rc::UnknownPadType;
  const PadScheme *const scheme = schemeOf(readWord<std::uint32_t>(d - kPadTypeBefore));
  if (scheme == nullptr || available < scheme->countBefore) return Rc::UnknownPadType;
  front = scheme->front;
  if (!scheme->hasPadWords) return Rc::Ok;
  const std::uint32_t words = readWord<std::uint32_t>(d - scheme->countBefore);
  if (!isPadCount(words)) return Rc::BadFrontPadCount;
  front += kWordSize * words;
  return Rc::Ok;
}

void writePads(std::byte *chunk, const ChunkPads &pads, std::uint64_t paddedSize, std::uint64_t userSize) {
  const PadScheme *const scheme = schemeOf(pads.type);
  std::byte *const d = chunk + pads.front;
  const std::uint64_t behind = pads.added - pads.front;
  for (std::byte *at = chunk + 8; at < d; at += 8) writeWord<std::uint64_t>(at, kPadWord);
  for (std::byte *at = chunk + paddedSize - behind; at < chunk + paddedSize; at += 8)
    writeWord<std::uint64_t>(at, kPadWord);
  writeWord<std::uint64_t>(chunk, paddedSize);
  if (scheme != nullptr && scheme->userSizeBefore != 0) writeWord<std::uint64_t>(d - scheme->userSizeBefore, userSize);
  if (scheme != nullptr && scheme->countBefore != 0) {
    writeWord<std::uint32_t>(d - scheme->countBefore, pads.frontWords);
    writeWord<std::uint32_t>(d - scheme->countBefore + 4, pads.backWords);
  }
  writeWord<std::uint32_t>(d - kHintBefore, 0);
  writeWord<std::uint32_t>(d - kPadTypeBefore, pads.type);
}

}  // namespace sntr
