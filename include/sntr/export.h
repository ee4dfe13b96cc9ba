/* SPDX-License-Identifier: MIT */
/** @file
 * Marks the names that the library exports. Every other name in it is local.
 */
#ifndef SNTR_EXPORT_H
#define SNTR_EXPORT_H

/** Exports a function or a variable of the library. */
#define SNTR_API __attribute__((visibility("default")))

#endif
