// SPDX-License-Identifier: Apache-2.0
// Load, size and look-up times of a large catalogue of synthetic recordings.
//
//   scale_tool load REAL CATALOGUE COUNT   brings the catalogue to COUNT recordings of 4 minutes, modelled on REAL, a
//                                        catalogue of real music; prints the rate of each tenth
//   scale_tool look-up REAL CATALOGUE N    times N look-ups each of known, noisy and unknown excerpts
//   scale_tool compare REAL A B N        wall times of the same look-ups in catalogues A and B of the same music, in
//                                        turns and each once; says how many answers differ
//   scale_tool size CATALOGUE              bytes of each table of the main database for a minute of audio
//
// Times are CPU times of the one thread that works, but for `compare`, where servers work too.
#include "catalogue/catalogue.h"
#include "matching/matcher.h"
#include "synthetic_music.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

using namespace tarn::server;
using namespace tarn::bench;

namespace {

constexpr uint32_t kBatch = 500;
constexpr uint32_t kUnknown = 500'000'000; // recordings with numbers from here on are in no catalogue
constexpr size_t kWarmUps = 50;            // to bring the files into memory
constexpr double kNoise = 2.8;             // brings a query's best map to about 0.4 edits a letter

double cpuMs() {
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1000.0 + static_cast<double>(now.tv_nsec) / 1e6;
}

int load(const std::string& real, const std::string& location, uint32_t count) {
    const SyntheticMusic music(real);
    music.compare();
    CatalogueWriter writer(location);
    const auto present = static_cast<uint32_t>(CatalogueReader(location).recordingCount());
    const uint32_t tenth = std::max((count - std::min(count, present)) / 10, 1U);
    double spent = 0; // on the catalogue, not on making up recordings
    double longest = 0;
    for (uint32_t number = present + 1; number <= count; ++number) {
        const Recording recording = music.recording(number);
        const double begin = cpuMs();
        writer.put(recording);
        if (number % kBatch == 0) {
            const auto start = std::chrono::steady_clock::now();
            writer.commit();
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
            longest = std::max(longest, took.count());
        }
        spent += cpuMs() - begin;
        if ((number - present) % tenth == 0) {
            std::printf("%u recordings: %.0f a second of CPU, longest commit so far %.2f s\n", number,
                        tenth / spent * 1000, longest);
            std::fflush(stdout);
            spent = 0;
        }
    }
    writer.commit();
    return 0;
}

void print(const char* what, std::vector<double> times) {
    if (times.empty()) return;
    std::sort(times.begin(), times.end());
    const auto at = [&](size_t percent) { return times[times.size() * percent / 100]; };
    std::printf("%s: CPU ms p50 %.2f p90 %.2f p99 %.2f\n", what, at(50), at(90), at(99));
}

struct Kind {
    const char* name;
    bool known;
    double noise;
};

// As a server answers.
Examination answerTo(CatalogueReader& reader, const FingerprintQuery& query) {
    reader.refresh();
    Examination examination = examine(reader, query);
    reader.rest();
    return examination;
}

void lookUp(CatalogueReader& reader, const SyntheticMusic& music, const Kind& kind, size_t asked) {
    const auto count = static_cast<uint32_t>(reader.recordingCount());
    Dice dice(kind.known ? 11 : 12);
    std::vector<double> times;
    std::vector<double> firstStageTimes; // of the queries that the first stage answered
    std::vector<double> bits;            // of the right recording
    size_t accepted = 0;
    size_t candidate = 0;
    for (size_t i = 0; i < asked + kWarmUps; ++i) {
        const auto number =
            kind.known ? static_cast<uint32_t>(dice.below(count)) + 1 : kUnknown + static_cast<uint32_t>(i);
        const std::string hash = music.recording(number).contentHash;
        const FingerprintQuery query = music.query(number, dice, kind.noise);
        const double begin = cpuMs();
        const Examination examination = answerTo(reader, query);
        const double took = cpuMs() - begin;
        if (i < kWarmUps) continue;
        times.push_back(took);
        if (examination.stages == 1) firstStageTimes.push_back(took);
        const auto& found = examination.candidates;
        for (const Candidate& one : found) {
            if (one.recording.contentHash != hash) continue;
            ++candidate;
            bits.push_back(one.alignment.bits);
        }
        if (!found.empty() && found[0].accepted && (!kind.known || found[0].recording.contentHash == hash)) ++accepted;
    }
    std::sort(bits.begin(), bits.end());
    std::printf("%s: %zu asked, %zu in the first stage, %zu among the candidates, %zu answered; median bits "
                "for it %.0f\n",
                kind.name, asked, firstStageTimes.size(), candidate, accepted,
                bits.empty() ? 0.0 : bits[bits.size() / 2]);
    print("  in the first stage", std::move(firstStageTimes));
    print("  all", std::move(times));
    std::fflush(stdout);
}

int lookUps(const std::string& real, const std::string& location, size_t asked) {
    const SyntheticMusic music(real);
    CatalogueReader reader(location);
    reader.warmUp();
    std::printf("%llu recordings\n", static_cast<unsigned long long>(reader.recordingCount()));
    for (const Kind& kind : {Kind{"known", true, 1.0}, Kind{"noisy", true, kNoise}, Kind{"unknown", false, 1.0}}) {
        lookUp(reader, music, kind, asked);
    }
    return 0;
}

// Prints one line for each candidate with everything that judging gave, to compare with another catalogue of the same
// music.
int answers(const std::string& real, const std::string& location, size_t asked) {
    const SyntheticMusic music(real);
    CatalogueReader reader(location);
    const auto count = static_cast<uint32_t>(reader.recordingCount());
    for (const Kind& kind : {Kind{"known", true, 1.0}, Kind{"noisy", true, kNoise}, Kind{"unknown", false, 1.0}}) {
        Dice dice(kind.known ? 11 : 12);
        for (size_t i = 0; i < asked; ++i) {
            const auto number =
                kind.known ? static_cast<uint32_t>(dice.below(count)) + 1 : kUnknown + static_cast<uint32_t>(i);
            const Examination examination = answerTo(reader, music.query(number, dice, kind.noise));
            std::printf("%s %u: %d stages\n", kind.name, number, examination.stages);
            for (const Candidate& each : examination.candidates) {
                std::printf("  %u score %u, %.17g bits at %lld, chance %.17g%s\n", each.id, each.score,
                            each.alignment.bits, static_cast<long long>(each.alignment.startFrame), each.chance,
                            each.accepted ? ", accepted" : "");
            }
        }
    }
    return 0;
}

// What judging gave, as a line.
std::string answerOf(const Examination& examination) {
    std::string line = std::to_string(examination.stages);
    for (const Candidate& each : examination.candidates) {
        line += " " + std::to_string(each.id) + ":" + std::to_string(each.score) + ":" +
                std::to_string(each.alignment.bits) + (each.accepted ? "+" : "");
    }
    return line;
}

double wallMs(CatalogueReader& reader, const FingerprintQuery& query, std::string& answer) {
    const auto begin = std::chrono::steady_clock::now();
    const Examination examination = answerTo(reader, query);
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begin;
    answer = answerOf(examination);
    return took.count();
}

int compare(const std::string& real, const std::string& a, const std::string& b, size_t asked) {
    const SyntheticMusic music(real);
    std::array<CatalogueReader, 2> readers = {CatalogueReader(a), CatalogueReader(b)};
    const auto count = static_cast<uint32_t>(readers[0].recordingCount());
    size_t different = 0;
    for (const Kind& kind : {Kind{"known", true, 1.0}, Kind{"noisy", true, kNoise}, Kind{"unknown", false, 1.0}}) {
        Dice dice(kind.known ? 11 : 12);
        std::array<std::vector<double>, 2> times;
        for (size_t i = 0; i < asked + kWarmUps; ++i) {
            const auto number =
                kind.known ? static_cast<uint32_t>(dice.below(count)) + 1 : kUnknown + static_cast<uint32_t>(i);
            const FingerprintQuery query = music.query(number, dice, kind.noise);
            std::array<std::string, 2> answers;
            for (size_t turn = 0; turn < 2; ++turn) {
                const size_t which = (i + turn) % 2;
                const double took = wallMs(readers[which], query, answers[which]);
                if (i >= kWarmUps) times[which].push_back(took);
            }
            different += answers[0] != answers[1] ? 1 : 0;
        }
        for (auto& each : times) std::sort(each.begin(), each.end());
        std::printf("%s:", kind.name);
        for (const size_t percent : {10U, 50U, 90U}) {
            const double first = times[0][asked * percent / 100];
            const double second = times[1][asked * percent / 100];
            std::printf("  p%zu %.2f and %.2f ms, ratio %.2f", percent, first, second, second / first);
        }
        std::printf("\n");
        std::fflush(stdout);
    }
    std::printf("%zu answers differ\n", different);
    return different == 0 ? 0 : 1;
}

int size(const std::string& location) {
    double minutes = 0;
    CatalogueReader reader(location);
    reader.forEach([&](const Recording& recording) { minutes += recording.durationMs / 60000.0; });
    const double bytes = static_cast<double>(reader.bytesTaken().value_or(0));
    std::printf("%.2f kB a minute, of %.0f minutes\n", bytes / 1000.0 / minutes, minutes);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    try {
        if (words.size() == 4 && words[0] == "load") {
            return load(words[1], words[2], static_cast<uint32_t>(std::stoul(words[3])));
        }
        if (words.size() == 4 && words[0] == "look-up") return lookUps(words[1], words[2], std::stoul(words[3]));
        if (words.size() == 4 && words[0] == "answers") return answers(words[1], words[2], std::stoul(words[3]));
        if (words.size() == 5 && words[0] == "compare")
            return compare(words[1], words[2], words[3], std::stoul(words[4]));
        if (words.size() == 2 && words[0] == "size") return size(words[1]);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    std::cerr
        << "scale_tool load REAL CATALOGUE COUNT | look-up REAL CATALOGUE N | answers REAL CATALOGUE N | compare REAL "
           "A B N | size CATALOGUE\n";
    return 2;
}
