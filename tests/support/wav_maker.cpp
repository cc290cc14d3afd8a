// SPDX-License-Identifier: Apache-2.0
#include "support/wav_maker.h"

#include "support/audio.h"

#include <fstream>
#include <stdexcept>

namespace kvxtest {
namespace {

void append(Bytes& bytes, const std::string& tag) { bytes.insert(bytes.end(), tag.begin(), tag.end()); }

void append(Bytes& bytes, uint32_t value, int width) {
    for (int i = 0; i < width; ++i) bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

} // namespace

Bytes wavHeader(const WavFields& fields) {
    const uint32_t bytesPerFrame = uint32_t{fields.channels} * fields.bitsPerSample / 8;
    Bytes bytes;
    append(bytes, fields.riff);
    append(bytes, fields.riffSize, 4);
    append(bytes, fields.wave);
    append(bytes, fields.fmt);
    append(bytes, 16, 4); // bytes of the format fields
    append(bytes, fields.formatTag, 2);
    append(bytes, fields.channels, 2);
    append(bytes, fields.rateHz, 4);
    append(bytes, fields.rateHz * bytesPerFrame, 4);
    append(bytes, bytesPerFrame, 2);
    append(bytes, fields.bitsPerSample, 2);
    append(bytes, "data");
    append(bytes, fields.dataSize, 4);
    return bytes;
}

WavFields wavFields(const WavOptions& options) {
    const int64_t frames = int64_t{options.lengthMs} * options.rateHz / 1000;
    WavFields fields;
    fields.channels = static_cast<uint16_t>(options.channels);
    fields.rateHz = static_cast<uint32_t>(options.rateHz);
    fields.dataSize = static_cast<uint32_t>(frames * options.channels * 2);
    fields.riffSize = 36 + fields.dataSize;
    return fields;
}

Bytes wavFile(const WavOptions& options) {
    Bytes bytes = wavHeader(wavFields(options));
    const Bytes audio = audioBytes(Audio::kMusic, options.channels, options.rateHz, options.startMs, options.lengthMs);
    bytes.insert(bytes.end(), audio.begin(), audio.end());
    return bytes;
}

void writeFile(const std::string& path, const Bytes& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!out.flush()) throw std::runtime_error("cannot write " + path);
}

} // namespace kvxtest
