// SPDX-License-Identifier: Apache-2.0
// One run of the tool.
#pragma once

#include "platform/services.h"

#include <span>

namespace tarn {

// What a run returns; the process's exit status is its low eight bits.
constexpr int kRunDone = 0; // the recognition ran, with or without a match; or a key was encoded
constexpr int kRunUsageError = -1;
constexpr int kRunInitFailed = -2;
constexpr int kRunFingerprintFailed = -3;
constexpr int kRunTransportFailed = -4;
constexpr int kRunNoGoodResponse = -5;
constexpr int kRunParseFailed = -6;
constexpr int kRunOutputFailed = -7; // the recognition ran, but what it says could not be written

// arguments: the program's name, then the command line. A run that lacks memory ends with a line in the log and the
// status of its current step; making a key counts as initialising. From the first match on, a lack of memory only
// leaves the album out of the report.
int runTarn(std::span<const char* const> arguments, Services& services);

} // namespace tarn
