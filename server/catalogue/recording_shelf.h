// SPDX-License-Identifier: Apache-2.0
// The recordings of a store, by id.
#pragma once

#include "catalogue/store.h"
#include "model/recording.h"

#include <unordered_map>

namespace tarn::server {

class RecordingShelf {
  public:
    explicit RecordingShelf(StoreReader& store) : store_(store) {}

    // Reads them in one wave and keeps their bytes until clear(). True for those that are there.
    std::vector<bool> fetch(std::span<const uint32_t> ids);
    void clear() { fetched_.clear(); } // before the store is refreshed

    enum class Found { kNothing, kRecording, kDamaged, kLost };
    Found read(uint32_t id, Recording& recording);

  private:
    StoreReader& store_;
    std::unordered_map<uint32_t, StoredValue> fetched_;
};

} // namespace tarn::server
