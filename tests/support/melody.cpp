// SPDX-License-Identifier: Apache-2.0
#include "support/melody.h"

#include <cmath>
#include <numbers>
#include <random>

namespace kvxtest {

std::vector<int16_t> melody(uint32_t seed, uint32_t seconds) {
    constexpr double kRateHz = 22050.0;
    std::mt19937 dice(seed); // the same numbers from every library; its distributions are not, so none is used
    const auto roll = [&](uint32_t sides) { return static_cast<int>(dice() % sides); };
    const size_t length = size_t{seconds} * 22050;
    std::vector<float> sum(length, 0.0F);
    for (int voice = 0; voice < 3; ++voice) {
        const double unitSeconds = 0.12 + 0.01 * roll(9);
        for (size_t at = 0; at < length;) {
            const auto noteLength = static_cast<size_t>(unitSeconds * kRateHz * (1 + roll(4)));
            const double hertz = 110.0 * std::exp2((voice * 12 + roll(15)) / 12.0);
            const double level = 1500.0 + roll(3000);
            const int colour = roll(3); // which overtones are loud
            for (size_t i = 0; i < noteLength && at + i < length; ++i) {
                const double fade = 1.0 - static_cast<double>(i) / static_cast<double>(noteLength);
                const double phase = 2.0 * std::numbers::pi * hertz * static_cast<double>(i) / kRateHz;
                sum[at + i] += static_cast<float>(
                    level * fade *
                    (std::sin(phase) + 0.3 * colour * std::sin(2 * phase) + 0.4 * (2 - colour) * std::sin(3 * phase)));
            }
            at += noteLength;
        }
    }
    std::vector<int16_t> samples(length);
    for (size_t i = 0; i < length; ++i) samples[i] = static_cast<int16_t>(sum[i]);
    return samples;
}

} // namespace kvxtest
