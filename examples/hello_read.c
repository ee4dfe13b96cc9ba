/* read */
/* Prints the number that hello_publish.c keeps in shared memory. */
#include <sntr/sntr.h>
#include <stdio.h>

enum { TEMPERATURE = 7 };

int main(void) {
  const OSSIPCResID key = {.high = 0x68656c6c6f, .low = 1};
  ShmDomainHandle *domain = NULL;
  ShmHeapInfo info = {0};
  uint64_t size = 0, offset = 0;
  int32_t value = 0;

  uint32_t rc = sntrConnectToShmDomain(&key, NULL, NULL, &domain);
  if (!rc) rc = sntrGetShmDomainInfo(domain, &info);
  if (!rc && info.userAppAreaSize != sizeof offset) rc = SNTR_RC_BAD_USER_AREA_SIZE;
  if (!rc) rc = sntrGetDomainUserAppData(domain, &size, &offset);
  /* The offset comes from memory that others can write, and is 0 until the node is ready. */
  const uint64_t end = offset <= info.totalSize ? offset + sizeof(SNodeCB_t) : UINT64_MAX;
  if (!rc && (offset == 0 || offset % 8 != 0 || end > domain->mappedSize)) rc = SNTR_RC_NULL_NODE;
  SNodeCB_t *node = rc ? NULL : (SNodeCB_t *)((char *)domain->baseAddress + offset);
  if (!rc) rc = sntrGetValueForRProperty(node, TEMPERATURE, &value, 0);
  if (!rc) printf("temperature: %d\n", value);

  if (rc) {
    char text[160];
    sntrPrintrc(rc, text, sizeof text);
    fprintf(stderr, "%s\n", text);
  }
  if (domain != NULL) sntrDisconnectFromShmDomain(&domain);
  return rc != 0;
}
