// SPDX-License-Identifier: Apache-2.0
#include "recognise/tracklist/playing_piece.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace tarn::recognise {

namespace {

// A recording that would start so much before or after the estimate, or end so near it, does so: see kHeardMs. Pieces
// begin with their own start more often than they are played to their end.
constexpr int64_t kMaxOwnEndMs = 5'000;
constexpr int64_t kMaxEarlyMs = 9'000;
constexpr int64_t kMaxLateMs = 6'000;
// A silence that ends so long before a piece is named is the silence before it.
constexpr int64_t kMinSoundMs = 3'000;
constexpr int64_t kMaxSoundMs = 13'000;
// A line of this many places leads to the start.
constexpr int kMinStartPoints = 3;
// Less of a recording than this is no playing of its own before it begins anew.
constexpr int64_t kMinBeforeRepetitionMs = 20'000;

} // namespace

PlayingPiece::PlayingPiece(const Match& match, int64_t windowMs, int64_t firstNamedMs, const LevelMeter& meter)
    : meter_(&meter), identity_(match), firstNamedMs_(firstNamedMs), lastWindowMs_(windowMs) {
    entry_.kind = EntryKind::kPiece;
    entry_.match = match;
    if (match.offsetMs) addPoint(windowMs, static_cast<int64_t>(*match.offsetMs));
    entry_.startMs = startMs();
    setPlace();
    if (windowMs < entry_.startMs) line_ = Diagonal(); // the window begins before the recording: its place is a guess
}

PlayingPiece::PlayingPiece(const Match& match, const Diagonal& line, int64_t windowMs)
    : identity_(match), lastWindowMs_(windowMs), line_(line), isFixed_(true) {
    entry_.kind = EntryKind::kPiece;
    entry_.match = match;
    entry_.startMs = std::llround(line.streamAt(0));
    setPlace();
}

// A window that begins before the recording has place 0, wherever in the window the recording begins.
void PlayingPiece::addPoint(int64_t windowMs, int64_t placeMs) {
    if (placeMs > 0 || windowMs == 0) line_.add(windowMs, placeMs);
}

void PlayingPiece::hearBest(const Match& match, int64_t windowMs) {
    hear(windowMs);
    identity_.add(match);
    entry_.match.confidence = std::max(entry_.match.confidence, match.confidence);
    if (!match.offsetMs || *match.offsetMs == 0 || keyOf(match) != keyOf(entry_.match)) return;
    if (windowMs < entry_.startMs) return;
    const auto placeMs = static_cast<int64_t>(*match.offsetMs);
    if (line_.agrees(windowMs, placeMs)) {
        addPoint(windowMs, placeMs);
        jump_ = Diagonal();
    } else if (jump_.count() > 0 && jump_.agrees(windowMs, placeMs)) {
        jump_.add(windowMs, placeMs);
        if (repetition()) return;
        // A line of few places was that of a window with another piece in it.
        if (line_.count() >= kMinStartPoints) isFixed_ = true; // the new line does not lead to the start
        if (line_.count() > longest_.count()) longest_ = line_;
        line_ = jump_;
        jump_ = Diagonal();
    } else {
        jump_ = Diagonal();
        jump_.add(windowMs, placeMs);
    }
}

std::optional<Diagonal> PlayingPiece::repetition() const {
    if (jump_.count() < 2) return std::nullopt;
    const int64_t zeroMs = std::llround(jump_.streamAt(0));
    if (zeroMs < line_.lastStreamMs() || zeroMs < entry_.startMs + kMinBeforeRepetitionMs) return std::nullopt;
    return jump_;
}

int64_t PlayingPiece::startMs() const {
    const int64_t namedMs = firstNamedMs_ + kWindowMs;
    const int64_t estimateMs = firstNamedMs_ == 0 ? 0 : std::max<int64_t>(0, namedMs - kHeardMs);
    if (const auto end = meter_->lastEnd(namedMs - kMaxSoundMs, namedMs - kMinSoundMs)) return *end;
    if (line_.count() > 0) {
        const int64_t zeroMs = std::llround(line_.streamAt(0));
        if (zeroMs >= estimateMs - kMaxEarlyMs && zeroMs <= estimateMs + kMaxLateMs)
            return std::max<int64_t>(0, zeroMs);
    }
    return estimateMs;
}

void PlayingPiece::setPlace() {
    if (line_.count() == 0) return;
    const double placeMs = line_.placeAt(static_cast<double>(entry_.startMs));
    entry_.match.offsetMs = static_cast<uint64_t>(std::max(0.0, std::round(placeMs)));
}

bool PlayingPiece::fix() {
    if (isFixed_ || line_.count() == 0) return false;
    const int64_t startBefore = entry_.startMs;
    const auto placeBefore = static_cast<int64_t>(entry_.match.offsetMs.value_or(0));
    entry_.startMs = std::max(startMs(), earliestMs_);
    setPlace();
    const auto place = static_cast<int64_t>(entry_.match.offsetMs.value_or(0));
    return std::abs(entry_.startMs - startBefore) > kWorthSayingMs ||
           std::abs(place - placeBefore - (entry_.startMs - startBefore)) > kWorthSayingMs;
}

void PlayingPiece::setEarliest(int64_t earliestMs) {
    earliestMs_ = earliestMs;
    if (entry_.startMs >= earliestMs) return;
    entry_.startMs = earliestMs;
    setPlace();
}

std::optional<int64_t> PlayingPiece::ownEndMs() const {
    if (!entry_.match.durationMs || line_.count() == 0) return std::nullopt;
    return std::llround(line_.streamAt(static_cast<double>(*entry_.match.durationMs)));
}

void PlayingPiece::setSpeed() { entry_.speed = (longest_.count() > line_.count() ? longest_ : line_).clearSpeed(); }

void PlayingPiece::end(int64_t lastNamedMs, int64_t heardMs) {
    fix();
    setSpeed();
    int64_t endMs = lastNamedMs + kHeardMs;
    const auto own = ownEndMs();
    const auto silent =
        meter_ == nullptr ? std::nullopt : meter_->firstStart(lastNamedMs + kMinSoundMs, lastNamedMs + kMaxSoundMs);
    if (silent) {
        endMs = *silent;
    } else if (own && std::abs(*own - endMs) <= kMaxOwnEndMs) {
        endMs = *own;
    }
    entry_.endMs = std::max(entry_.startMs + 1, std::min(endMs, heardMs));
}

void PlayingPiece::endWithStream(int64_t heardMs) {
    fix();
    setSpeed();
    const auto own = ownEndMs();
    const bool isDone = own && *own<heardMs&& * own> lastWindowMs_ + kMinSoundMs;
    entry_.endMs = std::max(entry_.startMs + 1, isDone ? *own : heardMs);
}

} // namespace tarn::recognise
