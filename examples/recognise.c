// SPDX-License-Identifier: Apache-2.0
/*
 * recognise HOST PORT CODE_FILE FILE.wav: from a WAV file to what a recognition server says of it, in plain C.
 *
 *   cc -std=c11 recognise.c $(pkg-config --cflags --libs kvx) -o recognise
 *
 * CODE_FILE holds the 80 digits of an access code (tarn-server account add); give it to nobody else (chmod 600).
 * FILE.wav has 16-bit PCM after a header of 44 bytes, 1 or 2 channels, 11025 Hz or more, and 7 seconds or more.
 * Exit status: 0 with a match or without one, 1 with the reason on standard error.
 */
#define _POSIX_C_SOURCE 200809L
#include "kvx.h"

#include <netdb.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

enum { kHeaderBytes = 44, kCodeDigits = 80, kBlockBytes = 4096, kMaxAnswerBytes = 1 << 20 };

/* Names this device to the server. A program of your own keeps one name for each device: the server gives names, too
 * (KVXGenerateIDRequest). Without any, the answer cannot be read. */
static const char kDeviceId[] = "recognise.c";

static int failed(const char* what, const char* which) {
    fprintf(stderr, "recognise: %s: %s\n", which, what);
    return -1;
}

static uint32_t number(const uint8_t* bytes, int count) {
    uint32_t value = 0;
    while (count-- > 0) value = value << 8 | bytes[count];
    return value;
}

/* Reads the file's header, opens a session and feeds it until it has enough audio. */
static int fingerprint(KVXHandle* handle, FILE* file, const char* path) {
    uint8_t header[kHeaderBytes];
    if (fread(header, 1, sizeof header, file) != sizeof header || memcmp(header, "RIFF", 4) != 0 ||
        memcmp(header + 8, "WAVEfmt ", 8) != 0 || number(header + 20, 2) != 1 || number(header + 34, 2) != 16 ||
        memcmp(header + 36, "data", 4) != 0)
        return failed("not a WAV file with 16-bit PCM after a header of 44 bytes", path);
    const uint32_t channels = number(header + 22, 2);
    const uint32_t rateHz = number(header + 24, 4);
    const uint64_t bytesPerSecond = (uint64_t)channels * rateHz * 2;
    const uint64_t durationMs = bytesPerSecond == 0 ? 0 : number(header + 40, 4) * UINT64_C(1000) / bytesPerSecond;
    if (durationMs > INT32_MAX || rateHz > INT32_MAX) return failed("the header makes no sense", path);

    /* A long track is not coded from its start: the library says where to begin. */
    const int32_t startMs = KVXNewFingerprint3(handle, (int32_t)channels, (int32_t)rateHz, (int32_t)durationMs);
    if (startMs == -2) return failed("too short; 7 seconds are enough", path);
    if (startMs < 0) return failed("1 or 2 channels and 11025 Hz or more are needed", path);
    const uint64_t startFrame = (uint64_t)startMs * rateHz / 1000;
    if (fseek(file, (long)(kHeaderBytes + startFrame * channels * 2), SEEK_SET) != 0)
        return failed("cannot seek", path);

    for (;;) {
        uint8_t block[kBlockBytes] = {0}; /* the last one ends in silence: a block is a multiple of 4 bytes */
        const size_t count = fread(block, 1, sizeof block, file);
        if (count == 0) return failed("it ends before the length in its header", path);
        const int32_t status = KVXGenerateFingerprint3(handle, block, sizeof block);
        if (status != KVX_MORE_AUDIO_WANTED) return status == 0 ? 0 : failed("no fingerprint: out of memory", path);
    }
}

static int connectTo(const char* host, const char* port) {
    const struct addrinfo hints = {.ai_family = AF_UNSPEC, .ai_socktype = SOCK_STREAM};
    struct addrinfo* addresses = NULL;
    int connection = -1;
    if (getaddrinfo(host, port, &hints, &addresses) != 0) return failed("the name cannot be resolved", host);
    for (const struct addrinfo* each = addresses; each != NULL && connection < 0; each = each->ai_next) {
        connection = socket(each->ai_family, each->ai_socktype, each->ai_protocol);
        if (connection >= 0 && connect(connection, each->ai_addr, each->ai_addrlen) != 0) {
            close(connection);
            connection = -1;
        }
    }
    freeaddrinfo(addresses);
    return connection >= 0 ? connection : failed("nobody answers at this port", host);
}

static int sendAll(int connection, const void* bytes, size_t count) {
    const char* next = bytes;
    while (count > 0) {
        const ssize_t sent = send(connection, next, count, MSG_NOSIGNAL);
        if (sent <= 0) return -1;
        next += sent;
        count -= (size_t)sent;
    }
    return 0;
}

/* Posts the packet as the part "data" of a form, and reads to the end of the connection. HTTP/1.0, so that the answer
 * is in one piece. Returns the number of bytes read, -1 for a failure. */
static long post(const char* host, const char* port, const uint8_t* packet, uint32_t length, uint8_t* answer) {
    static const char kBefore[] = "--KVX\r\nContent-Disposition: form-data; name=\"data\"\r\n"
                                  "Content-Type: application/octet-stream\r\n\r\n";
    static const char kAfter[] = "\r\n--KVX--\r\n";
    char head[512];
    const int headLength = snprintf(head, sizeof head,
                                    "POST /sdkrequest HTTP/1.0\r\nHost: %.200s:%.5s\r\n"
                                    "Content-Type: multipart/form-data; boundary=KVX\r\nContent-Length: %zu\r\n\r\n",
                                    host, port, sizeof kBefore - 1 + length + sizeof kAfter - 1);
    const int connection = connectTo(host, port);
    if (connection < 0) return -1;
    long received = 0;
    if (sendAll(connection, head, (size_t)headLength) != 0 || sendAll(connection, kBefore, sizeof kBefore - 1) != 0 ||
        sendAll(connection, packet, length) != 0 || sendAll(connection, kAfter, sizeof kAfter - 1) != 0) {
        received = failed("the request cannot be sent", host);
    }
    while (received >= 0) {
        const ssize_t count = recv(connection, answer + received, (size_t)(kMaxAnswerBytes - received), 0);
        if (count == 0) break;
        received = count > 0 ? received + count : failed("the answer cannot be read", host);
    }
    if (received == kMaxAnswerBytes) received = failed("the answer is too long", host);
    close(connection);
    return received;
}

static const char* textOf(const KVXValueLength* text) { return text == NULL ? "?" : text->data; }

/* The server sends the track of each match, best first, and then their albums in the same order. */
static void printMatches(KVXHandle* handle, int32_t count) {
    for (int32_t i = 1; i <= count; ++i) {
        Track* track = NULL;
        Album* album = NULL;
        switch (KVXGetResponseType(handle, i)) {
        case 'T':
            if (KVXGetTrack(handle, i, &track) != 0) break;
            printf("track: %s, by %s\n", textOf(track->title),
                   textOf(track->artistCount == 0 ? NULL : track->artists[0].property));
            KVXFreeTrack(&track);
            break;
        case 'A':
            if (KVXGetAlbum(handle, i, &album) != 0) break;
            printf("album: %s, confidence %d\n", textOf(album->title), album->confidence);
            KVXFreeAlbum(&album);
            break;
        case 'N':
            printf("not found\n");
            break;
        default:
            break;
        }
    }
}

static int recognise(KVXHandle* handle, const char* host, const char* port, const char* path) {
    static uint8_t answer[kMaxAnswerBytes];
    FILE* file = fopen(path, "rb");
    if (file == NULL) return failed("cannot be opened", path);
    int status = fingerprint(handle, file, path);
    fclose(file);
    if (status != 0) return status;

    const KVXFingerprintDescriptor descriptor = {0};
    const uint16_t matches = 10;
    const int32_t english = 'e' << 8 | 'n';
    uint8_t* packet = NULL;
    uint32_t length = 0;
    if (KVXGenerateFingerprintRequest3(handle, NULL, 0, &descriptor, matches, english, &packet, &length) != 0)
        return failed("no request: out of memory", path);
    const long received = post(host, port, packet, length, answer);
    KVXFreeFingerprintRequest3(&packet);
    if (received < 0) return -1;

    const uint32_t body = KVXFindHTTPData(answer, 0, (uint32_t)received);
    int httpStatus = 0;
    if (body > (uint32_t)received || sscanf((const char*)answer, "HTTP/1.%*1[01] %3d", &httpStatus) != 1)
        return failed("the answer is not HTTP", host);
    if (httpStatus != 200) {
        fprintf(stderr, "recognise: %s: HTTP status %d; 403 is an account that the server does not know\n", host,
                httpStatus);
        return -1;
    }
    int32_t count = 0;
    if (KVXParseServerResponse(handle, answer + body, (int32_t)((uint32_t)received - body), &count) != 0)
        return failed("the answer is damaged", host);
    printMatches(handle, count);
    return 0;
}

int main(int argc, char** argv) {
    if (argc != 5) {
        fprintf(stderr, "usage: recognise HOST PORT CODE_FILE FILE.wav\n");
        return 1;
    }
    char code[kCodeDigits + 1] = "";
    FILE* file = fopen(argv[3], "r");
    const size_t digits = file == NULL ? 0 : fread(code, 1, kCodeDigits, file);
    if (file != NULL) fclose(file);
    if (digits != kCodeDigits) {
        failed("no access code of 80 digits can be read from it", argv[3]);
        return 1;
    }

    KVXHandle* handle = NULL;
    const int16_t idLength = (int16_t)strlen(kDeviceId);
    int status = KVXInit(&handle, code, (const uint8_t*)kDeviceId, idLength, NULL, 0, 'B', 'B', 'S', NULL, 0);
    if (status != 0) {
        failed("the access code is wrong", argv[3]);
    } else {
        status = recognise(handle, argv[1], argv[2], argv[4]);
    }
    KVXShutdown(&handle);
    return status == 0 ? 0 : 1;
}
