// SPDX-License-Identifier: Apache-2.0
#include "recognise/tracklist/track_lister.h"

#include <algorithm>
#include <utility>

namespace tarn::recognise {

namespace {

constexpr int64_t kMinAskedMs = 7'000;
// A window of less sound than this cannot be recognised.
constexpr int64_t kMinSoundMs = 4'000;

} // namespace

TrackLister::TrackLister(Asker& asker, EventListener listener, int maxFailures)
    : asker_(asker), maxFailures_(maxFailures), announcer_(std::move(listener)), borders_(asker, history_),
      gaps_(meter_, announcer_), pieces_(borders_, meter_, announcer_, gaps_) {}

void TrackLister::add(std::span<const int16_t> samples) {
    while (!samples.empty()) {
        const int64_t endMs = nextMs_ + kWindowMs;
        const auto wanted = static_cast<size_t>(samplesOfMs(endMs - history_.lengthMs()) + 1);
        const auto piece = samples.first(std::min(samples.size(), wanted));
        history_.add(piece);
        meter_.add(piece);
        samples = samples.subspan(piece.size());
        if (history_.lengthMs() < endMs) continue;
        look(nextMs_, endMs);
        nextMs_ += kHopMs;
    }
}

void TrackLister::look(int64_t startMs, int64_t endMs) {
    announcer_.hear(endMs);
    const Window window = windowAt(startMs, endMs);
    // A window stands for its middle.
    const Stretch stretch{answeredMs_, endMs - kHopMs};
    wasNotAsked_ = window.outcome == WindowOutcome::kNotAsked;
    if (wasNotAsked_) gaps_.notAsked(stretch, window.reason);
    answeredMs_ = stretch.endMs;
    pieces_.follow(window);
    meter_.forget(history_.startMs());
    gaps_.forget(history_.startMs());
}

Window TrackLister::windowAt(int64_t startMs, int64_t endMs) {
    Window window{startMs, endMs, WindowOutcome::kAnswered, {}, {}};
    if (endMs - startMs - meter_.silentMs(startMs, endMs) < kMinSoundMs) {
        window.outcome = WindowOutcome::kSilent;
        return window;
    }
    if (maxFailures_ == 0 || failures_ < maxFailures_) {
        try {
            window.answer = asker_.ask(history_.part(startMs, endMs));
            failures_ = 0;
            ++asked_;
            return window;
        } catch (const NoAnswer& error) {
            ++failures_;
            reason_ = error.what();
        }
    }
    ++notAsked_;
    window.outcome = WindowOutcome::kNotAsked;
    window.reason = reason_;
    return window;
}

// What no whole window covers is asked in a last one, which ends with the sound.
void TrackLister::finish() {
    const int64_t heardMs = history_.lengthMs();
    const int64_t coveredMs = nextMs_ == 0 ? 0 : nextMs_ - kHopMs + kWindowMs;
    announcer_.hear(heardMs);
    if (heardMs > coveredMs && heardMs >= kMinAskedMs) {
        const int64_t startMs = std::max<int64_t>(0, heardMs - kWindowMs) / 20 * 20;
        look(startMs, heardMs);
    }
    if (wasNotAsked_) gaps_.notAsked({answeredMs_, heardMs}, reason_);
    pieces_.finish(heardMs);
}

} // namespace tarn::recognise
