// SPDX-License-Identifier: Apache-2.0
// The commands from outside: a file or a stream in, a list out, an exit status.
#include "recognise/batch/tracklist_run.h"

#include "base/file_descriptor.h"
#include "demo/audio_writer.h"
#include "recognise/tracklist/music_catalogue.h"
#include "recognise/tracklist/scripted_stream.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

using namespace kvxtest;
using namespace tarn::recognise;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

const Script kMix{100, {{"a", 0, 50, 0, 50}, {"b", 50, 100, 0, 50}}};

struct Ran {
    int status = 0;
    std::string out;
    std::string err;
};

Ran list(const Script& script, const std::string& file, TracklistFormat format) {
    ScriptedAsker asker(script);
    std::ostringstream out;
    std::ostringstream err;
    const int status = listTracksOfFile({file, format, nullptr}, asker, out, err);
    return {status, out.str(), err.str()};
}

Ran live(const Script& script, const std::string& file, const LiveOptions& options) {
    ScriptedAsker asker(script);
    std::ostringstream out;
    std::ostringstream err;
    const tarn::server::FileDescriptor stream(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    LiveOptions all = options;
    all.descriptor = stream.get();
    const int status = listTracksOfStream(all, asker, out, err);
    return {status, out.str(), err.str()};
}

class Tracklist : public testing::Test {
  protected:
    std::string written(const std::string& name, const Bytes& bytes) const {
        writeFile(folder_.file(name), bytes);
        return folder_.file(name);
    }

    TemporaryDirectory folder_;
};

TEST_F(Tracklist, OfAFile) {
    const Ran ran = list(kMix, written("mix.wav", wavOf(samplesOf(kMix))), TracklistFormat::kLabels);
    EXPECT_EQ(ran.out, "0.000\t50.000\tTitle a\n50.000\t100.000\tTitle b\n");
    EXPECT_EQ(ran.err, "");
    EXPECT_EQ(ran.status, kListComplete);
}

TEST_F(Tracklist, OfAFileThatIsCut) {
    const std::string file = folder_.file("mix.flac");
    tarn::demo::writeSound(file, {22050, 1, samplesOf(kMix)}, tarn::demo::FileFormat::kFlac);
    std::filesystem::resize_file(file, std::filesystem::file_size(file) * 4 / 5);
    const Ran ran = list(kMix, file, TracklistFormat::kLabels);
    EXPECT_THAT(ran.out, StartsWith("0.000\t50.000\tTitle a\n50.000\t"));
    EXPECT_THAT(ran.out, EndsWith("\tTitle b\n"));
    EXPECT_THAT(ran.err, HasSubstr("mix.flac: "));
    EXPECT_THAT(ran.err, HasSubstr("; the list ends at 0:01:"));
    EXPECT_EQ(ran.status, kListUnreadable);
}

TEST_F(Tracklist, OfAFileThatIsNone) {
    const Ran ran = list(kMix, folder_.file("none.wav"), TracklistFormat::kTable);
    EXPECT_EQ(ran.out, "");
    EXPECT_THAT(ran.err, HasSubstr("none.wav: there is no such file"));
    EXPECT_EQ(ran.status, kListUnreadable);
    EXPECT_EQ(list(kMix, written("text.wav", Bytes(100, 'x')), TracklistFormat::kTable).status, kListUnreadable);
}

TEST_F(Tracklist, SaysWhatCouldNotBeAsked) {
    Script script = kMix;
    script.outages = {{60, 100}};
    const Ran ran = list(script, written("mix.wav", wavOf(samplesOf(script))), TracklistFormat::kLabels);
    EXPECT_THAT(ran.out, StartsWith("0.000\t50.000\tTitle a\n"));
    EXPECT_THAT(ran.out, HasSubstr("\t100.000\t(not asked: the server is away)\n"));
    EXPECT_THAT(ran.err, HasSubstr("mix.wav: 9 windows of 23 could not be asked: the server is away\n"));
    EXPECT_EQ(ran.status, kListNotAsked);
}

TEST_F(Tracklist, SaysWhatACueSheetHasNoRoomFor) {
    // Each window names another recording.
    class Changing : public Asker {
      public:
        Answer ask(std::span<const int16_t> samples) override {
            Match match;
            match.trackId = std::to_string((samples.front() - 1000) / 200);
            match.confidence = 100;
            return {{match}};
        }
    } asker;
    std::ostringstream out;
    std::ostringstream err;
    const std::string file = written("mix.wav", wavOf(samplesOf({450, {}})));
    EXPECT_EQ(listTracksOfFile({file, TracklistFormat::kCue, nullptr}, asker, out, err), kListComplete);
    EXPECT_THAT(out.str(), HasSubstr("TRACK 99 AUDIO"));
    EXPECT_THAT(err.str(), HasSubstr("left out, because a CUE sheet holds 99; choose another format"));
}

TEST_F(Tracklist, OfAStream) {
    const std::vector<int16_t> samples = samplesOf(kMix);
    const std::string wav = written("stream.wav", wavOf(samples));
    const Bytes bytes = wavOf(samples);
    const std::string raw = written("stream.raw", Bytes(bytes.begin() + 44, bytes.end()));
    LiveOptions options;
    options.format = TracklistFormat::kTable;
    const Ran ofWav = live(kMix, wav, options);
    EXPECT_EQ(ofWav.status, kListComplete) << ofWav.err;
    EXPECT_THAT(ofWav.out, StartsWith("  0:00:12 begin      0:00:00  Title a\n"));
    EXPECT_THAT(ofWav.out, HasSubstr(" end        0:00:00 to 0:00:50  Title a\n"));
    EXPECT_THAT(ofWav.out, HasSubstr(" end        0:00:50 to 0:01:40  Title b\n"));
    options.pcm = PcmFormat{22050, 1};
    EXPECT_EQ(live(kMix, raw, options).out, ofWav.out);
}

TEST_F(Tracklist, RefusesStreamsAndFormatsThatCannotBe) {
    const Ran none = live(kMix, written("a.mp3", Bytes(100, 'x')), {});
    EXPECT_EQ(none.status, kListUnreadable);
    EXPECT_THAT(none.err, HasSubstr("live: the stream is not WAV"));
    LiveOptions cue;
    cue.format = TracklistFormat::kCue;
    EXPECT_EQ(live(kMix, written("b.wav", wavOf({})), cue).status, kListUnreadable);
}

TEST_F(Tracklist, EndsWhenNobodyReadsIt) {
    class Counting : public ScriptedAsker {
      public:
        using ScriptedAsker::ScriptedAsker;
        Answer ask(std::span<const int16_t> samples) override {
            ++asked;
            return ScriptedAsker::ask(samples);
        }
        int asked = 0;
    };
    Counting asker({600, {{"a", 0, 600, 5}}});
    std::ostringstream out;
    out.setstate(std::ios::badbit);
    std::ostringstream err;
    const std::string file = written("long.wav", wavOf(samplesOf({600, {}})));
    listTracksOfFile({file, TracklistFormat::kLabels, nullptr}, asker, out, err);
    EXPECT_LE(asker.asked, 3); // of 148 windows
}

} // namespace
