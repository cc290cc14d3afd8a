// Audio preparation: 16-bit PCM in host order to mono at the engine's rate.
#include "handle.h"
#include "kvx.h"

#include <cstddef>
#include <cstring>
#include <limits>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

// Truncates; below 0 and not-a-number become 0, beyond the range its end.
uint32_t saturatedStep(float step) {
    constexpr float kRange = 4294967296.0F;
    if (!(step > 0.0F)) return 0;
    if (step >= kRange) return std::numeric_limits<uint32_t>::max();
    return static_cast<uint32_t>(step);
}

#if defined(__SSE2__)
// Four channel pairs to four means.
__m128i meansOf(const int16_t* pairs) {
    __m128i values;
    std::memcpy(&values, pairs, sizeof values);
    return _mm_srai_epi32(_mm_madd_epi16(values, _mm_set1_epi16(1)), 1);
}

// The first of each of four pairs.
__m128i lowerOfPairs(const int16_t* pairs) {
    __m128i values;
    std::memcpy(&values, pairs, sizeof values);
    return _mm_srai_epi32(_mm_slli_epi32(values, 16), 16);
}
#endif

// True when the resampler only picks samples: its steps are whole, and so is its position, which is at most one sample
// behind the input. (Behind by more when an output was full; and 32 bits run over after a day.)
bool picksSamples(const kvx::ResamplerState& state, uint32_t inputCount) {
    constexpr uint32_t kFarFromWrapping = 1U << 30;
    return state.stepFraction == 0 && state.fraction == 0 && state.stepWhole != 0 &&
           state.stepWhole < kFarFromWrapping && state.position < kFarFromWrapping && inputCount < kFarFromWrapping &&
           state.inputCount <= state.position + 1;
}

// Every step-th sample.
void pick(const int16_t* input, size_t step, size_t count, int16_t* output) {
    size_t i = 0;
#if defined(__SSE2__)
    for (; step == 2 && i + 8 < count; i += 8) { // 44100 Hz; the last pair may not be whole
        const __m128i samples = _mm_packs_epi32(lowerOfPairs(input + 2 * i), lowerOfPairs(input + 2 * i + 8));
        std::memcpy(output + i, &samples, sizeof samples);
    }
#endif
    for (; i < count; ++i) output[i] = input[i * step];
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
    const size_t frames = count / 2;
    size_t i = 0;
#if defined(__SSE2__)
    for (; i + 8 <= frames; i += 8) {
        const __m128i means = _mm_packs_epi32(meansOf(samples + 2 * i), meansOf(samples + 2 * i + 8));
        std::memcpy(samples + i, &means, sizeof means);
    }
#endif
    for (; i < frames; ++i) {
        const int32_t sum = samples[2 * i] + samples[2 * i + 1];
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
    if (picksSamples(state, static_cast<uint32_t>(inputCount))) {
        const auto count = static_cast<uint32_t>(inputCount);
        const bool first = state.inputCount > state.position; // the sample consumed last is yet to be written
        const uint32_t at = state.position + (first ? state.stepWhole : 0) - state.inputCount;
        // The last sample is consumed, but is for the next call to write.
        const uint32_t picked = at < count - 1 ? (count - 2 - at) / state.stepWhole + 1 : 0;
        const uint32_t written = picked + (first ? 1 : 0);
        if (written <= outputCapacity) {
            if (first) *output++ = state.lastSample;
            pick(input + at, state.stepWhole, picked, output);
            state.position += written * state.stepWhole;
            state.inputCount += count;
            state.lastSample = input[count - 1];
            return written;
        }
    }
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
