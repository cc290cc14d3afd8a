// SPDX-License-Identifier: Apache-2.0
// An answer in both framings, and the same bytes as the one record of an answer of each type: parsed, walked, every
// record read with every reader, the identity taken.
//
// Holds: there are only known statuses; a reader hands out a record exactly if its status is 0; a second parse gives
// the same; all memory is returned, except the texts that tracks keep on purpose.
#include "arena_hooks.h"
#include "fuzz_target.h"
#include "records/all_records.h"
#include "support/deliberate_leaks.h"
#include "support/guarded_bytes.h"

#include <cstring>
#include <vector>

namespace {

// Reads a record; returns how many blocks it keeps on purpose.
template <class Record>
size_t readWith(KVXHandle* handle, int32_t index, int32_t (*get)(KVXHandle*, int32_t, Record**),
                int32_t (*release)(Record**), const kvx::RecordTable& table) {
    Record* record = nullptr;
    const int32_t status = get(handle, index, &record);
    REQUIRE(status == 0 || status == -1 || status == -4 || status == -5);
    REQUIRE((record != nullptr) == (status == 0));
    const size_t kept = record == nullptr ? 0 : kvxtest::deliberateLeakBlocks(table, record);
    REQUIRE(release(&record) == 0);
    REQUIRE(record == nullptr);
    return kept;
}

void readAll(KVXHandle* handle, int32_t index, const fuzz::ArenaHooks& hooks) {
    const size_t before = hooks.live();
    size_t kept = readWith(handle, index, &KVXGetAlbum, &KVXFreeAlbum, kvx::kAlbum);
    kept += readWith(handle, index, &KVXGetTrack, &KVXFreeTrack, kvx::kTrack);
    kept += readWith(handle, index, &KVXGetTrackToAlbum, &KVXFreeTrackToAlbum, kvx::kTrackToAlbum);
    kept += readWith(handle, index, &KVXGetDVD, &KVXFreeDVD, kvx::kDVD);
    kept += readWith(handle, index, &KVXGetPerformer, &KVXFreePerformer, kvx::kPerformer);
    // A reader that fails frees its record, but not the texts that the record keeps, two blocks each.
    const size_t left = hooks.live() - before;
    REQUIRE(left % 2 == 0 && left >= kept);
}

void walk(const std::vector<uint8_t>& bytes, int32_t framing) {
    const fuzz::ArenaHooks hooks;
    size_t left = 0;
    {
        const auto handle = fuzz::makeHandle(framing);
        const kvxtest::GuardedBytes body(bytes);
        const auto length = static_cast<int32_t>(body.size());
        int32_t count = 0;
        int32_t again = 0;
        const int32_t status = KVXParseServerResponse(handle.get(), body.data(), length, &count);
        REQUIRE(status == 0 || status == -1);
        REQUIRE(KVXParseServerResponse(handle.get(), body.data(), length, &again) == status && again == count);

        const size_t before = hooks.live();
        for (int32_t i = -1; i <= count + 1; ++i) {
            const int32_t type = KVXGetResponseType(handle.get(), i);
            REQUIRE(type == -1 || std::strchr("TAKDGNPOE", type) != nullptr);
            readAll(handle.get(), i, hooks);
        }
        left = hooks.live() - before;
        const int32_t identity = KVXSetID(handle.get());
        REQUIRE(identity == 0 || identity == -1);
    }
    REQUIRE(hooks.live() == left);
    REQUIRE(hooks.strayFrees() == 0);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<uint8_t> bytes(data, data + size);
    walk(bytes, 'B');
    walk(bytes, 'H');
    for (const char type : {'T', 'K', 'A', 'D', 'P', 'G'}) {
        std::vector<uint8_t> record{static_cast<uint8_t>(type)};
        for (int i = 0; i < 4; ++i) record.push_back(static_cast<uint8_t>(size >> (8 * i)));
        record.insert(record.end(), bytes.begin(), bytes.end());
        walk(record, 'B');
    }
    return 0;
}
