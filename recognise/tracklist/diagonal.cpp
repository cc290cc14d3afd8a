// SPDX-License-Identifier: Apache-2.0
#include "recognise/tracklist/diagonal.h"

#include <algorithm>
#include <cmath>

namespace tarn::recognise {

namespace {

constexpr double kToleranceMs = 2000;
constexpr double kMaxDrift = 0.03;
// A line through fewer points, or a shorter time, is less sure than speed 1.
constexpr size_t kMinLinePoints = 8;
constexpr int64_t kMinLineMs = 28'000;
constexpr double kMinClearDeviation = 0.008;

double medianOf(std::vector<double>& values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

bool Diagonal::agrees(int64_t streamMs, int64_t placeMs) const {
    if (count_ == 0) return true;
    const auto passed = static_cast<double>(streamMs - last_.streamMs);
    const auto moved = static_cast<double>(placeMs - last_.placeMs);
    return std::abs(moved - passed) <= kToleranceMs + kMaxDrift * std::abs(passed);
}

void Diagonal::add(int64_t streamMs, int64_t placeMs) {
    last_ = {streamMs, placeMs};
    if (count_++ % step_ != 0) return;
    if (points_.size() == kMaxPoints) {
        for (size_t i = 0; i < kMaxPoints / 2; ++i) points_[i] = points_[2 * i];
        points_.resize(kMaxPoints / 2);
        step_ *= 2;
    }
    points_.push_back(last_);
}

// The median of the slopes between all pairs of points, and of the places that the points give for stream 0.
Diagonal::Line Diagonal::line() const {
    Line line;
    std::vector<double> values;
    const bool isLong =
        points_.size() >= kMinLinePoints && points_.back().streamMs - points_.front().streamMs >= kMinLineMs;
    if (isLong) {
        values.reserve(points_.size() * points_.size() / 2);
        for (size_t i = 0; i < points_.size(); ++i) {
            for (size_t j = i + 1; j < points_.size(); ++j) {
                values.push_back(static_cast<double>(points_[j].placeMs - points_[i].placeMs) /
                                 static_cast<double>(points_[j].streamMs - points_[i].streamMs));
            }
        }
        line.slope = std::clamp(medianOf(values), 1 - kMaxDrift, 1 + kMaxDrift);
        values.clear();
    }
    values.reserve(points_.size());
    for (const Point& point : points_) {
        values.push_back(static_cast<double>(point.placeMs) - line.slope * static_cast<double>(point.streamMs));
    }
    line.placeMs = medianOf(values);
    return line;
}

double Diagonal::placeAt(double streamMs) const {
    const Line line = this->line();
    return line.placeMs + line.slope * streamMs;
}

double Diagonal::streamAt(double placeMs) const {
    const Line line = this->line();
    return (placeMs - line.placeMs) / line.slope;
}

// The deviation from 1 is clear when it is eight times what the scatter of the points would make uncertain if they were
// independent, which they are not: windows overlap, and a passage has its own error.
std::optional<double> Diagonal::clearSpeed() const {
    if (points_.empty()) return std::nullopt;
    const Line line = this->line();
    if (line.slope == 1) return std::nullopt;
    std::vector<double> scatter;
    scatter.reserve(points_.size());
    for (const Point& point : points_) {
        scatter.push_back(std::abs(static_cast<double>(point.placeMs) - line.placeMs -
                                   line.slope * static_cast<double>(point.streamMs)));
    }
    // Of a slope through evenly spread points whose deviation is 1.5 times their median scatter.
    const auto spanMs = static_cast<double>(points_.back().streamMs - points_.front().streamMs);
    const double uncertainty = 1.5 * medianOf(scatter) * std::sqrt(12.0 / static_cast<double>(points_.size())) / spanMs;
    if (std::abs(line.slope - 1) < std::max(kMinClearDeviation, 8 * uncertainty)) return std::nullopt;
    return line.slope;
}

} // namespace tarn::recognise
