/* publish */
/* Keeps one number in shared memory, where hello_read.c finds it, until Enter is pressed. */
#include <sntr/sntr.h>
#include <stdio.h>

enum { TEMPERATURE = 7 }; /* a tag of our own choice, which readers use too */

int main(void) {
  const OSSIPCResID key = {0x68656c6c6f, 1}; /* readers use it too */
  const uint64_t tags[] = {TEMPERATURE};
  const int32_t values[] = {21};
  uint64_t areas[SNTR_AREA_COUNT] = {0}, size = 0, offset = 0;
  static ShmDomainParams params; /* begins as zeroes, which stand for defaults */
  static ShmSegInfo_t where;
  SNodeCB_t *node = NULL;
  char text[160];

  areas[SNTR_AREA_R] = 1024;
  params.userAppAreaSize = sizeof offset;
  where.version = where.latchVersion = SNTR_VERSION;
  uint32_t rc = sntrCreateShmDomain(&key, NULL, 1 << 20, &params, &where.domain);
  if (!rc && where.domain == NULL) rc = SNTR_RC_OSS_NO_SPACE; /* or no permission: /dev/shm refused it */
  if (!rc) rc = _sntrCreateShmPool(&where.pool, where.domain, 1 << 18, NULL, 0, __FILE__, __LINE__);
  if (!rc) rc = sntrCreateNode(&where, &node, SNTR_KIND_R, areas, &size, &offset);
  if (!rc) rc = sntrInitNode(&node, (uintptr_t)where.pool->baseAddress, 0, NULL, NULL, NULL, 0, NULL, NULL, NULL);
  if (!rc) rc = sntrActivateNode(&node);
  if (!rc) rc = sntrCreateRPropertyList(node, tags, values, 1, 1, SNTR_LAYOUT_ARRAY, 0);
  if (!rc) rc = sntrSetDomainUserAppData(where.domain, sizeof offset, &offset); /* now readers can find it */
  if (!rc) rc = sntrSetValueForRProperty(node, TEMPERATURE, 22, 0);             /* as often as you like */
  sntrPrintrc(rc, text, sizeof text);
  fprintf(rc ? stderr : stdout, "%s\n", rc ? text : "published; press Enter to end");
  if (!rc) getchar();

  if (where.pool != NULL) sntrDisconnectFromShmPool(&where.pool);
  if (where.domain != NULL) sntrFreeShmDomain(&where.domain, SNTR_FREE_DOMAIN_ALWAYS);
  return rc != 0;
}
