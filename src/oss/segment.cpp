// SPDX-License-Identifier: MIT
// Shared-memory segments; the contract is in oss/segment.h.
//
// Invariants:
// 1. An object is attached if its address is not null; then, and only then, it has a Mapping.
// 2. The file stays mapped while there is a Mapping, so its inode cannot be reused. The comparison in segment_file.h
//    relies on this.
//
// Thread safety: one thread at a time uses an object.
#include <oss/segment.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>

#include "inject.h"
#include "segment_file.h"
#include "system_error.h"
#include "trace_lines.h"

static_assert(offsetof(OSSIPCMemoryCreateParam, key) == 8 && offsetof(OSSIPCMemoryCreateParam, reserved) == 20);
static_assert(offsetof(OSSIPCMemoryCreateParam, size) == 24 && offsetof(OSSIPCMemoryCreateParam, accessMode) == 40);
static_assert(offsetof(OSSIPCMemoryCreateParam, requestedAddress) == 32);
static_assert(offsetof(OSSIPCMemoryCreateParam, reserved2) == 48);

namespace oss {

struct OpenedSegment {
  void *address;
  struct stat status;
  const char *detail;  // why it failed, beyond code and errno; null: nothing to add
};

}  // namespace oss

// The record of an attached segment.
struct OSSHIPCMemory::Mapping {
  static void *operator new(std::size_t size) noexcept { return std::malloc(size); }
  static void operator delete(void *mapping) noexcept { std::free(mapping); }

  oss::SegmentPath path;
  oss::FileIdentity file{};
  uint64_t size = 0;
  OSSIPCMemoryInfo lastSeen{};

  static oss::Rc create(OSSHIPCMemory &object, const OSSIPCMemoryCreateParam *parameters) noexcept;
  static oss::Rc attach(OSSHIPCMemory &object, const OSSIPCResID *key, void *requestedAddress) noexcept;
  static oss::Rc settle(OSSHIPCMemory &object, Mapping *mapping, const oss::OpenedSegment &opened, const char *attempt,
                        oss::Rc rc) noexcept;
  static oss::Rc unmap(OSSHIPCMemory &object) noexcept;
};

namespace {

using oss::code;
using oss::countHeld;
using oss::Descriptor;
using oss::failed;
using oss::injected;
using oss::keepingSystemError;
using oss::OpenedSegment;
using oss::Rc;
using oss::reported;

OSSIPCMemoryInfo infoOf(const struct stat &status, uint64_t mapped) {
  const auto size = static_cast<uint64_t>(status.st_size);
  const auto mode = static_cast<uint32_t>(status.st_mode & oss::kPermissionBits);
  return {size < mapped ? size : mapped, mode, status.st_uid, status.st_gid, 0};
}

// Maps a file. The address is a hint: without MAP_FIXED the kernel never replaces an existing mapping.
Rc map(int file, uint64_t size, void *hint, void *&address) {
  void *mapped = mmap(hint, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (mapped == MAP_FAILED) return oss::systemFailure(errno == ENOMEM ? Rc::OssNoMemory : Rc::OssSystem, errno);
  address = mapped;
  return Rc::Ok;
}

Rc checkParameters(const OSSIPCMemoryCreateParam *parameters) {
  if (parameters == nullptr || parameters->version != OSS_IPC_VERSION) return Rc::OssBadArgument;
  const bool sizeFits = parameters->size != 0 && parameters->size <= oss::kLargestSegment;
  return sizeFits && parameters->accessMode <= oss::kPermissionBits ? Rc::Ok : Rc::OssBadArgument;
}

// Turns a new, empty file into a segment. Sets the mode last, since it lets others in.
Rc furnish(int file, const OSSIPCMemoryCreateParam &wanted, OpenedSegment &made) {
  if (Rc rc = oss::reserveSegmentFile(file, wanted.size); failed(rc)) return rc;
  if (Rc rc = map(file, wanted.size, wanted.requestedAddress, made.address); failed(rc)) return rc;
  const bool done = fchmod(file, static_cast<mode_t>(wanted.accessMode)) == 0 && fstat(file, &made.status) == 0;
  if (done) return Rc::Ok;
  const Rc rc = oss::systemFailure(Rc::OssSystem, errno);
  munmap(made.address, wanted.size);
  return rc;
}

Rc createFile(const oss::SegmentPath &path, const OSSIPCMemoryCreateParam &wanted, OpenedSegment &made) {
  const Descriptor file(oss::createSegmentFile(path));
  if (!file.isOpen()) {
    const Rc rc = oss::failureOf(errno);
    return rc == Rc::OssNotFound ? Rc::OssSystem : rc;  // the directory is missing
  }
  // Determined before anything can fail, so that the name is removed only while it leads to this file.
  if (fstat(file.get(), &made.status) != 0) return oss::systemFailure(Rc::OssSystem, errno);
  const oss::FileIdentity identity = oss::identityOf(made.status);
  const Rc rc = furnish(file.get(), wanted, made);
  if (!failed(rc)) return rc;
  const int reason = oss::tSystemError;
  static_cast<void>(oss::removeSegmentName(path, identity));
  return oss::systemFailure(rc, reason);
}

Rc openFile(const oss::SegmentPath &path, void *hint, OpenedSegment &found) {
  const Descriptor file(oss::openSegmentFile(path));
  if (!file.isOpen() || fstat(file.get(), &found.status) != 0) return oss::failureOf(errno);
  found.detail = oss::whyNoSegment(found.status);
  if (found.detail != nullptr) return Rc::OssNotASegment;
  return map(file.get(), static_cast<uint64_t>(found.status.st_size), hint, found.address);
}

}  // namespace

// Ends an attempt to attach: the object takes the mapping over, or the mapping is deleted.
Rc OSSHIPCMemory::Mapping::settle(OSSHIPCMemory &object, Mapping *mapping, const OpenedSegment &opened,
                                  const char *attempt, Rc rc) noexcept {
  if (failed(rc)) {
    oss::traceRefusedSegment(attempt, mapping->path.get(), rc, oss::tSystemError, opened.detail);
    delete mapping;
    return rc;
  }
  mapping->file = oss::identityOf(opened.status);
  mapping->size = static_cast<uint64_t>(opened.status.st_size);
  mapping->lastSeen = infoOf(opened.status, mapping->size);
  object.address_ = opened.address;
  object.mapping_ = mapping;
  countHeld(OSSFaultHeldSegments, 1);
  return Rc::Ok;
}

Rc OSSHIPCMemory::Mapping::create(OSSHIPCMemory &object, const OSSIPCMemoryCreateParam *parameters) noexcept {
  if (object.isAttached()) return Rc::OssAlreadyAttached;
  if (Rc rc = checkParameters(parameters); failed(rc)) return rc;
  auto *mapping = new Mapping{.path = oss::segmentPath(parameters->key)};
  if (mapping == nullptr) return oss::systemFailure(Rc::OssNoMemory, ENOMEM);
  OpenedSegment made{};
  const Rc rc = createFile(mapping->path, *parameters, made);
  return settle(object, mapping, made, "create", rc);  // NOLINT(clang-analyzer-unix.Malloc): kept there, or deleted
}

Rc OSSHIPCMemory::Mapping::attach(OSSHIPCMemory &object, const OSSIPCResID *key, void *requestedAddress) noexcept {
  if (object.isAttached()) return Rc::OssAlreadyAttached;
  if (key == nullptr) return Rc::OssBadArgument;
  auto *mapping = new Mapping{.path = oss::segmentPath(*key)};
  if (mapping == nullptr) return oss::systemFailure(Rc::OssNoMemory, ENOMEM);
  OpenedSegment found{};
  const Rc rc = openFile(mapping->path, requestedAddress, found);
  return settle(object, mapping, found, "attach", rc);  // NOLINT(clang-analyzer-unix.Malloc): as in create()
}

// Leaves the object detached, also on failure.
Rc OSSHIPCMemory::Mapping::unmap(OSSHIPCMemory &object) noexcept {
  const Rc rc = munmap(object.address_, object.mapping_->size) == 0 ? Rc::Ok : oss::systemFailure(Rc::OssSystem, errno);
  delete object.mapping_;
  object.mapping_ = nullptr;
  object.address_ = nullptr;
  countHeld(OSSFaultHeldSegments, -1);
  return rc;
}

// Allocates by the C library, like Mapping. The language's allocation would load a second runtime library, which takes
// a starting process longer than attaching does.
void *OSSHIPCMemory::operator new(size_t size) noexcept { return std::malloc(size); }
void OSSHIPCMemory::operator delete(void *object) noexcept { std::free(object); }

OSSHIPCMemory::OSSHIPCMemory() noexcept : address_(nullptr), mapping_(nullptr) {}

OSSHIPCMemory::~OSSHIPCMemory() { delete mapping_; }

uint32_t OSSHIPCMemory::create(const OSSIPCMemoryCreateParam *parameters) noexcept {
  if (injected(OSSFaultSegmentCreate)) return code(Rc::OssInjected);
  return code(keepingSystemError([&] { return Mapping::create(*this, parameters); }));
}

uint32_t OSSHIPCMemory::attach(const OSSIPCResID *key, void *requestedAddress) noexcept {
  if (injected(OSSFaultSegmentAttach)) return code(Rc::OssInjected);
  return code(keepingSystemError([&] { return Mapping::attach(*this, key, requestedAddress); }));
}

bool OSSHIPCMemory::isAttached() const noexcept { return address_ != nullptr; }

uint32_t OSSHIPCMemory::getAddress(void **address) const noexcept {
  if (injected(OSSFaultSegmentGetAddress)) return code(Rc::OssInjected);
  return code(keepingSystemError([&] {
    if (address == nullptr) return Rc::OssBadArgument;
    if (!isAttached()) return Rc::OssNotAttached;
    *address = address_;
    return Rc::Ok;
  }));
}

uint32_t OSSHIPCMemory::getInfo(OSSIPCMemoryInfo *info) noexcept {
  if (injected(OSSFaultSegmentGetInfo)) return code(Rc::OssInjected);
  return code(keepingSystemError([&] {
    if (info == nullptr) return Rc::OssBadArgument;
    if (!isAttached()) return Rc::OssNotAttached;
    struct stat status;
    const Rc rc = oss::lookUpSegmentFile(mapping_->path, mapping_->file, status);
    if (!failed(rc)) mapping_->lastSeen = infoOf(status, mapping_->size);
    *info = mapping_->lastSeen;
    return Rc::Ok;
  }));
}

uint32_t OSSHIPCMemory::authorize(uint32_t owner, uint32_t group, uint32_t mode) noexcept {
  if (injected(OSSFaultSegmentAuthorize)) return code(Rc::OssInjected);
  return code(keepingSystemError([&] {
    if (mode > oss::kPermissionBits) return Rc::OssBadArgument;
    if (!isAttached()) return Rc::OssNotAttached;
    return oss::authorizeSegmentFile(mapping_->path, mapping_->file, owner, group, mode);
  }));
}

uint32_t OSSHIPCMemory::detach() noexcept {
  const bool madeToFail = injected(OSSFaultSegmentDetach);
  return code(keepingSystemError([&] {
    if (!isAttached()) return Rc::OssNotAttached;
    return reported(Mapping::unmap(*this), madeToFail);
  }));
}

uint32_t OSSHIPCMemory::removeName() noexcept {
  if (injected(OSSFaultSegmentDestroy)) return code(Rc::OssInjected);
  return code(keepingSystemError(
      [&] { return isAttached() ? oss::removeSegmentName(mapping_->path, mapping_->file) : Rc::OssNotAttached; }));
}

uint32_t OSSHIPCMemory::destroy() noexcept {
  const bool madeToFail = injected(OSSFaultSegmentDestroy);
  return code(keepingSystemError([&] {
    if (!isAttached()) return Rc::OssNotAttached;
    // Removes the name before unmapping: once unmapped, the inode that is compared could be reused.
    const Rc removed = oss::removeSegmentName(mapping_->path, mapping_->file);
    const Rc unmapped = Mapping::unmap(*this);
    return reported(sntr::firstFailure(removed, unmapped), madeToFail);
  }));
}
