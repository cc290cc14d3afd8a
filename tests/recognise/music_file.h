// SPDX-License-Identifier: Apache-2.0
// Sound files of music that the tests make.
#pragma once

#include "demo/audio_writer.h"
#include "model/frames.h"

#include <cstdint>
#include <filesystem>
#include <vector>

namespace kvxtest {

// Mono, 22050 Hz.
inline void writeMusic(const std::filesystem::path& file, const std::vector<int16_t>& samples,
                       tarn::demo::FileFormat format = tarn::demo::FileFormat::kWav) {
    tarn::demo::writeSound(file, {.rateHz = tarn::server::kEngineRateHz, .channels = 1, .samples = samples}, format);
}

} // namespace kvxtest
