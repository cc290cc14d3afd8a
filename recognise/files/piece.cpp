// SPDX-License-Identifier: Apache-2.0
#include "recognise/files/piece.h"

#include "audio/audio_error.h"
#include "coding/pcm_preparation.h"
#include "model/frames.h"

namespace tarn::recognise {

namespace {

// A mean square: the root is 10 steps of 16 bits, 70 dB below full scale.
constexpr uint64_t kSilentSquare = 100;

} // namespace

uint64_t Piece::lengthMs() const { return samples.size() * uint64_t{1000} / server::kEngineRateHz; }

bool Piece::isSilent() const {
    uint64_t squares = 0;
    for (const int16_t sample : samples) squares += static_cast<uint64_t>(int32_t{sample} * sample);
    return squares <= kSilentSquare * samples.size();
}

Piece readPiece(const std::filesystem::path& path, server::MediaProcess& process, uint64_t startMs, Read read) {
    Piece piece;
    piece.startMs = startMs;
    try {
        server::MediaFile::Wanted wanted;
        wanted.samples = true;
        wanted.startMs = startMs;
        wanted.maxMs = kPieceMs;
        server::MediaFile file(process, path, wanted);
        piece.fileMs = file.statedMs();
        if (read == Read::kWholePieces && piece.fileMs > 0 && piece.fileMs < startMs + kPieceMs) return piece;
        server::PcmPreparation preparation(file.rateHz(), file.channels());
        piece.samples.reserve(kPieceMs * server::kEngineRateHz / 1000);
        for (auto pcm = file.read(); !pcm.empty(); pcm = file.read()) {
            const auto samples = preparation.prepare(pcm);
            piece.samples.insert(piece.samples.end(), samples.begin(), samples.end());
        }
    } catch (const server::AudioError& error) {
        piece.damage = error.what();
    }
    return piece;
}

} // namespace tarn::recognise
