// The working half of the accuracy bench (bench/accuracy/run is the other).
//
//   accuracy_tool index CATALOG WAV...   adds recordings; the content hash is the file's name
//   accuracy_tool code                   reads lines "KEY TAB WAV TAB START_MS TAB LENGTH_MS", writes "KEY TAB
//                                        DURATION_MS TAB six strings"; the excerpt is the client's whole file
//   accuracy_tool judge CATALOG          reads what code wrote; KEY begins with "CONDITION TAB KIND TAB NAME TAB
//                                        PLACE_MS"; writes a line of evidence for each query, with the right recording
//                                        in the running and without it
#include "catalog/catalog.h"
#include "coding/pcm_preparation.h"
#include "coding/query_coder.h"
#include "coding/recording_coder.h"
#include "matching/matcher.h"

#include <sndfile.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
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

// lengthMs from startMs on, mono at 22050 Hz.
std::vector<int16_t> samplesOf(Sound& sound, uint32_t startMs, uint32_t lengthMs) {
    const int rate = sound.info.samplerate;
    sf_seek(sound.file.get(), static_cast<sf_count_t>(startMs) * rate / 1000, SEEK_SET);
    std::vector<int16_t> pcm(static_cast<size_t>(uint64_t{lengthMs} * static_cast<uint64_t>(rate) / 1000) *
                             static_cast<size_t>(sound.info.channels));
    const sf_count_t got =
        sf_readf_short(sound.file.get(), pcm.data(), static_cast<sf_count_t>(pcm.size()) / sound.info.channels);
    pcm.resize(static_cast<size_t>(got) * static_cast<size_t>(sound.info.channels));
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
        recording.codes = codeRecording(samplesOf(sound, 0, recording.durationMs));
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
            codeQuery(samplesOf(sound, start + clientStartMs(length), std::min(length, 31000U)), length);
        for (size_t i = 0; i + 3 < n; ++i) std::cout << fields[i] << '\t';
        std::cout << length;
        for (const std::string& code : query.codes) std::cout << '\t' << code;
        std::cout << std::endl; // the reader waits for each line
    }
    return 0;
}

// Best candidate, and what stands against it, when the recordings of one name are left out (or none: empty name).
void writeEvidence(const Examination& examination, const std::string& without) {
    const Candidate* best = nullptr;
    double rival = 1.0;
    for (const Candidate& candidate : examination.candidates) {
        if (!without.empty() && (candidate.recording.contentHash == without)) continue;
        if (best == nullptr) {
            best = &candidate;
        } else if (candidate.sameAs != best->id) {
            rival = std::min(rival, candidate.alignment.distance);
        }
    }
    if (best == nullptr) {
        std::cout << "\t-\t1\t1\t0\t0\t0\t0";
        return;
    }
    uint32_t highest = 0;
    for (const Candidate& candidate : examination.candidates) {
        if (without.empty() || candidate.recording.contentHash != without) highest = std::max(highest, candidate.score);
    }
    std::cout << '\t' << best->recording.contentHash << '\t' << best->alignment.distance << '\t' << rival << '\t'
              << (best->score == highest) << '\t' << best->alignment.letters << '\t' << best->chance << '\t'
              << offsetMs(best->alignment);
}

int judgeAll(const std::string& catalog) {
    CatalogReader reader(catalog);
    std::string line;
    while (std::getline(std::cin, line)) {
        const std::vector<std::string> fields = fieldsOf(line);
        FingerprintQuery query;
        query.durationMs = static_cast<uint32_t>(std::stoul(fields.at(4)));
        size_t letters = 0;
        for (size_t i = 0; i < query.codes.size() && 5 + i < fields.size(); ++i) {
            query.codes[i] = fields[5 + i];
            letters += query.codes[i].size();
        }
        const auto begin = std::chrono::steady_clock::now();
        const Examination examination = examine(reader, query);
        const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begin;
        for (size_t i = 0; i < 4; ++i) std::cout << fields[i] << '\t';
        std::cout << letters << '\t' << examination.stages << '\t' << took.count();
        writeEvidence(examination, "");
        writeEvidence(examination, fields[2]);
        std::cout << '\n';
    }
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
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    std::cerr << "accuracy_tool index CATALOG WAV... | code | judge CATALOG\n";
    return 2;
}
