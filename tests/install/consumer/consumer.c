// SPDX-License-Identifier: Apache-2.0
/* A C program outside the tree, against the installed library. */
#include <kvx.h>
#include <stdio.h>

int main(void) {
    uint16_t major, minor, revision;
    KVXGetVersion(&major, &minor, &revision);
    KVXHandle* handle = NULL;
    if (KVXInit(&handle, "0100000002000200", NULL, 0, NULL, 0, 'B', 'B', 'S', NULL, 0) != 0) return 1;
    uint8_t* request = NULL;
    uint32_t length = 0;
    if (KVXGenerateIDRequest(handle, NULL, 0, &request, &length) != 0) return 1;
    printf("kvx " KVX_VERSION ", protocol %d.%d.%d, a request of %u bytes\n", major, minor, revision, (unsigned)length);
    KVXFreeIDRequest(&request);
    return KVXShutdown(&handle);
}
