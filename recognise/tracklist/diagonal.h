// SPDX-License-Identifier: Apache-2.0
// How the place in a recording moves with the time of the stream: a line through the answers of windows. Its memory does
// not grow.
#pragma once

#include <cstdint>
#include <optional>

namespace tarn::recognise {

class Diagonal {
  public:
    // Whether the place is where the recording would be now, give or take 2 s, at a speed within 3 %. True while there
    // is no point.
    bool agrees(int64_t streamMs, int64_t placeMs) const;
    void add(int64_t streamMs, int64_t placeMs);
    int count() const { return count_; }
    int64_t lastStreamMs() const { return lastStreamMs_; }
    // Where the recording is at a time of the stream; below 0 before its start. There must be a point.
    double placeAt(double streamMs) const;
    // When the recording is at a place.
    double streamAt(double placeMs) const;
    // Places move that much faster than the stream, where that is clear.
    std::optional<double> clearSpeed() const;

  private:
    double slope() const;

    int count_ = 0;
    int64_t firstStreamMs_ = 0;
    int64_t firstPlaceMs_ = 0;
    int64_t lastStreamMs_ = 0;
    int64_t lastPlaceMs_ = 0;
    // Sums over the points, counted from the first one, in seconds.
    double x_ = 0, y_ = 0, xx_ = 0, xy_ = 0, yy_ = 0;
};

} // namespace tarn::recognise
