// SPDX-License-Identifier: MIT
// The trace file and its lines; the contract is in oss/trace.h.
//
// Invariants:
// 1. The number of the trace's descriptor is set once and never closed, so no other file ever gets it. Switching files
//    is one step of the kernel: a line goes whole to the old file or to the new one.
// 2. While the trace is off, the number leads to something that cannot be written.
//
// Thread safety: any thread, at any moment; there is no lock.
#include <fcntl.h>
#include <oss/identity.h>
#include <oss/trace.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "layout/rc.h"
#include "system_calls.h"
#include "system_error.h"
#include "text_line.h"
#include "trace_lines.h"

namespace oss {

namespace {

using sntr::Rc;

constexpr int kNoFile = -1;
constexpr mode_t kFileMode = 0644;

// Relaxed at every use: only the number is read, and the kernel orders the rest.
constinit std::atomic<int> gFile{kNoFile};

constinit OSSTraceControlBlock gControl{};

// Returns true for a regular file or a character device: see the contract.
bool isTraceable(int file) {
  struct stat status;
  return fstat(file, &status) == 0 && (S_ISREG(status.st_mode) || S_ISCHR(status.st_mode));
}

Rc rcOfRefusedFile(int error) {
  if (error == EACCES || error == EPERM || error == EROFS) return Rc::OssNoPermission;
  return error == EISDIR || error == ENXIO ? Rc::OssBadArgument : Rc::OssSystem;
}

// Opens without blocking, so that a pipe can be refused, and writing to a stopped terminal returns.
Rc openFile(const char *path, int &file) {
  if (path == nullptr || *path == '\0') return Rc::OssBadArgument;
  file = openUncancelled(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, kFileMode);
  if (file < 0) return systemFailure(rcOfRefusedFile(errno), errno);
  if (isTraceable(file)) return Rc::Ok;
  closeUncancelled(file);
  return Rc::OssBadArgument;
}

// Makes an open file the trace's; takes over the descriptor.
Rc switchTo(int file) {
  int number = kNoFile;
  if (gFile.compare_exchange_strong(number, file, std::memory_order_relaxed)) return Rc::Ok;
  const Rc rc = dup3(file, number, O_CLOEXEC) >= 0 ? Rc::Ok : systemFailure(Rc::OssSystem, errno);
  closeUncancelled(file);
  return rc;
}

// Relaxed: pairs with the load in ossTraceIsOn(), which reads nothing else.
void setEnabled(std::uint32_t enabled) { __atomic_store_n(&gControl.enabled, enabled, __ATOMIC_RELAXED); }

void begin(TextLine &line, std::uint32_t thread) {
  line.time(ossTimeGetUTC());
  line.text(" ").decimal(static_cast<std::uint32_t>(getpid())).text("/").decimal(thread).text(" ");
}

// Writes the line. A line that cannot be written is lost: there is no one to report it to.
void end(TextLine &line) {
  line.text("\n");
  static_cast<void>(writeUncancelled(gFile.load(std::memory_order_relaxed), line.get(), line.length()));
}

}  // namespace

void traceRefusedMemory(std::uint64_t size, const char *sourceTag, std::uint32_t line) noexcept {
  if (ossTraceIsOn() == 0) return;
  TextLine text;
  begin(text, ossThreadID());
  text.text("memory: ").text(sourceTag != nullptr ? sourceTag : "unknown").text(" line ").decimal(line);
  text.text(" was refused ").decimal(size).text(" bytes");
  end(text);
}

void traceRefusedSegment(const char *attempt, const char *path, Rc rc, int error, const char *detail) noexcept {
  if (ossTraceIsOn() == 0) return;
  TextLine text;
  begin(text, ossThreadID());
  text.text("segment: ").text(attempt).text(" ").text(path).text(": ");
  text.value(sntr::code(rc));
  if (const sntr::RcRow *row = sntr::findResultCode(sntr::code(rc)); row != nullptr) text.text(", ").text(row->text);
  if (const char *name = error != 0 ? strerrorname_np(error) : nullptr; name != nullptr) text.text(", ").text(name);
  if (detail != nullptr) text.text(", ").text(detail);
  end(text);
}

}  // namespace oss

OSSTraceControlBlock *g_pGTCB = &oss::gControl;

void _gtraceEntry(uint32_t thread, uint32_t function, uint64_t first, uint64_t second) {
  if (ossTraceIsOn() == 0) return;
  oss::TextLine line;
  oss::begin(line, thread);
  line.function(function).text(" entry ").decimal(first).text(" ").decimal(second);
  oss::end(line);
}

void _gtraceErrorVar(uint32_t thread, uint32_t function, uint32_t probe, uint32_t value) {
  if (ossTraceIsOn() == 0) return;
  oss::TextLine line;
  oss::begin(line, thread);
  line.function(function).text(" error at probe ").decimal(probe).text(": ");
  line.value(value);
  oss::end(line);
}

void _gtraceExit(uint32_t thread, uint32_t function, const uint32_t *result, uint64_t last) {
  if (ossTraceIsOn() == 0) return;
  oss::TextLine line;
  oss::begin(line, thread);
  line.function(function).text(" exit");
  if (result != nullptr) {
    line.text(" ");
    line.value(*result);
  }
  if (last != 0) line.text(" ").decimal(last);
  oss::end(line);
}

uint32_t ossTraceOn(const char *path) {
  return sntr::code(oss::keepingSystemError([path] {
    int file = oss::kNoFile;
    if (const sntr::Rc rc = oss::openFile(path, file); sntr::failed(rc)) return rc;
    const sntr::Rc rc = oss::switchTo(file);
    if (!sntr::failed(rc)) oss::setEnabled(1);
    return rc;
  }));
}

uint32_t ossTraceOff(void) {
  oss::setEnabled(0);
  if (oss::gFile.load(std::memory_order_relaxed) == oss::kNoFile) return sntr::code(sntr::Rc::Ok);
  // A descriptor that cannot be written replaces the file. If none can be opened, the file stays open, without effect.
  const int nowhere = oss::openUncancelled("/", O_PATH | O_CLOEXEC);
  if (nowhere >= 0) static_cast<void>(oss::switchTo(nowhere));
  return sntr::code(sntr::Rc::Ok);
}
