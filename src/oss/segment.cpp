// Shared-memory segments; the contract is in oss/segment.h. An object is used by one thread at a time.
//
// An object is attached when its address is not null; then, and only then, it has a Mapping. The file stays mapped
// while there is a Mapping, which keeps its inode from being given to another file: that is what makes the comparison
// in segment_file.h safe.
#include <oss/segment.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>

#include "inject.h"
#include "segment_file.h"

static_assert(offsetof(OSSIPCMemoryCreateParam, key) == 8 && offsetof(OSSIPCMemoryCreateParam, reserved) == 20);
static_assert(offsetof(OSSIPCMemoryCreateParam, size) == 24 && offsetof(OSSIPCMemoryCreateParam, accessMode) == 40);
static_assert(offsetof(OSSIPCMemoryCreateParam, requestedAddress) == 32);
static_assert(offsetof(OSSIPCMemoryCreateParam, reserved2) == 48);

namespace oss {

// What opening a segment gives.
struct OpenedSegment {
  void *address;
  struct stat status;
};

}  // namespace oss

// What is remembered of an attached segment.
struct OSSHIPCMemory::Mapping {
  static void *operator new(std::size_t size) noexcept { return std::malloc(size); }
  static void operator delete(void *mapping) noexcept { std::free(mapping); }

  oss::SegmentPath path;
  oss::FileIdentity file{};
  uint64_t size = 0;
  OSSIPCMemoryInfo lastSeen{};

  static uint32_t settle(OSSHIPCMemory &object, Mapping *mapping, const oss::OpenedSegment &opened,
                         oss::Rc rc) noexcept;
  static oss::Rc unmap(OSSHIPCMemory &object) noexcept;
};

namespace {

using oss::code;
using oss::countHeld;
using oss::Descriptor;
using oss::failed;
using oss::injected;
using oss::OpenedSegment;
using oss::Rc;
using oss::reported;

OSSIPCMemoryInfo infoOf(const struct stat &status, uint64_t mapped) {
  const auto size = static_cast<uint64_t>(status.st_size);
  const auto mode = static_cast<uint32_t>(status.st_mode & oss::kPermissionBits);
  return {size < mapped ? size : mapped, mode, status.st_uid, status.st_gid, 0};
}

// The address is a hint: without MAP_FIXED the kernel never replaces what is mapped there.
Rc map(int file, uint64_t size, void *hint, void *&address) {
  void *mapped = mmap(hint, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (mapped == MAP_FAILED) return errno == ENOMEM ? Rc::OssNoMemory : Rc::OssSystem;
  address = mapped;
  return Rc::Ok;
}

Rc checkParameters(const OSSIPCMemoryCreateParam *parameters) {
  if (parameters == nullptr || parameters->version != OSS_IPC_VERSION) return Rc::OssBadArgument;
  const bool sizeFits = parameters->size != 0 && parameters->size <= oss::kLargestSegment;
  return sizeFits && parameters->accessMode <= oss::kPermissionBits ? Rc::Ok : Rc::OssBadArgument;
}

// Makes a new, empty file into a segment. The mode comes last, as it is what lets others in.
Rc furnish(int file, const OSSIPCMemoryCreateParam &wanted, OpenedSegment &made) {
  if (Rc rc = oss::reserveSegmentFile(file, wanted.size); failed(rc)) return rc;
  if (Rc rc = map(file, wanted.size, wanted.requestedAddress, made.address); failed(rc)) return rc;
  const bool done = fchmod(file, static_cast<mode_t>(wanted.accessMode)) == 0 && fstat(file, &made.status) == 0;
  if (done) return Rc::Ok;
  munmap(made.address, wanted.size);
  return Rc::OssSystem;
}

Rc createFile(const oss::SegmentPath &path, const OSSIPCMemoryCreateParam &wanted, OpenedSegment &made) {
  const Descriptor file(oss::createSegmentFile(path));
  if (!file.isOpen()) {
    const Rc rc = oss::rcOfErrno(errno);
    return rc == Rc::OssNotFound ? Rc::OssSystem : rc;  // it is the directory that is missing
  }
  // Known before anything can fail, so that the name is taken back only while it leads to this file.
  if (fstat(file.get(), &made.status) != 0) return Rc::OssSystem;
  const oss::FileIdentity identity = oss::identityOf(made.status);
  const Rc rc = furnish(file.get(), wanted, made);
  if (failed(rc)) static_cast<void>(oss::removeSegmentName(path, identity));
  return rc;
}

Rc openFile(const oss::SegmentPath &path, void *hint, OpenedSegment &found) {
  const Descriptor file(oss::openSegmentFile(path));
  if (!file.isOpen() || fstat(file.get(), &found.status) != 0) return oss::rcOfErrno(errno);
  if (Rc rc = oss::checkSegmentFile(found.status); failed(rc)) return rc;
  return map(file.get(), static_cast<uint64_t>(found.status.st_size), hint, found.address);
}

}  // namespace

// Ends an attempt to attach: the object takes the mapping over, or the mapping goes.
uint32_t OSSHIPCMemory::Mapping::settle(OSSHIPCMemory &object, Mapping *mapping, const OpenedSegment &opened,
                                        Rc rc) noexcept {
  if (failed(rc)) {
    delete mapping;
    return code(rc);
  }
  mapping->file = oss::identityOf(opened.status);
  mapping->size = static_cast<uint64_t>(opened.status.st_size);
  mapping->lastSeen = infoOf(opened.status, mapping->size);
  object.address_ = opened.address;
  object.mapping_ = mapping;
  countHeld(OSSFaultHeldSegments, 1);
  return code(Rc::Ok);
}

// Leaves the object detached, whatever the answer.
Rc OSSHIPCMemory::Mapping::unmap(OSSHIPCMemory &object) noexcept {
  const bool done = munmap(object.address_, object.mapping_->size) == 0;
  delete object.mapping_;
  object.mapping_ = nullptr;
  object.address_ = nullptr;
  countHeld(OSSFaultHeldSegments, -1);
  return done ? Rc::Ok : Rc::OssSystem;
}

// The C library's allocation, here and for a Mapping: the language's own would bring in a second runtime library, which
// takes a starting process longer than attaching does.
void *OSSHIPCMemory::operator new(size_t size) noexcept { return std::malloc(size); }
void OSSHIPCMemory::operator delete(void *object) noexcept { std::free(object); }

OSSHIPCMemory::OSSHIPCMemory() noexcept : address_(nullptr), mapping_(nullptr) {}

OSSHIPCMemory::~OSSHIPCMemory() { delete mapping_; }

uint32_t OSSHIPCMemory::create(const OSSIPCMemoryCreateParam *parameters) noexcept {
  if (injected(OSSFaultSegmentCreate)) return code(Rc::OssInjected);
  if (isAttached()) return code(Rc::OssAlreadyAttached);
  if (Rc rc = checkParameters(parameters); failed(rc)) return code(rc);
  auto *mapping = new Mapping{.path = oss::segmentPath(parameters->key)};
  if (mapping == nullptr) return code(Rc::OssNoMemory);
  OpenedSegment made{};
  const Rc rc = createFile(mapping->path, *parameters, made);
  return Mapping::settle(*this, mapping, made, rc);  // NOLINT(clang-analyzer-unix.Malloc): it is kept there, or deleted
}

uint32_t OSSHIPCMemory::attach(const OSSIPCResID *key, void *requestedAddress) noexcept {
  if (injected(OSSFaultSegmentAttach)) return code(Rc::OssInjected);
  if (isAttached()) return code(Rc::OssAlreadyAttached);
  if (key == nullptr) return code(Rc::OssBadArgument);
  auto *mapping = new Mapping{.path = oss::segmentPath(*key)};
  if (mapping == nullptr) return code(Rc::OssNoMemory);
  OpenedSegment found{};
  const Rc rc = openFile(mapping->path, requestedAddress, found);
  return Mapping::settle(*this, mapping, found, rc);  // NOLINT(clang-analyzer-unix.Malloc): as in create()
}

bool OSSHIPCMemory::isAttached() const noexcept { return address_ != nullptr; }

uint32_t OSSHIPCMemory::getAddress(void **address) const noexcept {
  if (injected(OSSFaultSegmentGetAddress)) return code(Rc::OssInjected);
  if (address == nullptr) return code(Rc::OssBadArgument);
  if (!isAttached()) return code(Rc::OssNotAttached);
  *address = address_;
  return code(Rc::Ok);
}

uint32_t OSSHIPCMemory::getInfo(OSSIPCMemoryInfo *info) noexcept {
  if (injected(OSSFaultSegmentGetInfo)) return code(Rc::OssInjected);
  if (info == nullptr) return code(Rc::OssBadArgument);
  if (!isAttached()) return code(Rc::OssNotAttached);
  struct stat status;
  const Rc rc = oss::lookUpSegmentFile(mapping_->path, mapping_->file, status);
  if (!failed(rc)) mapping_->lastSeen = infoOf(status, mapping_->size);
  *info = mapping_->lastSeen;
  return code(Rc::Ok);
}

uint32_t OSSHIPCMemory::authorize(uint32_t owner, uint32_t group, uint32_t mode) noexcept {
  if (injected(OSSFaultSegmentAuthorize)) return code(Rc::OssInjected);
  if (mode > oss::kPermissionBits) return code(Rc::OssBadArgument);
  if (!isAttached()) return code(Rc::OssNotAttached);
  return code(oss::authorizeSegmentFile(mapping_->path, mapping_->file, owner, group, mode));
}

uint32_t OSSHIPCMemory::detach() noexcept {
  const bool madeToFail = injected(OSSFaultSegmentDetach);
  if (!isAttached()) return code(Rc::OssNotAttached);
  return code(reported(Mapping::unmap(*this), madeToFail));
}

uint32_t OSSHIPCMemory::removeName() noexcept {
  if (injected(OSSFaultSegmentDestroy)) return code(Rc::OssInjected);
  if (!isAttached()) return code(Rc::OssNotAttached);
  return code(oss::removeSegmentName(mapping_->path, mapping_->file));
}

uint32_t OSSHIPCMemory::destroy() noexcept {
  const bool madeToFail = injected(OSSFaultSegmentDestroy);
  if (!isAttached()) return code(Rc::OssNotAttached);
  // The name while the memory is still mapped: unmapped, the inode that the name is compared with could be another's.
  const Rc removed = oss::removeSegmentName(mapping_->path, mapping_->file);
  const Rc unmapped = Mapping::unmap(*this);
  return code(reported(sntr::firstFailure(removed, unmapped), madeToFail));
}
