// SPDX-License-Identifier: Apache-2.0
#include "catalogue/catalogue_state.h"

#include "base/bytes.h"
#include "catalogue/keys.h"
#include "server/catalogue/catalogue_error.h"
#include "server/catalogue/memory_store.h"

#include <gtest/gtest.h>

using namespace tarn::server;
using kvxtest::errorOf;
using kvxtest::MemoryStore;

namespace {

constexpr CatalogueState kState{6, 100, 42, 3, 1};

MemoryStore storeOf(const std::string& format, const std::string& state) {
    MemoryStore store;
    store.stored = {{kFormatKey, format}, {kStateKey, state}};
    return store;
}

std::string numbers(const std::vector<uint64_t>& all) {
    std::string bytes;
    for (const uint64_t number : all) appendVarint(bytes, number);
    return bytes;
}

} // namespace

TEST(CatalogueState, IsReadAsItWasWritten) {
    MemoryStore store = storeOf(kCatalogueFormat, pack(kState));
    const auto state = readState(store, "c");
    ASSERT_TRUE(state);
    EXPECT_EQ(state->gramLetters, 6U);
    EXPECT_EQ(state->nextId, 100U);
    EXPECT_EQ(state->recordings, 42U);
    EXPECT_EQ(state->removed, 3U);
    EXPECT_EQ(state->turn, 1U);
    EXPECT_FALSE(state->lacksRecordings);
}

TEST(CatalogueState, SaysWhetherLostCommitsAreStillToBeAddedAgain) {
    MemoryStore store = storeOf(kCatalogueFormat, pack(kState));
    store.stored[kLostKey] = "1";
    EXPECT_TRUE(readState(store, "c")->lacksRecordings);
    store.lostValues = {kLostKey};
    EXPECT_THROW(readState(store, "c"), CatalogueUnavailable);
}

TEST(CatalogueState, IsNoneInAnEmptyStore) {
    MemoryStore store;
    EXPECT_FALSE(readState(store, "c"));
}

TEST(CatalogueState, OfAPartThatDoesNotAnswerIsNeitherNoneNorDamaged) {
    for (const char* lost : {kFormatKey, kStateKey}) {
        MemoryStore store = storeOf(kCatalogueFormat, pack(kState));
        store.lostValues = {lost};
        EXPECT_THROW(readState(store, "c"), CatalogueUnavailable) << lost;
    }
}

TEST(CatalogueState, OfAnotherFormatIsRefusedWhateverItSays) {
    for (const std::string& state : {pack(kState), std::string("of the future")}) {
        MemoryStore store = storeOf("5", state);
        EXPECT_EQ(
            errorOf([&] { readState(store, "c"); }),
            "c: the catalogue is of another version of the format; make it anew: run tarn-server add for the music "
            "with another place after --catalogue");
    }
}

TEST(CatalogueState, ThatIsDamagedIsRefused) {
    const struct {
        const char* name;
        std::string format;
        std::string state;
    } cases[] = {
        {"no format", "", pack(kState)},
        {"no state", kCatalogueFormat, ""},
        {"a number missing", kCatalogueFormat, numbers({6, 100, 42, 3})},
        {"a number too many", kCatalogueFormat, numbers({6, 100, 42, 3, 1, 0})},
        {"grams of 4 letters", kCatalogueFormat, numbers({4, 100, 42, 3, 1})},
        {"grams of 8 letters", kCatalogueFormat, numbers({8, 100, 42, 3, 1})},
        {"as many recordings as the next id", kCatalogueFormat, numbers({6, 100, 100, 3, 1})},
        {"a third turn", kCatalogueFormat, numbers({6, 100, 42, 3, 2})},
        {"an id of 32 bits", kCatalogueFormat, numbers({6, uint64_t{1} << 31, 42, 3, 1})},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        MemoryStore store = storeOf(c.format, c.state);
        EXPECT_EQ(
            errorOf([&] { readState(store, "c"); }),
            "c: what the catalogue says of itself is damaged; restore the catalogue from a copy, or add the music "
            "to a new one");
    }
}

TEST(CatalogueState, WithoutOneOfItsTwoPartsIsDamaged) {
    for (const char* missing : {kFormatKey, kStateKey}) {
        MemoryStore store = storeOf(kCatalogueFormat, pack(kState));
        store.stored.erase(missing);
        EXPECT_NE(errorOf([&] { readState(store, "c"); }).find("is damaged"), std::string::npos) << missing;
    }
}

TEST(WhatLeadsToARecording, IsDamagedWhereItIsThereWithoutBytes) {
    using State = StoredValue::State;
    for (const StoredValue& value : {StoredValue{State::kThere, "id"}, StoredValue{State::kAbsent, {}}}) {
        EXPECT_EQ(errorOf([&] { expectIntact(value, "c"); }), "no error");
    }
    EXPECT_EQ(errorOf([&] {
                  expectIntact({State::kThere, {}}, "c");
              }),
              "c: what leads to a recording is damaged; tarn-server compact --purge makes them anew");
}
