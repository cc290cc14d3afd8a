// SPDX-License-Identifier: Apache-2.0
// What a library handle holds. One zero-filled block: KVXInit makes it, KVXShutdown ends it.
#pragma once

#include "fingerprint/audio.h"
#include "fingerprint/session.h"
#include "kvx.h"

#include <cstdint>

struct FeatureMap; // fingerprint/engine/feature_map.h

namespace kvx {

struct BlowfishState; // PacketSigning/PacketSigning.h
struct Md4Context;

enum HandleState : uint8_t {
    kUnusable = 0,
    kNoDeviceId = 1,
    kIdentified = 2, // with a device id, or an id that the server assigned
};

constexpr int32_t kFramingHttp = 'H';
constexpr int32_t kFramingBare = 'B';

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

    // Follows the payload of every request; an embedding application sets it.
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
