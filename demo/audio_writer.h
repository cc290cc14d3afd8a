// SPDX-License-Identifier: Apache-2.0
// Sound files with tags.
#pragma once

#include "demo/piece.h"
#include "model/recording.h"

#include <filesystem>

namespace tarn::demo {

enum class FileFormat { kWav, kFlac, kOgg };

// Throws std::runtime_error.
void writeSound(const std::filesystem::path& path, const Sound& sound, FileFormat format, double quality = 0.4);
// Writes tags into an existing file. Empty texts and numbers of 0 are left out.
void writeTags(const std::filesystem::path& path, const server::Tags& tags);

// Writes `count` pieces into folders by artist and album, in alternating formats. Returns the paths in order.
std::vector<std::filesystem::path> writeCollection(const std::filesystem::path& folder, uint64_t seed, uint32_t count,
                                                   double seconds, int rateHz, int channels);

} // namespace tarn::demo
