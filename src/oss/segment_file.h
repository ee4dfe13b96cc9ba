// The files behind shared-memory segments: names, creation, opening, and the question whether a name still leads to the
// file that it led to. Nothing here maps memory. Any thread; a descriptor belongs to its caller.
//
// Others who may write to the directory can put anything under any name at any moment. So a file is known by its device
// and inode, which cannot be used again while somebody has it open or mapped, and never by its name alone.
#pragma once

#include <oss/segment.h>
#include <sys/types.h>

#include <cstdint>

#include "bounded_text.h"
#include "layout/rc.h"

struct stat;

namespace oss {

using sntr::Rc;

// The largest segment: far above any memory, and far below where sizes begin to overflow.
inline constexpr std::uint64_t kLargestSegment = std::uint64_t{1} << 46;
inline constexpr std::uint64_t kPermissionBits = 0777;

using SegmentPath = PathText;

// The path of a segment.
SegmentPath segmentPath(const OSSIPCResID &key) noexcept;

// An open file, closed at the end of the scope.
class Descriptor {
 public:
  explicit Descriptor(int file) noexcept : file_(file) {}
  ~Descriptor();
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;

  bool isOpen() const noexcept { return file_ >= 0; }
  int get() const noexcept { return file_; }

 private:
  int file_;
};

struct FileIdentity {
  dev_t device;
  ino_t inode;
};

FileIdentity identityOf(const struct stat &status) noexcept;

// Stores the reason of a failed system call on a segment's file, and returns its result code.
Rc failureOf(int error) noexcept;

// Opens a file that did not exist, for its creator alone. The answer is the descriptor, or below 0 with errno set.
int createSegmentFile(const SegmentPath &path) noexcept;

// Reserves the memory for a file of `size` bytes while it is still empty to everybody else, then makes it that long. On
// failure the file is useless, but what was reserved goes with it.
Rc reserveSegmentFile(int file, std::uint64_t size) noexcept;

// Opens an existing file for reading and writing. As createSegmentFile().
int openSegmentFile(const SegmentPath &path) noexcept;

// Why a file cannot be a segment, in words for the trace; null: it can.
const char *whyNoSegment(const struct stat &status) noexcept;

// Looks what the name leads to. Ok: to this file, and `status` is what it is like; OssNotFound: to nothing;
// OssReplaced: to another file; otherwise the look itself failed.
Rc lookUpSegmentFile(const SegmentPath &path, const FileIdentity &file, struct stat &status) noexcept;

// Removes the name if it leads to this file. Between the look and the removal, someone with the right to remove the
// name could put another file there; the system has no call that does both at once.
Rc removeSegmentName(const SegmentPath &path, const FileIdentity &file) noexcept;

// Sets owner, group and permission bits of the file if the name leads to it.
Rc authorizeSegmentFile(const SegmentPath &path, const FileIdentity &file, uid_t owner, gid_t group,
                        mode_t mode) noexcept;

}  // namespace oss
