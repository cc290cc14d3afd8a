// SPDX-License-Identifier: Apache-2.0
// The time that the engine counts in.
#pragma once

namespace tarn::server {

constexpr int kEngineRateHz = 22050; // of the samples that are coded
constexpr int kFrameSamples = 512;
constexpr double kFrameMs = kFrameSamples * 1000.0 / kEngineRateHz;

} // namespace tarn::server
