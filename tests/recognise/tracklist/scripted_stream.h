// SPDX-License-Identifier: Apache-2.0
// A stream that plays what a script says, and an asker that knows it. The samples say their own time, so that the asker
// knows which part of the stream it is asked about.
#pragma once

#include "recognise/model/asker.h"
#include "recognise/tracklist/track_lister.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace kvxtest {

struct Played {
    std::string id;
    double start = 0; // seconds in the stream
    double end = 0;
    double place = 0; // in the recording, at the start
    double duration = 0;
    int confidence = 100;
    double speed = 1;
    double placeJumps = 0; // the place of each window is off by a multiple of this
    std::vector<std::string> companions = {};
    bool hasPlace = true; // a server may not say it
};

struct Part {
    double start = 0;
    double end = 0;
};

struct Script {
    double seconds = 0;
    std::vector<Played> pieces;
    std::vector<Part> silences = {};
    std::vector<Part> outages = {};
};

inline bool isIn(const std::vector<Part>& parts, double second) {
    return std::any_of(parts.begin(), parts.end(),
                       [second](const Part& part) { return part.start <= second && second < part.end; });
}

constexpr size_t kStepSamples = 441; // 20 ms have one value
constexpr size_t kFirstValue = 1000; // far above silence

inline std::vector<int16_t> samplesOf(const Script& script) {
    std::vector<int16_t> samples(static_cast<size_t>(script.seconds * 50) * kStepSamples);
    for (size_t step = 0; step * kStepSamples < samples.size(); ++step) {
        if (isIn(script.silences, static_cast<double>(step) / 50)) continue;
        const auto first = samples.begin() + static_cast<std::ptrdiff_t>(step * kStepSamples);
        std::fill(first, first + kStepSamples, static_cast<int16_t>(kFirstValue + step));
    }
    return samples;
}

// A window names each piece that sounds in half of it, or more, the longest first.
class ScriptedAsker : public tarn::recognise::Asker {
  public:
    explicit ScriptedAsker(Script script) : script_(std::move(script)) {}

    tarn::recognise::Answer ask(std::span<const int16_t> samples) override {
        const auto sounding = std::find_if(samples.begin(), samples.end(), [](int16_t sample) { return sample != 0; });
        const auto before = static_cast<double>(sounding - samples.begin());
        const double start =
            sounding == samples.end() ? 0 : (*sounding - static_cast<int>(kFirstValue)) / 50.0 - before / 22050;
        const double end = start + static_cast<double>(samples.size()) / 22050;
        if (isIn(script_.outages, (start + end) / 2)) throw tarn::recognise::NoAnswer("the server is away");
        return answer(start, end);
    }

  private:
    tarn::recognise::Answer answer(double start, double end) const {
        const auto length = [start, end](const Played& piece) {
            return std::min(end, piece.end) - std::max(start, piece.start);
        };
        std::vector<Played> sounding;
        for (const Played& piece : script_.pieces) {
            if (length(piece) >= (end - start) / 2 - 0.01) sounding.push_back(piece);
        }
        std::stable_sort(sounding.begin(), sounding.end(),
                         [&](const Played& a, const Played& b) { return length(a) > length(b); });
        tarn::recognise::Answer answer;
        for (const Played& piece : sounding) answer.matches.push_back(matchOf(piece, start));
        if (answer.matches.size() > 1) {
            for (size_t i = 1; i < answer.matches.size(); ++i) answer.matches[i].offsetMs.reset();
        }
        return answer;
    }

    static tarn::recognise::Match matchOf(const Played& piece, double start) {
        tarn::recognise::Match match;
        match.trackId = piece.id;
        match.title = "Title " + piece.id;
        match.confidence = piece.confidence;
        match.companions = piece.companions;
        if (piece.duration > 0) match.durationMs = static_cast<uint64_t>(piece.duration * 1000);
        double place = piece.place + (start - piece.start) * piece.speed;
        if (piece.placeJumps > 0) place = 300 + piece.placeJumps * (static_cast<int>(start * 7) % 11);
        if (piece.hasPlace) match.offsetMs = static_cast<uint64_t>(std::max(0.0, place) * 1000);
        return match;
    }

    Script script_;
};

struct Heard {
    std::vector<tarn::recognise::Event> events;
    std::vector<tarn::recognise::Entry> entries; // as they ended
    uint64_t windowsAsked = 0;
    uint64_t windowsNotAsked = 0;
};

inline Heard hear(const Script& script, size_t pieceSamples = 10'000, int maxFailures = 0) {
    using namespace tarn::recognise;
    ScriptedAsker asker(script);
    Heard heard;
    TrackLister lister(
        asker,
        [&heard](const Event& event) {
            heard.events.push_back(event);
            if (event.kind == EventKind::kEnd && event.entry.endMs > event.entry.startMs) {
                heard.entries.push_back(event.entry);
            }
        },
        maxFailures);
    const std::vector<int16_t> samples = samplesOf(script);
    for (std::span<const int16_t> rest = samples; !rest.empty();) {
        const auto piece = rest.first(std::min(pieceSamples, rest.size()));
        lister.add(piece);
        rest = rest.subspan(piece.size());
    }
    lister.finish();
    heard.windowsAsked = lister.windowsAsked();
    heard.windowsNotAsked = lister.windowsNotAsked();
    return heard;
}

// "a 0-60, unknown 60-100", seconds rounded.
inline std::string textOf(const std::vector<tarn::recognise::Entry>& entries) {
    using namespace tarn::recognise;
    std::string text;
    for (const Entry& entry : entries) {
        if (!text.empty()) text += ", ";
        if (entry.kind == EntryKind::kPiece) text += entry.match.trackId;
        if (entry.kind == EntryKind::kUnknown) text += "unknown";
        if (entry.kind == EntryKind::kSilence) text += "silence";
        if (entry.kind == EntryKind::kNotAsked) text += "not asked";
        text += " " + std::to_string((entry.startMs + 500) / 1000) + "-" + std::to_string((entry.endMs + 500) / 1000);
    }
    return text;
}

} // namespace kvxtest
