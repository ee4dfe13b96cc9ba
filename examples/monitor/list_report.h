// What the monitor shows of the kinds beside R. Pure functions; any thread.
#pragma once

#include <string>

#include "lists.h"

// For each kind a group has: its properties by their names, or that they are not published.
void putLists(std::string &text, machine::GroupIndex group, const Lists &lists);

// A member for each kind, with a comma before it: null where there is no such list, else an object with a member for
// each tag: the value, or an object of values by identifier. Registers are numbers, texts are strings.
void addLists(std::string &json, const Lists &lists);
