// The property lists of the publisher's nodes: how large they are, how they are laid out and filled. One thread.
#pragma once

#include "segment.h"

// Chooses the kinds of a node, among those allowed, and the sizes of its areas. The system's node gets room for `mounts`
// mounts and `cpu` texts about the processor.
void planLists(PublishedNode &node, std::uint64_t allowed, std::size_t cpu, std::size_t mounts);

// Lays the lists of an active node out and looks its records up; false after a message. Nobody else knows the node yet.
bool layOutLists(PublishedNode &node, const std::vector<NamedValue> &cpu, std::size_t mounts);

// Writes a sample. The caller holds the node's write section. Answers the library's code.
std::uint32_t writeSample(PublishedNode &node, const Readings &readings, const SystemTexts &texts,
                          std::uint32_t milliseconds, std::uint32_t count);
