// SPDX-License-Identifier: Apache-2.0
#include "recognise/tracklist/piece_tracker.h"

#include <algorithm>

namespace tarn::recognise {

namespace {

// Windows after which start and place are looked at again: the first that lie within the recording, then a few.
constexpr int kFirstLook = 3;
constexpr int kSecondLook = 8;

} // namespace

void PieceTracker::follow(const Window& window) {
    if (window.outcome == WindowOutcome::kAnswered) hear(window);
    if (playing_ && window.startMs - playing_->lastWindowMs() > kGoneMs) endPlaying(window);
    if (!playing_) gaps_.advance(window.endMs - kSettledMs);
}

void PieceTracker::hear(const Window& window) {
    if (window.answer.matches.empty()) return;
    const Match& best = window.answer.matches.front();
    const Match* match = playing_ ? playing_->identity().in(window.answer) : nullptr;
    if (match != nullptr) hearPlaying(*match, match == &best, window);
    if (match == &best) {
        candidate_.reset();
    } else {
        consider(best, window);
    }
}

void PieceTracker::hearPlaying(const Match& match, bool isBest, const Window& window) {
    if (!isBest) return playing_->hear(window.startMs);
    playing_->hearBest(match, window.startMs);
    if (const auto line = playing_->repetition()) return beginAnew(match, *line, window);
    ++corrections_;
    if (corrections_ != kFirstLook && corrections_ != kSecondLook) return;
    if (playing_->fix()) announcer_.correct(playing_->entry());
    if (corrections_ == kSecondLook) gaps_.settle(playing_->entry().startMs);
}

void PieceTracker::consider(const Match& best, const Window& window) {
    // The end of what played before sounds on in this window.
    if (window.startMs < endedMs_ && ended_.isOf(best)) return;
    const bool isFirst = !candidate_ || !candidate_->identity.isOf(best);
    if (isFirst) candidate_ = Candidate{Identity(best), best, window.startMs, {}, false};
    candidate_->identity.add(best);
    candidate_->match = best;
    candidate_->isSure = best.confidence >= kSureConfidence || (!isFirst && !best.offsetMs);
    if (best.offsetMs) {
        const auto placeMs = static_cast<int64_t>(*best.offsetMs);
        // The first place may be that of a window that begins before the piece.
        if (!isFirst && candidate_->line.count() > 0 && candidate_->line.agrees(window.startMs, placeMs)) {
            candidate_->isSure = true;
        }
        candidate_->line = Diagonal();
        candidate_->line.add(window.startMs, placeMs);
    }
    if (candidate_->isSure) begin(window);
}

void PieceTracker::begin(const Window& window) {
    const int64_t firstNamedMs = borders_.firstNamed(candidate_->identity, candidate_->firstWindowMs);
    PlayingPiece piece(candidate_->match, window.startMs, firstNamedMs, meter_);
    int64_t earliestMs = 0;
    if (playing_) {
        earliestMs = playing_->entry().startMs + 1;
        endPlaying(window);
    }
    piece.setEarliest(std::max(earliestMs, gaps_.close(piece.entry().startMs)));
    piece.entry().endMs = window.endMs;
    playing_ = std::move(piece);
    corrections_ = 0;
    candidate_.reset();
    announcer_.begin(playing_->entry());
}

void PieceTracker::beginAnew(const Match& match, const Diagonal& line, const Window& window) {
    PlayingPiece piece(match, line, window.startMs);
    playing_->end(piece.entry().startMs - kHeardMs, piece.entry().startMs);
    gaps_.settle(playing_->entry().startMs);
    announcer_.end(playing_->entry());
    piece.entry().endMs = window.endMs;
    playing_ = std::move(piece);
    corrections_ = 0;
    announcer_.begin(playing_->entry());
}

void PieceTracker::endPlaying(const Window& window) {
    int64_t lastMs = playing_->lastWindowMs();
    if (lastMs < window.startMs) lastMs = borders_.lastNamed(playing_->identity(), lastMs, lastMs + kHopMs);
    playing_->end(lastMs, window.endMs);
    gaps_.settle(playing_->entry().startMs);
    announcer_.end(playing_->entry());
    ended_ = playing_->identity();
    endedMs_ = playing_->entry().endMs;
    gaps_.open(endedMs_);
    playing_.reset();
}

void PieceTracker::finish(int64_t streamMs) {
    if (playing_) {
        const int64_t lastMs = playing_->lastWindowMs();
        if (lastMs + kWindowMs + kHopMs > streamMs) {
            playing_->endWithStream(streamMs);
        } else {
            playing_->end(borders_.lastNamed(playing_->identity(), lastMs, lastMs + kHopMs), streamMs);
        }
        gaps_.settle(playing_->entry().startMs);
        announcer_.end(playing_->entry());
        gaps_.open(playing_->entry().endMs);
        playing_.reset();
    }
    gaps_.close(streamMs);
    gaps_.settle(streamMs);
}

} // namespace tarn::recognise
