// SPDX-License-Identifier: Apache-2.0
#include "commands/catalogue.h"

#include "audio/audio_error.h"
#include "audio/media_process.h"
#include "base/text.h"
#include "catalogue/catalogue.h"
#include "commands/identify.h"
#include "commands/json_line.h"
#include "commands/named_recordings.h"
#include "commands/reporting.h"
#include "commands/tolerant_reader.h"
#include "ingest/recording_reader.h"

#include <algorithm>
#include <fmt/format.h>
#include <ostream>
#include <stdexcept>
#include <vector>

namespace fs = std::filesystem;

namespace tarn::server {

namespace {

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

std::string jsonLineOf(const Recording& recording) {
    Json json = membersOf(recording);
    Json& codes = json["codes"] = Json::array();
    for (size_t i = 0; i < recording.codes.size(); ++i) {
        for (size_t c = 0; c < recording.codes[i].size(); ++c) {
            codes.push_back({{"letters", recording.codes[i][c].letters.size()},
                             {"phase", kCodings[i].phaseSamples},
                             {"db", -6 * kCodings[i].halvings},
                             {"codebook", c + 1}});
        }
    }
    return lineOf(json);
}

FingerprintQuery queryOf(const fs::path& file, MediaProcess& process) {
    try {
        return readQuery(file, process);
    } catch (const AudioError& error) {
        throw AudioError(inOneLine(file.string()) + ": " + error.what() + "; name an audio file");
    }
}

} // namespace

int runList(const std::string& catalogue, bool json, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        TolerantReader reader(catalogue, err);
        reader->forEach([&](const Recording& recording) {
            if (json) {
                out << lineOf(membersOf(recording)) << '\n';
                return;
            }
            out << fmt::format("{}\t{}\t{}\t{}\t{}\t{}\t{}\n", recording.id, recording.trackId, durationOf(recording),
                               recording.tags.artist, recording.tags.title, recording.tags.album,
                               inOneLine(recording.path));
        });
        return reader.foundDamage() ? 1 : 0;
    });
}

int runShow(const std::string& catalogue, const std::string& name, bool json, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        TolerantReader reader(catalogue, err);
        bool shown = false;
        for (const uint32_t id : idsNamed(*reader, name)) {
            const std::optional<Recording> recording = reader->recording(id);
            if (!recording) continue;
            if (json) {
                out << jsonLineOf(*recording) << '\n';
            } else {
                if (shown) out << '\n';
                show(*recording, out);
            }
            shown = true;
        }
        if (!shown && !reader.foundDamage()) throw noRecording(name);
        return reader.foundDamage() ? 1 : 0;
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

int runStats(const std::string& catalogue, bool json, std::ostream& out, std::ostream& err) {
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
        const std::optional<uint64_t> bytes = reader->bytesTaken();
        if (json) {
            Json line = {{"recordings", reader->recordingCount()},
                         {"audio_ms", durationMs},
                         {"letters", letters},
                         {"gram_letters", reader->gramLetters()}};
            if (bytes) line["bytes"] = *bytes;
            out << lineOf(line) << '\n';
            return reader.foundDamage() ? 1 : 0;
        }
        out << fmt::format("recordings   {}\naudio        {}\nletters      {}, in grams of {}\n",
                           reader->recordingCount(), durationText(durationMs / 1000), letters, reader->gramLetters());
        if (bytes) {
            out << fmt::format("takes        {} bytes\n", *bytes);
            if (durationMs > 0) {
                out << fmt::format("             {:.0f} bytes per minute of audio\n",
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

int runIdentify(const std::string& catalogue, const fs::path& file, bool json, std::ostream& out, std::ostream& err) {
    return reporting(err, [&] {
        MediaProcess process; // before the reader, whose files it is not to hold
        TolerantReader reader(catalogue, err);
        return identify(*reader, queryOf(file, process), json, out) ? 0 : 1;
    });
}

} // namespace tarn::server
