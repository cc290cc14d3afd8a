// SPDX-License-Identifier: Apache-2.0
#include "protocol/record_filter.h"

#include "base/bytes.h"
#include "kvx.h"

#include <algorithm>
#include <cstdint>

namespace tarn::server {

namespace {

constexpr size_t kAlbumFields = 33;
constexpr size_t kAlbumMediaField = 15;
constexpr size_t kAlbumConfidenceField = 29;
constexpr size_t kMediumTracksField = 0;

size_t headerBytes(size_t fields) { return 4 * fields + 5; }

std::string shortField(int value) {
    std::string field;
    appendLittleEndian(field, static_cast<uint16_t>(value));
    return field;
}

// An array is a blob whose fields are its elements; an empty one is an empty field.
template <class Change>
std::string eachElement(const std::string& array, const Change& change) {
    if (array.empty()) return array;
    std::vector<std::string> elements = blobFields(array);
    for (std::string& element : elements) element = change(element);
    return blobOf(elements);
}

std::string permittedMedia(const std::string& media, const Permissions& permissions) {
    return eachElement(media, [&](const std::string& medium) {
        std::vector<std::string> fields = blobFields(medium);
        fields[kMediumTracksField] = eachElement(
            fields[kMediumTracksField], [&](const std::string& track) { return permittedTrack(track, permissions); });
        return blobOf(fields);
    });
}

} // namespace

std::vector<std::string> blobFields(const std::string& blob) {
    std::string copy = blob; // a cursor wants bytes that may be written
    const KVXBlob cursor{reinterpret_cast<uint8_t*>(copy.data()), 0, static_cast<uint32_t>(copy.size())};
    const uint32_t count = BlobGetCount(&cursor);
    if (count == 0) throw DamagedBlob("a record of the catalogue has no fields; run tarn-server check");
    std::vector<std::string> fields;
    fields.reserve(count);
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t* data = nullptr;
        uint32_t length = 0;
        if (BlobGetData(&cursor, static_cast<uint8_t>(i), &data, &length) != 0) {
            throw DamagedBlob("a record of the catalogue is shorter than its fields; run tarn-server check");
        }
        fields.emplace_back(reinterpret_cast<const char*>(data), length);
    }
    return fields;
}

std::string blobOf(const std::vector<std::string>& fields) {
    size_t size = headerBytes(fields.size());
    for (const std::string& field : fields) size += field.size();
    std::string blob(size, '\0');
    blob[0] = static_cast<char>(fields.size());
    KVXBlob cursor{reinterpret_cast<uint8_t*>(blob.data()), static_cast<uint32_t>(fields.size()),
                   static_cast<uint32_t>(headerBytes(fields.size()))};
    for (size_t i = 0; i < fields.size(); ++i) {
        std::string bytes = fields[i];
        const KVXValueLength value{bytes.data(), static_cast<uint32_t>(bytes.size())};
        KVXWriteValueLengthToBlob(&cursor, static_cast<uint8_t>(i), &value);
    }
    return blob;
}

std::string permittedTrack(const std::string& trackBlob, const Permissions& permissions) {
    if (permissions.everyTrackField()) return trackBlob;
    std::vector<std::string> fields = blobFields(trackBlob);
    for (size_t i = 0; i < fields.size(); ++i) {
        if (!permissions.track(i)) fields[i].clear();
    }
    return blobOf(fields);
}

std::string permittedAlbum(const std::string& albumBlob, const Permissions& permissions, int confidence) {
    std::vector<std::string> fields = blobFields(albumBlob);
    if (fields.size() < kAlbumFields)
        throw DamagedBlob("an album of the catalogue has too few fields; run tarn-server check");
    for (size_t i = 0; i < fields.size(); ++i) {
        if (!permissions.album(i)) fields[i].clear();
    }
    if (!permissions.everyTrackField()) {
        fields[kAlbumMediaField] = permittedMedia(fields[kAlbumMediaField], permissions);
    }
    fields[kAlbumConfidenceField] = shortField(std::clamp(confidence, 0, 100));
    return blobOf(fields);
}

std::string bareAlbum(int confidence) {
    return permittedAlbum(blobOf(std::vector<std::string>(kAlbumFields)), Permissions(), confidence);
}

} // namespace tarn::server
