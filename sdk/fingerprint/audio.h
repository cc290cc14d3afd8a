// What the session asks of audio preparation beside the public functions.
#pragma once

#include "handle.h"

#include <cstdint>

namespace kvx {

// KVXMixChannels and then KVXResample, for frames of two channels; samples is changed in part. Where no sample is
// interpolated, as at 44100 Hz, only those are mixed that the resampler picks.
uint32_t mixAndResample(KVXHandle& handle, int16_t* samples, int32_t frames, int16_t* output, uint32_t outputCapacity);

} // namespace kvx
