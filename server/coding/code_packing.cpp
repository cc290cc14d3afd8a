#include "coding/code_packing.h"

#include <algorithm>
#include <limits>

namespace tarn::server {

namespace {

constexpr size_t kLettersPerTime = 16;
constexpr uint32_t kLetterBits = 5;
constexpr uint32_t kLetterMask = (1U << kLetterBits) - 1;
constexpr uint32_t kLetterValues = 24;

size_t packedBytes(size_t letters) { return (letters * kLetterBits + 7) / 8; }

void appendLetters(std::string& out, std::string_view letters) {
    uint32_t bits = 0;
    uint32_t held = 0;
    for (const char c : letters) {
        bits |= static_cast<uint32_t>(c - 'a') << held;
        held += kLetterBits;
        while (held >= 8) {
            out.push_back(static_cast<char>(bits & 0xff));
            bits >>= 8;
            held -= 8;
        }
    }
    if (held > 0) out.push_back(static_cast<char>(bits & 0xff));
}

bool takeLetters(std::string_view& bytes, size_t count, std::string& out) {
    if (count > bytes.size() * 8 / kLetterBits) return false;
    out.resize(count);
    uint32_t bits = 0;
    uint32_t held = 0;
    size_t at = 0;
    for (char& letter : out) {
        while (held < kLetterBits) {
            bits |= static_cast<uint32_t>(static_cast<unsigned char>(bytes[at++])) << held;
            held += 8;
        }
        const uint32_t value = bits & kLetterMask;
        if (value >= kLetterValues) return false;
        letter = static_cast<char>('a' + value);
        bits >>= kLetterBits;
        held -= kLetterBits;
    }
    bytes.remove_prefix(packedBytes(count));
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
        for (size_t between = previous + 1; between < index; ++between) {
            out[between] =
                static_cast<uint32_t>(previousFrame + *difference * (between - previous) / (index - previous));
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
            if (!count || *count > bytes.size() * 2) return std::nullopt;
            if (!takeLetters(bytes, static_cast<size_t>(*count), string.letters)) return std::nullopt;
            if (!takeFrames(bytes, string.letters.size(), string.frames)) return std::nullopt;
        }
    }
    return codes;
}

} // namespace tarn::server
