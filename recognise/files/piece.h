// SPDX-License-Identifier: Apache-2.0
// A piece of a file as samples that can be asked about.
#pragma once

#include "audio/media_process.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tarn::recognise {

constexpr uint64_t kPieceMs = 31'000;   // 30 s are coded, from each of three starts
constexpr uint64_t kMinPieceMs = 7'000; // too little is coded of less

struct Piece {
    uint64_t startMs = 0;
    std::vector<int16_t> samples; // mono, 22050 Hz
    uint64_t fileMs = 0;          // the length that the file states; 0: it states none
    std::string damage;           // why reading ended before the piece or the file did; empty: it did not

    uint64_t lengthMs() const;
    bool isLongEnough() const { return lengthMs() >= kMinPieceMs; }
    // Quieter than any music that can be recognised.
    bool isSilent() const;
};

enum class Read {
    kAnything,
    kWholePieces, // nothing is decoded where the file states that it ends within the piece
};

// Damage is no failure: what comes before it is the piece.
Piece readPiece(const std::filesystem::path& path, server::MediaProcess& process, uint64_t startMs,
                Read read = Read::kAnything);

} // namespace tarn::recognise
