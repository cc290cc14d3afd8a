// SPDX-License-Identifier: Apache-2.0
// What the session asks of audio preparation beside the public functions.
#pragma once

#include "core/handle.h"

#include <cstdint>

namespace kvx {

// What KVXMixChannels and then KVXResample give, for frames of two channels. Only those are mixed that are asked for.
uint32_t mixAndResample(KVXHandle& handle, const int16_t* samples, int32_t frames, int16_t* output,
                        uint32_t outputCapacity);

} // namespace kvx
