// The log; the contract is in oss/log.h. Any thread: sink and context are used and changed under the log lock alone,
// which is held while the sink runs, so that a sink that was replaced has come back.
#include <oss/log.h>
#include <syslog.h>

#include <atomic>

#include "layout/rc.h"
#include "process_lock.h"
#include "text_line.h"

namespace oss {

namespace {

struct Sink {
  std::atomic<OSSLogSink> function;
  void *context;
};

// Atomic for one reader, which the lock does not keep out: the child of a fork() made while another thread sets a sink.
// It must find the function null, or the context that belongs to it.
constinit Sink gSink{nullptr, nullptr};

constexpr std::uint32_t kCritical = LOG_CRIT;
constexpr std::uint32_t kLeastSevere = LOG_DEBUG;
static_assert(LOG_EMERG == 0 && LOG_ERR == 3 && LOG_DEBUG == 7, "the interface's severities are syslog's");

struct Event {
  std::uint32_t function;
  std::uint32_t code;
  std::uint32_t probe;
  std::uint32_t severity;
};

void deliver(const Event &event, const TextLine &line) {
  Locked hold(gLogLock);
  if (const OSSLogSink sink = gSink.function.load(std::memory_order_acquire); sink != nullptr) {
    sink(gSink.context, event.function, event.code, event.probe, event.severity, line.text());
  } else {
    syslog(LOG_USER | static_cast<int>(event.severity), "%s", line.text());
  }
}

const char *shown(const char *text) { return text != nullptr ? text : "unknown"; }

}  // namespace

}  // namespace oss

void ossLog(uint32_t function, uint32_t code, uint32_t probe, uint32_t severity) {
  oss::TextLine line;
  if (function != 0) {
    line.addFunction(function);
    line.add(": ");
  }
  line.addValue(code);
  line.add(" at probe %u", probe);
  const sntr::RcRow *row = sntr::findResultCode(code);
  if (row != nullptr) line.add(": %s", row->text);
  oss::deliver({function, code, probe, severity < oss::kLeastSevere ? severity : oss::kLeastSevere}, line);
}

void ossLogSetSink(OSSLogSink sink, void *context) {
  oss::Locked hold(oss::gLogLock);
  oss::gSink.function.exchange(nullptr, std::memory_order_acquire);  // the context is not set before this
  oss::gSink.context = context;
  oss::gSink.function.store(sink, std::memory_order_release);
}

void ossAssertFailed(const char *expression, const char *file, uint32_t line) {
  oss::TextLine text;
  text.add("%s line %u: this must hold and does not: %s", oss::shown(file), line, oss::shown(expression));
  oss::deliver({0, 0, line, oss::kCritical}, text);
}
