// SPDX-License-Identifier: Apache-2.0
#include "commands/catalogue.h"

#include "audio/audio_error.h"
#include "audio/media_process.h"
#include "base/text.h"
#include "catalogue/catalogue.h"
#include "commands/identify.h"
#include "commands/reporting.h"
#include "ingest/recording_reader.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <ostream>
#include <stdexcept>
#include <vector>

namespace fs = std::filesystem;

namespace tarn::server {

namespace {

// A mistyped place is no reason to make a catalogue there.
void expectCatalogue(const std::string& catalogue) { CatalogueReader{catalogue}; }

// A reader that names each damaged recording on err and goes on without it.
class TolerantReader {
  public:
    TolerantReader(const std::string& catalogue, std::ostream& err)
        : reader_(catalogue, [this, &err](uint32_t /*id*/, const std::string& problem) {
              err << problem << '\n';
              damaged_ = true;
          }) {}

    CatalogueReader* operator->() { return &reader_; }
    CatalogueReader& operator*() { return reader_; }
    bool foundDamage() const { return damaged_; }

  private:
    bool damaged_ = false;
    CatalogueReader reader_;
};

// The numbers of the recordings that the user means; not all of them need be there.
std::vector<uint32_t> idsNamed(CatalogueReader& reader, const std::string& name) {
    uint32_t id = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), id);
    if (error == std::errc{} && end == name.data() + name.size()) return {id};
    return reader.byTrackId(name);
}

CatalogueError noRecording(const std::string& name) {
    return CatalogueError("there is no recording " + name +
                          " in the catalogue; tarn-server list shows which there are");
}

std::string durationOf(const Recording& recording) { return durationText(recording.durationMs / 1000); }

void show(const Recording& recording, std::ostream& out) {
    const auto line = [&](const char* name, const std::string& value) {
        if (!value.empty()) out << fmt::format("{:<13}{}\n", name, value);
    };
    const auto number = [](uint32_t value) { return value == 0 ? std::string() : std::to_string(value); };
    line("id", std::to_string(recording.id));
    line("track id", recording.trackId);
    line("title", recording.tags.title);
    line("artist", recording.tags.artist);
    line("album", recording.tags.album);
    line("album artist", recording.tags.albumArtist);
    line("number", number(recording.tags.number));
    line("year", number(recording.tags.year));
    line("album id", recording.albumId);
    line("duration", durationOf(recording));
    line("path", inOneLine(recording.path));
    line("content", recording.contentHash);
    for (size_t i = 0; i < recording.codes.size(); ++i) {
        for (size_t c = 0; c < recording.codes[i].size(); ++c) {
            line("letters", fmt::format("{} (phase {}, {} dB, codebook {})", recording.codes[i][c].letters.size(),
                                        kCodings[i].phaseSamples, -6 * kCodings[i].halvings, c + 1));
        }
    }
}

FingerprintQuery queryOf(const fs::path& file, MediaProcess& process) {
    try {
        return readQuery(file, process);
    } catch (const AudioError& error) {
        throw AudioError(inOneLine(file.string()) + ": " + error.what() + "; name an audio file");
    }
}

} // namespace

int runList(const std::string& catalogue, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        TolerantReader reader(catalogue, err);
        reader->forEach([&](const Recording& recording) {
            out << fmt::format("{}\t{}\t{}\t{}\t{}\t{}\t{}\n", recording.id, recording.trackId, durationOf(recording),
                               recording.tags.artist, recording.tags.title, recording.tags.album,
                               inOneLine(recording.path));
        });
        return reader.foundDamage() ? 1 : 0;
    });
}

int runShow(const std::string& catalogue, const std::string& name, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        TolerantReader reader(catalogue, err);
        bool shown = false;
        for (const uint32_t id : idsNamed(*reader, name)) {
            const std::optional<Recording> recording = reader->recording(id);
            if (!recording) continue;
            if (shown) out << '\n';
            shown = true;
            show(*recording, out);
        }
        if (!shown && !reader.foundDamage()) throw noRecording(name);
        return reader.foundDamage() ? 1 : 0;
    });
}

int runRemove(const std::string& catalogue, const std::string& name, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        expectCatalogue(catalogue);
        CatalogueWriter writer(catalogue);
        CatalogueReader reader(catalogue, [](uint32_t, const std::string&) {}); // a damaged one can go as well
        std::vector<std::string> removed;
        for (const uint32_t id : idsNamed(reader, name)) {
            const std::optional<Recording> recording = reader.recording(id);
            if (!writer.remove(id)) continue;
            removed.push_back(recording ? fmt::format("{} {}: {}", id, recording->trackId, recording->tags.title)
                                        : fmt::format("{}, which was damaged", id));
        }
        if (removed.empty()) throw noRecording(name);
        writer.commit();
        for (const std::string& line : removed) out << "removed " << line << '\n';
        return 0;
    });
}

int runCheck(const std::string& catalogue, bool deep, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        CatalogueReader reader(catalogue);
        const std::vector<std::string> damage = reader.check(deep);
        for (const std::string& line : damage) err << line << '\n';
        if (!damage.empty()) return 1;
        out << counted(reader.recordingCount(), "recording") << ", no damage found\n";
        return 0;
    });
}

int runStats(const std::string& catalogue, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        TolerantReader reader(catalogue, err);
        uint64_t durationMs = 0;
        uint64_t letters = 0;
        reader->forEach([&](const Recording& recording) {
            durationMs += recording.durationMs;
            for (const auto& coding : recording.codes) {
                for (const CodeString& code : coding) letters += code.letters.size();
            }
        });
        out << fmt::format("recordings   {}\naudio        {}\nletters      {}, {} of them a gram\n",
                           reader->recordingCount(), durationText(durationMs / 1000), letters, reader->gramLetters());
        if (const std::optional<uint64_t> bytes = reader->bytesTaken()) {
            out << fmt::format("takes        {} bytes\n", *bytes);
            if (durationMs > 0) {
                out << fmt::format("             {:.0f} bytes a minute of audio\n",
                                   static_cast<double>(*bytes) * 60'000 / static_cast<double>(durationMs));
            }
        }
        return reader.foundDamage() ? 1 : 0;
    });
}

int runCompact(const std::string& catalogue, const Compaction& how, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        expectCatalogue(catalogue);
        for (const uint32_t id : CatalogueWriter(catalogue).compact(how)) {
            err << fmt::format("removed {}, which was damaged; adding its file or folder again brings it back\n", id);
        }
        out << "compacted\n";
        return 0;
    });
}

int runIdentify(const std::string& catalogue, const fs::path& file, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        MediaProcess process; // before the reader, whose files it is not to hold
        TolerantReader reader(catalogue, err);
        return identify(*reader, queryOf(file, process), out) ? 0 : 1;
    });
}

} // namespace tarn::server
