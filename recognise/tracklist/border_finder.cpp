// SPDX-License-Identifier: Apache-2.0
#include "recognise/tracklist/border_finder.h"

#include "recognise/tracklist/window.h"

#include <algorithm>
#include <cstdlib>

namespace tarn::recognise {

bool BorderFinder::names(const Identity& identity, int64_t startMs) {
    const auto samples = history_.part(startMs, startMs + kWindowMs);
    if (samples.empty()) return false;
    try {
        return identity.in(asker_.ask(samples)) != nullptr;
    } catch (const NoAnswer&) {
        return false; // the border stays as the windows that were asked have it
    }
}

int64_t BorderFinder::change(const Identity& identity, int64_t namedMs, int64_t unnamedMs) {
    while (std::abs(namedMs - unnamedMs) > kPrecisionMs) {
        const int64_t middleMs = (namedMs + unnamedMs) / 2 / 20 * 20; // a whole sample
        (names(identity, middleMs) ? namedMs : unnamedMs) = middleMs;
    }
    return namedMs;
}

int64_t BorderFinder::firstNamed(const Identity& identity, int64_t knownMs) {
    // A window before may name it beside another piece.
    constexpr int kMaxSteps = 3;
    for (int i = 0; i < kMaxSteps && knownMs > 0; ++i) {
        const int64_t earlierMs = std::max<int64_t>(0, knownMs - kHopMs);
        if (!names(identity, earlierMs)) return change(identity, knownMs, earlierMs);
        knownMs = earlierMs;
    }
    return knownMs;
}

int64_t BorderFinder::lastNamed(const Identity& identity, int64_t knownMs, int64_t unnamedMs) {
    return change(identity, knownMs, unnamedMs);
}

} // namespace tarn::recognise
