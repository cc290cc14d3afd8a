// SPDX-License-Identifier: Apache-2.0
#include "coding/code_packing.h"

#include "base/bytes.h"
#include "model/alphabet.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace tarn::server {

namespace {

constexpr size_t kLettersPerTime = 16;
constexpr uint32_t kMaxRun = 10; // letters in one byte

void appendLetters(std::string& out, std::string_view letters) {
    for (size_t i = 0; i < letters.size();) {
        uint32_t run = 1;
        while (run < kMaxRun && i + run < letters.size() && letters[i + run] == letters[i]) ++run;
        out.push_back(static_cast<char>(static_cast<uint32_t>(letters[i] - 'a') + kLetters * (run - 1)));
        i += run;
    }
}

// The run of letters in a byte.
struct Run {
    uint64_t letters = 0;                                   // eight copies; the run may have fewer or more
    size_t length = std::numeric_limits<size_t>::max() / 2; // of a byte that is not a run: more than any string has
};

constexpr std::array<Run, 256> makeRuns() {
    constexpr uint64_t kEachByte = 0x0101010101010101;
    std::array<Run, 256> runs;
    for (uint32_t value = 0; value < kLetters * kMaxRun; ++value) {
        runs[value] = {kEachByte * ('a' + value % kLetters), value / kLetters + 1};
    }
    return runs;
}
constexpr std::array<Run, 256> kRuns = makeRuns();

bool takeLetters(std::string_view& bytes, size_t count, std::string& out) {
    static_assert(kMaxRun <= 2 * sizeof(Run::letters));
    out.resize(count + 2 * sizeof(Run::letters)); // room for a whole run after the last letter
    char* const to = out.data();
    const char* from = bytes.data();
    const char* const end = from + bytes.size();
    size_t taken = 0;
    while (taken < count) {
        if (from == end) return false;
        const Run& run = kRuns[static_cast<unsigned char>(*from++)];
        // Copies a fixed number of bytes, which is quicker than the run's own number.
        std::memcpy(to + taken, &run.letters, sizeof run.letters);
        std::memcpy(to + taken + sizeof run.letters, &run.letters, sizeof run.letters);
        taken += run.length;
    }
    if (taken != count) return false;
    out.resize(count);
    bytes.remove_prefix(static_cast<size_t>(from - bytes.data()));
    return true;
}

// The index of the next letter after `index` whose frame is stored.
size_t nextTimed(size_t index, size_t count) { return std::min(index + kLettersPerTime, count - 1); }

// Interpolates the frames of kLettersPerTime letters from the first frame and its difference to the frame of the letter
// after them. The difference must be small enough that the product does not overflow.
void interpolateWhole(uint32_t* out, uint32_t frame, uint32_t difference) {
    using Four = uint32_t __attribute__((vector_size(4 * sizeof(uint32_t))));
    Four part = {0, difference, 2 * difference, 3 * difference};
    for (size_t i = 0; i < kLettersPerTime; i += 4) {
        const Four frames = frame + part / kLettersPerTime;
        std::memcpy(out + i, &frames, sizeof frames);
        part += 4 * difference;
    }
}

// The same for any number of letters.
void interpolate(uint32_t* out, uint64_t count, uint32_t frame, uint64_t difference) {
    for (uint64_t i = 0; i < count; ++i) out[i] = static_cast<uint32_t>(frame + difference * i / count);
}

bool takeFrames(std::string_view& bytes, size_t count, std::vector<uint32_t>& out) {
    out.resize(count);
    uint64_t previousFrame = 0;
    size_t previous = 0;
    for (size_t index = 0; index < count;) {
        const std::optional<uint64_t> difference = takeVarint(bytes);
        if (!difference || *difference > std::numeric_limits<uint32_t>::max()) return false;
        const uint64_t frame = previousFrame + *difference;
        if (frame > std::numeric_limits<uint32_t>::max()) return false;
        const size_t gap = index - previous;
        const auto from = static_cast<uint32_t>(previousFrame);
        if (gap == kLettersPerTime && *difference <= std::numeric_limits<uint32_t>::max() / kLettersPerTime) {
            interpolateWhole(&out[previous], from, static_cast<uint32_t>(*difference));
        } else {
            interpolate(&out[previous], gap, from, *difference);
        }
        if (index == count - 1) {
            out[index] = static_cast<uint32_t>(frame);
            return true;
        }
        previous = index;
        previousFrame = frame;
        index = nextTimed(index, count);
    }
    return true;
}

} // namespace

std::vector<size_t> timedIndexes(size_t letters) {
    std::vector<size_t> indexes;
    for (size_t index = 0; index < letters; index = nextTimed(index, letters)) {
        indexes.push_back(index);
        if (index == letters - 1) break;
    }
    return indexes;
}

void appendCodes(std::string& out, const RecordingCodes& codes) {
    for (const auto& coding : codes) {
        for (const CodeString& string : coding) {
            const size_t count = string.letters.size();
            appendVarint(out, count);
            appendLetters(out, string.letters);
            uint32_t previous = 0;
            for (const size_t index : timedIndexes(count)) {
                const uint32_t frame = string.frames.size() == count ? string.frames[index] : previous;
                appendVarint(out, frame - previous);
                previous = frame;
            }
        }
    }
}

std::optional<RecordingCodes> takeCodes(std::string_view& bytes) {
    RecordingCodes codes;
    for (auto& coding : codes) {
        for (CodeString& string : coding) {
            const std::optional<uint64_t> count = takeVarint(bytes);
            if (!count || *count > bytes.size() * kMaxRun) return std::nullopt;
            if (!takeLetters(bytes, static_cast<size_t>(*count), string.letters)) return std::nullopt;
            if (!takeFrames(bytes, string.letters.size(), string.frames)) return std::nullopt;
        }
    }
    return codes;
}

} // namespace tarn::server
