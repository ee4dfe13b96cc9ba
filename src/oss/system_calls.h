// SPDX-License-Identifier: MIT
// System calls that are no cancellation points. The C library's functions of these names are: a thread with a pending
// pthread_cancel() would end inside them, holding the library's latches. Results and errno are those of the C library.
// Thread safety: any thread; safe in a signal handler.
#pragma once

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

#include <cstddef>

namespace oss {

inline int openUncancelled(const char *path, int flags, mode_t mode = 0) noexcept {
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

inline ssize_t readUncancelled(int file, void *buffer, std::size_t size) noexcept {
  return syscall(SYS_read, file, buffer, size);
}

inline ssize_t writeUncancelled(int file, const void *bytes, std::size_t size) noexcept {
  return syscall(SYS_write, file, bytes, size);
}

inline ssize_t sendUncancelled(int socket, const void *bytes, std::size_t size, const sockaddr *to,
                               socklen_t length) noexcept {
  return syscall(SYS_sendto, socket, bytes, size, MSG_DONTWAIT | MSG_NOSIGNAL, to, length);
}

inline void closeUncancelled(int file) noexcept { syscall(SYS_close, file); }

inline int reserveUncancelled(int file, int mode, off_t from, off_t length) noexcept {
  return static_cast<int>(syscall(SYS_fallocate, file, mode, from, length));
}

inline void sleepUncancelled(const timespec &time) noexcept {
  syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &time, nullptr);
}

}  // namespace oss
