// SPDX-License-Identifier: MIT
// See report.h.
#include "report.h"

#include <unistd.h>

#include <optional>

#include "list_report.h"
#include "text.h"

namespace {

using machine::Shape;

double asNumber(Shape shape, std::int32_t number) {
  if (shape == Shape::Counter) return static_cast<std::uint32_t>(number);
  return shape == Shape::Hundredths ? number / 100.0 : number;
}

// Returns the growth of a counter, even across 2^32.
double growth(const Value &before, const Value &now) {
  return static_cast<std::uint32_t>(now.number) - static_cast<std::uint32_t>(before.number);
}

// One node at two moments. Rates are per second of the publisher's clock, by the times of sampling, not of reading.
class Change {
 public:
  Change(const WatchedNode &node, const Sample &before, const Sample &now) : node_(node), before_(before), now_(now) {}

  using Number = std::optional<double>;

  const Value &at(std::size_t instance, std::size_t field) const { return now_.values[index(instance, field)]; }

  Number growthOf(std::size_t instance, std::size_t field) const {
    const Value &before = before_.values[index(instance, field)];
    const Value &now = at(instance, field);
    if (before.rc != machine::kAvailable || now.rc != machine::kAvailable) return {};
    return growth(before, now);
  }

  Number perSecond(std::size_t instance, std::size_t field) const {
    const Number grown = growthOf(instance, field);
    const double milliseconds = growth(before_.time, now_.time);
    return grown && milliseconds > 0 ? Number(*grown * 1000 / milliseconds) : Number();
  }

  // Returns the share of a core's time that a field has.
  Number percent(std::size_t core, std::size_t field) const {
    double total = 0;
    for (std::size_t f = 0; f < fields().size(); ++f) {
      const Number part = growthOf(core, f);
      if (!part) return {};
      total += *part;
    }
    return total > 0 ? Number(*growthOf(core, field) * 100 / total) : Number();
  }

  std::span<const machine::Field> fields() const { return machine::kGroups[node_.group].fields; }
  const WatchedNode &node() const { return node_; }
  const Sample &now() const { return now_; }

 private:
  std::size_t index(std::size_t instance, std::size_t field) const { return instance * fields().size() + field; }

  const WatchedNode &node_;
  const Sample &before_;
  const Sample &now_;
};

std::string asText(const Change::Number &number, int decimals) {
  std::string text;
  if (!number) return "-";
  put(text, "%.*f", decimals, *number);
  return text;
}

std::string nameOf(const Change &change, std::size_t instance, std::size_t field) {
  const std::string &label = change.node().instances[instance];
  return (label.empty() ? "" : label + ".") + change.fields()[field].name;
}

void addProperties(std::string &text, const Change &change) {
  JsonMembers members(text);
  members.add("sample_time_ms", asNumber(Shape::Counter, change.now().time.number));
  members.add("samples", asNumber(Shape::Counter, change.now().count.number));
  members.add("omitted", asNumber(Shape::Counter, change.now().omitted.number));
  for (std::size_t i = 0; i < change.node().instances.size(); ++i) {
    for (std::size_t f = 0; f < change.fields().size(); ++f) {
      const Value &value = change.at(i, f);
      const bool available = value.rc == machine::kAvailable;
      members.add(nameOf(change, i, f),
                  available ? Change::Number(asNumber(change.fields()[f].shape, value.number)) : Change::Number());
    }
  }
  members.end();
}

void addRates(std::string &text, const Change &change) {
  JsonMembers members(text);
  for (std::size_t i = 0; i < change.node().instances.size(); ++i) {
    if (change.node().group == machine::kCpuGroup) {
      const Change::Number idle = change.percent(i, machine::kIdle);
      const Change::Number waiting = change.percent(i, machine::kIoWait);
      members.add(change.node().instances[i] + ".busy_percent",
                  idle && waiting ? Change::Number(100 - *idle - *waiting) : Change::Number());
      continue;
    }
    for (std::size_t f = 0; f < change.fields().size(); ++f) {
      if (change.fields()[f].shape != Shape::Counter || change.node().group == machine::kSystemGroup) continue;
      members.add(nameOf(change, i, f) + "_per_s", change.perSecond(i, f));
    }
  }
  members.end();
}

void putSystem(std::string &text, const Change &change) {
  const auto level = [&](std::size_t field) {
    const Value &value = change.at(0, field);
    return value.rc == machine::kAvailable ? Change::Number(asNumber(change.fields()[field].shape, value.number))
                                           : Change::Number();
  };
  const auto mebibytes = [&](std::size_t field) {
    const Change::Number kib = level(field);
    return asText(kib ? Change::Number(*kib / 1024) : kib, 0);
  };
  if (change.node().instances.empty()) return;
  for (std::size_t f = machine::kLoad1; f <= machine::kLoad15; ++f) {
    put(text, "%s%s", f == machine::kLoad1 ? "  load     " : "  ", asText(level(f), 2).c_str());
  }
  put(text, "   %s running of %s threads\n", asText(level(machine::kRunning), 0).c_str(),
      asText(level(machine::kThreads), 0).c_str());
  put(text, "  memory   %s MiB, %s available, %s free, %s buffers, %s cached; swap %s MiB, %s free\n",
      mebibytes(machine::kMemTotal).c_str(), mebibytes(machine::kMemAvailable).c_str(),
      mebibytes(machine::kMemFree).c_str(), mebibytes(machine::kBuffers).c_str(), mebibytes(machine::kCached).c_str(),
      mebibytes(machine::kSwapTotal).c_str(), mebibytes(machine::kSwapFree).c_str());
}

// Prints a group whose instances are lines: a heading, and for each instance one number per field.
void putLines(std::string &text, const Change &change) {
  const bool cpu = change.node().group == machine::kCpuGroup;
  put(text, "\n  %-15s", change.node().name.c_str());
  for (const machine::Field &field : change.fields()) {
    const std::string name = field.name;
    put(text, " %19s", cpu ? (name.substr(0, name.find('_')) + " %").c_str() : (name + "/s").c_str());
  }
  text += '\n';
  for (std::size_t i = 0; i < change.node().instances.size(); ++i) {
    put(text, "  %-15s", change.node().instances[i].c_str());
    for (std::size_t f = 0; f < change.fields().size(); ++f) {
      const std::string number = asText(cpu ? change.percent(i, f) : change.perSecond(i, f), 1);
      put(text, " %19s", number.c_str());
    }
    text += '\n';
  }
  if (change.node().instances.empty()) text += "  (none)\n";
}

const char *nameOf(Liveness liveness) {
  return liveness == Liveness::Live ? "live" : liveness == Liveness::Late ? "late" : "gone";
}

unsigned long long wide(std::uint64_t number) { return number; }
unsigned long long ownPid() { return static_cast<unsigned long long>(getpid()); }

}  // namespace

std::string asTable(const Attachment &attachment, const Moment &before, const Moment &now) {
  std::string text;
  put(text, "publisher: process %llu, segment at 0x%llx\n", wide(attachment.publisher().pid),
      wide(attachment.publisherBase()));
  put(text, "monitor:   process %llu, segment at 0x%llx\nnodes:    ", ownPid(), wide(attachment.base()));
  for (std::size_t n = 0; n < attachment.nodes().size(); ++n) {
    put(text, " %s %s", attachment.nodes()[n].name.c_str(), nameOf(now.states[n]));
  }
  text += "\n\n";
  for (std::size_t n = 0; n < attachment.nodes().size(); ++n) {
    const Change change(attachment.nodes()[n], before.samples[n], now.samples[n]);
    if (change.node().group == machine::kSystemGroup) {
      put(text, "  sample   %u\n", static_cast<std::uint32_t>(now.samples[n].count.number));
      putSystem(text, change);
    } else {
      putLines(text, change);
    }
    putLists(text, change.node().group, now.samples[n].lists);
    if (const auto omitted = static_cast<std::uint32_t>(now.samples[n].omitted.number); omitted != 0) {
      const bool mounts = change.node().group == machine::kSystemGroup;
      put(text, "  and %u %s that the publisher leaves out\n", omitted, mounts ? "mounts" : "more");
    }
  }
  return text;
}

std::string asJson(const Attachment &attachment, const Moment &before, const Moment &now) {
  std::string text;
  put(text, "{\"publisher\":{\"pid\":%llu,\"base\":\"0x%llx\"},", wide(attachment.publisher().pid),
      wide(attachment.publisherBase()));
  put(text, "\"monitor\":{\"pid\":%llu,\"base\":\"0x%llx\"},\"nodes\":[", ownPid(), wide(attachment.base()));
  for (std::size_t n = 0; n < attachment.nodes().size(); ++n) {
    const Change change(attachment.nodes()[n], before.samples[n], now.samples[n]);
    text += n == 0 ? "{\"name\":" : ",{\"name\":";
    JsonMembers::addString(text, change.node().name);
    put(text, ",\"tag\":%llu,\"state\":\"%s\",\"properties\":", wide(change.node().tag), nameOf(now.states[n]));
    addProperties(text, change);
    text += ",\"rates\":";
    addRates(text, change);
    addLists(text, now.samples[n].lists);
    text += '}';
  }
  return text + "]}";
}
