// The trace file and the lines in it; the contract is in oss/trace.h. Any thread.
//
// The descriptor is used and changed under the trace lock alone: a line written without it could go to a file that
// another thread has opened under the same number meanwhile. The enabled word lies outside the lock, as a hint for
// callers; what decides is the descriptor.
#include <fcntl.h>
#include <oss/identity.h>
#include <oss/trace.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "layout/rc.h"
#include "process_lock.h"
#include "text_line.h"
#include "trace_lines.h"

namespace oss {

namespace {

using sntr::Rc;

constexpr int kNoFile = -1;
constexpr mode_t kFileMode = 0644;

// Guarded by the trace lock. In a forked child it may be the parent's last value or the one before, and both are right
// there: it is replaced before the old file is closed.
constinit int gFile = kNoFile;

constinit OSSTraceControlBlock gControl{};

// A regular file or a character device: see the contract.
bool isTraceable(int file) {
  struct stat status;
  return fstat(file, &status) == 0 && (S_ISREG(status.st_mode) || S_ISCHR(status.st_mode));
}

// Without waiting, so that opening a pipe comes back and can be refused, and writing to a stopped terminal comes back.
Rc openFile(const char *path, int &file) {
  if (path == nullptr || *path == '\0') return Rc::OssBadArgument;
  file = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, kFileMode);
  if (file < 0) {
    if (errno == EACCES || errno == EPERM || errno == EROFS) return Rc::OssNoPermission;
    return errno == EISDIR || errno == ENXIO ? Rc::OssBadArgument : Rc::OssSystem;
  }
  if (isTraceable(file)) return Rc::Ok;
  close(file);
  return Rc::OssBadArgument;
}

void switchTo(int file) {
  Locked hold(gTraceLock);
  const int former = gFile;
  gFile = file;
  // Relaxed: pairs with the load in ossTraceIsOn(), which reads nothing else.
  __atomic_store_n(&gControl.enabled, file == kNoFile ? 0U : 1U, __ATOMIC_RELAXED);
  if (former != kNoFile) close(former);
}

void begin(TextLine &line, std::uint32_t thread) {
  line.addTime(ossTimeGetUTC());
  line.add(" %d/%u ", static_cast<int>(getpid()), thread);
}

void end(TextLine &line) {
  line.add("\n");
  Locked hold(gTraceLock);
  if (gFile == kNoFile) return;
  // A line that cannot be written is lost: there is nobody to tell.
  [[maybe_unused]] const ssize_t written = write(gFile, line.text(), line.length());
}

}  // namespace

void traceRefusedMemory(std::uint64_t size, const char *sourceTag, std::uint32_t line) noexcept {
  if (ossTraceIsOn() == 0) return;
  TextLine text;
  begin(text, ossThreadID());
  text.add("memory: %s line %u was refused %llu bytes", sourceTag != nullptr ? sourceTag : "unknown", line,
           static_cast<unsigned long long>(size));
  end(text);
}

}  // namespace oss

OSSTraceControlBlock *g_pGTCB = &oss::gControl;

void _gtraceEntry(uint32_t thread, uint32_t function, uint64_t first, uint64_t second) {
  if (ossTraceIsOn() == 0) return;
  oss::TextLine line;
  oss::begin(line, thread);
  line.addFunction(function);
  line.add(" entry %llu %llu", static_cast<unsigned long long>(first), static_cast<unsigned long long>(second));
  oss::end(line);
}

void _gtraceErrorVar(uint32_t thread, uint32_t function, uint32_t probe, uint32_t value) {
  if (ossTraceIsOn() == 0) return;
  oss::TextLine line;
  oss::begin(line, thread);
  line.addFunction(function);
  line.add(" error at probe %u: ", probe);
  line.addValue(value);
  oss::end(line);
}

void _gtraceExit(uint32_t thread, uint32_t function, const uint32_t *result, uint64_t last) {
  if (ossTraceIsOn() == 0) return;
  oss::TextLine line;
  oss::begin(line, thread);
  line.addFunction(function);
  line.add(" exit");
  if (result != nullptr) {
    line.add(" ");
    line.addValue(*result);
  }
  if (last != 0) line.add(" %llu", static_cast<unsigned long long>(last));
  oss::end(line);
}

uint32_t ossTraceOn(const char *path) {
  int file = oss::kNoFile;
  const sntr::Rc rc = oss::openFile(path, file);
  if (!sntr::failed(rc)) oss::switchTo(file);
  return sntr::code(rc);
}

uint32_t ossTraceOff(void) {
  oss::switchTo(oss::kNoFile);
  return sntr::code(sntr::Rc::Ok);
}
