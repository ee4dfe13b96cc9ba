// SPDX-License-Identifier: MIT
// The bytes around the caller's bytes in a chunk. D is the address of the caller's bytes. The 32-bit word at D - 4
// always holds the pad type, from which the start of the chunk follows.
//
//     u64 padded size | [front pad words] | [u32 front, u32 back pad counts] | [u64 caller's size] | u32 hint |
//     u32 pad type | D
//
// The words before D are for debugging, and lead a release to its record faster. An overrun reaches them first, so
// their content is used only if the record confirms it.
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
  std::uint64_t added;  // before and after them
};

// Computes the pads for a heap's settings. Returns BadFrontPadCount or BadBackPadCount for a count that is not 1 to 8,
// tested first; UnknownPadType.
Rc padsFor(std::uint32_t padType, std::uint32_t frontWords, std::uint32_t backWords, ChunkPads &pads);

// Computes the bytes from the chunk's start to D from the words before D, of which `available` bytes may be read.
// Returns UnknownPadType, also if the words would lie below those bytes, or BadFrontPadCount.
Rc frontOfBlock(const std::byte *d, std::uint64_t available, std::uint64_t &front);

// Writes the words around the caller's bytes, with hint 0: the record is not known yet.
void writePads(std::byte *chunk, const ChunkPads &pads, std::uint64_t paddedSize, std::uint64_t userSize);

}  // namespace sntr
