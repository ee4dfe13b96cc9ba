/* A C11 program as a user would write it: a domain on memory of its own, a pool in it, a node in the pool, a property
 * published and read back through a second connection. Ends with 0, or with the number of the step that went wrong.
 */
#include <sntr/sntr.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

enum { kDomainSize = 1 << 20, kPoolSize = 1 << 18, kTag = 7, kFirstValue = -40, kSecondValue = 1234 };

static int step = 0;

/* Ends the program, naming the step and the result, when a call answered anything but what was expected. */
static void expect(const char *what, uint32_t wanted, uint32_t rc) {
  char text[160] = "";
  ++step;
  if (rc == wanted) return;
  (void)sntrPrintrc(rc, text, sizeof text);
  fprintf(stderr, "step %d, %s: 0x%x instead of 0x%x: %s\n", step, what, rc, wanted, text);
  exit(step);
}

static void ok(const char *what, uint32_t rc) { expect(what, SNTR_RC_OK, rc); }

/* Creates an active node with one R property in the pool; gives its position from the pool's base. */
static uint64_t publish(ShmDomainHandle *domain, ShmPoolHandle *pool) {
  const ShmSegInfo_t where = {.recordVersion = SNTR_VERSION,
                              .version = SNTR_VERSION,
                              .latchVersion = SNTR_VERSION,
                              .domain = domain,
                              .pool = pool};
  uint64_t sizes[SNTR_AREA_COUNT] = {0};
  const uint64_t tags[] = {kTag};
  const int32_t values[] = {kFirstValue};
  SNodeCB_t *node = NULL;
  uint64_t size = 0;
  uint64_t offset = 0;

  sizes[SNTR_AREA_R] = 1024;
  ok("sntrCreateNode", sntrCreateNode(&where, &node, SNTR_KIND_R, sizes, &size, &offset));
  ok("sntrInitNode",
     sntrInitNode(&node, (uint64_t)(uintptr_t)pool->baseAddress, 0, NULL, NULL, NULL, 0, NULL, NULL, NULL));
  ok("sntrActivateNode", sntrActivateNode(&node));
  ok("sntrCreateRPropertyList", sntrCreateRPropertyList(node, tags, values, 1, 4, SNTR_LAYOUT_ARRAY, 0));
  ok("sntrSetValueForRProperty", sntrSetValueForRProperty(node, kTag, kSecondValue, 0));
  return offset;
}

/* Reads the property as another process would: from its own connection and the node's offset alone. */
static int32_t readBack(void *memory, uint64_t poolOffset, uint64_t nodeOffset) {
  ShmDomainParams params = {.reservedSelector = SNTR_VERSION,
                            .handleAllocSelector = SNTR_VERSION,
                            .latchSelector = SNTR_VERSION,
                            .domainKind = SNTR_DOMAIN_MEMORY};
  ShmDomainHandle *domain = NULL;
  ShmPoolHandle *pool = NULL;
  SNodeCB_t *node = NULL;
  int32_t value = 0;

  ok("sntrConnectToShmDomain", sntrConnectToShmDomain(NULL, memory, &params, &domain));
  ok("sntrConnectToShmPool", sntrConnectToShmPool(&pool, domain, poolOffset, &params));
  node = (SNodeCB_t *)((unsigned char *)pool->baseAddress + nodeOffset);
  ok("sntrGetValueForRProperty", sntrGetValueForRProperty(node, kTag, &value, 0));
  expect("a tag that does not exist", SNTR_RC_R_NOT_FOUND, sntrGetValueForRProperty(node, kTag + 1, &value, 0));
  ok("sntrDisconnectFromShmPool", sntrDisconnectFromShmPool(&pool));
  ok("sntrDisconnectFromShmDomain", sntrDisconnectFromShmDomain(&domain));
  return value;
}

int main(void) {
  ShmDomainParams params = {.reservedSelector = SNTR_VERSION,
                            .handleAllocSelector = SNTR_VERSION,
                            .latchSelector = SNTR_VERSION,
                            .domainKind = SNTR_DOMAIN_MEMORY};
  void *memory = malloc(kDomainSize);
  ShmDomainHandle *domain = NULL;
  ShmPoolHandle *pool = NULL;
  uint64_t node = 0;
  int32_t value = 0;

  ok("sntrCreateShmDomain", sntrCreateShmDomain(NULL, memory, kDomainSize, &params, &domain));
  ok("_sntrCreateShmPool", _sntrCreateShmPool(&pool, domain, kPoolSize, NULL, 0, __FILE__, __LINE__));
  node = publish(domain, pool);
  value = readBack(memory, pool->poolHeaderOffset, node);
  ok("_sntrFreeShmPool", _sntrFreeShmPool(&pool, SNTR_FREE_POOL_ALWAYS, 0, __FILE__, __LINE__));
  ok("sntrFreeShmDomain", sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_ALWAYS));
  free(memory);

  printf("published %d, read %d\n", kSecondValue, value);
  return value == kSecondValue ? EXIT_SUCCESS : EXIT_FAILURE;
}
