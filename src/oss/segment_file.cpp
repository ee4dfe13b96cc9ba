// SPDX-License-Identifier: MIT
// See segment_file.h.
#include "segment_file.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>

#include "system_calls.h"
#include "system_error.h"

namespace oss {

namespace {

// The C library's directory of POSIX shared-memory objects. Named here, because shm_open() cannot choose how a name is
// opened, or examine one without opening it.
constexpr char kDirectory[] = "/dev/shm";

// Reserved in pieces: on a signal the kernel gives back the whole current piece.
constexpr std::uint64_t kPiece = std::uint64_t{16} << 20;

// Limit of interruptions while one segment is reserved; more of them indicate a fault in the program.
constexpr int kMostInterruptions = 10000;

// Returns true above the file-size limit. Beyond it the kernel also ends the program with a signal.
bool exceedsFileLimit(std::uint64_t size) {
  rlimit limit;
  return getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY && size > limit.rlim_cur;
}

// Returns true if the filesystem has too little room. Tested first, so that a size far too large does not fill the
// filesystem for all before it is refused.
bool exceedsFilesystem(int file, std::uint64_t size) {
  struct statvfs space;
  if (fstatvfs(file, &space) != 0 || space.f_blocks == 0) return false;  // a filesystem without limit reports 0
  return size / space.f_frsize > space.f_bavail;
}

Rc reservePiece(int file, std::uint64_t from, std::uint64_t length, int &interruptions) {
  while (reserveUncancelled(file, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(from), static_cast<off_t>(length)) != 0) {
    if (errno != EINTR || ++interruptions > kMostInterruptions) return failureOf(errno);
  }
  return Rc::Ok;
}

}  // namespace

SegmentPath segmentPath(const OSSIPCResID &key) noexcept {
  SegmentPath path;
  static_assert(sizeof kDirectory + sizeof "/qx7osse." + 24 <= SegmentPath::kSize);
  path.text(kDirectory).text("/qx7osse.").hexadecimal(key.high, 16).hexadecimal(key.low, 8);
  return path;
}

Descriptor::~Descriptor() {
  if (isOpen()) closeUncancelled(file_);
}

FileIdentity identityOf(const struct stat &status) noexcept { return {status.st_dev, status.st_ino}; }

namespace {

Rc rcOfErrno(int error) {
  switch (error) {
    case EEXIST:
      return Rc::OssExists;
    case ENOENT:
      return Rc::OssNotFound;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return Rc::OssNoSpace;
    case ENOMEM:
      return Rc::OssNoMemory;
    case EACCES:
    case EPERM:
    case EROFS:
      return Rc::OssNoPermission;
    case ELOOP:  // a link, which is not followed
    case ENXIO:  // a socket
    case EISDIR:
      return Rc::OssNotASegment;
    default:
      return Rc::OssSystem;
  }
}

}  // namespace

Rc failureOf(int error) noexcept { return systemFailure(rcOfErrno(error), error); }

int createSegmentFile(const SegmentPath &path) noexcept {
  return openUncancelled(path.get(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
}

Rc reserveSegmentFile(int file, std::uint64_t size) noexcept {
  // The reasons that the system would have given.
  if (exceedsFileLimit(size)) return failureOf(EFBIG);
  if (exceedsFilesystem(file, size)) return failureOf(ENOSPC);
  int interruptions = 0;
  for (std::uint64_t from = 0; from < size; from += kPiece) {
    const std::uint64_t length = size - from < kPiece ? size - from : kPiece;
    if (Rc rc = reservePiece(file, from, length, interruptions); failed(rc)) return rc;
  }
  return ftruncate(file, static_cast<off_t>(size)) == 0 ? Rc::Ok : failureOf(errno);
}

int openSegmentFile(const SegmentPath &path) noexcept {
  // Non-blocking: the name may lead to a pipe.
  return openUncancelled(path.get(), O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
}

const char *whyNoSegment(const struct stat &status) noexcept {
  if (!S_ISREG(status.st_mode)) return "no regular file";
  if (status.st_size <= 0) return "too short: empty";
  return static_cast<std::uint64_t>(status.st_size) > kLargestSegment ? "too long" : nullptr;
}

Rc lookUpSegmentFile(const SegmentPath &path, const FileIdentity &file, struct stat &status) noexcept {
  if (lstat(path.get(), &status) != 0) return failureOf(errno);
  const bool same = status.st_dev == file.device && status.st_ino == file.inode;
  return same ? Rc::Ok : Rc::OssReplaced;
}

Rc removeSegmentName(const SegmentPath &path, const FileIdentity &file) noexcept {
  struct stat status;
  Rc rc = lookUpSegmentFile(path, file, status);
  if (!failed(rc) && unlink(path.get()) != 0) rc = failureOf(errno);
  return rc == Rc::OssNotFound ? Rc::Ok : rc;  // another process was faster, with the same result
}

Rc authorizeSegmentFile(const SegmentPath &path, const FileIdentity &file, uid_t owner, gid_t group,
                        mode_t mode) noexcept {
  // O_PATH pins the file that was examined, and needs no permission on it.
  const Descriptor place(openUncancelled(path.get(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!place.isOpen()) return failureOf(errno);
  struct stat status;
  if (fstat(place.get(), &status) != 0) return failureOf(errno);
  if (status.st_dev != file.device || status.st_ino != file.inode) return Rc::OssReplaced;
  // The owner first: a new mode must not open the file to a group that is about to lose it.
  if (fchownat(place.get(), "", owner, group, AT_EMPTY_PATH) != 0) return failureOf(errno);
  PathText link;
  link.text("/proc/self/fd/").decimal(static_cast<std::uint32_t>(place.get()));
  if (chmod(link.get(), mode) == 0) return Rc::Ok;
  return errno == ENOENT ? systemFailure(Rc::OssSystem, errno) : failureOf(errno);  // /proc is missing
}

}  // namespace oss
