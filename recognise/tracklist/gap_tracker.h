// SPDX-License-Identifier: Apache-2.0
// Names what lies between pieces: silence, unknown sound, and what could not be asked.
#pragma once

#include "recognise/tracklist/announcer.h"
#include "recognise/tracklist/level_meter.h"

#include <deque>
#include <optional>
#include <string>

namespace tarn::recognise {

class GapTracker {
  public:
    // Shorter stretches of unknown sound are not named: they are the ends of the pieces beside them.
    static constexpr int64_t kMinUnknownMs = 10'000;

    // Both must outlive this. A gap is open from the start of the stream on.
    GapTracker(const LevelMeter& meter, Announcer& announcer) : meter_(meter), announcer_(announcer) {}

    // No piece plays from then on.
    void open(int64_t fromMs);
    // No piece has begun before.
    void advance(int64_t toMs);
    // A piece begins, or the stream ends. Gives the earliest time at which the piece may have begun: what lies before
    // has been named and has ended.
    int64_t close(int64_t atMs);
    // When it did begin, as far as is known at its end; until then, what was named last before it has no end.
    void settle(int64_t atMs);

    // Stretches rise.
    void notAsked(Stretch stretch, const std::string& reason);
    void forget(int64_t beforeMs);

  private:
    struct Label {
        EntryKind kind = EntryKind::kUnknown;
        const std::string* reason = nullptr;
    };
    struct Unasked {
        Stretch stretch;
        std::string reason;
    };

    Label labelAt(int64_t ms) const;
    void beginRun(const Label& label);
    void sayRun();
    void endRun(int64_t atMs);

    const LevelMeter& meter_;
    Announcer& announcer_;
    bool isOpen_ = true;
    int64_t atMs_ = 0; // labelled up to here
    std::optional<Entry> run_;
    bool isSaid_ = false;
    std::deque<Unasked> unasked_;
};

} // namespace tarn::recognise
