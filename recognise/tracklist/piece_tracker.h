// SPDX-License-Identifier: Apache-2.0
// Follows which recording plays, from window to window, and says when one begins, is known better, and ends.
#pragma once

#include "recognise/tracklist/gap_tracker.h"
#include "recognise/tracklist/playing_piece.h"

#include <optional>

namespace tarn::recognise {

class PieceTracker {
  public:
    // A match of this confidence is sure by itself; otherwise two windows must name the recording on one diagonal, or
    // two at all where the server gives no places. (An answer has 85 or more.)
    static constexpr int kSureConfidence = 99;
    // A recording that is not heard for so long has ended; one that comes back before is one piece with a drop-out.
    static constexpr int64_t kGoneMs = 30'000;
    // A piece that began before that has been named by now.
    static constexpr int64_t kSettledMs = 24'000;

    // All must outlive this.
    PieceTracker(BorderFinder& borders, const LevelMeter& meter, Announcer& announcer, GapTracker& gaps)
        : borders_(borders), meter_(meter), announcer_(announcer), gaps_(gaps) {}

    // Windows rise by kHopMs.
    void follow(const Window& window);
    void finish(int64_t streamMs);

  private:
    struct Candidate {
        Identity identity;
        Match match;
        int64_t firstWindowMs = 0;
        Diagonal line;
        bool isSure = false;
    };

    void hear(const Window& window);
    void hearPlaying(const Match& match, bool isBest, const Window& window);
    void consider(const Match& best, const Window& window);
    void begin(const Window& window);
    void beginAnew(const Match& match, const Diagonal& line, const Window& window);
    void endPlaying(const Window& window);

    BorderFinder& borders_;
    const LevelMeter& meter_;
    Announcer& announcer_;
    GapTracker& gaps_;
    std::optional<PlayingPiece> playing_;
    int corrections_ = 0; // of what plays, windows that were looked at for one
    std::optional<Candidate> candidate_;
    Identity ended_; // what played before
    int64_t endedMs_ = 0;
};

} // namespace tarn::recognise
