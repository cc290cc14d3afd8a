// SPDX-License-Identifier: Apache-2.0
// Prints the six code strings of a fixed set of generated recordings, one line each, and of the WAV files that are its
// arguments, as the library makes them or, when built with TARN_PLAIN_ENGINE, as the plain engine does. The library's
// packets follow, signed with every pair of methods in turn. Builds that differ in one rounding differ in their output.
// Music is coded with every instruction set of the processor, which must agree.
#include "support/audio.h"
#include "wav_header.h"

#ifdef TARN_PLAIN_ENGINE
#include "support/plain_engine.h"
#else
#include "fingerprint/engine/lanes.h"
#include "fingerprint/session.h"
#endif

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <vector>

namespace {

using CodeStrings = std::array<std::string, 6>;
using Bytes = std::vector<uint8_t>;

constexpr size_t kChunkBytes = 1024;

void quitUnless(bool condition, const std::string& what) {
    if (condition) return;
    std::fprintf(stderr, "code_strings: %s\n", what.c_str());
    std::exit(1);
}

// A track, and how to get at its PCM from where a session starts.
struct Recording {
    std::string name;
    int channels;
    int rateHz;
    int durationMs;
    bool isMusic;
    kvxtest::Audio audio = {};
    tarn::WavHeader header = {};
    std::string path = {}; // of a file; empty for a generated recording

    Bytes pcmFrom(int startMs) const {
        if (path.empty()) return kvxtest::audioBytes(audio, channels, rateHz, startMs, 30500);
        std::ifstream file(path, std::ios::binary);
        file.seekg(tarn::wavSeekPosition(header, startMs));
        Bytes bytes(static_cast<size_t>(rateHz) * static_cast<size_t>(channels) * 2 * 31);
        file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        bytes.resize(static_cast<size_t>(file.gcount()));
        return bytes;
    }
};

Recording generated(kvxtest::Audio audio, int channels, int rateHz, int durationMs) {
    const std::string name(kvxtest::nameOf(audio));
    return {name, channels, rateHz, durationMs, audio == kvxtest::Audio::kMusic, audio};
}

Recording fileOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    tarn::WavHeaderBytes bytes{};
    file.read(reinterpret_cast<char*>(bytes.data()), bytes.size());
    const tarn::WavHeader header = tarn::parseWavHeader(bytes);
    quitUnless(file && header.isWav && header.isPcm16, path + " is no WAV file");
    return {std::filesystem::path(path).filename().string(),
            header.channels,
            static_cast<int>(header.sampleRateHz),
            tarn::wavDurationMs(header),
            true,
            {},
            header,
            path};
}

#ifdef TARN_PLAIN_ENGINE

CodeStrings codeStrings(const Recording& recording) {
    const kvxtest::plain::Session session(recording.channels, recording.rateHz, recording.durationMs);
    return kvxtest::plain::codeStrings(recording.pcmFrom(session.startOffsetMs()), recording.channels, recording.rateHz,
                                       recording.durationMs, kChunkBytes);
}

void printPacket(const Recording&) {}

#else

// Every pair of methods that can sign, as an access code spells them.
constexpr std::array kMethods = {"01000200", "02000200", "03000200", "01000300", "02000300", "03000300"};

KVXHandle* newHandle(size_t methods) {
    const std::string accessCode = "01000000" + std::string(kMethods[methods % kMethods.size()]) + std::string(64, '5');
    const std::array<uint8_t, KVX_ID_LENGTH> device = {'0', '0', ':', '1', '1', ':', '2', '2',
                                                       ':', '3', '3', ':', '4', '4', ':', '5'};
    KVXHandle* handle = nullptr;
    quitUnless(
        KVXInit(&handle, accessCode.c_str(), device.data(), KVX_ID_LENGTH, nullptr, 0, 'B', 'B', 'S', nullptr, 0) == 0,
        "no handle");
    return handle;
}

void feed(KVXHandle* handle, const Recording& recording) {
    const int32_t startMs = KVXNewFingerprint3(handle, recording.channels, recording.rateHz, recording.durationMs);
    quitUnless(startMs >= 0, "no session for " + recording.name);
    const Bytes pcm = recording.pcmFrom(startMs);
    int32_t status = KVX_MORE_AUDIO_WANTED;
    for (size_t at = 0; status == KVX_MORE_AUDIO_WANTED && at < pcm.size(); at += kChunkBytes) {
        const size_t count = std::min(kChunkBytes, pcm.size() - at) / 4 * 4;
        status = KVXGenerateFingerprint3(handle, pcm.data() + at, static_cast<int32_t>(count));
    }
    quitUnless(status == 0, "the session did not finish: " + recording.name);
}

CodeStrings codeStringsInUse(const Recording& recording) {
    KVXHandle* handle = newHandle(0);
    feed(handle, recording);
    CodeStrings strings;
    const auto texts = kvx::codeStrings(*handle);
    std::copy(texts.begin(), texts.end(), strings.begin());
    KVXShutdown(&handle);
    return strings;
}

CodeStrings codeStrings(const Recording& recording) {
    CodeStrings widest = codeStringsInUse(recording);
    if (!recording.isMusic) return widest; // music is enough for the narrower ones
    for (const kvx::LaneKernels* lanes : kvx::availableLanes().first(kvx::availableLanes().size() - 1)) {
        kvx::useLanes(lanes);
        quitUnless(codeStringsInUse(recording) == widest, std::string(lanes->name) + " differs: " + recording.name);
    }
    kvx::useLanes(nullptr);
    return widest;
}

void printHex(const char* what, const uint8_t* bytes, uint32_t length) {
    std::printf("packet, %s: ", what);
    for (uint32_t i = 0; i < length; ++i) std::printf("%02x", bytes[i]);
    std::printf("\n");
}

void printPacket(const Recording& recording) {
    static size_t number = 0;
    KVXHandle* handle = newHandle(number++);
    feed(handle, recording);
    KVXFingerprintDescriptor descriptor{};
    descriptor.text1 = recording.name.c_str();
    uint8_t* packet = nullptr;
    uint32_t length = 0;
    quitUnless(KVXGenerateFingerprintRequest3(handle, nullptr, 0, &descriptor, 10, 0x656e, &packet, &length) == 0,
               "no packet");
    printHex(recording.name.c_str(), packet, length);
    KVXFreeFingerprintRequest3(&packet);
    char id[] = "T-1";
    const KVXValueLength list = {id, 3};
    quitUnless(KVXGenerateMetaIDRequest(handle, 'A', &list, 1, 1, 0x656e, &packet, &length) == 0, "no packet");
    printHex("album", packet, length);
    KVXFreeMetaIDRequest(&packet);
    quitUnless(KVXGenerateIDRequest(handle, nullptr, 0, &packet, &length) == 0, "no packet");
    printHex("identity", packet, length);
    KVXFreeIDRequest(&packet);
    KVXShutdown(&handle);
}

#endif

void print(const Recording& recording) {
    const CodeStrings strings = codeStrings(recording);
    for (size_t i = 0; i < strings.size(); ++i) {
        std::printf("%s, %d x %d Hz, %d ms, string %zu: %s\n", recording.name.c_str(), recording.channels,
                    recording.rateHz, recording.durationMs, i + 1, strings[i].c_str());
    }
    printPacket(recording);
}

} // namespace

// usage: code_strings [--few] [WAV files]; --few: one generated recording, for slow machines.
int main(int argumentCount, char** arguments) {
    using kvxtest::Audio;
    const std::vector<std::string> given(arguments + 1, arguments + argumentCount);
    if (!given.empty() && given.front() == "--few") {
        print(generated(Audio::kMusic, 1, 22050, 60000));
        return 0;
    }
    for (const Audio audio : kvxtest::kAllAudio) {
        print(generated(audio, 1, 22050, 60000));
        print(generated(audio, 2, 44100, 60000));
    }
    for (const int rateHz : {11025, 16000, 32000, 48000, 96000}) print(generated(Audio::kMusic, 2, rateHz, 90000));
    for (const int durationMs : {6006, 12345}) print(generated(Audio::kChord, 1, 22050, durationMs));
    for (const std::string& path : given) print(fileOf(path));
}
