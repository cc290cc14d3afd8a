// SPDX-License-Identifier: Apache-2.0
// tarn-recognise: what the program does with its options.
#pragma once

#include "recognise/asking/askers.h"
#include "recognise/output/result_writer.h"
#include "recognise/output/tracklist_writer.h"
#include "recognise/tracklist/pcm_stream.h"

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace tarn::recognise {

// Exit statuses. The highest that applies holds, but for the last.
constexpr int kAllMatched = 0;
constexpr int kSomeUnknown = 1;
constexpr int kSomeUnreadable = 2;
constexpr int kServerFailed = 3; // at least one file could not be asked about, or nothing could begin
constexpr int kUsage = 64;

struct RunOptions {
    std::vector<std::string> paths;
    std::string listFile; // further paths; "-": standard input
    bool nullSeparated = false;

    AskingOptions asking;

    Format format = Format::kTable;
    std::string output; // empty: standard output
    size_t jobs = 0;    // 0: one for each processor
    bool quiet = false;
};

int run(const RunOptions& options, std::ostream& out, std::ostream& err);

// What plays in the one file of the options, or in the stream on standard input; pcm: its format, where it is samples
// without a header.
int runTracklist(const RunOptions& options, TracklistFormat format, std::ostream& out, std::ostream& err);
int runLive(const RunOptions& options, TracklistFormat format, const std::optional<PcmFormat>& pcm, std::ostream& out,
            std::ostream& err);

} // namespace tarn::recognise
