// SPDX-License-Identifier: Apache-2.0
#include "json/wav_reader.h"

#include "base/bytes.h"

#include <algorithm>
#include <optional>

namespace tarn::server {

namespace {

constexpr uint16_t kTagPcm = 1;
constexpr uint16_t kTagExtensible = 0xFFFE;
constexpr size_t kExtensibleTagOffset = 24; // in the chunk "fmt ", where the subformat begins
constexpr uint16_t kBits = 16;

BadJsonRequest noWav(const std::string& why) { return {400, "the body is not a WAV file: " + why}; }
BadJsonRequest otherWav(const std::string& what) {
    return {422, what + "; send 16-bit PCM of 1 or 2 channels at 11025 to 192000 Hz"};
}

template <class Number>
Number take(std::string_view& bytes) {
    return takeLittleEndian<Number>(bytes).value_or(0);
}

// The chunk "fmt ":
//   0  2  tag    2  2  channels    4  4  rate    8  4  bytes a second    12  2  bytes of a frame    14  2  bits
Pcm readFormat(std::string_view chunk) {
    if (chunk.size() < 16) throw noWav("its format is shorter than 16 bytes");
    std::string_view rest = chunk;
    auto tag = take<uint16_t>(rest);
    Pcm pcm;
    pcm.channels = take<uint16_t>(rest);
    pcm.rateHz = take<uint32_t>(rest);
    take<uint32_t>(rest);
    take<uint16_t>(rest);
    const auto bits = take<uint16_t>(rest);
    if (tag == kTagExtensible && chunk.size() >= kExtensibleTagOffset + sizeof tag) {
        rest = chunk.substr(kExtensibleTagOffset);
        tag = take<uint16_t>(rest);
    }
    if (tag != kTagPcm) throw otherWav("the samples of the WAV file are not PCM");
    if (bits != kBits) throw otherWav("the samples of the WAV file have " + std::to_string(bits) + " bits");
    if (pcm.channels < 1 || pcm.channels > kMaxChannels)
        throw otherWav("the WAV file has " + std::to_string(pcm.channels) + " channels");
    if (pcm.rateHz < kMinRateHz || pcm.rateHz > kMaxRateHz)
        throw otherWav("the WAV file has a rate of " + std::to_string(pcm.rateHz) + " Hz");
    return pcm;
}

} // namespace

Pcm readWav(std::string_view file) {
    constexpr size_t kRiffBytes = 12; // "RIFF", the size of the rest, "WAVE"
    if (file.size() < kRiffBytes || !file.starts_with("RIFF") || file.substr(8, 4) != "WAVE")
        throw noWav("it does not begin as one does");
    file.remove_prefix(kRiffBytes);
    std::optional<Pcm> format;
    for (;;) {
        if (file.size() < 8) throw noWav("it ends before its samples");
        const std::string_view name = file.substr(0, 4);
        std::string_view rest = file.substr(4);
        const auto size = take<uint32_t>(rest);
        const std::string_view chunk = rest.substr(0, size);
        if (name == "data") {
            if (!format) throw noWav("its samples come before their format");
            format->bytes = chunk;
            return *format;
        }
        if (chunk.size() < size) throw noWav("it ends within a chunk");
        if (name == "fmt " && !format) format = readFormat(chunk);
        // A chunk of an odd size has a byte more after it.
        file = rest.substr(std::min<size_t>(uint64_t{size} + size % 2, rest.size()));
    }
}

} // namespace tarn::server
