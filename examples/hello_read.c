/* read */
/* Prints the number that hello_publish.c keeps in shared memory. */
#include <sntr/sntr.h>
#include <stdio.h>

enum { TEMPERATURE = 7 };

int main(void) {
  const OSSIPCResID key = {0x68656c6c6f, 1};
  ShmDomainHandle *domain = NULL;
  SNodeCB_t *node = NULL;
  static ShmHeapInfo info;
  uint64_t size = 0, offset = 0;
  int32_t value = 0;
  char text[160];

  uint32_t rc = sntrConnectToShmDomain(&key, NULL, NULL, &domain);
  if (!rc) rc = sntrGetShmDomainInfo(domain, &info);
  if (!rc && info.userAppAreaSize != sizeof offset) rc = SNTR_RC_BAD_USER_AREA_SIZE;
  if (!rc) rc = sntrGetDomainUserAppData(domain, &size, &offset);
  /* The offset comes from memory that others can write, and is 0 until the node is ready. */
  if (!rc && (offset == 0 || offset % 8 != 0 || offset > domain->mappedSize)) rc = SNTR_RC_NULL_NODE;
  if (!rc && domain->mappedSize - offset < sizeof *node) rc = SNTR_RC_NULL_NODE;
  if (!rc) node = (SNodeCB_t *)((char *)domain->baseAddress + offset);
  if (!rc) rc = sntrGetNodeSize(node, &size, 0);
  if (!rc && size > domain->mappedSize - offset) rc = SNTR_RC_BAD_NODE_SIZE;
  if (!rc) rc = sntrGetValueForRProperty(node, TEMPERATURE, &value, 0);
  sntrPrintrc(rc, text, sizeof text);
  if (rc) fprintf(stderr, "%s\n", text);
  if (!rc) printf("temperature: %d\n", value);

  if (domain != NULL) sntrDisconnectFromShmDomain(&domain);
  return rc != 0;
}
