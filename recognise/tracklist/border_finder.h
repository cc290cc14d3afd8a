// SPDX-License-Identifier: Apache-2.0
// Finds where the answer changes by asking about further windows of the history.
#pragma once

#include "recognise/model/asker.h"
#include "recognise/tracklist/identity.h"
#include "recognise/tracklist/sample_history.h"

namespace tarn::recognise {

class BorderFinder {
  public:
    static constexpr int64_t kPrecisionMs = 500;

    // Both must outlive this.
    BorderFinder(Asker& asker, const SampleHistory& history) : asker_(asker), history_(history) {}

    // The start of the earliest window that names the recording; knownMs is the start of one that does.
    int64_t firstNamed(const Identity& identity, int64_t knownMs);
    // The start of the last window that names it; the window at unnamedMs does not.
    int64_t lastNamed(const Identity& identity, int64_t knownMs, int64_t unnamedMs);

  private:
    // Whether the window at that start names it. No, if it cannot be asked.
    bool names(const Identity& identity, int64_t startMs);
    // Halves the way between a window that names it and one that does not; gives the former.
    int64_t change(const Identity& identity, int64_t namedMs, int64_t unnamedMs);

    Asker& asker_;
    const SampleHistory& history_;
};

} // namespace tarn::recognise
