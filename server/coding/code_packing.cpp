// SPDX-License-Identifier: Apache-2.0
#include "coding/code_packing.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace tarn::server {

namespace {

constexpr size_t kLettersPerTime = 16;
constexpr uint32_t kLetterValues = 24;
constexpr uint32_t kMostRun = 10; // letters that one byte stands for

void appendLetters(std::string& out, std::string_view letters) {
    for (size_t i = 0; i < letters.size();) {
        uint32_t run = 1;
        while (run < kMostRun && i + run < letters.size() && letters[i + run] == letters[i]) ++run;
        out.push_back(static_cast<char>(static_cast<uint32_t>(letters[i] - 'a') + kLetterValues * (run - 1)));
        i += run;
    }
}

bool takeLetters(std::string_view& bytes, size_t count, std::string& out) {
    std::array<char, kMostRun> run;
    out.resize(count + kMostRun); // room for a whole run behind the last letter
    size_t at = 0;
    for (size_t taken = 0; taken < count;) {
        if (at == bytes.size()) return false;
        const uint32_t value = static_cast<unsigned char>(bytes[at++]);
        const size_t length = value / kLetterValues + 1;
        if (length > kMostRun || taken + length > count) return false;
        run.fill(static_cast<char>('a' + value % kLetterValues));
        std::memcpy(&out[taken], run.data(), run.size()); // of a fixed length, which is quicker than the run's own
        taken += length;
    }
    out.resize(count);
    bytes.remove_prefix(at);
    return true;
}

// Index of the letter whose frame stands behind that of letter `index`.
size_t nextTimed(size_t index, size_t count) { return std::min(index + kLettersPerTime, count - 1); }

bool takeFrames(std::string_view& bytes, size_t count, std::vector<uint32_t>& out) {
    out.resize(count);
    uint64_t previousFrame = 0;
    size_t previous = 0;
    for (size_t index = 0; index < count;) {
        const std::optional<uint64_t> difference = takeVarint(bytes);
        if (!difference || *difference > std::numeric_limits<uint32_t>::max()) return false;
        const uint64_t frame = previousFrame + *difference;
        if (frame > std::numeric_limits<uint32_t>::max()) return false;
        out[index] = static_cast<uint32_t>(frame);
        const uint64_t gap = index - previous;
        for (uint64_t between = 1; between < gap; ++between) {
            const uint64_t part = *difference * between;
            // A division by a constant is a shift; all gaps but the last are whole.
            out[previous + between] =
                static_cast<uint32_t>(previousFrame + (gap == kLettersPerTime ? part / kLettersPerTime : part / gap));
        }
        if (index == count - 1) return true;
        previous = index;
        previousFrame = frame;
        index = nextTimed(index, count);
    }
    return true;
}

} // namespace

void appendVarint(std::string& out, uint64_t value) {
    while (value >= 0x80) {
        out.push_back(static_cast<char>((value & 0x7f) | 0x80));
        value >>= 7;
    }
    out.push_back(static_cast<char>(value));
}

std::optional<uint64_t> takeVarint(std::string_view& bytes) {
    uint64_t value = 0;
    for (uint32_t shift = 0; shift < 64 && shift / 7 < bytes.size(); shift += 7) {
        const auto byte = static_cast<unsigned char>(bytes[shift / 7]);
        if (shift == 63 && byte > 1) return std::nullopt;
        value |= static_cast<uint64_t>(byte & 0x7f) << shift;
        if ((byte & 0x80) == 0) {
            bytes.remove_prefix(shift / 7 + 1);
            return value;
        }
    }
    return std::nullopt;
}

void appendCodes(std::string& out, const RecordingCodes& codes) {
    for (const auto& phase : codes) {
        for (const CodeString& string : phase) {
            const size_t count = string.letters.size();
            appendVarint(out, count);
            appendLetters(out, string.letters);
            uint32_t previous = 0;
            for (size_t index = 0; index < count; index = nextTimed(index, count)) {
                const uint32_t frame = string.frames.size() == count ? string.frames[index] : previous;
                appendVarint(out, frame - previous);
                previous = frame;
                if (index == count - 1) break;
            }
        }
    }
}

std::optional<RecordingCodes> takeCodes(std::string_view& bytes) {
    RecordingCodes codes;
    for (auto& phase : codes) {
        for (CodeString& string : phase) {
            const std::optional<uint64_t> count = takeVarint(bytes);
            if (!count || *count > bytes.size() * kMostRun) return std::nullopt;
            if (!takeLetters(bytes, static_cast<size_t>(*count), string.letters)) return std::nullopt;
            if (!takeFrames(bytes, string.letters.size(), string.frames)) return std::nullopt;
        }
    }
    return codes;
}

} // namespace tarn::server
