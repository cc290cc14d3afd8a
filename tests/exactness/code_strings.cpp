// Prints the six code strings of a fixed set of generated recordings, one line each, as the library makes them or,
// when built with TARN_PLAIN_ENGINE, as the plain engine does. Builds that differ in one rounding differ in their
// output. Music is coded with every instruction set of the processor, which must agree.
#include "support/audio.h"

#ifdef TARN_PLAIN_ENGINE
#include "fingerprint/plain_engine.h"
#else
#include "fingerprint/lanes.h"
#include "fingerprint/session.h"
#endif

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

namespace {

using CodeStrings = std::array<std::string, 6>;

constexpr size_t kChunkBytes = 1024;

struct Recording {
    kvxtest::Audio audio;
    int channels;
    int rateHz;
    int durationMs;
};

#ifdef TARN_PLAIN_ENGINE

CodeStrings codeStrings(const Recording& recording) {
    const plain::Session session(recording.channels, recording.rateHz, recording.durationMs);
    const std::vector<uint8_t> pcm =
        kvxtest::audioBytes(recording.audio, recording.channels, recording.rateHz, session.startOffsetMs(), 30500);
    return plain::codeStrings(pcm, recording.channels, recording.rateHz, recording.durationMs, kChunkBytes);
}

#else

void quitUnless(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "code_strings: %s\n", what);
    std::exit(1);
}

CodeStrings codeStringsInUse(const Recording& recording) {
    const std::string accessCode = "0100000003000300" + std::string(64, '5');
    KVXHandle* handle = nullptr;
    quitUnless(KVXInit(&handle, accessCode.c_str(), nullptr, 0, nullptr, 0, 'B', 'B', 'S', nullptr, 0) == 0,
               "no handle");
    const int32_t startMs = KVXNewFingerprint3(handle, recording.channels, recording.rateHz, recording.durationMs);
    quitUnless(startMs >= 0, "no session");
    const std::vector<uint8_t> pcm =
        kvxtest::audioBytes(recording.audio, recording.channels, recording.rateHz, startMs, 30500);
    int32_t status = KVX_MORE_AUDIO_WANTED;
    for (size_t at = 0; status == KVX_MORE_AUDIO_WANTED && at < pcm.size(); at += kChunkBytes) {
        const size_t count = std::min(kChunkBytes, pcm.size() - at) / 4 * 4;
        status = KVXGenerateFingerprint3(handle, pcm.data() + at, static_cast<int32_t>(count));
    }
    quitUnless(status == 0, "the session did not finish");
    CodeStrings strings;
    const auto texts = kvx::codeStrings(*handle);
    std::copy(texts.begin(), texts.end(), strings.begin());
    KVXShutdown(&handle);
    return strings;
}

CodeStrings codeStrings(const Recording& recording) {
    const CodeStrings widest = codeStringsInUse(recording);
    if (recording.audio != kvxtest::Audio::kMusic) return widest; // one kind is enough for the narrower ones
    for (const kvx::LaneKernels* lanes : kvx::availableLanes().first(kvx::availableLanes().size() - 1)) {
        kvx::useLanes(lanes);
        quitUnless(codeStringsInUse(recording) == widest, lanes->name);
    }
    kvx::useLanes(nullptr);
    return widest;
}

#endif

void print(const Recording& recording) {
    const CodeStrings strings = codeStrings(recording);
    for (size_t i = 0; i < strings.size(); ++i) {
        std::printf("%s, %d x %d Hz, %d ms, string %zu: %s\n", kvxtest::nameOf(recording.audio).data(),
                    recording.channels, recording.rateHz, recording.durationMs, i + 1, strings[i].c_str());
    }
}

} // namespace

int main() {
    using kvxtest::Audio;
    for (const Audio audio : kvxtest::kAllAudio) {
        print({audio, 1, 22050, 60000});
        print({audio, 2, 44100, 60000});
    }
    for (const int rateHz : {11025, 16000, 32000, 48000, 96000}) print({Audio::kMusic, 2, rateHz, 90000});
    for (const int durationMs : {6006, 12345}) print({Audio::kChord, 1, 22050, durationMs});
}
