// SPDX-License-Identifier: Apache-2.0
// Audio preparation: 16-bit PCM in host order to mono at the engine's rate.
#include "fingerprint/audio.h"

#include "core/handle.h"
#include "fingerprint/engine/lanes.h"
#include "kvx.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>

namespace {

// Truncates; below 0 and not-a-number become 0, beyond the range its end.
uint32_t saturatedStep(float step) {
    constexpr float kRange = 4294967296.0F;
    if (!(step > 0.0F)) return 0;
    if (step >= kRange) return std::numeric_limits<uint32_t>::max();
    return static_cast<uint32_t>(step);
}

// Toward minus infinity, on purpose.
int16_t meanOf(const int16_t* pair) { return static_cast<int16_t>((pair[0] + pair[1]) >> 1); }

// A sample of the input, or the mean of a frame's two channels.
template <size_t Channels>
int16_t sampleAt(const int16_t* input, size_t index) {
    return Channels == 1 ? input[index] : meanOf(input + 2 * index);
}

// fraction: of the way from one sample to the next, in 65536ths.
int16_t between(int16_t sample, int16_t next, uint32_t fraction) {
    const float t = static_cast<float>(fraction) * kvx::kOneOver65536;
    const float y = (1.0F - t) * static_cast<float>(sample) + t * static_cast<float>(next);
    return static_cast<int16_t>(y);
}

// What a call of the resampler writes, known ahead: a sample for every position, step by step, that lies before the
// last sample of the input. Positions count 65536ths from the sample before the input, which an earlier call consumed.
class Outputs {
  public:
    Outputs(kvx::ResamplerState& state, int32_t inputCount, uint32_t outputCapacity)
        : state_(state), inputCount_(static_cast<uint32_t>(inputCount)) {
        constexpr uint32_t kFarFromWrapping = 1U << 30; // 32 bits run over after hours
        if (state.stepWhole >= kOne / 2 || (state.stepWhole | state.stepFraction) == 0) return;
        if (std::max({state.position, state.inputCount, inputCount_}) >= kFarFromWrapping) return;
        if (state.inputCount > state.position + 1) return; // an output was full, and samples are due again
        step_ = state.stepWhole * kOne + state.stepFraction;
        first_ = uint64_t{state.position + 1 - state.inputCount} * kOne + state.fraction;
        const uint64_t end = uint64_t{inputCount_} * kOne;
        const uint64_t due = first_ < end ? (end - first_ + step_ - 1) / step_ : 0;
        isFull_ = due > outputCapacity;
        count_ = isFull_ ? outputCapacity : static_cast<uint32_t>(due);
        possible_ = true;
    }
    bool possible() const { return possible_; } // false: the general form is needed
    uint32_t count() const { return count_; }

    template <size_t Channels>
    void write(const int16_t* input, int16_t* output) const {
        uint64_t position = first_;
        for (size_t left = count_; left != 0;) {
            const size_t count = writeSome<Channels>(input, position, left, output);
            left -= count;
            output += count;
            position += count * uint64_t{step_};
        }
    }

    // Leaves the state that the general form would.
    void consume(int16_t lastSample) {
        const uint64_t next = first_ + uint64_t{count_} * step_;
        state_.position = state_.inputCount - 1 + static_cast<uint32_t>(next / kOne);
        state_.fraction = static_cast<uint32_t>(next % kOne);
        if (isFull_) {
            state_.inputCount = state_.position + 1; // what is left of the input is dropped
        } else {
            state_.inputCount += inputCount_;
            state_.lastSample = lastSample;
        }
    }

  private:
    static constexpr uint32_t kOne = 65536;

    // Writes the sample at the position and, where it can, others after it; says how many.
    template <size_t Channels>
    size_t writeSome(const int16_t* input, uint64_t position, size_t left, int16_t* output) const {
        const auto fraction = static_cast<uint32_t>(position % kOne);
        if (position < kOne) {
            *output = between(state_.lastSample, sampleAt<Channels>(input, 0), fraction);
            return 1;
        }
        const int16_t* from = input + Channels * static_cast<size_t>(position / kOne - 1);
        if (left < kvx::kMinResampled || step_ > kvx::kMaxStep) {
            *output = between(sampleAt<Channels>(from, 0), sampleAt<Channels>(from, 1), fraction);
            return 1;
        }
        const kvx::LaneKernels& lanes = kvx::lanesInUse();
        if (Channels == 2 && fraction == 0 && step_ == 2 * kOne) {
            lanes.mixEveryOther(from, left, output);
            return left;
        }
        return interpolate<Channels>(lanes, from, fraction, left, output);
    }

    template <size_t Channels>
    size_t interpolate(const kvx::LaneKernels& lanes, const int16_t* from, uint32_t fraction, size_t left,
                       int16_t* output) const {
        constexpr uint32_t kMaxSamples = 1024;
        int16_t samples[kMaxSamples + kvx::kReadAfter];
        const size_t count = std::min<size_t>(left, (kMaxSamples - 2) * kOne / step_);
        const size_t needed = static_cast<size_t>((fraction + (count - 1) * step_) / kOne) + 2;
        if (Channels == 2)
            lanes.mix(from, needed, samples);
        else
            std::memcpy(samples, from, needed * sizeof *samples);
        lanes.interpolate(samples, fraction, step_, count, output);
        return count;
    }

    kvx::ResamplerState& state_;
    uint32_t inputCount_;
    bool possible_ = false;
    bool isFull_ = false; // the output, and samples are due still
    uint32_t step_ = 0;
    uint64_t first_ = 0;
    uint32_t count_ = 0;
};

template <size_t Channels>
uint32_t resample(kvx::ResamplerState& state, const int16_t* input, int32_t inputCount, int16_t* output,
                  uint32_t outputCapacity) {
    if (inputCount <= 0) return 0;
    const auto count = static_cast<size_t>(inputCount);
    if (Outputs outputs(state, inputCount, outputCapacity); outputs.possible()) {
        outputs.write<Channels>(input, output);
        outputs.consume(sampleAt<Channels>(input, count - 1));
        return outputs.count();
    }
    int16_t previous = state.lastSample;
    uint32_t written = 0;
    size_t next = 0; // the first input sample not consumed
    for (;;) {
        if (state.inputCount > state.position) {
            if (written == outputCapacity) return outputCapacity; // on purpose, what is left is dropped
            output[written++] = between(previous, sampleAt<Channels>(input, next), state.fraction);
            state.fraction += state.stepFraction;
            state.position += (state.fraction >> 16) + state.stepWhole;
            state.fraction &= 0xffff;
        } else {
            previous = sampleAt<Channels>(input, next++);
            ++state.inputCount;
            if (next == count) {
                state.lastSample = previous;
                return written;
            }
        }
    }
}

} // namespace

extern "C" {

void* KVXEndianBufferCopy(void* destination, const void* source, int32_t count, uint32_t elementSize) noexcept {
    // Swaps nothing on purpose: samples are in host order.
    if (count <= 0 || elementSize == 0) return destination;
    const auto bytes = static_cast<uint32_t>(count);
    KVXMemCopy(destination, source, bytes / elementSize * elementSize);
    return destination;
}

void KVXMixChannels(int16_t* samples, uint32_t count) noexcept { kvx::lanesInUse().mix(samples, count / 2, samples); }

int32_t KVXResamplerInit(KVXHandle* handle, int32_t inputRateHz, int32_t outputRateHz) noexcept {
    if (handle == nullptr) return -1;
    const float ratio = static_cast<float>(inputRateHz) / static_cast<float>(outputRateHz);
    const uint32_t step = saturatedStep(ratio * 65536.0F);
    handle->resampler = kvx::ResamplerState{};
    handle->resampler.stepWhole = step >> 16;
    handle->resampler.stepFraction = step & 0xffff;
    return 0;
}

uint32_t KVXResample(KVXHandle* handle, const int16_t* input, int16_t* output, int32_t inputCount,
                     uint32_t outputCapacity) noexcept {
    return handle == nullptr ? 0 : resample<1>(handle->resampler, input, inputCount, output, outputCapacity);
}

} // extern "C"

uint32_t kvx::mixAndResample(KVXHandle& handle, const int16_t* samples, int32_t frames, int16_t* output,
                             uint32_t outputCapacity) {
    return resample<2>(handle.resampler, samples, frames, output, outputCapacity);
}
