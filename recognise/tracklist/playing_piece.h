// SPDX-License-Identifier: Apache-2.0
// A recording that plays, and where it starts and ends in the stream.
#pragma once

#include "recognise/tracklist/border_finder.h"
#include "recognise/tracklist/diagonal.h"
#include "recognise/tracklist/entry.h"
#include "recognise/tracklist/level_meter.h"
#include "recognise/tracklist/window.h"

#include <optional>

namespace tarn::recognise {

// How long a piece has sounded when a window first names it, and still sounds after the start of the last window that
// names it: 6 s where it is cut, 11 s in a cross-fade of 10 s, on average. This is the middle for cross-fades of 2 to
// 10 s; a piece that is cut in is given 3 s too early, unless its diagonal or a silence shows where it starts.
constexpr int64_t kHeardMs = 9'500;

class PlayingPiece {
  public:
    // match: of the window that begins at windowMs. firstNamedMs: the start of the first window that names it. Its
    // start is an estimate until fix() has the line.
    PlayingPiece(const Match& match, int64_t windowMs, int64_t firstNamedMs, const LevelMeter& meter);
    // The recording begins anew.
    PlayingPiece(const Match& match, const Diagonal& line, int64_t windowMs);

    const Identity& identity() const { return identity_; }
    Entry& entry() { return entry_; }
    const Entry& entry() const { return entry_; }
    int64_t lastWindowMs() const { return lastWindowMs_; } // the start of the last window that named it

    void hear(int64_t windowMs) { lastWindowMs_ = windowMs; }
    // A window whose best match it is.
    void hearBest(const Match& match, int64_t windowMs);
    // The line on which the recording began anew while it played, if it did.
    std::optional<Diagonal> repetition() const;

    // Sets start and place by what is known by now. Whether they changed by more than kWorthSayingMs.
    static constexpr int64_t kWorthSayingMs = 500;
    bool fix();
    // It cannot have begun before.
    void setEarliest(int64_t earliestMs);
    // Sets the end, and the speed. lastNamedMs: the start of the last window that names it; heardMs: of the stream.
    void end(int64_t lastNamedMs, int64_t heardMs);
    // The stream ends while it plays.
    void endWithStream(int64_t heardMs);

  private:
    int64_t startMs() const;
    std::optional<int64_t> ownEndMs() const;
    void setPlace();
    void setSpeed();
    void addPoint(int64_t windowMs, int64_t placeMs);

    const LevelMeter* meter_ = nullptr; // null: the start is known
    Identity identity_;
    Entry entry_;
    int64_t earliestMs_ = 0;
    int64_t firstNamedMs_ = 0;
    int64_t lastWindowMs_ = 0;
    Diagonal line_;    // as it plays now
    Diagonal longest_; // of those before; it jumped
    Diagonal jump_;    // off the line, perhaps
    bool isFixed_ = false;
};

} // namespace tarn::recognise
