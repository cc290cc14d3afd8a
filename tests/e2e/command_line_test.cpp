// SPDX-License-Identifier: Apache-2.0
// The command line: usage, encoding, and what fails before anything is sent.
#include "e2e/tool.h"
#include "support/access_keys.h"
#include "support/handles.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace kvxtest {
namespace {

using Arguments = std::vector<std::string>;
using Texts = std::vector<std::string>;

const char* const kUsage = "tarn [-e rawsac] sackey hostname filename\nsackey - obfuscated access key\n"
                           "hostname tarn host\nfilename - wav file to identify";

TEST(CommandLine, PrintsTheUsageAndEndsWith255) {
    for (const Arguments& arguments : {Arguments{}, {"key"}, {"-e"}, {"key", "host"}, {"", ""}}) {
        SCOPED_TRACE(arguments.size());
        const ToolResult result = runTool(arguments);
        EXPECT_EQ(result.exitStatus, 255);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(logTexts(result.errors), Texts{kUsage});
    }
}

TEST(CommandLine, EncodesAKey) {
    struct Case {
        const char* name;
        Arguments arguments;
        Texts log;
    };
    const Case cases[] = {
        {"plain", {"-e", "raw"}, {"RESULT CODE 0", "Encoded Key " + accessKeyOf("raw")}},
        {"anything that begins with the option",
         {"-eanything", "raw"},
         {"RESULT CODE 0", "Encoded Key " + accessKeyOf("raw")}},
        {"with more arguments", {"-e", "raw", "host", "file"}, {"RESULT CODE 0", "Encoded Key " + accessKeyOf("raw")}},
        {"nothing", {"-e", ""}, {"RESULT CODE 0", "Encoded Key " + accessKeyOf("")}},
        {"95 bytes",
         {"-e", std::string(95, 'x')},
         {"RESULT CODE 0", "Encoded Key " + accessKeyOf(std::string(95, 'x'))}},
        {"96 bytes", {"-e", std::string(96, 'x')}, {"RESULT CODE -4301", "Encoded Key "}},
        {"not ASCII", {"-e", "\xc3\xa4"}, {"RESULT CODE -4300", "Encoded Key "}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const ToolResult result = runTool(c.arguments);
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(logTexts(result.errors), c.log);
    }
}

TEST(CommandLine, TakesTheKeyThatItEncoded) {
    const std::string raw = std::to_string(std::time(nullptr)) + ":" + accessCode(3, 3);
    const Texts log = logTexts(runTool({"-e", raw}).errors);
    const std::string lead = "Encoded Key ";
    ASSERT_EQ(log.size(), 2U);
    ASSERT_EQ(log[1].substr(0, lead.size()), lead);
    const ToolResult result = runTool({log[1].substr(lead.size()), "h", "/nowhere"});
    EXPECT_EQ(result.exitStatus, 253); // past the key: it is the file that is missing
}

TEST(CommandLine, RefusesABadKeyWith254) {
    const std::string now = std::to_string(std::time(nullptr));
    const std::string code = accessCode(3, 3);
    struct Case {
        const char* name;
        std::string key;
        const char* text;
    };
    const Case cases[] = {
        {"no key", "", "Key Not Correct Format -4304"},
        {"no whole block", "0011", "Key Not Correct Format -4303"},
        {"300 digits", std::string(300, '0'), "Key Not Correct Format -4303"},
        {"no digits", std::string(32, 'x'), "Key Not Correct Format -4304"},
        // A fixed text: under the wrong key one text in 256 happens to end in good padding.
        {"another cipher key", upperHex(aesEncrypt(Bytes(32, 7), padded("1000000000:" + code))),
         "Key Not Correct Format -4304"},
        {"79 characters", accessKeyOf(code.substr(1)), "Key Not Correct Length 79"},
        {"three characters of time", accessKeyOf("123:" + code), "Key Not Valid"},
        {"78 characters of code", accessKeyOf(now + ":" + code.substr(2)), "Key Not Valid"},
        {"older than 30 seconds", freshKey(3, 3, 31), "Key Not Valid"},
        {"an unknown encryption method", freshKey(4, 3), "Cannot Init Handle"},
        {"an unknown checksum method", freshKey(3, 4), "Cannot Init Handle"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const ToolResult result = runTool({c.key, "h", soundFile()});
        EXPECT_EQ(result.exitStatus, 254);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(logTexts(result.errors), Texts{std::string("Error Initialising 100 - ") + c.text});
    }
}

TEST(CommandLine, TakesGoodKeysOfEveryForm) {
    const std::string code = accessCode(3, 3);
    const std::string ahead = std::to_string(std::time(nullptr) + 3600);
    std::string lowered = freshKey();
    for (char& c : lowered) c = static_cast<char>(std::tolower(c));
    const std::string odd = freshKey() + "f";
    const std::string inAnHour = ahead + ":" + code;
    const std::string oneShort = inAnHour.substr(0, inAnHour.size() - 1);
    for (const std::string& key :
         {freshKey(), lowered, odd, accessKeyOf(code), accessKeyOf(inAnHour), accessKeyOf(oneShort)}) {
        SCOPED_TRACE(key);
        EXPECT_EQ(runTool({key, "h", "/nowhere"}).exitStatus, 253);
    }
}

TEST(CommandLine, RefusesABadFileWith253) {
    const WavFields sound = wavFields({.lengthMs = 8000});
    const auto changed = [&](auto change) {
        WavFields fields = sound;
        change(fields);
        return wavHeader(fields);
    };
    Bytes ends = wavHeader(sound);
    ends.resize(ends.size() + 44100 * 7);
    struct Case {
        const char* name;
        Bytes file;
        const char* text; // the file's name goes where FILE stands
    };
    const Case cases[] = {
        {"empty", {}, "102 - Cannot Read Wav Header From FILE"},
        {"cut", Bytes(43, 'R'), "102 - Cannot Read Wav Header From FILE"},
        {"no sound at all", Bytes(50, 'R'), "103 - File FILE is not a wav file"},
        {"8 bits", changed([](WavFields& f) { f.bitsPerSample = 8; }), "104 - File FILE is not a correct wav file"},
        {"too short", changed([](WavFields& f) { f.riffSize = 28 + 6 * 44100; }),
         "106 - Cannot init fingerprint for file FILE - Track Too Short"},
        {"RIFF size 0", changed([](WavFields& f) { f.riffSize = 0; }),
         "106 - Cannot init fingerprint for file FILE - Track Too Short"},
        {"a low rate", changed([](WavFields& f) { f.rateHz = 8000; }), "106 - Cannot init fingerprint for file FILE"},
        {"header alone", wavHeader(sound), "108 - Cannot generate fingerprint for file FILE"},
        {"audio ends early", ends, "108 - Cannot generate fingerprint for file FILE"},
    };
    const std::string path = scratchFile("bad.wav");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        writeFile(path, c.file);
        std::string text = std::string("Error Fingerprinting ") + c.text;
        text.replace(text.find("FILE"), 4, path);
        const ToolResult result = runTool({freshKey(), "h", path});
        EXPECT_EQ(result.exitStatus, 253);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(logTexts(result.errors), Texts{text});
    }
}

TEST(CommandLine, NamesTheReasonForAFileThatDoesNotOpen) {
    const ToolResult result = runTool({freshKey(), "h", "/nowhere/t\xc3\xb6ne.wav"});
    EXPECT_EQ(result.exitStatus, 253);
    EXPECT_EQ(logTexts(result.errors), Texts{"Error Fingerprinting 101 - Cannot Open Audio File "
                                             "/nowhere/t\xc3\xb6ne.wav - No such file or directory"});
}

TEST(CommandLine, ADirectoryHasNoHeader) {
    const ToolResult result = runTool({freshKey(), "h", "/"});
    EXPECT_EQ(result.exitStatus, 253);
    EXPECT_EQ(logTexts(result.errors), Texts{"Error Fingerprinting 102 - Cannot Read Wav Header From /"});
}

TEST(CommandLine, CannotSeekInAPipe) {
    struct Case {
        int seconds;
        const char* offsetMs;
    };
    for (const Case& c : {Case{8, "0"}, Case{80, "44000"}}) {
        SCOPED_TRACE(c.seconds);
        const std::string path = scratchFile("pipe" + std::to_string(c.seconds));
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        const Bytes header = wavHeader(wavFields({.lengthMs = c.seconds * 1000}));
        std::thread writer([&] {
            const int pipe = open(path.c_str(), O_WRONLY | O_CLOEXEC); // waits for the tool
            EXPECT_EQ(write(pipe, header.data(), header.size()), static_cast<ssize_t>(header.size()));
            close(pipe);
        });
        const ToolResult result = runTool({freshKey(), "h", path});
        writer.join();
        EXPECT_EQ(result.exitStatus, 253);
        EXPECT_EQ(logTexts(result.errors),
                  Texts{"Error Fingerprinting 107 - Cannot read file " + path + " to expected offset " + c.offsetMs});
    }
}

TEST(CommandLine, BuildsNoRequestWithoutASignature) {
    const ToolResult result = runTool({freshKey(3, 1), "h", soundFile()});
    EXPECT_EQ(result.exitStatus, 253);
    EXPECT_EQ(logTexts(result.errors),
              Texts{"Error Fingerprinting 109 - Cannot generate fingerprint request for file " + soundFile()});
}

} // namespace
} // namespace kvxtest
