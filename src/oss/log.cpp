// SPDX-License-Identifier: MIT
// The log; the contract is in oss/log.h.
//
// A sink and its context are one record, which never changes and is never freed: a thread may still use it after
// another has replaced it. Equal sinks share a record, so setting the same ones repeatedly needs no more memory.
//
// Thread safety: any thread, at any moment; there is no lock.
#include <oss/log.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

#include "layout/rc.h"
#include "system_calls.h"
#include "system_error.h"
#include "text_line.h"

namespace oss {

namespace {

using sntr::Rc;

struct Sink {
  OSSLogSink function;
  void *context;
  const Sink *next;  // the previous one, in the list of all
};

constinit std::atomic<const Sink *> gSinks{nullptr};
constinit std::atomic<const Sink *> gSink{nullptr};  // null: the system's log

constexpr std::uint32_t kCritical = LOG_CRIT;
constexpr std::uint32_t kLeastSevere = LOG_DEBUG;
static_assert(LOG_EMERG == 0 && LOG_ERR == 3 && LOG_DEBUG == 7, "the interface's severities are syslog's");

struct Event {
  std::uint32_t function;
  std::uint32_t code;
  std::uint32_t probe;
  std::uint32_t severity;
};

// Acquire: pairs with the release in newSink().
const Sink *findSink(OSSLogSink function, void *context) {
  const Sink *sink = gSinks.load(std::memory_order_acquire);
  while (sink != nullptr && (sink->function != function || sink->context != context)) sink = sink->next;
  return sink;
}

// Adds a record. Two threads may add equal ones, which is harmless. Release: pairs with the acquire in findSink().
const Sink *newSink(OSSLogSink function, void *context) {
  void *const memory = std::malloc(sizeof(Sink));
  if (memory == nullptr) return nullptr;
  auto *const sink = new (memory) Sink{function, context, gSinks.load(std::memory_order_relaxed)};
  while (!gSinks.compare_exchange_weak(sink->next, sink, std::memory_order_release, std::memory_order_relaxed)) {
  }
  return sink;
}

// Sends one datagram to the system's log, without a time, which the receiver adds. A datagram that cannot be sent at
// once is lost. Each line opens a socket, because a kept one would not survive a restart of the receiver.
void sendToSystem(std::uint32_t severity, const char *line) {
  constexpr sockaddr_un kReceiver = {AF_UNIX, "/dev/log"};
  BoundedText<TextLine::kSize + 64> message;
  message.text("<").decimal(LOG_USER | severity).text(">").text(program_invocation_short_name);
  message.text("[").decimal(static_cast<std::uint32_t>(getpid())).text("]: ").text(line);
  const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (socket < 0) return;
  static_cast<void>(sendUncancelled(socket, message.get(), message.length(),
                                    reinterpret_cast<const sockaddr *>(&kReceiver), sizeof kReceiver));
  closeUncancelled(socket);
}

void deliver(const Event &event, const TextLine &line) {
  // Acquire: pairs with the release in ossLogSetSink().
  if (const Sink *sink = gSink.load(std::memory_order_acquire); sink != nullptr) {
    sink->function(sink->context, event.function, event.code, event.probe, event.severity, line.get());
  } else {
    sendToSystem(event.severity, line.get());
  }
}

const char *shown(const char *text) { return text != nullptr ? text : "unknown"; }

}  // namespace

}  // namespace oss

void ossLog(uint32_t function, uint32_t code, uint32_t probe, uint32_t severity) {
  oss::TextLine line;
  if (function != 0) line.function(function).text(": ");
  line.value(code).text(" at probe ").decimal(probe);
  const sntr::RcRow *row = sntr::findResultCode(code);
  if (row != nullptr) line.text(": ").text(row->text);
  oss::deliver({function, code, probe, severity < oss::kLeastSevere ? severity : oss::kLeastSevere}, line);
}

uint32_t ossLogSetSink(OSSLogSink sink, void *context) {
  const oss::Sink *record = nullptr;
  if (sink != nullptr) {
    record = oss::findSink(sink, context);
    if (record == nullptr) record = oss::newSink(sink, context);
    if (record == nullptr) return sntr::code(oss::systemFailure(oss::Rc::OssNoMemory, ENOMEM));
  }
  // Release: pairs with the acquire in deliver().
  oss::gSink.store(record, std::memory_order_release);
  return sntr::code(oss::Rc::Ok);
}

void ossAssertFailed(const char *expression, const char *file, uint32_t line) {
  oss::TextLine text;
  text.text(oss::shown(file)).text(" line ").decimal(line);
  text.text(": this must hold and does not: ").text(oss::shown(expression));
  oss::deliver({0, 0, line, oss::kCritical}, text);
}
