// The working half of the accuracy bench (bench/accuracy/run is the other).
//
//   accuracy_tool index CATALOG WAV...   adds recordings; the content hash is the file's name
//   accuracy_tool code                   reads lines "KEY TAB WAV TAB START_MS TAB LENGTH_MS", writes "KEY TAB
//                                        DURATION_MS TAB six strings"; the excerpt is the client's whole file
//   accuracy_tool judge CATALOG          reads what code wrote; KEY begins with "CONDITION TAB KIND TAB NAME TAB
//                                        PLACE_MS"; writes a line of evidence for each query: KEY, letters, stages, ms,
//                                        best candidate, its bits, its rival's, recordings, chance, place in ms,
//                                        the query's own bits
//   accuracy_tool pairs CATALOG          reads what code wrote; writes how often letters of a query stand against
//   letters
//                                        of its recording, for bench/accuracy/scores
#include "catalog/catalog.h"
#include "coding/pcm_preparation.h"
#include "coding/query_coder.h"
#include "coding/recording_coder.h"
#include "matching/matcher.h"

#include <edlib.h>
#include <sndfile.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using namespace tarn::server;

namespace {

struct SndClose {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

struct Sound {
    SF_INFO info = {}; // filled by the opening below
    std::unique_ptr<SNDFILE, SndClose> file;
    explicit Sound(const std::string& path) : file(sf_open(path.c_str(), SFM_READ, &info)) {
        if (file == nullptr) throw std::runtime_error(path + ": cannot be read");
    }
    uint32_t durationMs() const { return static_cast<uint32_t>(info.frames * 1000 / info.samplerate); }
};

// A client takes a file's header for audio and begins so many bytes of 16-bit samples before the excerpt.
constexpr sf_count_t kHeaderBytes = 44;

// lengthMs from startMs on, mono at 22050 Hz; so many frames before them, too, or zeros where the sound has none.
std::vector<int16_t> samplesOf(Sound& sound, uint32_t startMs, uint32_t lengthMs, sf_count_t before) {
    const int rate = sound.info.samplerate;
    const sf_count_t first = static_cast<sf_count_t>(startMs) * rate / 1000 - before;
    const auto zeros = static_cast<size_t>(std::max<sf_count_t>(-first, 0));
    sf_seek(sound.file.get(), std::max<sf_count_t>(first, 0), SEEK_SET);
    const auto channels = static_cast<size_t>(sound.info.channels);
    const auto frames = static_cast<size_t>(uint64_t{lengthMs} * static_cast<uint64_t>(rate) / 1000);
    std::vector<int16_t> pcm((frames + zeros) * channels);
    const sf_count_t got =
        sf_readf_short(sound.file.get(), pcm.data() + zeros * channels, static_cast<sf_count_t>(frames));
    pcm.resize((static_cast<size_t>(got) + zeros) * channels);
    PcmPreparation preparation(rate, sound.info.channels);
    const std::span<const int16_t> prepared = preparation.prepare(pcm);
    return {prepared.begin(), prepared.end()};
}

int indexAll(const std::string& catalog, const std::vector<std::string>& paths) {
    CatalogWriter writer(catalog);
    double audioSeconds = 0;
    for (const std::string& path : paths) {
        Sound sound(path);
        Recording recording;
        recording.contentHash = std::filesystem::path(path).stem().string();
        recording.trackId = "T-" + recording.contentHash;
        recording.tags.title = recording.contentHash;
        recording.path = path;
        recording.durationMs = sound.durationMs();
        recording.codes = codeRecording(samplesOf(sound, 0, recording.durationMs, 0));
        audioSeconds += recording.durationMs / 1000.0;
        writer.put(recording);
    }
    writer.commit();
    writer.compact();
    uint64_t bytes = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(catalog)) {
        if (entry.is_regular_file() && entry.path().string().find("/main/") != std::string::npos) {
            bytes += entry.file_size();
        }
    }
    std::cout << paths.size() << " recordings, " << audioSeconds / 60 << " minutes, "
              << static_cast<double>(bytes) / (audioSeconds / 60) << " bytes a minute\n";
    return 0;
}

std::vector<std::string> fieldsOf(const std::string& line) {
    std::vector<std::string> fields;
    std::istringstream in(line);
    std::string field;
    while (std::getline(in, field, '\t')) fields.push_back(field);
    if (line.ends_with('\t')) fields.emplace_back();
    return fields;
}

int codeAll() {
    std::string line;
    while (std::getline(std::cin, line)) {
        const std::vector<std::string> fields = fieldsOf(line);
        const size_t n = fields.size();
        Sound sound(fields.at(n - 3));
        const auto start = static_cast<uint32_t>(std::stoul(fields[n - 2]));
        const uint32_t length = std::min(static_cast<uint32_t>(std::stoul(fields[n - 1])), sound.durationMs() - start);
        const FingerprintQuery query =
            codeQuery(samplesOf(sound, start + clientStartMs(length), std::min(length, 31000U),
                                kHeaderBytes / 2 / sound.info.channels),
                      length);
        for (size_t i = 0; i + 3 < n; ++i) std::cout << fields[i] << '\t';
        std::cout << length;
        for (const std::string& code : query.codes) std::cout << '\t' << code;
        std::cout << std::endl; // the reader waits for each line
    }
    return 0;
}

void writeEvidence(const Examination& examination) {
    if (examination.candidates.empty()) {
        std::cout << "\t-\t0\t0\t0\t0\t0\t0";
        return;
    }
    const Candidate& best = examination.candidates.front();
    std::cout << '\t' << best.recording.contentHash << '\t' << best.evidence.bits << '\t' << best.evidence.rivalBits
              << '\t' << best.evidence.recordings << '\t' << best.chance << '\t' << offsetMs(best.alignment) << '\t'
              << best.evidence.queryBits;
}

FingerprintQuery queryOf(const std::vector<std::string>& fields) {
    FingerprintQuery query;
    query.durationMs = static_cast<uint32_t>(std::stoul(fields.at(4)));
    for (size_t i = 0; i < query.codes.size() && 5 + i < fields.size(); ++i) query.codes[i] = fields[5 + i];
    return query;
}

int judgeAll(const std::string& catalog) {
    CatalogReader reader(catalog);
    std::string line;
    while (std::getline(std::cin, line)) {
        const std::vector<std::string> fields = fieldsOf(line);
        const FingerprintQuery query = queryOf(fields);
        size_t letters = 0;
        for (const std::string& code : query.codes) letters += code.size();
        const auto begin = std::chrono::steady_clock::now();
        const Examination examination = examine(reader, query);
        const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begin;
        for (size_t i = 0; i < 4; ++i) std::cout << fields[i] << '\t';
        std::cout << letters << '\t' << examination.stages << '\t' << took.count();
        writeEvidence(examination);
        std::cout << '\n';
    }
    return 0;
}

// Which letters of one codebook's strings stand against each other, and which against nothing.
struct PairCounts {
    std::array<std::array<uint64_t, kLetters>, kLetters> pair = {};
    std::array<uint64_t, kLetters> queryAlone = {};
    std::array<uint64_t, kLetters> recordingAlone = {};

    void count(std::string_view query, std::string_view recording) {
        EdlibAlignResult found = edlibAlign(query.data(), static_cast<int>(query.size()), recording.data(),
                                            static_cast<int>(recording.size()),
                                            edlibNewAlignConfig(-1, EDLIB_MODE_HW, EDLIB_TASK_PATH, nullptr, 0));
        size_t i = 0;
        size_t j = found.numLocations > 0 ? static_cast<size_t>(found.startLocations[0]) : 0;
        const auto number = [](char c) { return static_cast<size_t>(c - 'a'); };
        for (int k = 0; k < found.alignmentLength; ++k) {
            switch (found.alignment[k]) {
            case EDLIB_EDOP_INSERT: // repeats have scores of their own
                if (i == 0 || query[i] != query[i - 1]) ++queryAlone[number(query[i])];
                ++i;
                break;
            case EDLIB_EDOP_DELETE:
                if (j == 0 || recording[j] != recording[j - 1]) ++recordingAlone[number(recording[j])];
                ++j;
                break;
            default:
                ++pair[number(query[i++])][number(recording[j++])];
            }
        }
        edlibFreeAlignResult(found);
    }

    void write() const {
        const auto line = [](const auto& counts) {
            for (const uint64_t count : counts) std::cout << count << ' ';
            std::cout << '\n';
        };
        for (const auto& row : pair) line(row);
        line(queryAlone);
        line(recordingAlone);
    }
};

int countPairs(const std::string& catalog) {
    constexpr int64_t kNearMs = 4000;   // so far off a place may be that still is the right one
    constexpr double kAlignable = 80.0; // bits; below, letters stand where they do by chance
    constexpr int64_t kMarginFrames = 250;
    std::map<std::string, Recording> recordings;
    CatalogReader(catalog).forEach([&](const Recording& r) { recordings[r.contentHash] = r; });
    std::array<PairCounts, kCodebooks> counts;
    std::string line;
    while (std::getline(std::cin, line)) {
        const std::vector<std::string> fields = fieldsOf(line);
        const auto recording = recordings.find(fields.at(2));
        const PreparedQuery query(queryOf(fields));
        if (recording == recordings.end() || !query.usable()) continue;
        const RecordingCodes& codes = recording->second.codes;
        Alignment alignment = align(query, codes);
        measure(query, codes, alignment);
        const auto offMs = static_cast<int64_t>(offsetMs(alignment)) - std::stoll(fields[3]);
        if (std::abs(offMs) > kNearMs || alignment.bits < kAlignable) continue;
        for (size_t c = 0; c < kCodebooks; ++c) {
            const CodeString& string = codes[alignment.phase][c];
            const std::string_view near =
                lettersIn(string, lettersBetween(string, alignment.startFrame - kMarginFrames,
                                                 alignment.startFrame + query.frames + kMarginFrames));
            if (!near.empty()) counts[c].count(query.maps[alignment.map].strings[c].core, near);
        }
    }
    for (const PairCounts& count : counts) count.write();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    try {
        if (arguments.size() >= 3 && arguments[0] == "index") {
            return indexAll(arguments[1], {arguments.begin() + 2, arguments.end()});
        }
        if (arguments.size() == 1 && arguments[0] == "code") return codeAll();
        if (arguments.size() == 2 && arguments[0] == "judge") return judgeAll(arguments[1]);
        if (arguments.size() == 2 && arguments[0] == "pairs") return countPairs(arguments[1]);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    std::cerr << "accuracy_tool index CATALOG WAV... | code | judge CATALOG | pairs CATALOG\n";
    return 2;
}
