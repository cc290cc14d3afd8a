// SPDX-License-Identifier: Apache-2.0
// examples/recognise.c from outside: what it sends, what it prints, how it ends.
#include "e2e/tool.h"
#include "support/answers.h"
#include "support/handles.h"

#include <gtest/gtest.h>
#include <span>

namespace kvxtest {
namespace {

constexpr size_t kWavHeaderBytes = 44;

std::string codeFile() {
    const std::string path = scratchFile("code");
    writeFile(path, bytesOf(accessCode(3, 3) + "\n"));
    return path;
}

Ended runExample(const std::string& port, const std::string& code, const std::string& path) {
    return runTool({"localhost", port, code, path}, RECOGNISE_EXAMPLE);
}

Ended recognised(const LoopbackServer& server, const std::string& path = soundFile()) {
    return runExample(std::to_string(server.port()), codeFile(), path);
}

// The packet for a WAV file, made in one piece: the whole file from the start that the library asks for.
Bytes packetFor(const WavOptions& options) {
    const Bytes file = wavFile(options);
    HandleOptions handleOptions;
    handleOptions.deviceId = "recognise.c";
    const Handle handle = makeHandle(handleOptions);
    const auto frameBytes = static_cast<size_t>(options.channels) * 2;
    const auto startMs =
        static_cast<size_t>(KVXNewFingerprint3(handle.get(), options.channels, options.rateHz, options.lengthMs));
    const size_t start = kWavHeaderBytes + startMs * static_cast<size_t>(options.rateHz) / 1000 * frameBytes;
    const auto audio = std::span(file).subspan(start);
    EXPECT_EQ(KVXGenerateFingerprint3(handle.get(), audio.data(), static_cast<int32_t>(audio.size() / 4 * 4)), 0);
    const KVXFingerprintDescriptor descriptor{};
    uint8_t* packet = nullptr;
    uint32_t length = 0;
    EXPECT_EQ(KVXGenerateFingerprintRequest3(handle.get(), nullptr, 0, &descriptor, 10, 0x656e, &packet, &length), 0);
    Bytes bytes(packet, packet + length);
    KVXFreeFingerprintRequest3(&packet);
    return bytes;
}

} // namespace

TEST(Example, PrintsTheMatchesOfAnAnswer) {
    const struct {
        const char* name;
        std::vector<Bytes> records;
        const char* output;
    } cases[] = {
        {"a track and its album",
         {record('T', trackBlob("t1", "Low Tide", {"The Paper Lanterns"})),
          record('A', albumBlob("a1", "Walking on Thin Air", {}, 97))},
         "track: Low Tide, by The Paper Lanterns\nalbum: Walking on Thin Air, confidence 97\n"},
        {"a track without names", {record('T', trackBlob("t1", {}, {}))}, "track: ?, by ?\n"},
        {"nothing", {notFound()}, "not found\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const LoopbackServer server({answering(httpAnswer(200, joined(c.records)))});
        const Ended result = recognised(server);
        EXPECT_EQ(result.out, c.output);
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.status, 0);
    }
}

TEST(Example, PostsThePacketOfTheWholeFile) {
    const WavOptions cases[] = {
        {},
        {.channels = 2, .rateHz = 44100, .lengthMs = 9000},
        {.channels = 1, .rateHz = 11025, .lengthMs = 80'000}, // read from 44 s on
    };
    for (const WavOptions& options : cases) {
        SCOPED_TRACE(options.lengthMs);
        LoopbackServer server({answering(httpAnswer(200, notFound()))});
        EXPECT_EQ(recognised(server, soundFile(options)).status, 0);
        ASSERT_EQ(server.requests().size(), 1U);
        const std::string form = "--KVX\r\nContent-Disposition: form-data; name=\"data\"\r\n"
                                 "Content-Type: application/octet-stream\r\n\r\n" +
                                 textOf(packetFor(options)) + "\r\n--KVX--\r\n";
        EXPECT_EQ(textOf(server.requests()[0]),
                  "POST /sdkrequest HTTP/1.0\r\nHost: localhost:" + std::to_string(server.port()) +
                      "\r\nContent-Type: multipart/form-data; boundary=KVX\r\nContent-Length: " +
                      std::to_string(form.size()) + "\r\n\r\n" + form);
    }
}

TEST(Example, SaysWhatIsWrong) {
    writeFile(scratchFile("short-code"), bytesOf("0123"));
    writeFile(scratchFile("wrong-code"), bytesOf(accessCode(9, 9)));
    writeFile(scratchFile("no.wav"), Bytes(100));
    WavFields fields = wavFields({});
    fields.dataSize *= 2;
    writeFile(scratchFile("cut.wav"), joined({wavHeader(fields), Bytes(fields.dataSize / 2)}));
    const struct {
        const char* name;
        std::string answer;
        std::string code;
        std::string path;
        std::string errors;
    } cases[] = {
        {"no WAV file", "", codeFile(), scratchFile("no.wav"),
         scratchFile("no.wav") + ": not a WAV file with 16-bit PCM after a header of 44 bytes"},
        {"a short piece", "", codeFile(), soundFile({.lengthMs = 5000}),
         soundFile({.lengthMs = 5000}) + ": too short; 7 seconds are enough"},
        {"a file that was cut off", "", codeFile(), scratchFile("cut.wav"),
         scratchFile("cut.wav") + ": it ends before the length in its header"},
        {"no file", "", codeFile(), scratchFile("none.wav"), scratchFile("none.wav") + ": cannot be opened"},
        {"a short code", "", scratchFile("short-code"), soundFile(),
         scratchFile("short-code") + ": no access code of 80 digits can be read from it"},
        {"a wrong code", "", scratchFile("wrong-code"), soundFile(),
         scratchFile("wrong-code") + ": the access code is wrong"},
        {"an account that is not known", httpAnswer(403, "no"), codeFile(), soundFile(),
         "localhost: HTTP status 403; 403 is an account that the server does not know"},
        {"no HTTP", "hello", codeFile(), soundFile(), "localhost: the answer is not HTTP"},
        {"no answer", "", codeFile(), soundFile(), "localhost: the answer is not HTTP"},
        {"rubbish in the answer", httpAnswer(200, "rubbish"), codeFile(), soundFile(),
         "localhost: the answer is damaged"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const LoopbackServer server({answering(c.answer)});
        const Ended result = runExample(std::to_string(server.port()), c.code, c.path);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "recognise: " + c.errors + "\n");
    }
}

} // namespace kvxtest
