// Audio preparation: 16-bit PCM in host order to mono at the engine's rate.
#include "fingerprint/audio.h"

#include "handle.h"
#include "kvx.h"

#include <algorithm>
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

// Toward minus infinity.
int16_t meanOf(const int16_t* pair) { return static_cast<int16_t>((pair[0] + pair[1]) >> 1); }

#if defined(__SSE2__)
__m128i load(const int16_t* samples) {
    __m128i values;
    std::memcpy(&values, samples, sizeof values);
    return values;
}

// Four channel pairs to four means.
__m128i meansOf(__m128i pairs) { return _mm_srai_epi32(_mm_madd_epi16(pairs, _mm_set1_epi16(1)), 1); }

// The first of each two of eight channel pairs.
__m128i everyOther(const int16_t* pairs) {
    const __m128 low = _mm_castsi128_ps(load(pairs));
    const __m128 high = _mm_castsi128_ps(load(pairs + 8));
    return _mm_castps_si128(_mm_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0)));
}

// The first of each four pairs of samples.
__m128i firstOfPairs(const int16_t* pairs) { return _mm_srai_epi32(_mm_slli_epi32(load(pairs), 16), 16); }
#endif

// The samples that a call of the resampler writes where it interpolates none: its steps are whole, and so is its
// position.
class Picks {
  public:
    Picks(kvx::ResamplerState& state, int32_t inputCount, uint32_t outputCapacity)
        : state_(state), inputCount_(static_cast<uint32_t>(inputCount)) {
        constexpr uint32_t kFarFromWrapping = 1U << 30; // 32 bits run over after a day
        if (state.stepFraction != 0 || state.fraction != 0 || state.stepWhole == 0) return;
        if (std::max({state.stepWhole, state.position, inputCount_}) >= kFarFromWrapping) return;
        if (state.inputCount > state.position + 1) return; // an output was full, and samples are due again
        before_ = state.inputCount == state.position + 1;
        first_ = state.position + (before_ ? state.stepWhole : 0) - state.inputCount;
        // The last sample is consumed, but is for the next call to write.
        count_ = first_ + 1 < inputCount_ ? (inputCount_ - 2 - first_) / state.stepWhole + 1 : 0;
        possible_ = written() <= outputCapacity;
    }
    // False: the general form is needed, be it because the output will be full.
    bool possible() const { return possible_; }
    bool before() const { return before_; } // the sample consumed last comes before all others
    size_t first() const { return first_; } // index in the input
    size_t step() const { return state_.stepWhole; }
    size_t count() const { return count_; } // of samples from the input
    uint32_t written() const { return count_ + (before_ ? 1 : 0); }
    // Leaves the state that the general form would.
    void consume(int16_t lastSample) {
        state_.position += written() * state_.stepWhole;
        state_.inputCount += inputCount_;
        state_.lastSample = lastSample;
    }

  private:
    kvx::ResamplerState& state_;
    uint32_t inputCount_;
    bool possible_ = false;
    bool before_ = false;
    uint32_t first_ = 0;
    uint32_t count_ = 0;
};

void pick(const Picks& picks, const int16_t* input, int16_t* output) {
    input += picks.first();
    size_t i = 0;
#if defined(__SSE2__)
    for (; picks.step() == 2 && i + 8 < picks.count(); i += 8) { // the last pair may not be whole
        const __m128i samples = _mm_packs_epi32(firstOfPairs(input + 2 * i), firstOfPairs(input + 2 * i + 8));
        std::memcpy(output + i, &samples, sizeof samples);
    }
#endif
    for (; i < picks.count(); ++i) output[i] = input[i * picks.step()];
}

// The same of frames of two channels, mixed.
void pickMixed(const Picks& picks, const int16_t* input, int16_t* output) {
    input += 2 * picks.first();
    size_t i = 0;
#if defined(__SSE2__)
    for (; picks.step() == 2 && i + 8 < picks.count(); i += 8) {
        const int16_t* frames = input + 4 * i;
        const __m128i samples = _mm_packs_epi32(meansOf(everyOther(frames)), meansOf(everyOther(frames + 16)));
        std::memcpy(output + i, &samples, sizeof samples);
    }
#endif
    for (; i < picks.count(); ++i) output[i] = meanOf(input + 2 * i * picks.step());
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
        const __m128i means = _mm_packs_epi32(meansOf(load(samples + 2 * i)), meansOf(load(samples + 2 * i + 8)));
        std::memcpy(samples + i, &means, sizeof means);
    }
#endif
    for (; i < frames; ++i) samples[i] = meanOf(samples + 2 * i);
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
    if (Picks picks(state, inputCount, outputCapacity); picks.possible()) {
        if (picks.before()) *output++ = state.lastSample;
        pick(picks, input, output);
        picks.consume(input[inputCount - 1]);
        return picks.written();
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

uint32_t kvx::mixAndResample(KVXHandle& handle, int16_t* samples, int32_t frames, int16_t* output,
                             uint32_t outputCapacity) {
    ResamplerState& state = handle.resampler;
    if (Picks picks(state, frames, outputCapacity); frames > 0 && picks.possible()) {
        if (picks.before()) *output++ = state.lastSample;
        pickMixed(picks, samples, output);
        picks.consume(meanOf(samples + 2 * static_cast<size_t>(frames - 1)));
        return picks.written();
    }
    KVXMixChannels(samples, 2 * static_cast<uint32_t>(frames));
    return KVXResample(&handle, samples, output, frames, outputCapacity);
}
