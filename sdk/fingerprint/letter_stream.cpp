// SPDX-License-Identifier: Apache-2.0
#include "fingerprint/letter_stream.h"

#include "fingerprint/engine/feature_map.h"

#include <algorithm>
#include <new>

namespace kvx {

namespace {

// The letters of a piece are taken out before the next. With what was waiting it makes two groups of frames, and so
// many frames end as many runs: the first as long as the recording may be, the others no longer than the piece.
constexpr size_t kPieceSamples = kGroupFrames * kFrameSamples;
// The letters of a run are as many as the logarithm of its length: at most 21 for the first run, and fewer than its
// vectors for any other. Draining brings the most vectors at once: those of a group, and 107 that the stages held back.
constexpr uint32_t kTextFrames = 256;

Letters takenFrom(CodebookState& coder) {
    const auto count = static_cast<size_t>(coder.length);
    coder.length = 0;
    return {{coder.text, count}, {coder.ticks, count}};
}

} // namespace

void LetterStream::Destroy::operator()(FeatureMap* map) const { fmap_destroy(map); }

LetterStream::LetterStream() : map_(fmap_create_endless(kTextFrames)) {
    if (map_ == nullptr) throw std::bad_alloc();
}

LetterStream::~LetterStream() = default;

StreamLetters LetterStream::addPiece(std::span<const int16_t>& samples) {
    const auto piece = samples.first(std::min(samples.size(), kPieceSamples));
    samples = samples.subspan(piece.size());
    fmap_add_data(map_.get(), piece.data(), static_cast<int32_t>(piece.size()));
    return taken();
}

StreamLetters LetterStream::drain() {
    fmap_drain(map_.get());
    return taken();
}

StreamLetters LetterStream::taken() { return {takenFrom(map_->coder1), takenFrom(map_->coder2)}; }

void LetterStream::reset() { fmap_reset(map_.get()); }

} // namespace kvx
