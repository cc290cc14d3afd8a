// SPDX-License-Identifier: Apache-2.0
// The factors of the transforms.
#pragma once

#include <cmath>

namespace kvx {

constexpr float kPi = 3.14159265358979323846F;

// e^{i theta k}, from k to k + 1 by a recurrence that loses little in single precision. The sine is the C library's.
class Twiddle {
  public:
    explicit Twiddle(float theta) : stepImaginary_(std::sin(theta)) {
        const float half = std::sin(theta / 2.0F);
        stepReal_ = -2.0F * (half * half);
    }
    float real() const { return real_; }
    float imaginary() const { return imaginary_; }
    void advance() {
        const float real = real_;
        real_ = real * stepReal_ - imaginary_ * stepImaginary_ + real;
        imaginary_ = imaginary_ * stepReal_ + real * stepImaginary_ + imaginary_;
    }

  private:
    float stepReal_ = 0.0F;
    float stepImaginary_;
    float real_ = 1.0F;
    float imaginary_ = 0.0F;
};

} // namespace kvx
