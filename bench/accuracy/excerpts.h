// SPDX-License-Identifier: Apache-2.0
// Sound files, pieces of them, and the queries that a client makes of such pieces.
#pragma once

#include "model/query.h"

#include <sndfile.h>

#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

struct SndClose {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

struct Sound {
    SF_INFO info = {}; // filled when the file is opened
    std::unique_ptr<SNDFILE, SndClose> file;
    explicit Sound(const std::string& path) : file(sf_open(path.c_str(), SFM_READ, &info)) {
        if (file == nullptr) throw std::runtime_error(path + ": cannot be read");
    }
    uint32_t durationMs() const { return static_cast<uint32_t>(info.frames * 1000 / info.samplerate); }
};
// Interleaved; this many seconds from there on, or as many as there are.
std::vector<int16_t> pcmOf(Sound& sound, double start, double length);

// Mono at 22050 Hz.
std::vector<int16_t> prepared(const Sound& sound, std::span<const int16_t> pcm);

// The query that a client sends for a WAV file with these samples: the client treats the header as audio, counts whole
// seconds, and feeds blocks of 1024 bytes; the last block is padded with what the one before left there.
tarn::server::FingerprintQuery codedFile(const Sound& sound, const std::vector<int16_t>& pcm);

} // namespace bench
