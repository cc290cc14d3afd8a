// SPDX-License-Identifier: Apache-2.0
// What Redis servers send: the map of their slots, redirections, keys and markers.
//
// Holds: whatever is read lies within its limits, and reads the same after it is written.
#include "catalogue/redis/keys.h"
#include "catalogue/redis/markers.h"
#include "catalogue/redis/replies.h"

#include "fuzz_target.h"

#include <string>
#include <string_view>

namespace {

using namespace tarn::server::redis;

void checkAddress(const Address& address) {
    REQUIRE(address.port != 0 && !address.host.empty());
    REQUIRE(addressIn(toText(address)) == address);
}

// The protocol's library allocates as many items as an answer announces; such answers are not what this target tests.
bool announcesMuch(std::string_view text) {
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '*' && text.find_first_not_of("0123456789+", i + 1) - i > 5) return true;
    }
    return false;
}

void readAsReply(std::string_view text) {
    redisReader* const reader = redisReaderCreate();
    redisReaderFeed(reader, text.data(), text.size());
    void* reply = nullptr;
    while (redisReaderGetReply(reader, &reply) == REDIS_OK && reply != nullptr) {
        const Reply owned(static_cast<redisReply*>(reply));
        if (const auto ranges = slotRangesIn(*owned, "sender")) {
            for (const SlotRange& range : *ranges) {
                REQUIRE(range.first <= range.last && range.last < kSlots);
                REQUIRE(range.master.port != 0 && !range.master.host.empty());
            }
        }
    }
    redisReaderFree(reader);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (!announcesMuch(text)) readAsReply(text);
    if (const auto redirection = redirectionIn(text, "sender")) {
        REQUIRE(redirection->slot < kSlots);
        REQUIRE(redirection->address.port != 0 && !redirection->address.host.empty());
    }
    if (const auto address = addressIn(text); address && !address->host.empty()) checkAddress(*address);
    const Keys keys("t");
    REQUIRE(slotOf(text) < kSlots);
    if (const auto key = keys.listIn(text)) {
        const std::string made =
            key->isBlock ? keys.block(key->table, key->number) : keys.longList(key->table, key->number);
        REQUIRE(made == text);
    }
    if (const auto marker = markerIn(text)) {
        const Marker made = makeMarker(marker->written, marker->confirmed, marker->writer);
        const auto again = markerIn(made.text);
        REQUIRE(again && again->written == marker->written && again->confirmed == marker->confirmed);
        REQUIRE(again->writer == marker->writer);
    }
    return 0;
}
