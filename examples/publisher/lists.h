/* SPDX-License-Identifier: MIT */
// The property lists of the publisher's nodes: their sizes, layout and contents.
// Thread safety: one thread.
#pragma once

#include "segment.h"

// Chooses the kinds of a node, among those allowed, and the sizes of its areas. The system's node gets room for
// `mounts` mounts and `cpu` texts about the processor.
void planLists(PublishedNode &node, std::uint64_t allowed, std::size_t cpu, std::size_t mounts);

// Lays out the lists of an active node, still unpublished, and finds its records; returns false after a message.
bool layOutLists(PublishedNode &node, const std::vector<NamedValue> &cpu, std::size_t mounts);

// Writes a sample. The caller holds the node's write section. Returns the library's code.
std::uint32_t writeSample(PublishedNode &node, const Readings &readings, const SystemTexts &texts,
                          std::uint32_t milliseconds, std::uint32_t count);
