// SPDX-License-Identifier: Apache-2.0
// The windows of the stream that are asked about, and what came of one.
#pragma once

#include "recognise/model/answer.h"

#include <cstdint>
#include <string>

namespace tarn::recognise {

// Measured with half of the music of docs/measurements/tracklists.md: a recording that follows another is first named
// when it has sounded for 6 s (median; after a cross-fade of 10 s, 11 s), with windows of 9, 12 and 16 s alike. 12 s
// leaves no gaps within a recording; windows of 9 s and less do.
constexpr int64_t kWindowMs = 12'000;
constexpr int64_t kHopMs = 4'000;

enum class WindowOutcome { kAnswered, kSilent, kNotAsked };

struct Window {
    int64_t startMs = 0;
    int64_t endMs = 0;
    WindowOutcome outcome = WindowOutcome::kAnswered;
    Answer answer;
    std::string reason; // why it was not asked
};

} // namespace tarn::recognise
