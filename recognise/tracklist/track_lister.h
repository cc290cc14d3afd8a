// SPDX-License-Identifier: Apache-2.0
// Makes a track list of sound that comes piece by piece: a file or a live stream. Its memory does not grow with the
// length of the sound.
#pragma once

#include "recognise/tracklist/piece_tracker.h"

#include <cstdint>
#include <span>
#include <string>

namespace tarn::recognise {

class TrackLister {
  public:
    // asker: must outlive this. listener hears everything, in the order in which it becomes known. After maxFailures
    // windows in a row without an answer, no further one is asked; 0: it never gives up.
    TrackLister(Asker& asker, EventListener listener, int maxFailures = 0);

    // Mono, 22050 Hz. What is found is said before it returns.
    void add(std::span<const int16_t> samples);
    // The sound has ended.
    void finish();

    int64_t heardMs() const { return history_.lengthMs(); }
    size_t keptSamples() const { return history_.keptSamples(); }
    uint64_t windowsAsked() const { return asked_; }
    uint64_t windowsNotAsked() const { return notAsked_; }
    // Why the last window that was not asked was not.
    const std::string& reason() const { return reason_; }

  private:
    void look(int64_t startMs, int64_t endMs);
    Window windowAt(int64_t startMs, int64_t endMs);

    Asker& asker_;
    int maxFailures_;
    SampleHistory history_;
    LevelMeter meter_;
    Announcer announcer_;
    BorderFinder borders_;
    GapTracker gaps_;
    PieceTracker pieces_;
    int64_t nextMs_ = 0;       // the start of the next window
    int64_t answeredMs_ = 0;   // windows stand for the stream up to here
    bool wasNotAsked_ = false; // the last window
    int failures_ = 0;         // in a row
    uint64_t asked_ = 0;
    uint64_t notAsked_ = 0;
    std::string reason_;
};

} // namespace tarn::recognise
