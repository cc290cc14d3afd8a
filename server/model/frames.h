// SPDX-License-Identifier: Apache-2.0
// The time that the engine counts in.
#pragma once

#include <cstdint>

namespace tarn::server {

constexpr int kEngineRateHz = 22050; // of the samples that are coded
constexpr int kFrameSamples = 512;
constexpr double kFrameMs = kFrameSamples * 1000.0 / kEngineRateHz;

// A client codes a recording without its last 50 ms, and not more than 30 s of it. KVX_GetFeatureSize counts the
// frames.
constexpr uint32_t kUncodedMs = 50;
constexpr uint32_t kMaxCodedMs = 30'000;
constexpr uint32_t kMaxQueryFrames = 1292;

} // namespace tarn::server
