// SPDX-License-Identifier: MIT
// A short pause between two reads of a word that another thread is about to change.
#pragma once

namespace sntr {

inline void pauseBriefly() {
#if defined(__x86_64__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  __asm__ volatile("isb");
#endif
}

}  // namespace sntr
