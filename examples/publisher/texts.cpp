// SPDX-License-Identifier: MIT
// The texts of sources.h, and the named values.
#include <poll.h>
#include <sys/utsname.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>

#include "sources.h"

namespace {

using std::string_view;
using std::uint64_t;

[[gnu::format(printf, 2, 3)]] void write(Text &text, const char *format, ...) {
  char whole[sizeof text.bytes + 1];  // with a NUL, which is not published
  va_list arguments;
  va_start(arguments, format);
  const int result = std::vsnprintf(whole, sizeof whole, format, arguments);
  va_end(arguments);
  const auto length = static_cast<std::size_t>(std::max(result, 0));
  text.size = std::min(length, sizeof text.bytes);
  text.rc = length == 0 ? machine::kNotAvailable : text.size < length ? machine::kTooLarge : machine::kAvailable;
  std::memcpy(text.bytes, whole, text.size);
}

// Copies a text into an array that ends with a NUL; returns false if it was cut.
template <std::size_t kSize>
bool copyCut(string_view text, char (&room)[kSize]) {
  const std::size_t size = std::min(text.size(), kSize - 1);
  std::memcpy(room, text.data(), size);
  return size == text.size();
}

// "device place type options 0 0".
NamedValue mountOf(string_view line) {
  machine::Mount mount = {};
  const string_view device = text::takeWord(line);
  const string_view place = text::takeWord(line);
  const string_view type = text::takeWord(line);
  const string_view options = text::takeWord(line);
  const bool wholeDevice = copyCut(device, mount.device);
  const bool wholeType = copyCut(type, mount.type);
  mount.readOnly = options == "ro" || options.starts_with("ro,") ? 1 : 0;
  return {std::string(place), std::string(reinterpret_cast<const char *>(&mount), sizeof mount),
          wholeDevice && wholeType ? machine::kAvailable : machine::kTooLarge};
}

}  // namespace

void Sources::readTexts(const Readings &system, SystemTexts &texts) {
  texts = {};
  string_view line = uptime_.read();
  uint64_t seconds = 0;
  if (text::takeNumber(line, seconds)) {
    texts.uptime = {static_cast<std::int32_t>(static_cast<std::uint32_t>(seconds)), machine::kAvailable};
  }
  utsname names = {};
  if (uname(&names) != 0) return;
  write(texts.names[machine::kHostName - 1], "%s", names.nodename);
  write(texts.names[machine::kKernel - 1], "%s %s %s", names.sysname, names.release, names.version);
  const Reading &load = system.values[machine::kLoad1];
  const Reading &available = system.values[machine::kMemAvailable];
  const Reading &total = system.values[machine::kMemTotal];
  if ((load.rc | available.rc | total.rc | texts.uptime.rc) != machine::kAvailable) return;
  write(texts.summary, "%s: load %d.%02d, %d of %d MiB available, up %llu s", names.nodename, load.value / 100,
        load.value % 100, available.value / 1024, total.value / 1024, static_cast<unsigned long long>(seconds));
}

std::vector<NamedValue> Sources::cpuInfo() {
  std::vector<NamedValue> found;
  ProcFile file("/proc/cpuinfo");
  string_view lines = file.read();
  while (!lines.empty()) {
    string_view value = text::take(lines, '\n');
    if (value.empty()) break;  // the next processor
    string_view name = text::take(value, ':');
    name = name.substr(0, name.find_last_not_of(" \t") + 1);
    text::skipBlanks(value);
    const bool wanted = name == "vendor_id" || name == "model name" || name == "cache size" || name == "CPU part";
    if (!wanted || value.empty()) continue;
    const string_view cut = value.substr(0, machine::kNamedValueSize);
    found.push_back(
        {std::string(name), std::string(cut), cut.size() == value.size() ? machine::kAvailable : machine::kTooLarge});
  }
  return found;
}

std::vector<NamedValue> Sources::mounts() {
  std::map<std::string, NamedValue> seen;
  string_view lines = mounts_.read();
  while (!lines.empty()) {
    NamedValue mount = mountOf(text::take(lines, '\n'));
    if (!mount.id.empty()) seen[mount.id] = mount;  // a later one hides an earlier one
  }
  std::vector<NamedValue> found;
  for (auto &[place, mount] : seen) found.push_back(std::move(mount));
  return found;
}

// The system reports a change once to each process with the file open.
bool Sources::mountsHaveChanged() const {
  pollfd file = {mounts_.descriptor(), POLLPRI, 0};
  return poll(&file, 1, 0) > 0 && (file.revents & POLLPRI) != 0;
}
