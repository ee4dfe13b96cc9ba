// SPDX-License-Identifier: MIT
// See list_report.h.
#include "list_report.h"

#include <cstring>

#include "text.h"

namespace {

using machine::Kind;

constexpr std::size_t kLineWidth = 118;
constexpr std::size_t kIndent = 22;  // of the values in the table

bool hasRegister(const Kind &kind) { return kind.bit == SNTR_KIND_IR || kind.bit == SNTR_KIND_BASE_R; }
bool hasID(const Kind &kind) { return kind.bit == SNTR_KIND_IR || kind.bit == SNTR_KIND_IV; }
bool isMount(const Kind &kind, const Entry &entry) { return kind.bit == SNTR_KIND_IV && entry.tag == machine::kMount; }

std::string nameOf(const Kind &kind, std::uint64_t tag) {
  if (tag >= 1 && tag <= kind.tags.size()) return kind.tags[tag - 1];
  return "tag " + std::to_string(tag);
}

// Returns true if there is a value, of the agreed size.
bool isAvailable(const Kind &kind, const Entry &entry) {
  if (isMount(kind, entry) && entry.bytes.size() != sizeof(machine::Mount)) return false;
  return entry.rc == machine::kAvailable || (entry.rc == machine::kTooLarge && !hasRegister(kind));
}

// Returns the number of a register; all of these are counters.
std::uint32_t numberOf(const Entry &entry) { return static_cast<std::uint32_t>(entry.number); }

// Marks a text that was cut.
std::string textOf(const Entry &entry) {
  return printable(entry.bytes) + (entry.rc == machine::kTooLarge ? "..." : "");
}

struct MountTexts {
  std::string device;
  std::string type;
  bool readOnly;
};

MountTexts mountOf(const Entry &entry) {
  machine::Mount mount;
  std::memcpy(&mount, entry.bytes.data(), sizeof mount);
  const auto text = [&](const char *room, std::size_t size) { return printable({room, strnlen(room, size)}); };
  return {text(mount.device, sizeof mount.device), text(mount.type, sizeof mount.type), mount.readOnly != 0};
}

std::string shown(const Kind &kind, const Entry &entry) {
  std::string value = "-";
  if (isAvailable(kind, entry) && hasRegister(kind)) {
    value = std::to_string(numberOf(entry));
  } else if (isAvailable(kind, entry) && isMount(kind, entry)) {
    const MountTexts mount = mountOf(entry);
    value = mount.type + " of " + mount.device + (mount.readOnly ? " (ro)" : "");
  } else if (isAvailable(kind, entry)) {
    value = textOf(entry);
  }
  return hasID(kind) ? printable(entry.id) + ": " + value : value;
}

// Prints the entries from `first` on with its tag, in as many lines as needed; returns the first of another tag.
std::size_t putTag(std::string &text, const Kind &kind, const std::vector<Entry> &entries, std::size_t first) {
  const std::uint64_t tag = entries[first].tag;
  put(text, "  %-6s %-12s ", kind.name, nameOf(kind, tag).c_str());
  std::size_t column = kIndent;
  std::size_t i = first;
  for (; i < entries.size() && entries[i].tag == tag; ++i) {
    const std::string piece = shown(kind, entries[i]);
    const bool fits = column + 2 + piece.size() <= kLineWidth;
    if (i != first) text += fits ? "; " : ";\n" + std::string(kIndent, ' ');
    column = i != first && !fits ? kIndent + piece.size() : column + 2 + piece.size();
    text += piece;
  }
  text += '\n';
  return i;
}

void addValue(std::string &json, const Kind &kind, const Entry &entry) {
  if (!isAvailable(kind, entry)) {
    json += "null";
  } else if (hasRegister(kind)) {
    json += std::to_string(numberOf(entry));
  } else if (isMount(kind, entry)) {
    const MountTexts mount = mountOf(entry);
    JsonMembers members(json);
    members.addName("device");
    JsonMembers::addString(json, mount.device);
    members.addName("type");
    JsonMembers::addString(json, mount.type);
    members.addName("read_only");
    json += mount.readOnly ? "true" : "false";
    members.end();
  } else {
    JsonMembers::addString(json, textOf(entry));
  }
}

void addList(std::string &json, const Kind &kind, const std::vector<Entry> &entries) {
  JsonMembers tags(json);
  for (std::size_t i = 0; i < entries.size();) {
    const std::uint64_t tag = entries[i].tag;
    tags.addName(nameOf(kind, tag));
    if (!hasID(kind)) {
      addValue(json, kind, entries[i++]);
      continue;
    }
    JsonMembers ids(json);
    for (; i < entries.size() && entries[i].tag == tag; ++i) {
      ids.addName(printable(entries[i].id));
      addValue(json, kind, entries[i]);
    }
    ids.end();
  }
  tags.end();
}

}  // namespace

void putLists(std::string &text, machine::GroupIndex group, const Lists &lists) {
  for (std::size_t k = 0; k < machine::kKindCount; ++k) {
    const Kind &kind = machine::kKinds[k];
    const auto &list = lists.kinds[k];
    const bool expected = (machine::kGroups[group].kinds & kind.bit) != 0;
    if (!list && expected) put(text, "  %-6s not published\n", kind.name);
    if (list && list->empty()) put(text, "  %-6s (none)\n", kind.name);
    for (std::size_t i = 0; list && i < list->size();) i = putTag(text, kind, *list, i);
  }
}

void addLists(std::string &json, const Lists &lists) {
  for (std::size_t k = 0; k < machine::kKindCount; ++k) {
    json += std::string(",\"") + machine::kKinds[k].key + "\":";
    if (lists.kinds[k]) {
      addList(json, machine::kKinds[k], *lists.kinds[k]);
    } else {
      json += "null";
    }
  }
}
