/* SPDX-License-Identifier: MIT */
/** @file
 * Marks the names that the services layer exports. Every other name in it is local.
 */
#ifndef OSS_EXPORT_H
#define OSS_EXPORT_H

/** Exports a function or a variable of the services layer. */
#define OSS_API __attribute__((visibility("default")))

#endif
