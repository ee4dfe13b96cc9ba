/* SPDX-License-Identifier: MIT */
/** @file
 * Status nodes in shared memory: includes the whole interface of the library.
 *
 * A publisher creates a domain, a pool in it and nodes in the pool. It lays out property lists and sets values. A
 * reader maps the same memory at an address of its own and gets them.
 */
#ifndef SNTR_SNTR_H
#define SNTR_SNTR_H

#include <sntr/domains.h>
#include <sntr/enumeration.h>
#include <sntr/export.h>
#include <sntr/frame.h>
#include <sntr/heap.h>
#include <sntr/identifiers.h>
#include <sntr/latches.h>
#include <sntr/nodes.h>
#include <sntr/pools.h>
#include <sntr/properties.h>
#include <sntr/property_lists.h>
#include <sntr/property_tables.h>
#include <sntr/result_codes.h>
#include <sntr/segments.h>
#include <sntr/status.h>
#include <sntr/types.h>
#include <sntr/values.h>

#endif
