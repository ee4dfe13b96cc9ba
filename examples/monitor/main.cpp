// SPDX-License-Identifier: MIT
// monitor: shows the values of a publisher (../publisher), as a table that renews itself or as JSON. It maps the
// publisher's segment at another address, and sends it no requests. Ends on SIGINT, SIGTERM or SIGHUP, after its output
// was closed, and after the publisher has ended.
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "../machine/process.h"
#include "attachment.h"
#include "report.h"

namespace {

using Clock = machine::StopSignals::Clock;
using std::chrono::milliseconds;

constexpr char kUsage[] =
    "usage: monitor [options]\n"
    "Shows the values that the program publisher keeps in shared memory.\n"
    "  --key N        number of the publisher's segment (default 1)\n"
    "  --interval MS  milliseconds between two looks (default 500)\n"
    "  --seconds N    end after so long (default: on a terminal never, otherwise 3); without a terminal only the last\n"
    "                 table is printed\n"
    "  --once         end after two looks\n"
    "  --json         print a JSON object, one line, at each look that has another before it\n"
    "  --wait N       wait for the publisher for N seconds (default 5)\n"
    "  --parent PID   end when this process, which must be the parent, ends\n"
    "  --help         this text\n"
    "Ends with 0; 1 after a failure, 2 for wrong options, 3 when the publisher has ended.\n";

constexpr std::uint64_t kForever = 0;
constexpr std::uint64_t kLongest = 1000000000;
constexpr milliseconds kPatience(50);  // between two attempts to find the publisher, or its next sample
constexpr char kClear[] = "\033[H\033[2J";

struct Options {
  std::uint64_t key = machine::kDefaultKey;
  std::uint64_t interval = 500;
  std::uint64_t seconds = isatty(STDOUT_FILENO) ? kForever : 3;
  std::uint64_t wait = 5;
  std::uint64_t parent = 0;
  bool live = isatty(STDOUT_FILENO) != 0;
  bool once = false;
  bool json = false;
  bool help = false;
};

bool parse(int count, char **arguments, Options &options) {
  for (int i = 1; i < count; ++i) {
    const char *value = i + 1 < count ? arguments[i + 1] : nullptr;
    const auto is = [&](const char *name) { return std::strcmp(arguments[i], name) == 0; };
    const auto number = [&](const char *name, std::uint64_t least, std::uint64_t most, std::uint64_t &result) {
      return is(name) && machine::parseNumber(value, least, most, result);
    };
    if (is("--once") || is("--json") || is("--help")) {
      (is("--once") ? options.once : is("--json") ? options.json : options.help) = true;
    } else if (number("--key", 0, UINT64_MAX, options.key) || number("--interval", 10, 3600000, options.interval) ||
               number("--seconds", 1, kLongest, options.seconds) || number("--wait", 0, kLongest, options.wait) ||
               number("--parent", 1, 0x400000, options.parent)) {
      ++i;
    } else {
      return false;
    }
  }
  return true;
}

// The next step of the program, or the reason for its end.
enum class Step { GoOn, Stop, Fail, PublisherGone };

Step stepOf(Answer answer) {
  if (answer == Answer::Good) return Step::GoOn;
  return answer == Answer::Failed ? Step::Fail : Step::PublisherGone;
}

class Monitor {
 public:
  Monitor(const Options &options, const machine::StopSignals &signals)
      : options_(options), signals_(signals), attachment_(options.key) {}

  // Runs to the end; returns the exit status.
  int run() {
    Step step = find();
    if (step == Step::GoOn) step = firstLook();
    const Clock::time_point end = Clock::now() + std::chrono::seconds(options_.seconds);
    while (step == Step::GoOn) {
      step = signals_.waitUntil(Clock::now() + milliseconds(options_.interval)) ? Step::Stop : lookAgain();
      const bool over = options_.once || (options_.seconds != kForever && Clock::now() >= end);
      if (step == Step::GoOn && over) step = Step::Stop;
    }
    return finish(step);
  }

 private:
  // Waits until the publisher's nodes are ready.
  Step find() {
    const Clock::time_point end = Clock::now() + std::chrono::seconds(options_.wait);
    while (true) {
      const bool last = Clock::now() >= end;
      const Answer answer = attachment_.attach(last);
      if (answer == Answer::Good) return Step::GoOn;
      if (answer == Answer::Failed || last) return stepOf(answer);
      if (signals_.waitUntil(Clock::now() + kPatience)) return Step::Stop;
    }
  }

  Step look(Moment &moment) {
    moment.samples.assign(attachment_.nodes().size(), Sample{});
    moment.states.assign(attachment_.nodes().size(), Liveness::Live);
    if (const Step step = stepOf(attachment_.check()); step != Step::GoOn) return step;
    for (std::size_t n = 0; n < moment.samples.size(); ++n) {
      Answer answer = attachment_.look(n, moment.states[n]);
      if (answer == Answer::Good) answer = attachment_.read(attachment_.nodes()[n], moment.samples[n]);
      if (answer != Answer::Good) return stepOf(answer);
    }
    return Step::GoOn;
  }

  // Waits for a first sample of every node, whose values are zeroes until then.
  Step firstLook() {
    while (true) {
      if (const Step step = look(now_); step != Step::GoOn) return step;
      bool ready = true;
      if (isGone(now_)) return Step::GoOn;  // no further values will come
      for (const Sample &sample : now_.samples) ready = ready && sample.count.number != 0;
      if (ready) return Step::GoOn;
      if (signals_.waitUntil(Clock::now() + kPatience)) return Step::Stop;
    }
  }

  Step lookAgain() {
    Moment next;
    const Step step = look(next);
    if (step == Step::PublisherGone) {
      // Shows the last values beside the end of their nodes.
      next = now_;
      next.states.assign(next.states.size(), Liveness::Gone);
    } else if (step != Step::GoOn) {
      return step;
    }
    before_ = std::move(now_);
    now_ = std::move(next);
    const Step shown = show();
    return shown == Step::GoOn && isGone(now_) ? Step::PublisherGone : shown;
  }

  Step show() {
    if (options_.json) return print(asJson(attachment_, before_, now_) + "\n");
    table_ = asTable(attachment_, before_, now_);
    return options_.live && !options_.once ? print(kClear + table_) : Step::GoOn;
  }

  static bool isGone(const Moment &moment) {
    for (const Liveness state : moment.states) {
      if (state != Liveness::Gone) return false;
    }
    return true;
  }

  // A closed output is a reason to stop, not a failure.
  Step print(const std::string &text) {
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    if (written) return Step::GoOn;
    if (errno == EPIPE) return Step::Stop;
    std::fprintf(stderr, "monitor: cannot write: %s\n", std::strerror(errno));
    return Step::Fail;
  }

  int finish(Step step) {
    if (!table_.empty() && (!options_.live || options_.once) && print(table_) == Step::Fail) step = Step::Fail;
    if (step == Step::PublisherGone) std::fputs("monitor: the publisher has ended\n", stderr);
    if (step == Step::Fail) return machine::kExitFailure;
    return step == Step::PublisherGone ? machine::kExitPublisherGone : 0;
  }

  const Options &options_;
  const machine::StopSignals &signals_;
  Attachment attachment_;
  Moment before_;
  Moment now_;
  std::string table_;  // the last one
};

}  // namespace

int main(int count, char **arguments) {
  Options options;
  if (!parse(count, arguments, options)) {
    std::fputs(kUsage, stderr);
    return machine::kExitUsage;
  }
  if (options.help) return std::fputs(kUsage, stdout) < 0 ? machine::kExitFailure : 0;

  const machine::StopSignals signals;
  if (options.parent != 0 && !machine::StopSignals::endWithParent(options.parent)) return machine::kExitFailure;
  return Monitor(options, signals).run();
}
