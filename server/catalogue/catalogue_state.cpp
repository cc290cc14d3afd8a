// SPDX-License-Identifier: Apache-2.0
#include "catalogue/catalogue_state.h"

#include "base/bytes.h"
#include "catalogue/gram_lists.h"
#include "catalogue/keys.h"
#include "catalogue/posting_list.h"
#include "catalogue/remedies.h"

#include <array>

namespace tarn::server {

namespace {

constexpr std::array kNumbers = {&CatalogueState::gramLetters, &CatalogueState::nextId, &CatalogueState::recordings,
                                 &CatalogueState::removed, &CatalogueState::turn};

std::optional<CatalogueState> unpack(std::string_view bytes) {
    CatalogueState state;
    for (const auto number : kNumbers) {
        const auto value = takeVarint(bytes);
        if (!value || *value > kMaxId) return std::nullopt;
        state.*number = static_cast<uint32_t>(*value);
    }
    const bool sound = bytes.empty() && state.gramLetters >= kMinGramLetters && state.gramLetters <= kMaxGramLetters &&
                       state.recordings < state.nextId && state.turn <= 1;
    return sound ? std::optional(state) : std::nullopt;
}

} // namespace

ListTable tableOf(const CatalogueState& state) { return tableOf(listNumberBits(state.gramLetters), state.turn); }

std::string pack(const CatalogueState& state) {
    std::string bytes;
    for (const auto number : kNumbers) appendVarint(bytes, state.*number);
    return bytes;
}

std::optional<CatalogueState> readState(StoreReader& store, const std::string& location) {
    const std::array<std::string, 3> keys = {kFormatKey, kStateKey, kLostKey};
    const std::vector<StoredValue> found = store.values(keys);
    for (const StoredValue& value : found) {
        if (value.state == StoredValue::State::kLost) {
            throw CatalogueUnavailable(location + ": the part of the catalogue that describes it does not answer");
        }
    }
    if (found[0].state == StoredValue::State::kAbsent && found[1].state == StoredValue::State::kAbsent) {
        return std::nullopt;
    }
    std::optional<CatalogueState> state = unpack(found[1].bytes);
    if (!found[0].bytes.empty() && found[0].bytes != kCatalogueFormat) {
        throw CatalogueError(location + ": the catalogue is of another version of the format; make it anew: "
                                        "run tarn-server add for the music with another place after --catalogue");
    }
    if (found[0].bytes.empty() || !state) {
        throw CatalogueError(location + ": what the catalogue says of itself is damaged; " + kRestore);
    }
    state->lacksRecordings = found[2].state == StoredValue::State::kThere;
    return state;
}

void expectAnswer(const StoredValue& value, const std::string& location) {
    if (value.state != StoredValue::State::kLost) return;
    throw CatalogueUnavailable(location + ": a part of the catalogue does not answer; try again when all of it does");
}

void expectIntact(const StoredValue& value, const std::string& location) {
    if (value.state != StoredValue::State::kThere || !value.bytes.empty()) return;
    throw CatalogueError(location + ": what leads to a recording is damaged; " + kMakeLists);
}

} // namespace tarn::server
