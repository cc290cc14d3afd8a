// SPDX-License-Identifier: Apache-2.0
// The keys under which a store holds a catalogue's values.
//
//   "m" and a name          of the catalogue itself (catalogue/catalogue_state.h)
//   "r" and an id           a recording (catalogue/recording_packing.h)
//   "h" and a content hash  the id of its recording
//   "k" and a track id      ids of its recordings
//   "a" and an album id     ids of its recordings
//   "f" and 16 bytes        a file that was read (catalogue/file_entry.h)
//
// Ids take 4 bytes, highest first. Recordings come last: a sorted store packs what is only ever added at its end.
#pragma once

#include "base/bytes.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::server {

inline constexpr char kFormatKey[] = "mformat";
inline constexpr char kStateKey[] = "mstate";
// There while recordings may be missing that a commit reported: what commits of a store lost was not added again yet.
inline constexpr char kLostKey[] = "mlost";

inline std::string recordingKey(uint32_t id) {
    std::string key = "r";
    appendBigEndian(key, id);
    return key;
}

// Longer texts than a store takes as a key are cut; ids and hashes never are that long.
inline std::string textKey(char kind, std::string_view text) {
    std::string key(1, kind);
    return key += text.substr(0, 200);
}
inline std::string hashKey(std::string_view contentHash) { return textKey('h', contentHash); }
inline std::string trackKey(std::string_view trackId) { return textKey('k', trackId); }
inline std::string albumKey(std::string_view albumId) { return textKey('a', albumId); }

inline std::string packIds(const std::vector<uint32_t>& ids) {
    std::string bytes;
    for (const uint32_t id : ids) appendBigEndian(bytes, id);
    return bytes;
}

// What does not make a whole id is left out.
inline std::vector<uint32_t> unpackIds(std::string_view bytes) {
    std::vector<uint32_t> ids;
    ids.reserve(bytes.size() / sizeof(uint32_t));
    while (const auto id = takeBigEndian<uint32_t>(bytes)) ids.push_back(*id);
    return ids;
}

} // namespace tarn::server
