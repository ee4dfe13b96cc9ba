/* SPDX-License-Identifier: MIT */
// The monitor's output for the kinds beside R.
// Thread safety: pure functions; any thread.
#pragma once

#include <string>

#include "lists.h"

// Appends, for each kind of a group, its properties by their names, or that they are not published.
void putLists(std::string &text, machine::GroupIndex group, const Lists &lists);

// Appends a member for each kind, with a comma before it: null if there is no such list, else an object with a member
// for each tag. That is the value, or an object of values by identifier. Registers are numbers, texts are strings.
void addLists(std::string &json, const Lists &lists);
