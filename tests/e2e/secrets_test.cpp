// SPDX-License-Identifier: Apache-2.0
// What the release tool leaves of its secrets in memory, where a core dump or another process of the same user would
// find it, and in what it prints. The tool is built for release, for wiping must survive the optimiser.
//
// Not looked for, because it has to be there: the access key as it was given, which is on the command line and stays
// with the client; the cipher key's two texts in the program file, constants of the build; and, while the library's
// handle is open, the account's secret key in it, which signs packets.
#include "e2e/tool.h"
#include "e2e/traced_tool.h"
#include "support/access_keys.h"
#include "support/answers.h"
#include "support/handles.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kvxtest {
namespace {

using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

// No byte occurs twice, so no piece of it occurs anywhere by chance.
SecretKey secretKey() {
    SecretKey key{};
    for (size_t i = 0; i < key.size(); ++i) key[i] = static_cast<uint8_t>(0x8f + 101 * i);
    return key;
}

// Of the tool under test, which is not built under the key of the others.
Bytes releaseKey() { return fromHex(TARN_RELEASE_KEY_1 TARN_RELEASE_KEY_2); }
std::string keyOf(const std::string& plainText) { return accessKeyOf(plainText, releaseKey()); }
std::string keyFor(const std::string& code, int64_t secondsOld = 0) {
    return accessKeyFor(code, secondsOld, releaseKey());
}

std::string code(int encryptionMethod = 3) { return accessCode(encryptionMethod, 3, secretKey()); }

// Any piece of a secret so long counts as the secret.
constexpr size_t kPieceBytes = 8;

using Places = std::vector<std::string>; // each a region's name and an offset in it

// Where a piece of the secret lies, the one that occurs most. Pieces begin at every fourth byte.
Places copies(
    const Memory& memory, const Bytes& secret,
    const std::function<bool(const MemoryRegion&)>& isSearched = [](const MemoryRegion&) { return true; }) {
    Places most;
    for (size_t at = 0; at + kPieceBytes <= secret.size(); at += 4) {
        Places places;
        for (const MemoryRegion& region : memory) {
            if (!isSearched(region)) continue;
            const uint8_t* const begin = region.bytes.data();
            const uint8_t* const end = begin + region.bytes.size();
            const uint8_t* place = begin;
            while (const void* found = memmem(place, static_cast<size_t>(end - place), &secret[at], kPieceBytes)) {
                place = static_cast<const uint8_t*>(found) + 1;
                places.push_back(region.name + " " + std::to_string(place - 1 - begin) + " of " +
                                 std::to_string(region.bytes.size()));
            }
        }
        if (places.size() > most.size()) most = places;
    }
    return most;
}

Places copiesIn(const Memory& memory, const std::string& name, const Bytes& secret) {
    return copies(memory, secret, [&](const MemoryRegion& region) { return region.name == name; });
}

Memory asMemory(const std::string& text) { return {{"text", false, bytesOf(text)}}; }

// The 15 round keys that each direction of the cipher expands the key to. The first and the last one of them lead back
// to the key, and so does any two.
Bytes schedule(void (*expand)(aes256_ctx*, const uint8_t*)) {
    aes256_ctx context;
    expand(&context, releaseKey().data());
    Bytes bytes(sizeof context.keys);
    std::memcpy(bytes.data(), context.keys, bytes.size());
    return bytes;
}

struct Secret {
    const char* name;
    Bytes bytes;
};

std::vector<Secret> cipherSecrets() {
    return {{"the cipher key", releaseKey()},
            {"the schedule for enciphering", schedule(aes256_set_encrypt_key)},
            {"the schedule for deciphering", schedule(aes256_set_decrypt_key)}};
}

// The access code's digits that spell the account's secret key.
Bytes codeDigits() { return bytesOf(code().substr(16)); }

// ":" and the code's beginning, which is no secret, but in this form only the plain text has it.
Bytes plainText() { return bytesOf(":" + code().substr(0, 16)); }

const Secret kKeyHalves[] = {{"the first half's text", bytesOf(TARN_RELEASE_KEY_1)},
                             {"the second half's text", bytesOf(TARN_RELEASE_KEY_2)}};

Bytes handleSecret() {
    const SecretKey key = secretKey();
    return {key.begin(), key.end()};
}

// openHandles: each holds the account's secret key once.
void expectClean(const Memory& memory, size_t openHandles) {
    for (const Secret& secret : cipherSecrets()) EXPECT_THAT(copies(memory, secret.bytes), IsEmpty()) << secret.name;
    EXPECT_THAT(copies(memory, codeDigits()), IsEmpty()) << "the access code";
    EXPECT_THAT(copies(memory, plainText()), IsEmpty()) << "the plain text";
    for (const Secret& half : kKeyHalves) {
        EXPECT_THAT(copies(memory, half.bytes, [](const MemoryRegion& region) { return region.isWritable; }), IsEmpty())
            << half.name;
    }
    EXPECT_THAT(copies(memory, handleSecret()), SizeIs(openHandles)) << "the account's secret key";
}

// Runs the release tool; what it prints is kept in two files.
struct ToolRun {
    explicit ToolRun(const std::vector<std::string>& arguments)
        : tool(TARN_RELEASE_TOOL, arguments, outputFile, errorsFile) {}
    std::string printed() const { return textOf(readFile(outputFile)) + textOf(readFile(errorsFile)); }

    std::string outputFile = scratchFile("output");
    std::string errorsFile = scratchFile("errors");
    TracedTool tool;
};

std::string goodKey() { return keyFor(code()); }

const std::string kTrackAnswer = httpAnswer(200, golden("answer_track.bin"));
const std::string kAlbumAnswer = httpAnswer(200, golden("answer_album.bin"));
const Step kSilence = pauseMs(600'000); // until the server ends

void awaitRequest(LoopbackServer& server, size_t number) {
    for (;;) {
        const auto requests = server.requests();
        if (requests.size() >= number && isWholeRequest(viewOf(requests[number - 1]))) return;
        sched_yield();
    }
}

TEST(Secrets, AreFoundWhereTheyHaveToBe) {
    LoopbackServer server({{receiveRequest(), kSilence}});
    const std::string key = goodKey();
    ToolRun run({key, server.host(), soundFile()});
    awaitRequest(server, 1);
    const Memory memory = run.tool.memory();
    // The search would see what lay in any of these places.
    EXPECT_THAT(copiesIn(memory, "[stack]", bytesOf(key)), Not(IsEmpty())) << "on the command line";
    EXPECT_THAT(copiesIn(memory, "[heap]", bytesOf(key)), Not(IsEmpty())) << "in the client";
    EXPECT_THAT(copiesIn(memory, "[heap]", handleSecret()), SizeIs(1U)) << "in the handle";
    for (const Secret& half : kKeyHalves) {
        EXPECT_THAT(copiesIn(memory, TARN_RELEASE_TOOL, half.bytes), SizeIs(1U)) << half.name << " in the program file";
    }
}

TEST(Secrets, AreGoneWhileTheToolWaitsForAnAnswer) {
    LoopbackServer server({{receiveRequest(), send(kTrackAnswer)}, {receiveRequest(), kSilence}});
    LoopbackServer silentServer({{receiveRequest(), kSilence}});
    {
        SCOPED_TRACE("the first answer");
        ToolRun run({goodKey(), silentServer.host(), soundFile()});
        awaitRequest(silentServer, 1);
        expectClean(run.tool.memory(), 1);
    }
    {
        SCOPED_TRACE("the album's answer");
        ToolRun run({goodKey(), server.host(), soundFile()});
        awaitRequest(server, 2);
        expectClean(run.tool.memory(), 1);
    }
}

TEST(Secrets, AreGoneAtTheEndOfEveryRunAndNeverPrinted) {
    const std::string early = keyFor(code(), 3600);
    const std::string noWav = scratchFile("no.wav");
    writeFile(noWav, bytesOf("RIFF"));
    // A changed key could, once in 256 times, be deciphered to good padding: this one never is.
    Bytes plain = padded(std::to_string(std::time(nullptr)) + ":" + code());
    plain.back() = 0;
    const std::string badPadding = upperHex(aesEncrypt(releaseKey(), plain));
    const std::string unparsable = httpAnswer(200, "<html></html>");
    struct Case {
        const char* name;
        std::string key;
        std::vector<Script> scripts;
        std::string file;
        int exitStatus;
        size_t openHandles; // left open where a run fails
    };
    const Case cases[] = {
        {"a match with its album", goodKey(), {answering(kTrackAnswer), answering(kAlbumAnswer)}, soundFile(), 0, 0},
        {"a key without a time", keyOf(code()), {answering(kTrackAnswer), answering(kAlbumAnswer)}, soundFile(), 0, 0},
        {"no match", goodKey(), {answering(httpAnswer(200, notFound()))}, soundFile(), 0, 0},
        {"no album", goodKey(), {answering(kTrackAnswer), answering(unparsable)}, soundFile(), 0, 0},
        {"the album's server gone",
         goodKey(),
         {answering(kTrackAnswer), {receiveRequest(), reset()}},
         soundFile(),
         0,
         0},
        {"an answer that cannot be parsed", goodKey(), {answering(unparsable)}, soundFile(), 250, 1},
        {"another status", goodKey(), {answering(httpAnswer(404, "none"))}, soundFile(), 251, 1},
        {"no answer", goodKey(), {{receiveRequest(), reset()}}, soundFile(), 252, 1},
        {"no file", goodKey(), {}, scratchFile("nothing.wav"), 253, 1},
        {"no WAV file", goodKey(), {}, noWav, 253, 1},
        {"an old key", early, {}, soundFile(), 254, 0},
        {"a key of an unknown method", keyFor(code(4)), {}, soundFile(), 254, 0},
        {"a key with bad padding", badPadding, {}, soundFile(), 254, 0},
        {"a key that is cut", goodKey().substr(0, 190), {}, soundFile(), 254, 0},
        {"a key of a short code", keyOf(code().substr(1)), {}, soundFile(), 254, 0},
        {"a key of a code with too little after the colon",
         keyOf("12345:" + code().substr(2)),
         {},
         soundFile(),
         254,
         0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const LoopbackServer server(c.scripts);
        ToolRun run({c.key, server.host(), c.file});
        const Memory memory = run.tool.memoryAtExit();
        EXPECT_EQ(run.tool.exitStatus(), c.exitStatus) << run.printed();
        expectClean(memory, c.openHandles);
        const Memory printed = asMemory(run.printed());
        ASSERT_FALSE(printed[0].bytes.empty());
        expectClean(printed, 0);
        EXPECT_THAT(copies(printed, bytesOf(c.key)), IsEmpty()) << "the access key";
    }
}

// The text to encode stands on the command line, for everyone to see.
TEST(Secrets, OfEncodingAreGoneAtItsEnd) {
    ToolRun run({"-e", "1234567890:" + code()});
    const Memory memory = run.tool.memoryAtExit();
    EXPECT_EQ(run.tool.exitStatus(), 0);
    for (const Secret& secret : cipherSecrets()) EXPECT_THAT(copies(memory, secret.bytes), IsEmpty()) << secret.name;
    EXPECT_THAT(copies(memory, handleSecret()), IsEmpty());
    EXPECT_THAT(copies(memory, codeDigits()), SizeIs(1U)) << "on the command line";
    EXPECT_THAT(run.printed(), testing::HasSubstr("Encoded Key " + keyOf("1234567890:" + code())));
    EXPECT_THAT(copies(asMemory(run.printed()), codeDigits()), IsEmpty());
}

} // namespace
} // namespace kvxtest
