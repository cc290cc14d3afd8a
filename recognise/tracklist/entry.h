// SPDX-License-Identifier: Apache-2.0
// What a track list consists of, and what is said about it while the sound goes on. Times are milliseconds from the
// start of the stream.
#pragma once

#include "recognise/model/answer.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace tarn::recognise {

enum class EntryKind { kPiece, kUnknown, kSilence, kNotAsked };

// A stretch of the stream. Two pieces in a cross-fade overlap; nothing else does.
struct Entry {
    EntryKind kind = EntryKind::kUnknown;
    uint64_t number = 0; // from 1, in the order of beginning
    int64_t startMs = 0;
    int64_t endMs = 0;           // as far as it is known
    Match match;                 // of a piece; its offsetMs is the place in the recording at startMs
    std::optional<double> speed; // of a piece, where it is clear; 1.02: 2 % faster than the recording
    std::string reason;          // why it was not asked
};

enum class EventKind {
    kBegin,      // provisional: start, match and confidence may be corrected
    kCorrection, // of an entry that has begun
    kEnd,        // nothing more is said of this entry; it did not exist if endMs is startMs
};

struct Event {
    EventKind kind = EventKind::kBegin;
    int64_t atMs = 0; // how much of the stream had been heard
    Entry entry;
};

using EventListener = std::function<void(const Event&)>;

} // namespace tarn::recognise
