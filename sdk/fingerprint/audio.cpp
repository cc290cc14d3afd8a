// Audio preparation: 16-bit PCM in host order to mono at the engine's rate.
#include "handle.h"
#include "kvx.h"

#include <cstddef>
#include <limits>

namespace {

// Truncates; below 0 and not-a-number become 0, beyond the range its end.
uint32_t saturatedStep(float step) {
    constexpr float kRange = 4294967296.0F;
    if (!(step > 0.0F)) return 0;
    if (step >= kRange) return std::numeric_limits<uint32_t>::max();
    return static_cast<uint32_t>(step);
}

} // namespace

extern "C" {

void* KVXEndianBufferCopy(void* destination, const void* source, int32_t count, uint32_t elementSize) {
    // Swaps nothing on purpose: samples are in host order.
    if (count <= 0 || elementSize == 0) return destination;
    const auto bytes = static_cast<uint32_t>(count);
    KVXMemCopy(destination, source, bytes / elementSize * elementSize);
    return destination;
}

void KVXMixChannels(int16_t* samples, uint32_t count) {
    for (uint32_t i = 0; i < count / 2; ++i) {
        const int32_t sum = samples[2 * static_cast<size_t>(i)] + samples[2 * static_cast<size_t>(i) + 1];
        samples[i] = static_cast<int16_t>(sum >> 1); // toward minus infinity
    }
}

int32_t KVXResamplerInit(KVXHandle* handle, int32_t inputRateHz, int32_t outputRateHz) {
    if (handle == nullptr) return -1;
    const float ratio = static_cast<float>(inputRateHz) / static_cast<float>(outputRateHz);
    const uint32_t step = saturatedStep(ratio * 65536.0F);
    handle->resampler = kvx::ResamplerState{};
    handle->resampler.stepWhole = step >> 16;
    handle->resampler.stepFraction = step & 0xffff;
    return 0;
}

uint32_t KVXResample(KVXHandle* handle, const int16_t* input, int16_t* output, int32_t inputCount,
                     uint32_t outputCapacity) {
    if (handle == nullptr || inputCount <= 0) return 0;
    constexpr float kOneOver65536 = 1.5258789e-5F;
    kvx::ResamplerState& state = handle->resampler;
    int16_t previous = state.lastSample;
    uint32_t written = 0;
    int32_t next = 0; // the first input sample not consumed
    for (;;) {
        if (state.inputCount > state.position) {
            if (written == outputCapacity) return outputCapacity; // what is left of the input is dropped
            const float t = static_cast<float>(state.fraction) * kOneOver65536;
            const float y = (1.0F - t) * static_cast<float>(previous) + t * static_cast<float>(input[next]);
            output[written++] = static_cast<int16_t>(y);
            state.fraction += state.stepFraction;
            state.position += (state.fraction >> 16) + state.stepWhole;
            state.fraction &= 0xffff;
        } else {
            previous = input[next++];
            ++state.inputCount;
            if (next == inputCount) {
                state.lastSample = previous;
                return written;
            }
        }
    }
}

} // extern "C"
