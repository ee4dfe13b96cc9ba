/* SPDX-License-Identifier: MIT */
/** @file
 * Shared-memory segments, found by a 12-byte key.
 *
 * A segment is a POSIX shared-memory object named "/qx7osse." and the 24 hexadecimal digits of its key. So it is
 * visible in /dev/shm, and lives until it is destroyed or the system restarts. Its memory is reserved when it is
 * created: a filesystem that is full is a failure then, and never a signal later. No descriptor stays open.
 *
 * Thread safety: an OSSHIPCMemory object represents one segment in one process and is used by one thread at a time. Its
 * memory belongs to all processes that are attached, and any thread may use it. The object may be deleted while it is
 * attached: the memory then stays mapped until the process ends.
 */
#ifndef OSS_SEGMENT_H
#define OSS_SEGMENT_H

#include <oss/export.h>
#include <stddef.h>
#include <stdint.h>

/** The version word of OSSIPCMemoryCreateParam. */
#define OSS_IPC_VERSION UINT64_C(0xa050004)

/** Leaves the owner or group as it is, in OSSHIPCMemory::authorize(). */
#define OSS_IPC_KEEP_ID UINT32_C(0xffffffff)

/** A segment's key, 12 bytes at any address. All 96 bits count. */
typedef struct __attribute__((packed)) OSSIPCResID {
  uint64_t high; /**< compared first */
  uint32_t low;  /**< compared second */
} OSSIPCResID;

/** The wanted properties of a segment. */
typedef struct OSSIPCMemoryCreateParam {
  uint64_t version;       /**< OSS_IPC_VERSION */
  OSSIPCResID key;        /**< what others find it by */
  uint32_t reserved;      /**< ignored */
  uint64_t size;          /**< in bytes, 1 to 2^46 */
  void *requestedAddress; /**< place to map it if free; null: anywhere. A hint: getAddress() returns the place. */
  uint64_t accessMode;    /**< the permission bits of the object, at most 0777 (octal); the umask does not count */
  uint64_t reserved2;     /**< ignored */
} OSSIPCMemoryCreateParam;

/** The present properties of a segment. */
typedef struct OSSIPCMemoryInfo {
  uint64_t size;     /**< bytes that can be used: what is mapped here, or less if the object has been shortened since */
  uint32_t mode;     /**< permission bits */
  uint32_t owner;    /**< user id */
  uint32_t group;    /**< group id */
  uint32_t reserved; /**< 0 */
} OSSIPCMemoryInfo;

#ifdef __cplusplus

static_assert(sizeof(OSSIPCResID) == 12, "the key is 12 bytes");
static_assert(sizeof(OSSIPCMemoryCreateParam) == 56, "the layout of the parameters is fixed");

/** One segment in this process. */
class OSSHIPCMemory {
 public:
  OSS_API OSSHIPCMemory() noexcept;
  /** Frees what the object keeps for itself. What is mapped stays mapped. */
  OSS_API ~OSSHIPCMemory();
  OSSHIPCMemory(const OSSHIPCMemory &) = delete;
  OSSHIPCMemory &operator=(const OSSHIPCMemory &) = delete;

  /** @{ */
  /** Objects made with `new` come from the C library's allocator. If there is no memory, `new` returns null: no
   * exception. */
  OSS_API static void *operator new(size_t size) noexcept;
  OSS_API static void operator delete(void *object) noexcept;
  /** @} */

  /** Creates a segment of zeroes and attaches it. Others can attach only once all of it is there.
   *
   * Returns 0. Otherwise nothing is left behind, and the object can be used again:
   * - SNTR_RC_OSS_BAD_ARGUMENT: `parameters` is null; wrong version; size or mode out of range
   * - SNTR_RC_OSS_ALREADY_ATTACHED: the object is attached
   * - SNTR_RC_OSS_EXISTS: something has the name of this key, be it a segment or not
   * - SNTR_RC_OSS_NO_SPACE: the filesystem, or a limit of the process, leaves no room for it
   * - SNTR_RC_OSS_NO_MEMORY: no private memory, or no address space, is left
   * - SNTR_RC_OSS_NO_PERMISSION: segments may not be created by this user
   * - SNTR_RC_OSS_SYSTEM: a system call failed for another reason */
  OSS_API uint32_t create(const OSSIPCMemoryCreateParam *parameters) noexcept;

  /** Attaches a segment that exists, for reading and writing, whole.
   * - `key`: what it was created with
   * - `requestedAddress`: as in the parameters of create()
   *
   * Returns 0. Otherwise the object is as it was:
   * - SNTR_RC_OSS_BAD_ARGUMENT: `key` is null
   * - SNTR_RC_OSS_ALREADY_ATTACHED: the object is attached
   * - SNTR_RC_OSS_NOT_FOUND: no segment has this key
   * - SNTR_RC_OSS_NOT_A_SEGMENT: the name leads to a link, or to something that is no regular file; or the file is
   *   empty, as a segment is while it is being created, or larger than any segment
   * - SNTR_RC_OSS_NO_PERMISSION: this user may not both read and write it
   * - SNTR_RC_OSS_NO_MEMORY: no private memory, or no address space, is left
   * - SNTR_RC_OSS_SYSTEM: a system call failed for another reason */
  OSS_API uint32_t attach(const OSSIPCResID *key, void *requestedAddress) noexcept;

  /** Returns whether create() or attach() succeeded, and neither detach() nor destroy() came after. */
  OSS_API bool isAttached() const noexcept;

  /** Returns the address of the segment in this process.
   *
   * Returns 0. Otherwise `address` is unchanged:
   * - SNTR_RC_OSS_BAD_ARGUMENT: `address` is null
   * - SNTR_RC_OSS_NOT_ATTACHED: the object is not attached */
  OSS_API uint32_t getAddress(void **address) const noexcept;

  /** Returns the segment's present properties. Once its name is gone, mode and owners are those last seen.
   *
   * Returns 0. Otherwise `info` is unchanged:
   * - SNTR_RC_OSS_BAD_ARGUMENT: `info` is null
   * - SNTR_RC_OSS_NOT_ATTACHED: the object is not attached */
  OSS_API uint32_t getInfo(OSSIPCMemoryInfo *info) noexcept;

  /** Sets the users that may attach the segment from now on. Processes that are attached stay so.
   * - `owner`, `group`: user and group id, or OSS_IPC_KEEP_ID
   * - `mode`: permission bits, at most 0777 (octal)
   *
   * Returns 0, or:
   * - SNTR_RC_OSS_BAD_ARGUMENT: mode out of range
   * - SNTR_RC_OSS_NOT_ATTACHED: the object is not attached
   * - SNTR_RC_OSS_NOT_FOUND: the segment has lost its name, so nobody can attach it any more
   * - SNTR_RC_OSS_REPLACED: the name leads to another segment, which was left alone
   * - SNTR_RC_OSS_NO_PERMISSION: this user may not; nothing was changed
   * - SNTR_RC_OSS_SYSTEM: a system call failed; owner and group may have been set */
  OSS_API uint32_t authorize(uint32_t owner, uint32_t group, uint32_t mode) noexcept;

  /** Unmaps the memory in this process; the segment stays. Whatever the result but "not attached", the object is
   * detached and can be used again.
   *
   * Returns 0, or:
   * - SNTR_RC_OSS_NOT_ATTACHED: the object is not attached
   * - SNTR_RC_OSS_SYSTEM: the memory could not be unmapped */
  OSS_API uint32_t detach() noexcept;

  /** Removes the segment's name and stays attached: nobody can attach it any more, and attached processes stay so. A
   * name that leads to another segment by now is left alone.
   *
   * Returns 0, also if the name was gone already. Otherwise nothing is changed:
   * - SNTR_RC_OSS_NOT_ATTACHED: the object is not attached
   * - SNTR_RC_OSS_REPLACED: the name leads to another segment
   * - SNTR_RC_OSS_NO_PERMISSION: this user may not remove the name
   * - SNTR_RC_OSS_SYSTEM: a system call failed for another reason */
  OSS_API uint32_t removeName() noexcept;

  /** Detaches, and removes the segment's name: nobody can attach it any more, and the memory is free when the last
   * process has detached. A name that leads to another segment by now is left alone. Whatever the result but "not
   * attached", the object is detached and can be used again.
   *
   * Returns 0, also if the name was gone already; or:
   * - SNTR_RC_OSS_NOT_ATTACHED: the object is not attached
   * - SNTR_RC_OSS_REPLACED: the name leads to another segment
   * - SNTR_RC_OSS_NO_PERMISSION: this user may not remove the name
   * - SNTR_RC_OSS_SYSTEM: a system call failed for another reason */
  OSS_API uint32_t destroy() noexcept;

 private:
  struct Mapping;

  void *address_;    /**< start of the segment; null while not attached */
  Mapping *mapping_; /**< what else is kept of it; null while not attached */
};

static_assert(sizeof(OSSHIPCMemory) == 16, "the size of the object is fixed");

#endif /* __cplusplus */

#endif
