// SPDX-License-Identifier: Apache-2.0
// Audio preparation: its state in the handle, and what the session asks of it beside the public functions.
#pragma once

#include "kvx.h"

#include <cstdint>

namespace kvx {

// Linear interpolation at a 16.16 fixed-point read position that is never reset between calls.
struct ResamplerState {
    uint32_t inputCount;   // input samples consumed since initialisation
    uint32_t position;     // read position in input samples, integer part
    uint32_t fraction;     // its fractional part, 16 bits
    uint32_t stepWhole;    // input rate / output rate, integer part
    uint32_t stepFraction; // its fractional part, 16 bits
    int16_t lastSample;    // the input sample consumed last
};

// What KVXMixChannels and then KVXResample give, for frames of two channels. It mixes only the frames that the
// resampler reads.
uint32_t mixAndResample(KVXHandle& handle, const int16_t* samples, int32_t frames, int16_t* output,
                        uint32_t outputCapacity);

} // namespace kvx
