// SPDX-License-Identifier: Apache-2.0
// PCM of any rate and channel count, as a recording that is taken into a collection and as a query.
//
// Holds: codes are letters whose times do not decrease and lie within the audio; they do not depend on the pieces in
// which prepared samples are added; the same audio gives the same again.
#include "model/recording_codes.h"

#include "coding/pcm_preparation.h"
#include "coding/query_coder.h"
#include "coding/recording_coder.h"
#include "fuzz_target.h"

#include <algorithm>
#include <cstring>

namespace {

using namespace tarn::server;

constexpr size_t kFormatBytes = 4; // three for the rate, one for the channels
constexpr size_t kMaxPieces = 64;  // otherwise short pieces would be most of the cost

bool isSame(const RecordingCodes& one, const RecordingCodes& other) {
    for (size_t coding = 0; coding < one.size(); ++coding) {
        for (size_t codebook = 0; codebook < kCodebooks; ++codebook) {
            const CodeString& left = one[coding][codebook];
            const CodeString& right = other[coding][codebook];
            if (left.letters != right.letters || left.frames != right.frames) return false;
        }
    }
    return true;
}

void check(const CodeString& codes, size_t samples) {
    REQUIRE(codes.letters.find_first_not_of("abcdefghijklmnopqrstuvwx") == std::string::npos);
    REQUIRE(codes.frames.size() == codes.letters.size());
    REQUIRE(std::is_sorted(codes.frames.begin(), codes.frames.end()));
    REQUIRE(codes.frames.empty() || codes.frames.back() <= samples / 512);
}

RecordingCodes inPieces(std::span<const int16_t> samples, size_t pieceSamples) {
    RecordingCoder coder;
    while (!samples.empty()) {
        const size_t count = std::min(pieceSamples, samples.size());
        coder.add(samples.first(count));
        samples = samples.subspan(count);
    }
    return coder.finish();
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < kFormatBytes) return 0;
    // The rates and channel counts that the reader of files accepts.
    const int rateHz = std::clamp(data[0] | data[1] << 8 | data[2] << 16, 11025, 768000);
    const int channels = 1 + data[3] % 2;
    std::vector<int16_t> pcm((size - kFormatBytes) / 2);
    if (!pcm.empty()) std::memcpy(pcm.data(), data + kFormatBytes, 2 * pcm.size());
    PcmPreparation preparation(rateHz, channels);
    const auto prepared = preparation.prepare(pcm);

    const RecordingCodes codes = codeRecording(prepared);
    for (const auto& coding : codes) {
        for (const CodeString& string : coding) check(string, prepared.size());
    }
    const size_t leastPiece = prepared.size() / kMaxPieces;
    REQUIRE(isSame(inPieces(prepared, 1 + leastPiece + size_t{8} * data[3]), codes));
    const FingerprintQuery query = codeQuery(prepared, 30000);
    REQUIRE(codeQuery(prepared, 30000).codes == query.codes);
    return 0;
}
