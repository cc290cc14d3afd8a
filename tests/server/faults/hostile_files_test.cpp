// SPDX-License-Identifier: Apache-2.0
// Files of many formats with wrong bytes, through the process that reads files: each ends with samples or with a
// reason, and the process from which it was forked goes on. TARN_TEST_ROUNDS and TARN_TEST_SEED make it longer.
#include "audio/audio_error.h"
#include "audio/media_process.h"
#include "demo/audio_writer.h"
#include "support/files.h"
#include "support/process.h"
#include "support/rounds.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace {

using kvxtest::TemporaryDirectory;
using tarn::server::AudioError;
using tarn::server::MediaFile;
using tarn::server::MediaProcess;

const std::vector<std::pair<std::string, std::vector<std::string>>> kFormats = {
    {"a.wav", {}},
    {"a.flac", {}},
    {"a.mp3", {}},
    {"a.ogg", {}},
    {"a.m4a", {"-c:a", "aac"}},
    {"alac.m4a", {"-c:a", "alac"}},
    {"a.aac", {}},
    {"a.wma", {}},
    {"a.wv", {}},
    {"a.tta", {}},
    {"a.ac3", {}},
    {"a.mka", {"-c:a", "libopus", "-ar", "48000"}},
    {"a.webm", {"-c:a", "libvorbis"}},
    {"a.ts", {"-c:a", "mp2"}},
    {"a.avi", {"-c:a", "mp3"}},
    {"a.flv", {"-c:a", "mp3"}},
};

// Some bytes wrong, mostly where headers are; or the end missing; or a piece twice.
std::string mutated(std::string bytes, std::mt19937& dice) {
    const auto upTo = [&](size_t most) { return static_cast<size_t>(dice()) % most; };
    const size_t kind = upTo(8);
    if (kind == 0) bytes.resize(1 + upTo(bytes.size()));
    if (kind == 1) bytes.insert(upTo(bytes.size()), bytes.substr(upTo(bytes.size()), upTo(4096)));
    const size_t reach = kind % 2 == 0 ? std::min<size_t>(bytes.size(), 512) : bytes.size();
    for (size_t flips = upTo(12); flips > 0; --flips) bytes[upTo(reach)] = static_cast<char>(dice());
    return bytes;
}

TEST(HostileFiles, CostNothingButThemselves) {
    const TemporaryDirectory folder;
    writeSound(folder / "sound.wav", tarn::demo::renderPiece(9, 1.5, 44100, 1), tarn::demo::FileFormat::kWav);
    std::map<std::string, std::string> originals;
    for (const auto& [name, options] : kFormats) {
        std::vector<std::string> words = {"ffmpeg", "-nostdin", "-v", "error", "-y", "-i", folder.file("sound.wav")};
        words.insert(words.end(), options.begin(), options.end());
        words.push_back(folder.file(name));
        const kvxtest::Ended made = kvxtest::runProgram(words);
        ASSERT_EQ(made.status, 0) << made.err;
        originals[name] = kvxtest::contents(folder / name);
    }
    MediaProcess process;
    std::mt19937 dice(kvxtest::seed(15));
    std::map<std::string, uint64_t> reasons;
    uint64_t whole = 0;
    const uint32_t rounds = kvxtest::rounds(20);
    for (uint32_t round = 0; round < rounds; ++round) {
        for (const auto& [name, bytes] : originals) {
            const std::string bad = "bad-" + name;
            kvxtest::writePrivate(folder / bad, mutated(bytes, dice));
            try {
                MediaFile file(process, folder / bad, {true, true});
                while (!file.read().empty()) continue;
                EXPECT_LE(file.framesRead(), uint64_t{48000} * 3600) << "a file of seconds became hours";
                ++whole;
            } catch (const AudioError& error) {
                const std::string reason = error.what();
                EXPECT_EQ(reason.find("the process that reads files has ended"), std::string::npos);
                const size_t ended = reason.find(" ends with signal");
                ++reasons[ended == std::string::npos ? "a reason" : reason];
            }
        }
    }
    std::cout << whole << " read";
    for (const auto& [reason, count] : reasons) std::cout << "; " << count << ' ' << reason;
    std::cout << '\n';
    EXPECT_GT(whole, 0U);
    EXPECT_GT(reasons["a reason"], 0U);
    for (const auto& [name, bytes] : originals) {
        MediaFile file(process, folder / name, {true, true});
        uint64_t samples = 0;
        for (auto piece = file.read(); !piece.empty(); piece = file.read()) samples += piece.size();
        EXPECT_GT(samples, 60000U) << name;
    }
}

} // namespace
