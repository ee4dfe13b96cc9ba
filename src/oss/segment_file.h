// SPDX-License-Identifier: MIT
// The files behind shared-memory segments: names, creation, opening, and the test whether a name still leads to the
// same file. Nothing here maps memory.
//
// Others who may write to the directory can put anything under any name at any moment. So a file is identified by
// device and inode, never by its name alone. They cannot be reused while a process has the file open or mapped.
//
// Thread safety: any thread; a descriptor belongs to its caller.
#pragma once

#include <oss/segment.h>
#include <sys/types.h>

#include <cstdint>

#include "bounded_text.h"
#include "layout/rc.h"

struct stat;

namespace oss {

using sntr::Rc;

// The largest segment: far above any memory, and far below sizes that overflow.
inline constexpr std::uint64_t kLargestSegment = std::uint64_t{1} << 46;
inline constexpr std::uint64_t kPermissionBits = 0777;

using SegmentPath = PathText;

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

// Stores the reason of a failed system call on a segment's file; returns its result code.
Rc failureOf(int error) noexcept;

// Creates a new file, for its creator alone. Returns the descriptor, or a number below 0 with errno set.
int createSegmentFile(const SegmentPath &path) noexcept;

// Reserves the memory of a file of `size` bytes while others still see it empty, then sets its length. After a failure
// the file is useless; removing it frees what was reserved.
Rc reserveSegmentFile(int file, std::uint64_t size) noexcept;

// Opens an existing file for reading and writing. Returns the same as createSegmentFile().
int openSegmentFile(const SegmentPath &path) noexcept;

// Returns the reason why a file cannot be a segment, as text for the trace; null if it can be one.
const char *whyNoSegment(const struct stat &status) noexcept;

// Looks up the file of a name. Returns 0 and the file's `status` if it is this file; OssNotFound if there is none;
// OssReplaced if it is another; another code if the lookup failed.
Rc lookUpSegmentFile(const SegmentPath &path, const FileIdentity &file, struct stat &status) noexcept;

// Removes the name if it leads to this file. Between test and removal, a user with the right to remove the name could
// put another file there; no system call does both at once.
Rc removeSegmentName(const SegmentPath &path, const FileIdentity &file) noexcept;

// Sets owner, group and permission bits of the file if the name leads to it.
Rc authorizeSegmentFile(const SegmentPath &path, const FileIdentity &file, uid_t owner, gid_t group,
                        mode_t mode) noexcept;

}  // namespace oss
