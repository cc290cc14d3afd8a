// SPDX-License-Identifier: Apache-2.0
// What a catalogue says of itself: the version of its format, as text, and its state, as varints: letters of a gram,
// the next id, recordings, recordings removed or replaced since the lists were last rewritten, the turn of the table
// that holds the lists.
#pragma once

#include "catalogue/store.h"

namespace tarn::server {

inline constexpr char kCatalogueFormat[] = "4";

struct CatalogueState {
    uint32_t gramLetters = 5;
    uint32_t nextId = 1;
    uint32_t recordings = 0;
    uint32_t removed = 0;
    uint32_t turn = 0;
    bool lacksRecordings = false; // by a value of its own (kLostKey): a store lost commits that held some
};

ListTable tableOf(const CatalogueState& state);

std::string pack(const CatalogueState& state);

// Nothing: there is no catalogue in the store. Throws CatalogueError where it is of another format, or damaged.
std::optional<CatalogueState> readState(StoreReader& store, const std::string& location);

// Throws CatalogueUnavailable where the part of the store that has the value does not answer.
void expectAnswer(const StoredValue& value, const std::string& location);

// Throws CatalogueError where what leads to recordings is damaged: it must not be taken for nothing.
void expectIntact(const StoredValue& value, const std::string& location);

} // namespace tarn::server
