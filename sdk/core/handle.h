// SPDX-License-Identifier: Apache-2.0
// What a library handle holds. One zero-filled block: KVXInit makes it, KVXShutdown ends it.
#pragma once

#include "kvx.h"

#include <array>
#include <cstdint>

struct FeatureMap; // fingerprint/engine/feature_map.h

namespace kvx {

enum HandleState : uint8_t {
    kUnusable = 0,
    kNoDeviceId = 1,
    kIdentified = 2, // with a device id, or an id that the server assigned
};

constexpr int32_t kFramingHttp = 'H';
constexpr int32_t kFramingBare = 'B';

constexpr size_t kMapCount = 3;

// Linear interpolation at a 16.16 fixed-point read position that is never reset between calls.
struct ResamplerState {
    uint32_t inputCount;   // input samples consumed since initialisation
    uint32_t position;     // read position in input samples, integer part
    uint32_t fraction;     // its fractional part, 16 bits
    uint32_t stepWhole;    // input rate / output rate, integer part
    uint32_t stepFraction; // its fractional part, 16 bits
    int16_t lastSample;    // the input sample consumed last
};

// Mono samples at 22050 Hz that a session has for its feature maps. They wait until every map can take a whole group of
// frames from here, so that each is written once for the three of them and read where it lies.
struct WaitingSamples {
    static constexpr int32_t kRoom = 2048; // as many can always be added
    int32_t count;
    int32_t taken[kMapCount]; // by each map, of those here; at the start what the map skips
    int16_t samples[16 * 512 + 256 + kRoom];
};

struct BlowfishState {
    uint32_t p[18];
    uint32_t s[4][256];
};
static_assert(sizeof(BlowfishState) == 4168);

struct Md4Context {
    uint32_t state[4];
    uint32_t bitCount[2]; // low word first
    uint8_t buffer[64];
};
static_assert(sizeof(Md4Context) == 88);

} // namespace kvx

struct KVXHandle {
    uint8_t state; // kvx::HandleState

    // Content masks, one flag byte per entry.
    uint8_t trackMask[KVX_TRACK_MASK_ENTRIES];
    uint8_t albumMask[KVX_ALBUM_MASK_ENTRIES];
    uint8_t dvdMask[KVX_DVD_MASK_ENTRIES];
    uint8_t performerMask[KVX_PERFORMER_MASK_ENTRIES];

    // The answer being read; the caller owns the bytes.
    const uint8_t* responseData;
    int32_t responseLength; // bytes from responseData to the end
    uint16_t responseCount;
    // The record read last, so that reading one after the other walks the answer once: its number, from 1, and offset.
    int32_t cursorNumber;
    int64_t cursorOffset;

    // Appended to every request behind its payload; an embedding application sets it.
    const uint8_t* appendix;
    uint32_t appendixLength;

    // From the access key, and from KVXInit's caller.
    int32_t checksumMethod;
    int32_t encryptionMethod;
    int32_t clientKind;
    int32_t requestFraming;
    int32_t responseFraming;
    uint32_t accountId;
    uint8_t deviceId[KVX_ID_LENGTH];
    uint8_t userId[KVX_ID_LENGTH];
    uint8_t serverId[KVX_ID_LENGTH];
    uint8_t secretKey[32];
    char* hostName; // zero-terminated copy
    uint16_t hostNameLength;

    // Signing state; null unless method 3 is chosen.
    kvx::BlowfishState* cipher;
    kvx::Md4Context* digest;

    // Fingerprint session.
    FeatureMap* featureMaps[kvx::kMapCount];
    int32_t sampleRate;   // Hz
    int32_t channelCount; // 1 or 2
    uint32_t samplesFed;  // mono samples at 22050 Hz for map 0
    uint8_t mapFull[kvx::kMapCount];
    kvx::ResamplerState resampler;
    mutable kvx::WaitingSamples waiting; // reading the code strings makes the maps take them
    int32_t durationMs;                  // of the whole track
};
