// SPDX-License-Identifier: Apache-2.0
// How far a run is, and what came of it, as lines of text.
#pragma once

#include "recognise/model/file_result.h"

#include <chrono>
#include <cstddef>
#include <string>

namespace tarn::recognise {

struct Tally {
    size_t files = 0;
    size_t matched = 0;
    size_t unknown = 0;
    size_t unreadable = 0;
    size_t server = 0; // no answer, or not asked
    size_t fromCache = 0;

    size_t done() const { return matched + unknown + unreadable + server; }
    void count(const FileResult& result);
};

// Bar, files, rate, remaining time; at most 79 columns.
std::string progressLine(const Tally& tally, std::chrono::milliseconds elapsed);
std::string summaryOf(const Tally& tally, std::chrono::milliseconds elapsed);

} // namespace tarn::recognise
