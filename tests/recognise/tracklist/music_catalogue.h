// SPDX-License-Identifier: Apache-2.0
// A catalogue of made-up pieces, and mixes of them.
#pragma once

#include "matching/catalogue_recogniser.h"
#include "recognise/asking/catalogue_asker.h"
#include "support/melody.h"
#include "support/server/small_collection.h"
#include "support/temporary_directory.h"
#include "support/wav_maker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace kvxtest {

constexpr double kMusicRateHz = 22050;

inline Bytes wavOf(const std::vector<int16_t>& samples) {
    WavFields fields;
    fields.channels = 1;
    fields.rateHz = 22050;
    fields.dataSize = static_cast<uint32_t>(samples.size() * 2);
    fields.riffSize = 36 + fields.dataSize;
    Bytes bytes = wavHeader(fields);
    bytes.reserve(bytes.size() + samples.size() * 2);
    for (const int16_t sample : samples) {
        bytes.push_back(static_cast<uint8_t>(sample));
        bytes.push_back(static_cast<uint8_t>(static_cast<uint16_t>(sample) >> 8U));
    }
    return bytes;
}

// Pieces 1 to 4, of 70 s; their titles are their numbers. Any other number is unknown.
class MusicCatalogue {
  public:
    static constexpr uint32_t kPieces = 4;
    static constexpr uint32_t kSeconds = 70;

    MusicCatalogue() : recogniser_(folder_.file("catalogue")), asker_(recogniser_) {
        std::filesystem::create_directory(folder_ / "music");
        for (uint32_t piece = 1; piece <= kPieces; ++piece) {
            writeFile(folder_.file("music/" + std::to_string(piece) + ".wav"), wavOf(melody(piece, kSeconds)));
        }
        const Added added = addTo(folder_ / "catalogue", {folder_.file("music")});
        EXPECT_EQ(added.status, 0) << added.err;
    }

    tarn::recognise::Asker& asker() { return asker_; }
    std::string file(const std::string& name) const { return folder_.file(name); }

  private:
    TemporaryDirectory folder_;
    tarn::server::CatalogueRecogniser recogniser_;
    tarn::recognise::CatalogueAsker asker_;
};

// Adds seconds of a piece from a place on, faded in over what is there already and out at its end.
inline void mixIn(std::vector<int16_t>& mix, uint32_t piece, double place, double seconds, double fadeIn) {
    const std::vector<int16_t> music = melody(piece, MusicCatalogue::kSeconds);
    const auto first = static_cast<size_t>(place * kMusicRateHz);
    const auto count = static_cast<size_t>(seconds * kMusicRateHz);
    const auto faded = static_cast<size_t>(fadeIn * kMusicRateHz);
    const size_t at = mix.size() - faded;
    mix.resize(at + count);
    for (size_t i = 0; i < count; ++i) {
        double value = music.at(first + i);
        if (i < faded) {
            const double share = static_cast<double>(i) / static_cast<double>(faded);
            value = value * std::sqrt(share) + mix[at + i] * std::sqrt(1 - share);
        }
        mix[at + i] = static_cast<int16_t>(std::clamp(value, -32768.0, 32767.0));
    }
}

} // namespace kvxtest
