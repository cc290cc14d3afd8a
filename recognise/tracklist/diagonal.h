// SPDX-License-Identifier: Apache-2.0
// How the place in a recording moves with the time of the stream: a line through the answers of windows. Single places
// are up to 2 s off, mostly to one side, so the line is one of medians.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tarn::recognise {

class Diagonal {
  public:
    static constexpr size_t kMaxPoints = 64; // kept; every other one is dropped when there are more

    // Whether the place is where the recording would be now, give or take 2 s, at a speed within 3 %. True while there
    // is no point.
    bool agrees(int64_t streamMs, int64_t placeMs) const;
    void add(int64_t streamMs, int64_t placeMs);
    int count() const { return count_; }
    int64_t lastStreamMs() const { return last_.streamMs; }
    // Where the recording is at a time of the stream; below 0 before its start. There must be a point.
    double placeAt(double streamMs) const;
    // When the recording is at a place.
    double streamAt(double placeMs) const;
    // Places move that much faster than the stream, where that is clear.
    std::optional<double> clearSpeed() const;

  private:
    struct Point {
        int64_t streamMs = 0;
        int64_t placeMs = 0;
    };
    struct Line {
        double slope = 1;
        double placeMs = 0; // at stream 0
    };

    Line line() const;

    int count_ = 0;
    int step_ = 1; // every step_-th point is kept
    Point last_;
    std::vector<Point> points_;
};

} // namespace tarn::recognise
