// What lies around the caller's bytes in a chunk. D is the address of the caller's bytes; the 32-bit word at D - 4
// always holds the pad type, which tells where the chunk begins.
//
//     u64 padded size | [front pad words] | [u32 front, u32 back pad counts] | [u64 caller's size] | u32 hint | u32 pad
//     type | D
//
// The words before D serve people who look at memory, and lead a release to its record faster; they lie next to the
// caller's bytes, where an overrun reaches them first, so nothing is believed that the record does not confirm.
#pragma once

#include <cstddef>
#include <cstdint>

#include "layout/rc.h"

namespace sntr {

constexpr std::uint32_t kDefaultPadType = 0xeebc011a;
constexpr std::uint32_t kDefaultPadWords = 2;
constexpr std::uint32_t kFreedPoolMark = 0xf4eeda7a;
constexpr std::uint64_t kPadTypeBefore = 4;  // D - 4
constexpr std::uint64_t kHintBefore = 8;     // D - 8

// The pads of one allocation: sizes in bytes.
struct ChunkPads {
  std::uint32_t type;
  std::uint32_t frontWords;
  std::uint32_t backWords;
  std::uint64_t front;  // before the caller's bytes
  std::uint64_t added;  // before and behind them
};

// Pads of the heap's settings. UnknownPadType, BadFrontPadCount and BadBackPadCount (not 1 to 8; tested first, whatever
// the type).
Rc padsFor(std::uint32_t padType, std::uint32_t frontWords, std::uint32_t backWords, ChunkPads &pads);

// Bytes from the chunk's start to D, told by the words before D. `available` bytes below D may be read. UnknownPadType
// (also where the words would lie below what may be read), BadFrontPadCount.
Rc frontOfBlock(const std::byte *d, std::uint64_t available, std::uint64_t &front);

// Writes the words before and behind the caller's bytes; the hint is written later, when the record's place is known.
void writePads(std::byte *chunk, const ChunkPads &pads, std::uint64_t paddedSize, std::uint64_t userSize);

}  // namespace sntr
