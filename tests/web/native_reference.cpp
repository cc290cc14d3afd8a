// SPDX-License-Identifier: Apache-2.0
// What the native library makes of a recording: native_reference SEED RATE_HZ CHANNELS DURATION_MS writes a line of
// JSON, with the access, the code strings and two signed packets, and then the PCM from where the session begins to
// read.
#include "support/handles.h"
#include "support/melody.h"
#include "support/sessions.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <span>
#include <string>
#include <vector>

namespace {

constexpr int32_t kMaxReadMs = 31000; // more than is coded
constexpr size_t kBlockBytes = 1024;
constexpr uint16_t kMaxMatches = 3;
constexpr int32_t kGerman = 'd' << 8 | 'e';
constexpr char kDeviceId[] = "00:11:22:33:44:5";

// A melody for each channel, held at the rate.
std::vector<int16_t> music(uint32_t seed, uint32_t rateHz, uint32_t channels, uint32_t lengthMs) {
    const size_t frames = size_t{lengthMs} * rateHz / 1000;
    std::vector<int16_t> samples(frames * channels);
    for (uint32_t channel = 0; channel < channels; ++channel) {
        const std::vector<int16_t> voice = kvxtest::melody(seed + 1000 * channel, lengthMs / 1000 + 1);
        for (size_t frame = 0; frame < frames; ++frame)
            samples[frame * channels + channel] = voice.at(frame * 22050 / rateHz);
    }
    return samples;
}

std::string hex(const uint8_t* bytes, uint32_t length) {
    std::string text;
    for (const uint8_t byte : std::span(bytes, length)) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02x", byte);
        text += pair;
    }
    return text;
}

std::string fingerprintPacket(KVXHandle* handle) {
    uint8_t* packet = nullptr;
    uint32_t length = 0;
    if (KVXGenerateFingerprintRequest3(handle, nullptr, 0, nullptr, kMaxMatches, kGerman, &packet, &length) != 0)
        return "";
    std::string text = hex(packet, length);
    KVXFreeFingerprintRequest3(&packet);
    return text;
}

std::string lookUpPacket(KVXHandle* handle, const std::string& id) {
    std::string first = id;
    std::string other = "of " + id;
    const KVXValueLength ids[] = {{first.data(), static_cast<uint32_t>(first.size())},
                                  {other.data(), static_cast<uint32_t>(other.size())}};
    uint8_t* packet = nullptr;
    uint32_t length = 0;
    if (KVXGenerateMetaIDRequest(handle, 'T', ids, 2, kMaxMatches, kGerman, &packet, &length) != 0) return "";
    std::string text = hex(packet, length);
    KVXFreeMetaIDRequest(&packet);
    return text;
}

// Returns the exit status.
int print(uint32_t seed, uint32_t rateHz, uint32_t channels, uint32_t durationMs) {
    kvxtest::SecretKey secret;
    std::generate(secret.begin(), secret.end(), [byte = seed]() mutable { return static_cast<uint8_t>(byte += 37); });
    const int encryptionMethod = 1 + static_cast<int>(seed % 3);
    const int checksumMethod = 2 + static_cast<int>(seed / 3 % 2);
    const kvxtest::Handle handle = kvxtest::makeHandle({.encryptionMethod = encryptionMethod,
                                                        .checksumMethod = checksumMethod,
                                                        .secret = secret,
                                                        .deviceId = kDeviceId});

    const int32_t startMs = KVXNewFingerprint3(handle.get(), static_cast<int32_t>(channels),
                                               static_cast<int32_t>(rateHz), static_cast<int32_t>(durationMs));
    const auto lengthMs = std::min(static_cast<int32_t>(durationMs) - startMs, kMaxReadMs);
    const std::vector<int16_t> samples = music(seed, rateHz, channels, static_cast<uint32_t>(lengthMs));
    const std::span pcm(reinterpret_cast<const uint8_t*>(samples.data()), samples.size() * sizeof samples[0]);
    if (kvxtest::feedAll(handle.get(), pcm, kBlockBytes) != 0) {
        std::fprintf(stderr, "native_reference: the session did not finish\n");
        return 1;
    }
    const std::string code = kvxtest::accessCode(encryptionMethod, checksumMethod, secret);
    std::printf(R"({"accessCode":"%s","deviceId":"%s","startMs":%d,"maxMatches":%d,"language":"de","codes":[)",
                code.c_str(), kDeviceId, startMs, kMaxMatches);
    const char* separator = "";
    for (const std::string& text : kvxtest::codeStringsOf(*handle)) {
        std::printf("%s\"%s\"", separator, text.c_str());
        separator = ",";
    }
    const std::string id = "id " + std::to_string(seed);
    std::printf(R"(],"packet":"%s","ids":["%s","of %s"],"lookUpPacket":"%s"})", fingerprintPacket(handle.get()).c_str(),
                id.c_str(), id.c_str(), lookUpPacket(handle.get(), id).c_str());
    std::printf("\n");
    return std::fwrite(pcm.data(), 1, pcm.size(), stdout) == pcm.size() ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) try {
    if (argc != 5) {
        std::fprintf(stderr, "usage: native_reference SEED RATE_HZ CHANNELS DURATION_MS\n");
        return 2;
    }
    uint32_t numbers[4];
    std::transform(argv + 1, argv + 5, numbers,
                   [](const char* word) { return static_cast<uint32_t>(std::strtoul(word, nullptr, 10)); });
    return print(numbers[0], numbers[1], numbers[2], numbers[3]);
} catch (const std::exception& error) {
    std::fprintf(stderr, "native_reference: %s\n", error.what());
    return 1;
}
