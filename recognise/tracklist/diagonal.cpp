// SPDX-License-Identifier: Apache-2.0
#include "recognise/tracklist/diagonal.h"

#include <algorithm>
#include <cmath>

namespace tarn::recognise {

namespace {

constexpr double kToleranceMs = 2000;
constexpr double kMaxDrift = 0.03;
// Places are 0.4 s off at most in nine of ten windows, so that a line is worth more than speed 1 from here on.
constexpr int kMinLinePoints = 8;
constexpr double kMinLineSeconds = 28;
constexpr double kMinClearDeviation = 0.004;

} // namespace

bool Diagonal::agrees(int64_t streamMs, int64_t placeMs) const {
    if (count_ == 0) return true;
    const auto passed = static_cast<double>(streamMs - lastStreamMs_);
    const auto moved = static_cast<double>(placeMs - lastPlaceMs_);
    return std::abs(moved - passed) <= kToleranceMs + kMaxDrift * std::abs(passed);
}

void Diagonal::add(int64_t streamMs, int64_t placeMs) {
    if (count_++ == 0) {
        firstStreamMs_ = streamMs;
        firstPlaceMs_ = placeMs;
    }
    lastStreamMs_ = streamMs;
    lastPlaceMs_ = placeMs;
    const double x = static_cast<double>(streamMs - firstStreamMs_) / 1000;
    const double y = static_cast<double>(placeMs - firstPlaceMs_) / 1000;
    x_ += x;
    y_ += y;
    xx_ += x * x;
    xy_ += x * y;
    yy_ += y * y;
}

double Diagonal::slope() const {
    if (count_ < kMinLinePoints || static_cast<double>(lastStreamMs_ - firstStreamMs_) < kMinLineSeconds * 1000) {
        return 1;
    }
    return std::clamp((count_ * xy_ - x_ * y_) / (count_ * xx_ - x_ * x_), 1 - kMaxDrift, 1 + kMaxDrift);
}

double Diagonal::placeAt(double streamMs) const {
    const double x = (streamMs - static_cast<double>(firstStreamMs_)) / 1000;
    const double y = y_ / count_ + slope() * (x - x_ / count_);
    return static_cast<double>(firstPlaceMs_) + y * 1000;
}

double Diagonal::streamAt(double placeMs) const {
    const double y = (placeMs - static_cast<double>(firstPlaceMs_)) / 1000;
    const double x = x_ / count_ + (y - y_ / count_) / slope();
    return static_cast<double>(firstStreamMs_) + x * 1000;
}

// The deviation from 1 is clear when it is three times its own uncertainty.
std::optional<double> Diagonal::clearSpeed() const {
    const double line = slope();
    if (line == 1) return std::nullopt;
    const double spreadX = xx_ - x_ * x_ / count_;
    const double spreadY = yy_ - y_ * y_ / count_;
    const double left = std::max(0.0, spreadY - line * line * spreadX);
    const double uncertainty = std::sqrt(left / (count_ - 2) / spreadX);
    if (std::abs(line - 1) < std::max(kMinClearDeviation, 3 * uncertainty)) return std::nullopt;
    return line;
}

} // namespace tarn::recognise
