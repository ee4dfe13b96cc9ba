/* A program as a user would write it, in C11 and, the same text, in C++17: a domain on memory of its own, a pool in it, a
 * node in the pool, a property published and read back through a second connection. Ends with 0, or with the number of
 * the step that went wrong. No casts, since the two languages agree on none.
 */
#include <oss/oss.h>
#include <sntr/sntr.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kDomainSize = 1 << 20, kPoolSize = 1 << 18, kTag = 7, kFirstValue = -40, kSecondValue = 1234 };

static uint64_t memory[kDomainSize / 8];
static int step = 0;

/* Ends the program, naming the step and the result, when a call answered anything but what was expected. */
static void expect(const char *what, uint32_t wanted, uint32_t rc) {
  char text[160] = "";
  ++step;
  if (rc == wanted) return;
  sntrPrintrc(rc, text, sizeof text);
  fprintf(stderr, "step %d, %s: 0x%x instead of 0x%x: %s\n", step, what, rc, wanted, text);
  exit(step);
}

static void ok(const char *what, uint32_t rc) { expect(what, SNTR_RC_OK, rc); }

static ShmDomainParams domainParams(void) {
  ShmDomainParams params;
  memset(&params, 0, sizeof params);
  params.reservedSelector = params.handleAllocSelector = params.latchSelector = SNTR_VERSION;
  params.domainKind = SNTR_DOMAIN_MEMORY;
  return params;
}

static uint64_t addressOf(const ShmPoolHandle *pool) {
  uint64_t address = 0;
  memcpy(&address, &pool->baseAddress, sizeof address);
  return address;
}

/* Creates an active node with one R property in the pool; gives its position from the pool's base. */
static uint64_t publish(ShmDomainHandle *domain, ShmPoolHandle *pool) {
  const uint64_t tags[] = {kTag};
  const int32_t values[] = {kFirstValue};
  uint64_t sizes[SNTR_AREA_COUNT], size = 0, offset = 0;
  ShmSegInfo_t where;
  SNodeCB_t *node = NULL;

  memset(&where, 0, sizeof where);
  where.recordVersion = where.version = where.latchVersion = SNTR_VERSION;
  where.domain = domain;
  where.pool = pool;
  memset(sizes, 0, sizeof sizes);
  sizes[SNTR_AREA_R] = 1024;
  ok("create node", sntrCreateNode(&where, &node, SNTR_KIND_R, sizes, &size, &offset));
  ok("initialize", sntrInitNode(&node, addressOf(pool), 0, NULL, NULL, NULL, 0, NULL, NULL, NULL));
  ok("activate", sntrActivateNode(&node));
  ok("create list", sntrCreateRPropertyList(node, tags, values, 1, 4, SNTR_LAYOUT_ARRAY, 0));
  ok("set", sntrSetValueForRProperty(node, kTag, kSecondValue, 0));
  return offset;
}

/* Reads the property as another process would: from its own connection and the node's offset alone. */
static int32_t readBack(uint64_t poolOffset, uint64_t nodeOffset) {
  const ShmDomainParams params = domainParams();
  ShmDomainHandle *domain = NULL;
  ShmPoolHandle *pool = NULL;
  SNodeCB_t *node = NULL;
  uint64_t address = 0;
  int32_t value = 0;

  ok("connect to domain", sntrConnectToShmDomain(NULL, memory, &params, &domain));
  ok("connect to pool", sntrConnectToShmPool(&pool, domain, poolOffset, &step));
  address = addressOf(pool) + nodeOffset;
  memcpy(&node, &address, sizeof node);
  ok("get", sntrGetValueForRProperty(node, kTag, &value, 0));
  expect("get what is not there", SNTR_RC_R_NOT_FOUND, sntrGetValueForRProperty(node, kTag + 1, &value, 0));
  ok("disconnect from pool", sntrDisconnectFromShmPool(&pool));
  ok("disconnect from domain", sntrDisconnectFromShmDomain(&domain));
  return value;
}

int main(void) {
  const ShmDomainParams params = domainParams();
  ShmDomainHandle *domain = NULL;
  ShmPoolHandle *pool = NULL;
  int32_t value = 0;

  ok("create domain", sntrCreateShmDomain(NULL, memory, kDomainSize, &params, &domain));
  ok("create pool", _sntrCreateShmPool(&pool, domain, kPoolSize, NULL, 0, __FILE__, __LINE__));
  value = readBack(pool->poolHeaderOffset, publish(domain, pool));
  ok("free pool", _sntrFreeShmPool(&pool, SNTR_FREE_POOL_ALWAYS, 0, __FILE__, __LINE__));
  ok("free domain", sntrFreeShmDomain(&domain, SNTR_FREE_DOMAIN_ALWAYS));

  printf("thread %u published %d, read %d\n", ossThreadID(), kSecondValue, value);
  return value == kSecondValue ? EXIT_SUCCESS : EXIT_FAILURE;
}
