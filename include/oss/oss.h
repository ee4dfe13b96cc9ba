/* The whole interface of the operating-system services layer.
 *
 * Every call answers 0 or a result code (sntr/result_codes.h names them, ecfErrorGetDescription() renders them), unless
 * its header says otherwise. Fault injection (oss/fault.h) is left out: only the build for tests has it.
 */
#ifndef OSS_OSS_H
#define OSS_OSS_H

#include <oss/atomic.h>
#include <oss/identity.h>
#include <oss/latch.h>
#include <oss/log.h>
#include <oss/memory.h>
#include <oss/segment.h>
#include <oss/trace.h>

#endif
