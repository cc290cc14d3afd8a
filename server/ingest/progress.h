// SPDX-License-Identifier: Apache-2.0
// The progress of a run as a line of text.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace tarn::server {

struct Progress {
    size_t filesDone = 0;
    size_t files = 0;
    uint64_t bytesDone = 0;
    uint64_t bytes = 0;
    uint64_t audioMs = 0;
    std::chrono::milliseconds elapsed{0};
};

// Bar, files, rate as a multiple of real time, remaining time by bytes; at most 79 columns.
std::string progressLine(const Progress& progress);

} // namespace tarn::server
