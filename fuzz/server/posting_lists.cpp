// SPDX-License-Identifier: Apache-2.0
// Lists of recording numbers, and runs of such lists, as a damaged disk or a server may give them.
//
// Holds: ids rise and lie within their limits; what can be read and is packed again gives the same ids; every list of a
// run lies within it.
#include "catalogue/lmdb/list_run.h"
#include "catalogue/posting_list.h"

#include "fuzz_target.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace tarn::server;

std::vector<uint32_t> readAsList(std::string_view first, std::string_view second) {
    const std::array<std::string_view, 2> pieces = {first, second};
    std::vector<uint32_t> ids;
    const bool sound = forEachId(pieces, [&](uint32_t id) {
        REQUIRE(id > 0 && id <= kMaxId && (ids.empty() || id > ids.back()));
        ids.push_back(id);
    });
    if (!sound) return ids;
    std::string packed;
    appendPacked(packed, ids);
    std::vector<uint32_t> again;
    const std::array<std::string_view, 1> one = {packed};
    REQUIRE(forEachId(one, [&](uint32_t id) { again.push_back(id); }));
    REQUIRE(again == ids);
    REQUIRE(countOf(packed, packed.size()) == ids.size());
    REQUIRE(countOf(first, first.size()) + countOf(second, second.size()) >=
            ids.size()); // countOf counts duplicates too
    return ids;
}

void readAsRun(ListTable table, std::string_view bytes) {
    try {
        const lmdb::ListRun run(table, bytes);
        const Rewrite look = [&](ListNumber, std::span<const std::string_view> pieces) {
            for (const std::string_view piece : pieces) {
                REQUIRE(piece.empty() ||
                        (piece.data() >= bytes.data() && piece.data() + piece.size() <= bytes.data() + bytes.size()));
            }
            return std::string();
        };
        lmdb::merged(table, 0, {&run, 1}, look, true);
        for (uint32_t low = 0; low < 600; ++low) run.find(low);
    } catch (const CatalogueError&) {
        // no run
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    readAsList(bytes.substr(0, size / 2), bytes.substr(size / 2));
    readAsList(bytes, {});
    for (const ListTable table : {ListTable{24}, ListTable{29}}) readAsRun(table, bytes);
    return 0;
}
