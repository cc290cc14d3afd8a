// SPDX-License-Identifier: Apache-2.0
// From a WAV file to the bytes of a fingerprint request.
#include "support/clients.h"
#include "support/counting_hooks.h"
#include "support/temporary_directory.h"
#include "support/wav_maker.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

namespace kvxtest {
namespace {

struct Outcome {
    std::optional<tarn::Bytes> request;
    std::string error;
};

Outcome requestFor(const std::string& path) {
    ScriptedServices scripted;
    Client session(scripted);
    Outcome outcome;
    tarn::ErrorSlot error;
    outcome.request = session.client.createRequestFromWAVFile(path, error);
    outcome.error = describe(error);
    return outcome;
}

Bytes silenceAfter(const WavFields& fields, size_t bytes) {
    Bytes file = wavHeader(fields);
    file.resize(file.size() + bytes);
    return file;
}

TEST(FingerprintRequest, FailsWithTheReasonAndLeavesNothingAllocated) {
    const TemporaryDirectory directory;
    WavFields sound = wavFields({.lengthMs = 8000});
    const auto with = [&](auto change) {
        WavFields fields = sound;
        change(fields);
        return wavHeader(fields);
    };
    struct Case {
        const char* name;
        Bytes file;
        const char* error; // with FILE for the file's name
    };
    const Case cases[] = {
        {"empty", {}, "TARN 102 Cannot Read Wav Header From FILE"},
        {"43 bytes", Bytes(43), "TARN 102 Cannot Read Wav Header From FILE"},
        {"44 zero bytes", Bytes(44), "TARN 103 File FILE is not a wav file"},
        {"RIFX", with([](WavFields& f) { f.riff = "RIFX"; }), "TARN 103 File FILE is not a wav file"},
        {"no WAVE", with([](WavFields& f) { f.wave = "AVI "; }), "TARN 103 File FILE is not a wav file"},
        {"no fmt", with([](WavFields& f) { f.fmt = "LIST"; }), "TARN 104 File FILE is not a correct wav file"},
        {"floating point", with([](WavFields& f) { f.formatTag = 3; }), "TARN 104 File FILE is not a correct wav file"},
        {"8 bits", with([](WavFields& f) { f.bitsPerSample = 8; }), "TARN 104 File FILE is not a correct wav file"},
        {"no audio announced", with([](WavFields& f) { f.riffSize = 36; }),
         "TARN 106 Cannot init fingerprint for file FILE - Track Too Short"},
        {"6 s announced", with([](WavFields& f) { f.riffSize = 28 + 6 * 44100; }),
         "TARN 106 Cannot init fingerprint for file FILE - Track Too Short"},
        {"no rate", with([](WavFields& f) { f.rateHz = 0; }),
         "TARN 106 Cannot init fingerprint for file FILE - Track Too Short"},
        {"no channel", with([](WavFields& f) { f.channels = 0; }),
         "TARN 106 Cannot init fingerprint for file FILE - Track Too Short"},
        {"three channels", with([](WavFields& f) { f.channels = 3, f.riffSize *= 3; }),
         "TARN 106 Cannot init fingerprint for file FILE"},
        {"11024 Hz", with([](WavFields& f) { f.rateHz = 11024; }), "TARN 106 Cannot init fingerprint for file FILE"},
        {"a rate beyond 31 bits", with([](WavFields& f) { f.rateHz = 0x80000000, f.riffSize = 0xffffffff; }),
         "TARN 106 Cannot init fingerprint for file FILE - Track Too Short"},
        {"header without audio", with([](WavFields&) {}), "TARN 108 Cannot generate fingerprint for file FILE"},
        {"audio ends early", silenceAfter(sound, 44100 * 7), "TARN 108 Cannot generate fingerprint for file FILE"},
    };
    const std::string path = directory.file("sound.wav");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        writeFile(path, c.file);
        std::string expected = c.error;
        expected.replace(expected.find("FILE"), 4, path);
        CountingHooks hooks;
        const Outcome outcome = requestFor(path);
        EXPECT_EQ(outcome.error, expected);
        EXPECT_FALSE(outcome.request);
        EXPECT_EQ(hooks.forgetBlocksOf(kHostCopyBytes), 1U);
        EXPECT_EQ(hooks.live(), 0U);
    }
}

TEST(FingerprintRequest, NamesTheSystemsReasonForAFileThatDoesNotOpen) {
    EXPECT_EQ(requestFor("/nowhere/sound.wav").error,
              "TARN 101 Cannot Open Audio File /nowhere/sound.wav - No such file or directory");
}

TEST(FingerprintRequest, ADirectoryOpensAndHasNoHeader) {
    const TemporaryDirectory directory;
    EXPECT_EQ(requestFor(directory.path().string()).error,
              "TARN 102 Cannot Read Wav Header From " + directory.path().string());
}

TEST(FingerprintRequest, CarriesAnAsciiNameAndNoOther) {
    const TemporaryDirectory directory;
    const Bytes file = wavFile({});
    // The first text comes after header, payload length, type, permissions and three numbers.
    constexpr size_t kTextLengthOffset = 52 + 4 + 1 + 21 + 12;
    const auto textOf = [&](const std::string& name) {
        const std::string path = directory.file(name);
        writeFile(path, file);
        const Outcome outcome = requestFor(path);
        EXPECT_EQ(outcome.error, "no error");
        if (!outcome.request) return std::string();
        const Bytes& bytes = *outcome.request;
        const size_t length = bytes.at(kTextLengthOffset) | static_cast<size_t>(bytes.at(kTextLengthOffset + 1)) << 8;
        const auto begin = bytes.begin() + kTextLengthOffset + 4;
        return std::string(begin, begin + static_cast<std::ptrdiff_t>(length));
    };
    EXPECT_EQ(textOf("sound.wav"), directory.file("sound.wav"));
    EXPECT_EQ(textOf("t\xc3\xb6ne.wav"), "");
}

TEST(FingerprintRequest, Says44100WhateverTheRate) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("sound.wav");
    constexpr size_t kValueOffset = 52 + 4 + 1 + 21 + 4; // after the duration
    for (const int rateHz : {11025, 22050, 48000}) {
        SCOPED_TRACE(rateHz);
        writeFile(path, wavFile({.rateHz = rateHz}));
        const Outcome outcome = requestFor(path);
        ASSERT_TRUE(outcome.request) << outcome.error;
        EXPECT_EQ(hexDump({outcome.request->data() + kValueOffset, 4}), hexDump(fromHex("44 ac 00 00")));
    }
}

TEST(FingerprintRequest, NeedsADeviceIdentity) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("sound.wav");
    writeFile(path, wavFile({}));
    ScriptedServices scripted;
    scripted.interfaces.list.clear();
    Client session(scripted);
    tarn::ErrorSlot error;
    EXPECT_FALSE(session.client.createRequestFromWAVFile(path, error));
    EXPECT_EQ(describe(error), "TARN 109 Cannot generate fingerprint request for file " + path);
}

TEST(FingerprintRequest, NeedsASignature) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("sound.wav");
    writeFile(path, wavFile({}));
    ScriptedServices scripted;
    Client session(scripted, goodKey(scripted.clock, 3, 1)); // no checksum
    ASSERT_EQ(describe(session.error), "no error");
    tarn::ErrorSlot error;
    EXPECT_FALSE(session.client.createRequestFromWAVFile(path, error));
    EXPECT_EQ(describe(error), "TARN 109 Cannot generate fingerprint request for file " + path);
}

TEST(FingerprintRequest, IsFramedAsTheSessionWasOpened) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("sound.wav");
    writeFile(path, wavFile({}));
    for (const bool doHttp : {false, true}) {
        SCOPED_TRACE(doHttp);
        ScriptedServices scripted;
        Client session(scripted, goodKey(scripted.clock), "h", doHttp);
        tarn::ErrorSlot error;
        const auto request = session.client.createRequestFromWAVFile(path, error);
        ASSERT_TRUE(request);
        const std::string begin(request->begin(), request->begin() + 4);
        EXPECT_EQ(begin, doHttp ? "POST" : "BIN ");
    }
}

// Keeps every block that the library is fed with: it copies each in one piece, and the first piece of that size is one.
struct KeptBlocks {
    KeptBlocks() {
        active = this;
        KVXMemCopy = &copy;
    }
    ~KeptBlocks() { KVXMemCopy = &std::memcpy; }
    KeptBlocks(const KeptBlocks&) = delete;
    KeptBlocks& operator=(const KeptBlocks&) = delete;

    static void* copy(void* destination, const void* source, size_t count) {
        const auto* bytes = static_cast<const uint8_t*>(source);
        if (count == 1024 && active->source == nullptr) active->source = source;
        if (count == 1024 && active->source == source) active->blocks.emplace_back(bytes, bytes + count);
        return std::memcpy(destination, source, count);
    }

    static inline KeptBlocks* active = nullptr;
    const void* source = nullptr; // where the client keeps its block
    std::vector<Bytes> blocks;
};

TEST(FingerprintRequest, FeedsWholeBlocksWhoseRestIsWhatTheReadBeforeLeft) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("sound.wav");
    const Bytes file = wavFile({});
    struct Case {
        const char* name;
        size_t length;
        size_t blocks;
    };
    for (const Case& c : {Case{"the first read is short", 144, 1}, Case{"the fourth read is short", 3 * 1024 + 100, 4},
                          Case{"the third read is empty", 2 * 1024, 3}}) {
        SCOPED_TRACE(c.name);
        writeFile(path, Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(c.length)));
        const KeptBlocks kept;
        EXPECT_EQ(requestFor(path).error, "TARN 108 Cannot generate fingerprint for file " + path);
        ASSERT_EQ(kept.blocks.size(), c.blocks);
        Bytes expected(1024); // zeros before the first read
        for (size_t i = 0; i < c.blocks; ++i) {
            for (size_t at = i * 1024; at < std::min(c.length, (i + 1) * 1024); ++at) expected[at % 1024] = file[at];
            EXPECT_EQ(hexDump(kept.blocks[i]), hexDump(expected));
        }
    }
}

// The block's allocation fails; what the error slot holds afterwards is seen at the next allocation.
struct FailingBlock {
    FailingBlock() {
        active = this;
        KVXMalloc = &allocate;
    }
    ~FailingBlock() { KVXMalloc = &std::malloc; }
    FailingBlock(const FailingBlock&) = delete;
    FailingBlock& operator=(const FailingBlock&) = delete;

    static void* allocate(size_t size) {
        if (size == 1024 && !active->failed) {
            active->failed = true;
            return nullptr;
        }
        if (active->failed && active->seen.empty()) active->seen = describe(*active->slot);
        return std::malloc(size);
    }

    static inline FailingBlock* active = nullptr;
    const tarn::ErrorSlot* slot = nullptr;
    bool failed = false;
    std::string seen;
};

// What comes of a file when no memory for a block can be had.
struct WithoutABlock {
    explicit WithoutABlock(const Bytes& file) {
        writeFile(path, file);
        ScriptedServices scripted;
        Client session(scripted);
        tarn::ErrorSlot slot;
        FailingBlock hook;
        hook.slot = &slot;
        EXPECT_FALSE(session.client.createRequestFromWAVFile(path, slot));
        EXPECT_TRUE(hook.failed);
        seen = hook.seen;
        error = describe(slot);
    }

    TemporaryDirectory directory;
    std::string path = directory.file("sound.wav");
    std::string seen; // the error while the session is opened
    std::string error;
};

TEST(FingerprintRequest, CarriesOnWithoutABlockUntilTheSeek) {
    const WithoutABlock outcome(wavFile({}));
    EXPECT_EQ(outcome.seen, "TARN 105 Cannot allocate buffer memory 1024 bytes");
    EXPECT_EQ(outcome.error, "TARN 107 Cannot read file " + outcome.path + " to expected offset 0");
}

TEST(FingerprintRequest, WithoutABlockAShortTrackIsStillTooShort) {
    const WithoutABlock outcome(wavHeader({}));
    EXPECT_EQ(outcome.error, "TARN 106 Cannot init fingerprint for file " + outcome.path + " - Track Too Short");
}

} // namespace
} // namespace kvxtest
