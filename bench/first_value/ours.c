// SPDX-License-Identifier: MIT
/* Reads one value of a segment: connects, finds the node, gets the value by its tag.
 * Arguments: both words of the key, in hexadecimal, and the tag. */
#include <sntr/sntr.h>
#include <stdlib.h>

#include "time.h"

int main(int argc, char **argv) {
  const int64_t start = nanoseconds();
  if (argc != 4) return 2;
  const OSSIPCResID key = {.high = strtoull(argv[1], NULL, 16), .low = (uint32_t)strtoul(argv[2], NULL, 16)};
  const uint64_t tag = strtoull(argv[3], NULL, 10);
  ShmDomainHandle *domain = NULL;
  uint64_t place[2] = {0, 0}, size = 0;
  int32_t value = 0;

  uint32_t rc = sntrConnectToShmDomain(&key, NULL, NULL, &domain);
  if (!rc) rc = sntrGetDomainUserAppData(domain, &size, place);
  if (!rc && place[0] >= domain->mappedSize) rc = SNTR_RC_NOT_A_DOMAIN;
  if (!rc) {
    SNodeCB_t *node = (SNodeCB_t *)(void *)((unsigned char *)domain->baseAddress + place[0]);
    rc = sntrGetValueForRProperty(node, tag, &value, 0);
  }
  const int64_t taken = nanoseconds() - start;

  if (domain != NULL) sntrDisconnectFromShmDomain(&domain);
  return rc != 0 || tell(taken, value);
}
