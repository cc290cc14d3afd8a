// SPDX-License-Identifier: Apache-2.0
#include "ingest/recording_reader.h"

#include "base/digest.h"
#include "coding/pcm_preparation.h"
#include "coding/query_coder.h"
#include "coding/recording_coder.h"
#include "ingest/path_names.h"
#include "ingest/record_builder.h"
#include "model/frames.h"

#include <algorithm>
#include <vector>

namespace tarn::server {

namespace {

constexpr uint64_t kQueryMs = 31000; // 30 s are coded from each of three starts

uint32_t durationMsOf(const MediaFile& file) {
    return static_cast<uint32_t>(file.framesRead() * 1000 / static_cast<uint64_t>(file.rateHz()));
}

// Keeps the samples of one part of the recording.
class Excerpt {
  public:
    explicit Excerpt(uint64_t startMs)
        : begin_(startMs * kEngineRateHz / 1000), end_((startMs + kQueryMs) * kEngineRateHz / 1000) {}

    void add(std::span<const int16_t> piece, uint64_t position) {
        const uint64_t from = std::clamp(begin_, position, position + piece.size());
        const uint64_t to = std::clamp(end_, position, position + piece.size());
        const auto wanted = piece.subspan(from - position, to - from);
        samples.insert(samples.end(), wanted.begin(), wanted.end());
    }

    std::vector<int16_t> samples;

  private:
    uint64_t begin_;
    uint64_t end_;
};

void fillNames(Tags& tags, bool hasTitle, const Tags& names) {
    if (!hasTitle) tags.title = names.title;
    if (tags.artist.empty()) tags.artist = names.artist;
    if (tags.album.empty()) tags.album = names.album;
    if (tags.number == 0) tags.number = names.number;
}

} // namespace

Recording readRecording(const std::filesystem::path& path, MediaProcess& process, const ReadingOptions& options) {
    MediaFile::Wanted wanted;
    wanted.tags = true;
    wanted.samples = true;
    MediaFile file(process, path, wanted);
    Recording recording;
    recording.tags = file.tags();
    if (!options.namesBelow.empty())
        fillNames(recording.tags, file.hasTitle(), namesFromPath(path, options.namesBelow));
    PcmPreparation preparation(file.rateHz(), file.channels());
    RecordingCoder coder;
    Digest hash;
    // The same samples at another rate are another recording.
    hash.add(std::to_string(file.rateHz()) + " Hz, " + std::to_string(file.channels()) + " channels\n");
    for (auto piece = file.read(); !piece.empty(); piece = file.read()) {
        if (options.stop != nullptr && *options.stop) throw AudioError("reading was stopped");
        hash.add(piece);
        coder.add(preparation.prepare(piece));
    }
    if (file.framesRead() == 0) throw AudioError("it holds no audio");
    recording.contentHash = hash.hexadecimal();
    recording.path = path.string();
    recording.durationMs = durationMsOf(file);
    recording.codes = coder.finish();
    fillRecords(recording);
    return recording;
}

FingerprintQuery readQuery(const std::filesystem::path& path, MediaProcess& process) {
    MediaFile::Wanted wanted;
    wanted.samples = true;
    MediaFile file(process, path, wanted);
    PcmPreparation preparation(file.rateHz(), file.channels());
    // Where a client starts to read depends on the duration, which is known only at the end.
    Excerpt fromStart(0);
    Excerpt fromInside(clientStartMs(UINT32_MAX));
    uint64_t position = 0;
    for (auto piece = file.read(); !piece.empty(); piece = file.read()) {
        const auto samples = preparation.prepare(piece);
        fromStart.add(samples, position);
        fromInside.add(samples, position);
        position += samples.size();
    }
    const uint32_t durationMs = durationMsOf(file);
    return codeQuery(clientStartMs(durationMs) == 0 ? fromStart.samples : fromInside.samples, durationMs);
}

} // namespace tarn::server
