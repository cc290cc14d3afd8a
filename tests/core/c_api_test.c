// SPDX-License-Identifier: Apache-2.0
/* A plain C program against the public header: fingerprint, request, answer. */
#include "kvx.h"

#include <stdio.h>
#include <string.h>

#define EXPECT(condition)                                                                                              \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);                                            \
            return 1;                                                                                                  \
        }                                                                                                              \
    } while (0)

static const char kAccessCode[] = "01000000"
                                  "0300"
                                  "0300"
                                  "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f";

static int32_t feedNoise(KVXHandle* handle) {
    uint32_t noise = 1;
    int32_t status = KVX_MORE_AUDIO_WANTED;
    while (status == KVX_MORE_AUDIO_WANTED) {
        int16_t block[512];
        for (size_t i = 0; i < 512; ++i) {
            noise = noise * 1664525u + 1013904223u;
            block[i] = (int16_t)((int32_t)(noise >> 16) - 32768);
        }
        status = KVXGenerateFingerprint3(handle, (const uint8_t*)block, (int32_t)sizeof block);
    }
    return status;
}

int main(void) {
    static const uint8_t kDevice[] = "00:11:22:33:44:55";
    KVXHandle* handle = NULL;
    EXPECT(KVXInit(&handle, kAccessCode, kDevice, 17, NULL, 0, 'B', 'B', 'S', NULL, 0) == 0);
    EXPECT(KVXNewFingerprint3(handle, 1, 22050, 7000) == 0);
    EXPECT(feedNoise(handle) == 0);

    KVXFingerprintDescriptor descriptor;
    memset(&descriptor, 0, sizeof descriptor);
    descriptor.text1 = "noise.wav";
    uint8_t* request = NULL;
    uint32_t length = 0;
    EXPECT(KVXGenerateFingerprintRequest3(handle, NULL, 0, &descriptor, 10, 0x656e, &request, &length) == 0);
    EXPECT(length > m_KVXBinHeaderLength && memcmp(request, "BIN ", 4) == 0);
    EXPECT(KVXFreeFingerprintRequest3(&request) == 0 && request == NULL);

    /* One track, written by the library itself, comes back out of an answer. */
    char title[] = "A title";
    KVXValueLength text = {title, 7};
    Track track;
    memset(&track, 0, sizeof track);
    track.title = &text;
    uint32_t size = 0;
    uint8_t answer[256];
    EXPECT(KVXGetTrackBlobSize(&track, &size) == 0 && size + 5 <= sizeof answer);
    answer[0] = 'T';
    memcpy(answer + 1, &size, 4);
    KVXBlob blob = {answer + 5, 0, 0};
    EXPECT(KVXGetTrackBlob(&track, &blob) == 0 && blob.length == size);
    int32_t count = 0;
    EXPECT(KVXParseServerResponse(handle, answer, (int32_t)size + 5, &count) == 0 && count == 1);
    Track* found = NULL;
    EXPECT(KVXGetTrack(handle, 1, &found) == 0 && strcmp(found->title->data, "A title") == 0);
    EXPECT(KVXFreeTrack(&found) == 0 && found == NULL);

    EXPECT(KVXShutdown(&handle) == 0 && handle == NULL);
    return 0;
}
