// SPDX-License-Identifier: Apache-2.0
// make-excerpt IN OUT.wav START SECONDS: a part of a recording, through a lossy encoder at its lowest quality and back.
#include "audio/media_process.h"
#include "demo/audio_writer.h"

#include <cstdlib>
#include <exception>
#include <iostream>

namespace {

namespace fs = std::filesystem;
using tarn::demo::Sound;

Sound readPart(const fs::path& path, double startSeconds, double seconds) {
    tarn::server::MediaProcess process;
    tarn::server::MediaFile file(process, path,
                                 {.tags = false,
                                  .samples = true,
                                  .startMs = static_cast<uint64_t>(startSeconds * 1000),
                                  .maxMs = static_cast<uint64_t>(seconds * 1000)});
    Sound sound{file.rateHz(), file.channels(), {}};
    for (auto piece = file.read(); !piece.empty(); piece = file.read()) {
        sound.samples.insert(sound.samples.end(), piece.begin(), piece.end());
    }
    return sound;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::cerr << "usage: make-excerpt IN OUT.wav START SECONDS\n";
        return 2;
    }
    const fs::path out = argv[2];
    const double start = std::strtod(argv[3], nullptr);
    const double seconds = std::strtod(argv[4], nullptr);
    if (!(start >= 0 && start < 1e5 && seconds > 0 && seconds < 1e5)) {
        std::cerr << "make-excerpt: START and SECONDS are numbers of seconds\n";
        return 2;
    }
    try {
        fs::path encoded = out;
        encoded.replace_extension(".encoded.ogg");
        constexpr double kLowestQuality = 0;
        constexpr double kWhole = 1e5;
        writeSound(encoded, readPart(argv[1], start, seconds), tarn::demo::FileFormat::kOgg, kLowestQuality);
        writeSound(out, readPart(encoded, 0, kWhole), tarn::demo::FileFormat::kWav);
        fs::remove(encoded);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << argv[1] << ": " << error.what() << '\n';
        return 1;
    }
}
