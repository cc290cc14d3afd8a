// SPDX-License-Identifier: Apache-2.0
// The requests, byte for byte: HTTP head, form, packet, code strings, signature. What is expected is put together here
// field by field; the code strings come from the engine that is written for reading, the signature from another
// library.
#include "e2e/tool.h"
#include "support/answers.h"
#include "support/audio.h"
#include "support/packet_assembler.h"
#include "support/plain_engine.h"

#include <gtest/gtest.h>

namespace kvxtest {
namespace {

constexpr unsigned kEnglish = 0x656E;
const std::string kBoundary = "---------------------------265001916915724";

HandleOptions toolOptions(int encryptionMethod, int checksumMethod) {
    HandleOptions options;
    options.encryptionMethod = encryptionMethod;
    options.checksumMethod = checksumMethod;
    options.deviceId = deviceId().value().substr(0, 16); // of 17 characters
    return options;
}

// A payload in its frame, signed.
Bytes packet(const HandleOptions& options, unsigned requestOption, const Bytes& payload) {
    PacketAssembler packet;
    packet.header(options, kEnglish, requestOption);
    packet.u32(static_cast<uint32_t>(payload.size())).raw(payload);
    packet.u32(0); // no appendix
    packet.signature(options);
    return packet.bytes;
}

Bytes fingerprintPacket(const HandleOptions& options, uint32_t durationMs, const std::string& path,
                        const plain::CodeStrings& strings) {
    PacketAssembler payload;
    payload.raw("F").allPermissions();
    payload.u32(durationMs).u32(44100).u32(0);
    payload.text(path);
    for (int i = 0; i < 4; ++i) payload.text("");
    for (int i = 0; i < 6; ++i) payload.u16(0);
    for (int i = 0; i < 5; ++i) payload.text("");
    for (const std::string& codes : strings) payload.text(codes);
    payload.u32(0); // no number/value pairs
    return packet(options, 10, payload.bytes);
}

Bytes albumPacket(const HandleOptions& options, const std::string& trackId) {
    PacketAssembler payload;
    payload.raw("M").allPermissions().raw("A").text(trackId);
    return packet(options, 1, payload.bytes);
}

// The whole request, as it goes over the wire.
Bytes postOf(const std::string& host, const Bytes& data) {
    const Bytes before = bytesOf("--" + kBoundary +
                                 "\r\nContent-Disposition: form-data; name=\"data\"\r\n"
                                 "Content-Type: application/octet-stream\r\n\r\n");
    const Bytes after = bytesOf("\r\n--" + kBoundary + "--\r\n");
    const Bytes head = bytesOf("POST /sdkrequest HTTP/1.1\r\nHost: " + host +
                               "\r\nContent-Type: multipart/form-data; boundary=" + kBoundary +
                               "\r\nContent-Length: " + std::to_string(before.size() + data.size() + after.size()) +
                               "\r\nConnection: close\r\n\r\n");
    return joined({head, before, data, after});
}

// The strings that the plain engine makes of the file, read as the tool reads it.
plain::CodeStrings stringsOf(const Bytes& file, size_t startByte, const WavOptions& options, int durationMs) {
    const std::span<const uint8_t> pcm = std::span(file).subspan(startByte);
    return plain::codeStrings(pcm, options.channels, options.rateHz, durationMs, 1024);
}

TEST(RequestBytes, OfAFingerprintAndOfItsAlbumLookup) {
    struct Case {
        const char* name;
        WavOptions options;
        int durationMs;
        size_t startByte;
    };
    const Case cases[] = {
        // From byte 0: the header is read as audio, as if it were 22 samples.
        {"mono, 22050 Hz", {1, 22050, 8900}, 8000, 0},
        {"stereo, 44100 Hz, 9.9 s", {2, 44100, 9900}, 9000, 0},
        {"mono, 11025 Hz", {1, 11025, 7500}, 7000, 0},
        {"longer than 74 s", {1, 11025, 80'000}, 80'000, 970'200},
    };
    const HandleOptions options = toolOptions(3, 3);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = soundFile(c.options);
        const Recognition run = recognise({answering(httpAnswer(200, record('T', trackBlob("track-1", "Title", {})))),
                                           answering(httpAnswer(200, record('A', albumBlob("a", "Album", {}, 1))))},
                                          path);
        EXPECT_EQ(run.result.status, 0) << run.result.err;
        ASSERT_EQ(run.requests.size(), 2U);
        const auto strings = stringsOf(readFile(path), c.startByte, c.options, c.durationMs);
        for (const std::string& codes : strings) EXPECT_FALSE(codes.empty());
        const Bytes expected = fingerprintPacket(options, static_cast<uint32_t>(c.durationMs), path, strings);
        EXPECT_EQ(hexDump(run.requests[0]), hexDump(postOf(run.host, expected)));
        EXPECT_EQ(hexDump(run.requests[1]), hexDump(postOf(run.host, albumPacket(options, "track-1"))));
    }
}

TEST(RequestBytes, AreSignedAsTheKeySays) {
    const std::string path = soundFile();
    const auto strings = stringsOf(readFile(path), 0, {}, 8000);
    struct Case {
        int encryptionMethod;
        int checksumMethod;
    };
    for (const Case& c : {Case{1, 2}, Case{2, 2}, Case{3, 2}, Case{1, 3}, Case{2, 3}}) {
        SCOPED_TRACE(c.encryptionMethod * 10 + c.checksumMethod);
        LoopbackServer server({answering(httpAnswer(200, notFound()))});
        EXPECT_EQ(runTool({freshKey(c.encryptionMethod, c.checksumMethod), server.host(), path}).status, 0);
        ASSERT_EQ(server.requests().size(), 1U);
        const Bytes expected =
            fingerprintPacket(toolOptions(c.encryptionMethod, c.checksumMethod), 8000, path, strings);
        EXPECT_EQ(hexDump(server.requests()[0]), hexDump(postOf(server.host(), expected)));
    }
}

// A file may end inside the block that completes the fingerprint: the whole block counts.
TEST(RequestBytes, AShortLastReadCompletesTheFingerprint) {
    constexpr size_t kBlock = 1024;
    constexpr size_t kShort = 100;
    const WavOptions options = {.lengthMs = 8900};
    Bytes file = wavFile(options);
    plain::Session session(options.channels, options.rateHz, 8000);
    size_t blocks = 0; // that complete the fingerprint
    do ++blocks;
    while (session.feed(std::span(file).subspan((blocks - 1) * kBlock, kBlock)) == 20);

    file.resize((blocks - 1) * kBlock + kShort);
    const std::string path = scratchFile("short-read.wav");
    writeFile(path, file); // its header still announces 8 whole seconds
    const Recognition run = recognise({answering(httpAnswer(200, notFound()))}, path);
    EXPECT_EQ(run.result.status, 0) << run.result.err;
    ASSERT_EQ(run.requests.size(), 1U);

    Bytes fed = file;
    const auto stale = file.begin() + static_cast<std::ptrdiff_t>((blocks - 2) * kBlock + kShort);
    const Bytes left(stale, stale + (kBlock - kShort));
    fed.insert(fed.end(), left.begin(), left.end());
    const auto strings = plain::codeStrings(fed, options.channels, options.rateHz, 8000, kBlock);
    const Bytes expected = fingerprintPacket(toolOptions(3, 3), 8000, path, strings);
    EXPECT_EQ(hexDump(run.requests[0]), hexDump(postOf(run.host, expected)));
}

} // namespace
} // namespace kvxtest
