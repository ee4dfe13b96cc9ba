// SPDX-License-Identifier: MIT
/* Reads one value of a shared file with a fixed layout: opens, maps, reads.
 * Arguments: the name of the shared memory and the value's offset.
 * With BENCH_NAME_ITSELF this is the floor: it also does what a thread's first latch needs. A latch needs a name that
 * outlives its process: a number and a start time, which is in /proc alone. */
#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "time.h"

int main(int argc, char **argv) {
  const int64_t start = nanoseconds();
  if (argc != 3) return 2;
  const size_t offset = strtoull(argv[2], NULL, 10);
  struct stat status;
  const int file = shm_open(argv[1], O_RDWR, 0);
  if (file < 0 || fstat(file, &status) != 0 || offset >= (size_t)status.st_size) return 1;
  const unsigned char *memory = mmap(NULL, (size_t)status.st_size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (memory == MAP_FAILED) return 1;
#ifdef BENCH_NAME_ITSELF
  char line[1024];
  const int own = open("/proc/self/stat", O_RDONLY | O_CLOEXEC);
  if (own < 0 || read(own, line, sizeof line) <= 0 || close(own) != 0) return 1;
#endif
  const int32_t value = __atomic_load_n((const int32_t *)(const void *)(memory + offset), __ATOMIC_ACQUIRE);
  const int64_t taken = nanoseconds() - start;
  return tell(taken, value);
}
