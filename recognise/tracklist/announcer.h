// SPDX-License-Identifier: Apache-2.0
// Says what is found, and numbers it.
#pragma once

#include "recognise/tracklist/entry.h"

#include <utility>

namespace tarn::recognise {

class Announcer {
  public:
    explicit Announcer(EventListener listener) : listener_(std::move(listener)) {}

    void hear(int64_t upToMs) { heardMs_ = upToMs; }
    int64_t heardMs() const { return heardMs_; }

    // Gives the entry its number.
    void begin(Entry& entry) {
        entry.number = ++count_;
        say(EventKind::kBegin, entry);
    }
    void correct(const Entry& entry) { say(EventKind::kCorrection, entry); }
    void end(const Entry& entry) { say(EventKind::kEnd, entry); }

  private:
    void say(EventKind kind, const Entry& entry) {
        if (listener_) listener_({kind, heardMs_, entry});
    }

    EventListener listener_;
    int64_t heardMs_ = 0;
    uint64_t count_ = 0;
};

} // namespace tarn::recognise
