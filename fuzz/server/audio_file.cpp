// SPDX-License-Identifier: Apache-2.0
// A music file of any format: its samples, its tags, and the records that are made of them.
//
// Holds: the whole file is read, or a reason is given in words; the samples are whole frames of one or two channels at
// a rate within the bounds; texts are clean; the records are what the client's library loads; the same file gives the
// same again, which one file in four is asked.
#include "audio/sndfile_decoder.h"

#include "audio/file_tags.h"
#include "base/digest.h"
#include "base/text.h"
#include "fuzz_target.h"
#include "ingest/record_builder.h"
#include "memory_file.h"
#include "records/all_records.h"
#include "records/record_walkers.h"
#include "support/guarded_bytes.h"
#include "support/temporary_directory.h"

#include <fcntl.h>
#include <filesystem>
#include <string_view>

namespace {

using namespace tarn::server;

// The file in memory under a name with each extension, by which the tag library chooses how to read it.
class NamedFile {
  public:
    // A name for a file of these bytes.
    std::filesystem::path holding(std::span<const uint8_t> bytes) {
        file_.hold(bytes);
        const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        for (const auto& [beginning, name] : kNames) {
            if (text.starts_with(beginning)) return nameOf(name);
        }
        return nameOf("music.mp3");
    }

  private:
    static constexpr std::pair<const char*, const char*> kNames[] = {
        {"RIFF", "music.wav"}, {"fLaC", "music.flac"}, {"OggS", "music.ogg"}, {"FORM", "music.aiff"}};

    std::filesystem::path nameOf(const char* name) {
        std::filesystem::path path = directory_ / name;
        if (!std::filesystem::is_symlink(path)) std::filesystem::create_symlink(file_.path(), path);
        return path;
    }

    kvxtest::TemporaryDirectory directory_;
    fuzz::MemoryFile file_;
};

template <class Record>
void checkRecord(const std::string& bytes, const kvx::Table<Record>& table) {
    if (bytes.empty()) return; // no album
    const kvxtest::GuardedBytes guarded({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
    const KVXBlob blob{guarded.data(), 0, static_cast<uint32_t>(guarded.size())};
    Record record{};
    REQUIRE(kvx::loadRecord(table, &blob, &record) == 0);
    kvx::freeFields(table, &record);
}

void checkText(const std::string& text) { REQUIRE(text.size() <= kMaxTextBytes && cleanText(text) == text); }

// A hash of all samples, or the reason why there is none.
std::string readSamples(const std::filesystem::path& path) {
    try {
        SndfileDecoder file(path);
        REQUIRE(file.rateHz() >= AudioDecoder::kMinRateHz && file.rateHz() <= AudioDecoder::kMaxRateHz);
        REQUIRE(file.channels() == 1 || file.channels() == 2);
        Digest hash;
        uint64_t samples = 0;
        for (auto piece = file.read(); !piece.empty(); piece = file.read()) {
            samples += piece.size();
            hash.add(piece);
        }
        REQUIRE(samples % static_cast<uint64_t>(file.channels()) == 0);
        return hash.hexadecimal();
    } catch (const AudioError& error) {
        REQUIRE(std::string_view(error.what()).size() > 1);
        return error.what();
    }
}

// What the tags become.
std::string readRecords(const std::filesystem::path& path, const std::string& hash) {
    Recording recording;
    recording.contentHash = hash;
    recording.tags =
        readTags(FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC)).get(), path.filename().string());
    for (const std::string& text :
         {recording.tags.title, recording.tags.artist, recording.tags.album, recording.tags.albumArtist}) {
        checkText(text);
    }
    fillRecords(recording);
    REQUIRE(recording.albumId.empty() == recording.albumBlob.empty());
    checkRecord(recording.trackBlob, kvx::kTrack);
    checkRecord(recording.albumBlob, kvx::kAlbum);
    return recording.trackBlob + recording.albumBlob;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static NamedFile file;
    const std::filesystem::path path = file.holding({data, size});
    const std::string samples = readSamples(path);
    const std::string records = readRecords(path, samples);
    if (size % 4 != 0) return 0;
    REQUIRE(readSamples(path) == samples);
    REQUIRE(readRecords(path, samples) == records);
    return 0;
}
