// SPDX-License-Identifier: Apache-2.0
#include "catalog/hidden_ids.h"

#include "coding/code_packing.h"

#include <limits>
#include <optional>
#include <string_view>

namespace tarn::server {

std::string packHiddenIds(const HiddenIds& ids) {
    std::string out;
    Xapian::docid previous = 0;
    for (const Xapian::docid id : ids) {
        appendVarint(out, id - previous);
        previous = id;
    }
    return out;
}

void takeHiddenIds(const std::string& bytes, HiddenIds& ids) {
    std::string_view rest = bytes;
    uint64_t id = 0;
    while (!rest.empty()) {
        const std::optional<uint64_t> difference = takeVarint(rest);
        if (!difference || *difference == 0 || *difference > std::numeric_limits<Xapian::docid>::max() - id) {
            throw Xapian::DatabaseCorruptError("the list of removed recordings is damaged");
        }
        id += *difference;
        ids.insert(ids.end(), static_cast<Xapian::docid>(id));
    }
}

HiddenIds hiddenIdsOf(const Xapian::Database& main, const Xapian::Database& recent) {
    HiddenIds ids;
    takeHiddenIds(main.get_metadata(kHiddenIds), ids);
    takeHiddenIds(recent.get_metadata(kHiddenIds), ids);
    return ids;
}

} // namespace tarn::server
