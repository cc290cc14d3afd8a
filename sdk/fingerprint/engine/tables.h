// SPDX-License-Identifier: Apache-2.0
// The engine's constant tables. The names bstart, bclose, smooth_vec, hamming_data, marsyas_codebook1 and
// marsyas_codebook2, and FEATURE_MAP_OFFSETS in session.h, are given, as those of the fmap_ functions are: they stay as
// they are, in another style than ours.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kvx {

constexpr int32_t kEngineRateHz = 22050;
constexpr size_t kFrameSamples = 512;
constexpr size_t kGroupFrames = 16; // computed side by side
constexpr size_t kFeatureDimensions = 6;
constexpr size_t kLogBands = 5; // bands whose energy's logarithm is a dimension; the sixth counts in the total alone
constexpr size_t kSmoothingTaps = 11;
constexpr size_t kCodebookRows = 24;

constexpr size_t kSpectrumFloats = 512;  // 256 complex values, real part first
constexpr size_t kMagnitudeFloats = 256; // entry k is bin k, 22050 / 512 Hz wide; entry 0 is not computed

constexpr float kSilence = 1e-6F;  // of the total energy, on the scaled spectrum
constexpr float kAudible = 0.001F; // of a bin's magnitude
// Bins 1 and 2 never take part in the centroid; 59 is about 2.5 kHz.
constexpr size_t kCentroidFirstBin = 3;
constexpr size_t kCentroidLastBin = 59;

constexpr float kFarthest = 1e10F; // a codebook row at this distance or farther is never the nearest

// Dimensions 0 to 4 are logarithmic band energies, dimension 5 is the spectral centroid in bins.
using FeatureVector = std::array<float, kFeatureDimensions>;

// 24 rows x 6 dimensions; a component of exactly 0 means that the row ignores the dimension.
using Codebook = std::array<FeatureVector, kCodebookRows>;

// Band k covers the magnitude bins from bstart[k] up to but not including bclose[k]. Bands 1 and 2 share bin 11, and
// band 5 counts in the total alone; both on purpose.
constexpr std::array<int32_t, kFeatureDimensions> bstart = {6, 8, 11, 16, 23, 4};
constexpr std::array<int32_t, kFeatureDimensions> bclose = {8, 12, 16, 23, 32, 6};

// Weights of the smoothing window, oldest vector first; they add up to 0.9999.
constexpr std::array<float, kSmoothingTaps> smooth_vec = {0.0355F, 0.0585F, 0.0863F, 0.1139F, 0.1346F, 0.1423F,
                                                          0.1346F, 0.1139F, 0.0863F, 0.0585F, 0.0355F};

// First half of a symmetric 512-point Hamming window, divided by 32767: (0.54 - 0.46 cos(2 pi n / 511)) / 32767,
// computed in double and rounded once. The second half is the first read backwards.
extern const std::array<float, kFrameSamples / 2> hamming_data;

extern const Codebook marsyas_codebook1; // no component is 0
extern const Codebook marsyas_codebook2; // quantises dimensions 3, 4 and 5 alone
constexpr size_t kFirstOfCodebook2 = 3;

} // namespace kvx
