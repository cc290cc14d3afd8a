// SPDX-License-Identifier: Apache-2.0
// The part of the accuracy measurement that is C++; bench/accuracy/run calls it.
//
//   accuracy_tool index CATALOGUE WAV...   adds recordings; the content hash is the file's name
//   accuracy_tool code                   reads lines "KEY TAB WAV TAB START TAB LENGTH", in seconds, writes "KEY TAB
//                                        DURATION_MS TAB six strings", of a client whose whole file is the excerpt
//   accuracy_tool judge CATALOGUE          reads what code wrote; KEY begins with "CONDITION TAB KIND TAB NAME TAB
//                                        PLACE_MS"; writes a line of evidence for each query: KEY, letters, stages, ms,
//                                        best candidate, its bits, its rival's, recordings, chance, place in ms,
//                                        the query's own bits
//   accuracy_tool small CATALOGUE SIZE COUNT
//                                        the same among COUNT catalogues of SIZE of its recordings, drawn at random:
//                                        each is asked for what it holds, and for its turn of the rest; then 1 or 0
//                                        the evidence: whether it holds the piece
//   accuracy_tool pairs CATALOGUE          reads what code wrote; writes how often each letter of a query is aligned
//   with
//                                          each letter of its recording, for bench/accuracy/scores
#include "catalogue/catalogue.h"
#include "coding/pcm_preparation.h"
#include "coding/query_coder.h"
#include "coding/recording_coder.h"
#include "matching/matcher.h"

#include <edlib.h>
#include <sndfile.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

using namespace tarn::server;

namespace {

struct SndClose {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

struct Sound {
    SF_INFO info = {}; // filled when the file is opened
    std::unique_ptr<SNDFILE, SndClose> file;
    explicit Sound(const std::string& path) : file(sf_open(path.c_str(), SFM_READ, &info)) {
        if (file == nullptr) throw std::runtime_error(path + ": cannot be read");
    }
    uint32_t durationMs() const { return static_cast<uint32_t>(info.frames * 1000 / info.samplerate); }
};

// Interleaved; this many seconds from there on, or as many as there are.
std::vector<int16_t> pcmOf(Sound& sound, double start, double length) {
    const auto framesIn = [&](double seconds) {
        return static_cast<sf_count_t>(std::llround(seconds * sound.info.samplerate));
    };
    const sf_count_t first = std::min(framesIn(start), sound.info.frames);
    sf_seek(sound.file.get(), first, SEEK_SET);
    const auto channels = static_cast<size_t>(sound.info.channels);
    std::vector<int16_t> pcm(static_cast<size_t>(std::min(framesIn(length), sound.info.frames - first)) * channels);
    const sf_count_t got = sf_readf_short(sound.file.get(), pcm.data(), static_cast<sf_count_t>(pcm.size() / channels));
    pcm.resize(static_cast<size_t>(got) * channels);
    return pcm;
}

// Mono at 22050 Hz.
std::vector<int16_t> prepared(const Sound& sound, std::span<const int16_t> pcm) {
    PcmPreparation preparation(sound.info.samplerate, sound.info.channels);
    const std::span<const int16_t> samples = preparation.prepare(pcm);
    return {samples.begin(), samples.end()};
}

// The header of a WAV file of 16-bit samples, read as samples.
std::vector<int16_t> headerAsSamples(const SF_INFO& info, size_t sampleCount) {
    std::vector<int16_t> words;
    const auto tag = [&](const char* text) {
        for (size_t i = 0; i < 4; i += 2) words.push_back(static_cast<int16_t>(text[i] | text[i + 1] << 8));
    };
    const auto number = [&](size_t value) {
        words.push_back(static_cast<int16_t>(value & 0xffff));
        words.push_back(static_cast<int16_t>(value >> 16 & 0xffff));
    };
    const auto rate = static_cast<size_t>(info.samplerate);
    const auto frameBytes = static_cast<size_t>(info.channels) * 2;
    tag("RIFF");
    number(36 + 2 * sampleCount);
    tag("WAVE");
    tag("fmt ");
    number(16);
    words.push_back(1); // PCM
    words.push_back(static_cast<int16_t>(info.channels));
    number(rate);
    number(rate * frameBytes);
    words.push_back(static_cast<int16_t>(frameBytes));
    words.push_back(16);
    tag("data");
    number(2 * sampleCount);
    return words;
}

// The query that a client sends for a WAV file with these samples: the client treats the header as audio, counts whole
// seconds, and feeds blocks of 1024 bytes; the last block is padded with what the one before left there.
FingerprintQuery codedFile(const Sound& sound, const std::vector<int16_t>& pcm) {
    constexpr size_t kBlock = 512;     // samples
    constexpr size_t kMaxSeconds = 31; // more than is coded
    const size_t second = static_cast<size_t>(sound.info.samplerate) * static_cast<size_t>(sound.info.channels);
    std::vector<int16_t> file = headerAsSamples(sound.info, pcm.size());
    file.insert(file.end(), pcm.begin(), pcm.end());
    const auto durationMs = static_cast<uint32_t>((pcm.size() + 4) / second * 1000);
    const size_t first = std::min(clientStartMs(durationMs) / 1000 * second, file.size());
    file.erase(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(first));
    while (file.size() % kBlock != 0) file.push_back(file.size() >= kBlock ? file[file.size() - kBlock] : int16_t{0});
    file.resize(std::min(file.size(), kMaxSeconds * second));
    return codeQuery(prepared(sound, file), durationMs);
}

int indexAll(const std::string& catalogue, const std::vector<std::string>& paths) {
    CatalogueWriter writer(catalogue);
    double audioSeconds = 0;
    for (const std::string& path : paths) {
        Sound sound(path);
        Recording recording;
        recording.contentHash = std::filesystem::path(path).stem().string();
        recording.trackId = "T-" + recording.contentHash;
        recording.tags.title = recording.contentHash;
        recording.path = path;
        recording.durationMs = sound.durationMs();
        recording.codes = codeRecording(prepared(sound, pcmOf(sound, 0, recording.durationMs / 1000.0)));
        audioSeconds += recording.durationMs / 1000.0;
        writer.put(recording);
    }
    writer.commit();
    writer.compact();
    const uint64_t bytes = CatalogueReader(catalogue).bytesTaken().value_or(0);
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
        const FingerprintQuery query =
            codedFile(sound, pcmOf(sound, std::stod(fields[n - 2]), std::stod(fields[n - 1])));
        for (size_t i = 0; i + 3 < n; ++i) std::cout << fields[i] << '\t';
        std::cout << query.durationMs;
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

void judgeOne(CatalogueReader& reader, const std::vector<std::string>& fields) {
    const FingerprintQuery query = queryOf(fields);
    size_t letters = 0;
    for (const std::string& code : query.codes) letters += code.size();
    const auto begin = std::chrono::steady_clock::now();
    const Examination examination = examine(reader, query);
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begin;
    for (size_t i = 0; i < 4; ++i) std::cout << fields[i] << '\t';
    std::cout << letters << '\t' << examination.stages << '\t' << took.count();
    writeEvidence(examination);
}

int judgeAll(const std::string& catalogue) {
    CatalogueReader reader(catalogue);
    std::string line;
    while (std::getline(std::cin, line)) {
        judgeOne(reader, fieldsOf(line));
        std::cout << '\n';
    }
    return 0;
}

int judgeAmongFew(const std::string& catalogue, size_t size, size_t count) {
    std::vector<Recording> recordings;
    CatalogueReader(catalogue).forEach([&](const Recording& r) { recordings.push_back(r); });
    std::vector<std::vector<std::string>> queries;
    std::string line;
    while (std::getline(std::cin, line)) queries.push_back(fieldsOf(line));
    std::mt19937 dice(static_cast<uint32_t>(size));
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("accuracy_tool." + std::to_string(getpid()));
    for (size_t turn = 0; turn < count; ++turn) {
        std::shuffle(recordings.begin(), recordings.end(), dice);
        std::set<std::string> held;
        {
            CatalogueWriter writer(folder);
            for (size_t i = 0; i < std::min(size, recordings.size()); ++i) {
                held.insert(recordings[i].contentHash);
                writer.put(recordings[i]);
            }
            writer.commit();
        }
        CatalogueReader reader(folder);
        for (size_t i = 0; i < queries.size(); ++i) {
            const bool isHeld = held.contains(queries[i].at(2));
            if (i % count != turn && !isHeld) continue;
            judgeOne(reader, queries[i]);
            std::cout << '\t' << isHeld << '\n';
        }
        std::filesystem::remove_all(folder);
    }
    return 0;
}

// Counts which letters of one codebook's strings are aligned with each other, and which with a gap.
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

int countPairs(const std::string& catalogue) {
    constexpr int64_t kNearMs = 4000;   // how far off a right place may be
    constexpr double kAlignable = 80.0; // bits; with fewer, the alignment may be chance
    constexpr int64_t kMarginFrames = 250;
    std::map<std::string, Recording> recordings;
    CatalogueReader(catalogue).forEach([&](const Recording& r) { recordings[r.contentHash] = r; });
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
            const CodeString& string = codes[alignment.coding][c];
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
        if (arguments.size() == 4 && arguments[0] == "small") {
            return judgeAmongFew(arguments[1], std::stoul(arguments[2]), std::stoul(arguments[3]));
        }
        if (arguments.size() == 2 && arguments[0] == "pairs") return countPairs(arguments[1]);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    std::cerr << "accuracy_tool index CATALOGUE WAV... | code | judge CATALOGUE | small CATALOGUE SIZE COUNT | pairs "
                 "CATALOGUE\n";
    return 2;
}
