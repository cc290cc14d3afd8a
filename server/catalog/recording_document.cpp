#include "catalog/recording_packing.h"
#include "catalog/shard_writer.h"
#include "catalog/terms.h"

#include <set>

namespace tarn::server {

Xapian::Document documentOf(const Recording& recording) {
    Xapian::Document document;
    std::set<std::string> grams;
    for (const auto& phase : recording.codes) {
        for (size_t codebook = 0; codebook < kCodebooks; ++codebook) {
            for (const Gram& gram : gramsOf(phase[codebook].letters)) grams.insert(gramTerm(codebook, gram.value));
        }
    }
    for (const std::string& gram : grams) document.add_boolean_term(gram);
    if (!recording.trackId.empty()) document.add_boolean_term(trackTerm(recording.trackId));
    if (!recording.albumId.empty()) document.add_boolean_term(albumTerm(recording.albumId));
    document.add_boolean_term(hashTerm(recording.contentHash));
    document.set_data(packRecording(recording));
    return document;
}

} // namespace tarn::server
