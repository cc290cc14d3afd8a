// SPDX-License-Identifier: Apache-2.0
#include "catalogue/recording_shelf.h"

#include "catalogue/keys.h"
#include "catalogue/recording_packing.h"

namespace tarn::server {

std::vector<bool> RecordingShelf::fetch(std::span<const uint32_t> ids) {
    std::vector<std::string> keys;
    std::vector<uint32_t> missing;
    for (const uint32_t id : ids) {
        if (fetched_.contains(id)) continue;
        keys.push_back(recordingKey(id));
        missing.push_back(id);
    }
    const std::vector<StoredValue> values = store_.values(keys);
    for (size_t i = 0; i < missing.size(); ++i) fetched_[missing[i]] = values[i];
    std::vector<bool> there;
    for (const uint32_t id : ids) there.push_back(fetched_[id].state != StoredValue::State::kAbsent);
    return there;
}

RecordingShelf::Found RecordingShelf::read(uint32_t id, Recording& recording) {
    fetch({&id, 1});
    const StoredValue& value = fetched_[id];
    if (value.state == StoredValue::State::kAbsent) return Found::kNothing;
    if (value.state == StoredValue::State::kLost) return Found::kLost;
    std::optional<Recording> found = unpackRecording(value.bytes);
    if (!found) return Found::kDamaged;
    recording = std::move(*found);
    recording.id = id;
    return Found::kRecording;
}

} // namespace tarn::server
