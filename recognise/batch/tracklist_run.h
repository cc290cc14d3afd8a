// SPDX-License-Identifier: Apache-2.0
// Track lists: of a file, and of a stream while it goes on.
#pragma once

#include "audio/media_process.h"
#include "recognise/model/asker.h"
#include "recognise/output/tracklist_writer.h"
#include "recognise/tracklist/pcm_stream.h"

#include <filesystem>
#include <optional>
#include <ostream>

namespace tarn::recognise {

struct TracklistOptions {
    std::filesystem::path file;
    TracklistFormat format = TracklistFormat::kTable;
    server::MediaProcess* media = nullptr; // reads the file; null: one of its own
};

struct LiveOptions {
    int descriptor = 0;
    std::optional<PcmFormat> pcm; // none: the stream is WAV
    TracklistFormat format = TracklistFormat::kJson;
    PcmStream::Waiting waiting;
};

// After this many windows of a file in a row without an answer, the rest of the file is not asked. A live stream never
// gives up.
constexpr int kMaxFailures = 20;

// Exit statuses.
constexpr int kListComplete = 0;
constexpr int kListUnreadable = 2; // the file or the stream cannot be read, or not to its end
constexpr int kListNotAsked = 3;   // a part could not be asked

// What is found goes to out, what is wrong to err, a line each. What was found before something went wrong is written.
// Reading ends early when out cannot be written.
int listTracksOfFile(const TracklistOptions& options, Asker& asker, std::ostream& out, std::ostream& err);
int listTracksOfStream(const LiveOptions& options, Asker& asker, std::ostream& out, std::ostream& err);

} // namespace tarn::recognise
