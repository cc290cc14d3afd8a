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
//                                          with each letter of its recording, for bench/accuracy/scores
#include "accuracy/excerpts.h"
#include "catalogue/catalogue.h"
#include "coding/recording_coder.h"
#include "matching/matcher.h"

#include <edlib.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

using namespace bench;
using namespace tarn::server;

namespace {

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
