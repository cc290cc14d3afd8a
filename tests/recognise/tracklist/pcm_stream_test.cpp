// SPDX-License-Identifier: Apache-2.0
// Streams of PCM through pipes: with and without a header, cut anywhere, stalled, endless.
#include "recognise/tracklist/pcm_stream.h"

#include "base/file_descriptor.h"
#include "support/wav_maker.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <functional>
#include <thread>
#include <vector>

using namespace kvxtest;
using namespace tarn::recognise;
using tarn::server::FileDescriptor;
using testing::HasSubstr;

namespace {

// The reading end of a pipe into which a thread writes the bytes, some at a time; then it is closed, or left open.
class Pipe {
  public:
    Pipe(Bytes bytes, size_t pieceBytes, bool staysOpen = false) {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe(ends.data()), 0);
        reading_ = FileDescriptor(ends[0]);
        writing_ = FileDescriptor(ends[1]);
        writer_ = std::thread([this, bytes = std::move(bytes), pieceBytes, staysOpen] {
            for (size_t at = 0; at < bytes.size(); at += pieceBytes) {
                const size_t count = std::min(pieceBytes, bytes.size() - at);
                EXPECT_EQ(::write(writing_.get(), bytes.data() + at, count), static_cast<ssize_t>(count));
            }
            if (!staysOpen) writing_ = FileDescriptor();
        });
    }
    ~Pipe() { writer_.join(); }
    int get() const { return reading_.get(); }

  private:
    FileDescriptor reading_;
    FileDescriptor writing_;
    std::thread writer_;
};

Bytes samplesAsBytes(size_t count) {
    Bytes bytes(count * 2);
    for (size_t i = 0; i < count; ++i) {
        bytes[2 * i] = static_cast<uint8_t>(i);
        bytes[2 * i + 1] = static_cast<uint8_t>(i >> 8U);
    }
    return bytes;
}

std::vector<int16_t> numbers(size_t count) {
    std::vector<int16_t> samples(count);
    for (size_t i = 0; i < count; ++i) samples[i] = static_cast<int16_t>(i);
    return samples;
}

std::vector<int16_t> readAll(PcmStream& stream) {
    std::vector<int16_t> all;
    for (auto piece = stream.read(); !piece.empty(); piece = stream.read())
        all.insert(all.end(), piece.begin(), piece.end());
    return all;
}

Bytes joined(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes cut(Bytes bytes, size_t count) {
    bytes.resize(count);
    return bytes;
}

Bytes header(
    uint32_t dataSize, const std::function<void(WavFields&)>& spoil = [](WavFields&) {}) {
    WavFields fields;
    fields.channels = 2;
    fields.rateHz = 44100;
    fields.dataSize = dataSize;
    spoil(fields);
    return wavHeader(fields);
}

TEST(PcmFormat, IsRateAndChannels) {
    ASSERT_TRUE(pcmFormat("44100,2"));
    EXPECT_EQ(pcmFormat("44100,2")->rateHz, 44100);
    EXPECT_EQ(pcmFormat("44100,2")->channels, 2);
    for (const char* wrong : {"", "44100", "44100,", ",2", "44100,2,", "44100, 2", "44100,0", "44100,65", "11024,1",
                              "768001,1", "-44100,2", "99999999999,2", "a,b"}) {
        EXPECT_FALSE(pcmFormat(wrong)) << wrong;
    }
    EXPECT_TRUE(pcmFormat("11025,1"));
    EXPECT_TRUE(pcmFormat("768000,64"));
}

TEST(PcmStream, ReadsRawSamplesInAnyPieces) {
    for (const size_t piece : {size_t{1}, size_t{3}, size_t{4096}}) {
        SCOPED_TRACE(piece);
        const Pipe pipe(samplesAsBytes(3000), piece);
        PcmStream stream(pipe.get(), PcmFormat{48000, 3}, {});
        EXPECT_EQ(stream.format().channels, 3);
        EXPECT_EQ(readAll(stream), numbers(3000));
    }
}

TEST(PcmStream, LeavesOutAnIncompleteFrameAtTheEnd) {
    Bytes bytes = samplesAsBytes(7);
    bytes.push_back(1);
    const Pipe pipe(bytes, 100);
    PcmStream stream(pipe.get(), PcmFormat{48000, 2}, {});
    EXPECT_EQ(readAll(stream), numbers(6));
}

TEST(PcmStream, ReadsWavOfAnySize) {
    const struct {
        const char* name;
        uint32_t dataSize;
        size_t samples;
    } kCases[] = {{"unknown size", 0, 1000},
                  {"endless", 0xffffffff, 1000},
                  {"nearly endless", 0x7ffff000, 1000},
                  {"ends before its size", 4000, 1000},
                  {"something follows", 800, 400}};
    for (const auto& each : kCases) {
        SCOPED_TRACE(each.name);
        const Pipe pipe(joined(header(each.dataSize), samplesAsBytes(1000)), 777);
        PcmStream stream(pipe.get(), std::nullopt, {});
        EXPECT_EQ(stream.format().rateHz, 44100);
        EXPECT_EQ(stream.format().channels, 2);
        EXPECT_EQ(readAll(stream), numbers(each.samples));
    }
}

TEST(PcmStream, PassesOverWhatItDoesNotKnow) {
    Bytes bytes = header(0);
    const Bytes list = {'L', 'I', 'S', 'T', 5, 0, 0, 0, 'a', 'b', 'c', 'd', 'e', 0}; // padded to an even size
    bytes.insert(bytes.begin() + 12, list.begin(), list.end());
    const Pipe pipe(joined(bytes, samplesAsBytes(10)), 5);
    PcmStream stream(pipe.get(), std::nullopt, {});
    EXPECT_EQ(readAll(stream), numbers(10));
}

TEST(PcmStream, RefusesWhatItCannotRead) {
    const struct {
        const char* name;
        Bytes bytes;
        const char* reason;
    } kCases[] = {
        {"nothing", {}, "ends before its first sample"},
        {"an MP3", {'I', 'D', '3', 4, 0, 0, 0, 0, 0, 0, 0, 0, 0}, "ffmpeg -i INPUT -f wav"},
        {"a cut header", cut(header(0), 30), "header is damaged"},
        {"no samples", cut(header(0), 36), "ends before its first sample"},
        {"24 bits", header(0, [](WavFields& fields) { fields.bitsPerSample = 24; }), "(format 1, 24 bits)"},
        {"floating point", header(0, [](WavFields& fields) { fields.formatTag = 3; }), "(format 3, 16 bits)"},
        {"no channel", header(0, [](WavFields& fields) { fields.channels = 0; }), "44100 Hz and 0 channels"},
        {"an absurd rate", header(0, [](WavFields& fields) { fields.rateHz = 0xffffffff; }), "4294967295 Hz"},
        {"a format that is missing", header(0, [](WavFields& fields) { fields.fmt = "fmtx"; }), "before their format"},
    };
    for (const auto& each : kCases) {
        SCOPED_TRACE(each.name);
        const Pipe pipe(each.bytes, 7);
        try {
            const PcmStream stream(pipe.get(), std::nullopt, {});
            ADD_FAILURE() << "it was read";
        } catch (const StreamError& error) {
            EXPECT_THAT(error.what(), HasSubstr(each.reason));
        }
    }
}

TEST(PcmStream, EndsWhenItIsStopped) {
    const Pipe pipe(samplesAsBytes(100), 200, true);
    bool isStopped = false;
    PcmStream stream(pipe.get(), PcmFormat{44100, 1}, {0, [&isStopped] { return isStopped; }});
    EXPECT_FALSE(stream.read().empty());
    isStopped = true;
    EXPECT_TRUE(stream.read().empty());
}

TEST(PcmStream, EndsWhenItDeliversNothingForTooLong) {
    const Pipe pipe(samplesAsBytes(100), 200, true);
    PcmStream stream(pipe.get(), PcmFormat{44100, 1}, {1, {}});
    EXPECT_EQ(readAll(stream), numbers(100));
}

TEST(PcmStream, SaysThatItCannotRead) {
    const FileDescriptor folder(::open("/", O_RDONLY | O_CLOEXEC));
    PcmStream stream(folder.get(), PcmFormat{44100, 1}, {});
    EXPECT_THROW(stream.read(), StreamError);
}

} // namespace
