// SPDX-License-Identifier: Apache-2.0
// The order of a run, with services that say what a real network cannot be made to say on demand.
#include "app/scripted_run.h"
#include "run.h"
#include "support/answers.h"
#include "support/clients.h"
#include "support/counting_hooks.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace kvxtest {

using namespace scripted_run;

namespace {

const char* const kUsage = "tarn [-e rawsac] sackey hostname filename\nsackey - obfuscated access key\n"
                           "hostname tarn host\nfilename - wav file to identify";

const char* const kFullReport = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<match>\n<album>Album</album>\n"
                                "<name>Artist</name>\n<title>Title</title>\n</match>\n";

TEST_F(Run, WithTooFewArgumentsIsAUsageError) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{}, {"key"}, {"-e"}, {"key", "host"}}) {
        SCOPED_TRACE(arguments.size());
        scripted.log.entries.clear();
        EXPECT_EQ(run(scripted, arguments), -1);
        EXPECT_EQ(scripted.log.entries, Entries{kUsage});
    }
    EXPECT_EQ(tarn::runTarn({}, scripted.services), -1); // not even a program name
}

TEST_F(Run, EncodesWhateverBeginsWithTheOption) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"-e", "raw"}, {"-eanything", "raw"}, {"-e", "raw", "more", "and more"}}) {
        SCOPED_TRACE(arguments.size());
        scripted.log.entries.clear();
        EXPECT_EQ(run(scripted, arguments), 0);
        EXPECT_EQ(scripted.log.entries, (Entries{"RESULT CODE 0", "Encoded Key " + accessKeyOf("raw")}));
    }
    EXPECT_EQ(scripted.output.all(), "");
}

TEST_F(Run, ShowsAnEmptyKeyWhenTheCipherFails) {
    EXPECT_EQ(run(scripted, {"-e", std::string(96, 'x')}), 0);
    EXPECT_EQ(scripted.log.entries, (Entries{"RESULT CODE -4301", "Encoded Key "}));
}

TEST_F(Run, PrintsTheReportInOnePiece) {
    EXPECT_EQ(recognise({answer(kTrack), answer(kAlbum)}), 0);
    EXPECT_EQ(scripted.output.writes, Entries{kFullReport});
    const Entries albumLog = {"Received 1 response(s)\n", "Response 1: A_ID: a1\n", "Response 1: Artist: Artist\n",
                              "Response 1: Title: Album\n", "Response 1: Confidence: 87\n"};
    EXPECT_EQ(scripted.log.entries, kTrackLog + albumLog);
    ASSERT_EQ(scripted.loader.requests.size(), 2U);
    for (const auto& request : scripted.loader.requests) {
        EXPECT_EQ(request.url.value().text, "http://recog.example/sdkrequest");
        EXPECT_EQ(request.method, "POST");
    }
}

TEST_F(Run, EndsWithoutAReportWhenThereIsNoMatch) {
    const tarn::Bytes notFoundBody = notFound();
    EXPECT_EQ(recognise({answer(notFoundBody)}), 0);
    EXPECT_EQ(scripted.log.entries, (Entries{"Received 1 response(s)\n", "Response 1: Not Found\n"}));
    EXPECT_EQ(scripted.output.all(), "");
}

TEST_F(Run, EndsQuietlyWithoutABody) {
    EXPECT_EQ(recognise({{std::nullopt, 200, {}}}), 0);
    EXPECT_TRUE(scripted.log.entries.empty());
    EXPECT_EQ(scripted.output.all(), "");
}

TEST_F(Run, FailsAtEachStepWithItsLineAndItsValue) {
    struct Case {
        const char* name;
        LoaderAnswer answer;
        int value;
        const char* line;
    };
    const Case cases[] = {
        {"transport error",
         {{}, {}, kLost},
         -4,
         "Error sending fingerprint request -1005 - The network connection was lost."},
        {"a transport error beside an answer",
         {kTrack, 200, kLost},
         -4,
         "Error sending fingerprint request -1005 - The network connection was lost."},
        {"no answer", {{}, {}, {}}, -5, "No HTTP Response"},
        {"a body without an answer", {kTrack, {}, {}}, -5, "No HTTP Response"},
        {"a track beside another status", {kTrack, 500, {}}, -5, "Invalid HTTP Status Code 500"},
        {"404", {bytesOf("x"), 404, {}}, -5, "Invalid HTTP Status Code 404"},
        {"204", {{}, 204, {}}, -5, "Invalid HTTP Status Code 204"},
        {"an empty body that is present",
         {Bytes(), 200, {}},
         -6,
         "Error parsing fingerprint response 200 - Cannot parse server response"},
        {"a track that cannot be read",
         {record('T', {1}), 200, {}},
         -6,
         "Error parsing fingerprint response 201 - Error Parsing Track Response - -1"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedServices fresh;
        fresh.loader.answers = {c.answer};
        EXPECT_EQ(run(fresh, {goodKey(fresh.clock), "h", directory_->file("sound.wav")}), c.value);
        EXPECT_EQ(fresh.log.entries.back(), c.line);
        EXPECT_EQ(fresh.output.all(), "");
    }
}

TEST_F(Run, FailsBeforeAnythingIsSent) {
    EXPECT_EQ(run(scripted, {"00", "h", directory_->file("sound.wav")}), -2);
    EXPECT_EQ(scripted.log.entries.back(), "Error Initialising 100 - Key Not Correct Format -4303");
    EXPECT_EQ(run(scripted, {goodKey(scripted.clock), "h", "/nowhere"}), -3);
    EXPECT_EQ(scripted.log.entries.back(),
              "Error Fingerprinting 101 - Cannot Open Audio File /nowhere - No such file or directory");
    EXPECT_TRUE(scripted.loader.requests.empty());
}

TEST_F(Run, OutOfMemoryEndsWithTheValueOfItsStep) {
    EXPECT_EQ(recognise({{{}, {}, {}, true}}), -4);
    EXPECT_EQ(scripted.log.entries.back(), "Out of memory");
    EXPECT_EQ(scripted.output.all(), "");
}

TEST_F(Run, WithoutMemoryForTheAlbumReportsWhatIsKnown) {
    EXPECT_EQ(recognise({answer(kTrack), {{}, {}, {}, true}}), 0);
    EXPECT_EQ(scripted.log.entries,
              kTrackLog + Entries{"Out of memory while looking up the album: the report leaves it out"});
    EXPECT_EQ(scripted.output.writes, Entries{kReportWithoutAlbum});
}

// The library's last allocation before the second request is the request itself.
TEST_F(Run, SaysThatTheAlbumRequestCannotBeMadeAndReportsWhatIsKnown) {
    const std::string key = goodKey(scripted.clock);
    const std::string path = directory_->file("sound.wav");
    long allocations = 0;
    {
        CountingHooks hooks;
        ScriptedServices whole;
        whole.loader.answers = {answer(kTrack), {{}, {}, kLost}};
        ASSERT_EQ(run(whole, {key, "h", path}), 0);
        allocations = hooks.allocations();
        hooks.forgetBlocksOf(kHostCopyBytes);
    }
    CountingHooks hooks;
    hooks.failAfter(allocations - 1);
    scripted.loader.answers = {answer(kTrack)};
    EXPECT_EQ(run(scripted, {key, "h", path}), 0);
    EXPECT_TRUE(hooks.hasFailed());
    hooks.forgetBlocksOf(kHostCopyBytes);
    EXPECT_EQ(scripted.log.entries, kTrackLog + Entries{"Error Looking Up Extra Meta Data 200 - Cannot generate meta "
                                                        "data request for track t1"});
    EXPECT_EQ(scripted.loader.requests.size(), 1U);
    EXPECT_EQ(scripted.output.all(), kReportWithoutAlbum);
}

TEST_F(Run, OutputThatCannotBeWrittenIsAFailureOfItsOwn) {
    const Bytes unexpected = record('P', {0});
    for (const Bytes& body : {record('T', trackBlob({}, "Title", {})), unexpected}) {
        ScriptedServices fresh;
        fresh.output.failure = ENOSPC;
        fresh.loader.answers = {answer(body)};
        EXPECT_EQ(run(fresh, {goodKey(fresh.clock), "h", directory_->file("sound.wav")}), -7);
        EXPECT_EQ(fresh.log.entries.back(), "Error Writing Standard Output 28 - No space left on device");
    }
}

TEST_F(Run, SendsToNoUrlWhenTheHostMakesNone) {
    scripted.loader.answers = {{{}, {}, kLost}};
    EXPECT_EQ(run(scripted, {goodKey(scripted.clock), "no host", directory_->file("sound.wav")}), -4);
    ASSERT_EQ(scripted.loader.requests.size(), 1U);
    EXPECT_FALSE(scripted.loader.requests[0].url);
}

TEST_F(Run, ReleasesTheLibraryHandleOnSuccessAlone) {
    struct Case {
        const char* name;
        std::vector<LoaderAnswer> answers;
        const char* file;
        int value;
    };
    const Case cases[] = {
        {"a report with its album", {answer(kTrack), answer(kAlbum)}, "sound.wav", 0},
        {"a report without its album", {answer(kTrack), {{}, {}, kLost}}, "sound.wav", 0},
        {"no match", {answer(notFound())}, "sound.wav", 0},
        {"no body", {{std::nullopt, 200, {}}}, "sound.wav", 0},
        {"no file", {}, "none.wav", -3},
        {"a transport error", {{{}, {}, kLost}}, "sound.wav", -4},
        {"no answer", {{{}, {}, {}}}, "sound.wav", -5},
        {"404", {{std::nullopt, 404, {}}}, "sound.wav", -5},
        {"an answer that cannot be parsed", {answer(bytesOf("x"))}, "sound.wav", -6},
        {"a record that cannot be read", {answer(record('T', {1}))}, "sound.wav", -6},
        {"no memory for the answer", {{{}, {}, {}, true}}, "sound.wav", -4},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedServices fresh;
        fresh.loader.answers = c.answers;
        CountingHooks hooks;
        EXPECT_EQ(run(fresh, {goodKey(fresh.clock), "h", directory_->file(c.file)}), c.value);
        if (c.value == 0) {
            EXPECT_EQ(hooks.forgetBlocksOf(kHostCopyBytes), 1U);
            EXPECT_EQ(hooks.live(), 0U);
        } else {
            EXPECT_GE(hooks.live(), 4U); // handle, host, cipher, digest
        }
    }
    // Where the handle could not be made there is none.
    CountingHooks hooks;
    EXPECT_EQ(run(scripted, {goodKey(scripted.clock, 4), "h", directory_->file("sound.wav")}), -2);
    EXPECT_EQ(hooks.live(), 0U);
}

} // namespace
} // namespace kvxtest
