// SPDX-License-Identifier: Apache-2.0
#include "recognise/tracklist/gap_tracker.h"

#include <algorithm>

namespace tarn::recognise {

namespace {

// What is shorter is not named.
int64_t minMs(EntryKind kind) {
    if (kind == EntryKind::kNotAsked) return 1;
    return kind == EntryKind::kSilence ? LevelMeter::kMinSilenceMs : GapTracker::kMinUnknownMs;
}

} // namespace

void GapTracker::open(int64_t fromMs) {
    isOpen_ = true;
    atMs_ = fromMs;
    run_.reset();
}

void GapTracker::advance(int64_t toMs) {
    if (!isOpen_) return;
    for (; atMs_ < toMs; atMs_ = std::min(atMs_ + LevelMeter::kBlockMs, toMs)) {
        const Label label = labelAt(atMs_);
        if (run_ && run_->kind != label.kind) endRun(atMs_);
        if (!run_) beginRun(label);
    }
    if (run_) run_->endMs = atMs_;
    sayRun();
}

int64_t GapTracker::close(int64_t atMs) {
    if (!isOpen_) return 0;
    advance(atMs);
    isOpen_ = false;
    return run_ && isSaid_ ? run_->startMs : 0;
}

void GapTracker::settle(int64_t atMs) {
    if (isOpen_ || !run_) return;
    isOpen_ = true;
    advance(atMs);
    endRun(atMs);
    isOpen_ = false;
}

void GapTracker::notAsked(Stretch stretch, const std::string& reason) {
    if (!unasked_.empty() && unasked_.back().stretch.endMs == stretch.startMs && unasked_.back().reason == reason) {
        unasked_.back().stretch.endMs = stretch.endMs;
    } else {
        unasked_.push_back({stretch, reason});
    }
}

void GapTracker::forget(int64_t beforeMs) {
    while (!unasked_.empty() && unasked_.front().stretch.endMs < beforeMs) unasked_.pop_front();
}

GapTracker::Label GapTracker::labelAt(int64_t ms) const {
    if (meter_.isSilent(ms)) return {EntryKind::kSilence, nullptr};
    for (const Unasked& each : unasked_) {
        if (each.stretch.startMs <= ms && ms < each.stretch.endMs) return {EntryKind::kNotAsked, &each.reason};
    }
    return {EntryKind::kUnknown, nullptr};
}

void GapTracker::beginRun(const Label& label) {
    run_.emplace();
    run_->kind = label.kind;
    run_->startMs = atMs_;
    if (label.reason != nullptr) run_->reason = *label.reason;
    isSaid_ = false;
}

void GapTracker::sayRun() {
    if (!run_ || isSaid_) return;
    if (run_->endMs - run_->startMs < minMs(run_->kind)) return;
    announcer_.begin(*run_);
    isSaid_ = true;
}

void GapTracker::endRun(int64_t atMs) {
    run_->endMs = atMs;
    sayRun();
    // What has been said and turns out too short did not exist.
    if (atMs - run_->startMs < minMs(run_->kind)) run_->endMs = run_->startMs;
    if (isSaid_) announcer_.end(*run_);
    run_.reset();
}

} // namespace tarn::recognise
