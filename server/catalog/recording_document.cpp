// SPDX-License-Identifier: Apache-2.0
#include "catalog/gram_counts.h"
#include "catalog/shard_writer.h"
#include "catalog/terms.h"

#include <algorithm>
#include <vector>

namespace tarn::server {

Xapian::Document documentOf(const Recording& recording, GramCounts* counts) {
    std::vector<uint32_t> grams;
    for (const auto& phase : recording.codes) {
        for (size_t codebook = 0; codebook < kCodebooks; ++codebook) {
            for (const Gram& gram : gramsOf(phase[codebook].letters)) {
                grams.push_back(gramNumber(codebook, gram.value));
            }
        }
    }
    std::sort(grams.begin(), grams.end());
    grams.erase(std::unique(grams.begin(), grams.end()), grams.end());
    Xapian::Document document;
    for (const uint32_t gram : grams) {
        if (counts == nullptr || counts->take(gram)) document.add_boolean_term(gramTerm(gram));
    }
    if (!recording.trackId.empty()) document.add_boolean_term(trackTerm(recording.trackId));
    if (!recording.albumId.empty()) document.add_boolean_term(albumTerm(recording.albumId));
    document.add_boolean_term(hashTerm(recording.contentHash));
    return document;
}

} // namespace tarn::server
