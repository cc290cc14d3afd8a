// SPDX-License-Identifier: Apache-2.0
// What the JavaScript needs beside the functions of kvx.h: the version, what a session holds, samples of floats, and
// where the members of the records lie in memory.
#include "fingerprint/session.h"
#include "kvx.h"

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace {

// memory.js reads both as 32-bit words, so their members stay in this order.
struct Record;
struct Member {
    const char* name; // that of kvx.h
    uint32_t offset;  // bytes from the record's start
    uint32_t kind;    // 't': KVXValueLength*; 's': uint16_t; 'r': a record's address; 'a': an array's, then its count
    const Record* record; // of 'r', and of the elements of 'a'
};
struct Record {
    uint32_t bytes;
    uint32_t memberCount;
    const Member* members;
};

template <size_t Count>
constexpr Record describe(size_t bytes, const Member (&members)[Count]) {
    return {static_cast<uint32_t>(bytes), Count, members};
}

#define KVX_MEMBER(record, member, kind, element)                                                                      \
    { #member, offsetof(record, member), kind, element }
#define KVX_COUNT_FOLLOWS(record, member, count)                                                                       \
    static_assert(offsetof(record, count) == offsetof(record, member) + sizeof(void*))

constexpr Member kArtistMembers[] = {
    KVX_MEMBER(ValuePairYOMI, propertyId, 't', nullptr),
    KVX_MEMBER(ValuePairYOMI, property, 't', nullptr),
    KVX_MEMBER(ValuePairYOMI, valueId, 't', nullptr),
    KVX_MEMBER(ValuePairYOMI, value, 't', nullptr),
};
constexpr Record kArtist = describe(sizeof(ValuePairYOMI), kArtistMembers);

constexpr Member kTrackMembers[] = {
    KVX_MEMBER(Track, trackId, 't', nullptr),
    KVX_MEMBER(Track, title, 't', nullptr),
    KVX_MEMBER(Track, artists, 'a', &kArtist),
};
KVX_COUNT_FOLLOWS(Track, artists, artistCount);
constexpr Record kTrack = describe(sizeof(Track), kTrackMembers);

constexpr Member kMediumMembers[] = {
    KVX_MEMBER(CDMedia, tracks, 'a', &kTrack),
};
KVX_COUNT_FOLLOWS(CDMedia, tracks, trackCount);
constexpr Record kMedium = describe(sizeof(CDMedia), kMediumMembers);

constexpr Member kAlbumMembers[] = {
    KVX_MEMBER(Album, albumId, 't', nullptr),    KVX_MEMBER(Album, title, 't', nullptr),
    KVX_MEMBER(Album, artist, 't', nullptr),     KVX_MEMBER(Album, media, 'a', &kMedium),
    KVX_MEMBER(Album, confidence, 's', nullptr),
};
KVX_COUNT_FOLLOWS(Album, media, mediaCount);
constexpr Record kAlbum = describe(sizeof(Album), kAlbumMembers);

constexpr Member kTrackToAlbumMembers[] = {
    KVX_MEMBER(TrackToAlbum, album, 'r', &kAlbum),
};
constexpr Record kTrackToAlbum = describe(sizeof(TrackToAlbum), kTrackToAlbumMembers);

} // namespace

extern "C" {

const char* kvxVersion() { return KVX_VERSION; }

// index: 0 to 5. Null without a session.
const char* kvxCodeString(const KVXHandle* handle, uint32_t index) { return kvx::codeStrings(*handle)[index]; }

// Mono samples at 22050 Hz.
uint32_t kvxSamplesMissing(const KVXHandle* handle) { return kvx::samplesMissing(*handle); }

// The 16-bit samples of values from -1 to 1. Halves are rounded up, what lies beyond is cut, and what is no number is
// silence. The arrays do not overlap.
void kvxIntegersOf(const float* values, uint32_t count, int16_t* samples) {
    // A sum with this has an integer in its low bits. clang 14 converts floats to integers one by one.
    constexpr float kIntegerBits = 3 << 22;
    for (uint32_t i = 0; i < count; ++i) {
        const float scaled = values[i] * 32768.0F; // exact, as the difference below; a sum with 0.5F is not
        const float below = std::floor(scaled);
        const float nearest = scaled - below >= 0.5F ? below + 1.0F : below;
        const float cut = nearest > 32767.0F ? 32767.0F : nearest < -32768.0F ? -32768.0F : nearest;
        const float integer = (std::isnan(scaled) ? 0.0F : cut) + kIntegerBits;
        samples[i] = static_cast<int16_t>(std::bit_cast<uint32_t>(integer));
    }
}

// Describes the records of a type of answer; null for types that have no reader here.
const Record* kvxRecord(int32_t type) {
    switch (type) {
    case 'T':
        return &kTrack;
    case 'A':
        return &kAlbum;
    case 'K':
        return &kTrackToAlbum;
    default:
        return nullptr;
    }
}

} // extern "C"
