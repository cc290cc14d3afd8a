// Load, size and look-up times of a large catalogue of synthetic recordings.
//
//   scale_tool REAL OUT COUNT   REAL: a catalogue of real music, whose letter statistics are copied; OUT: a folder for
//                               the large one; COUNT: recordings of 4 minutes
//
// A synthetic string follows the real ones' chances of a letter after the two before it (repeats removed) and of a run
// of it. The other variants are the first with about as many edits as real ones have between them; a query is a stretch
// of a recording with edits. Times are CPU times of the one thread that works.
#include "catalog/catalog.h"
#include "coding/grams.h"
#include "matching/matcher.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

using namespace tarn::server;

namespace {

constexpr uint32_t kSeconds = 240;
constexpr uint32_t kBatch = 500;
constexpr double kPhaseEdits = 0.10;
constexpr double kQuietEdits = 0.10;
constexpr double kQueryEdits = 0.12;

double cpuMs() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1000.0 + static_cast<double>(now.tv_nsec) / 1e6;
}

class Dice {
  public:
    explicit Dice(uint32_t seed) : engine_(seed) {}
    uint32_t below(size_t sides) { return static_cast<uint32_t>(engine_() % sides); }
    bool chance(double p) { return static_cast<double>(engine_()) < p * 4294967296.0; }

  private:
    std::mt19937 engine_;
};

// What follows two letters in real strings: every occurrence, so that drawing one copies the chances.
struct Model {
    std::map<std::string, std::vector<std::pair<char, uint32_t>>> next; // letter and the length of its run
    std::vector<std::string> starts;
    double lettersPerSecond = 0;

    void learn(const std::string& letters) {
        std::string context;
        for (size_t i = 0; i < letters.size();) {
            size_t end = i;
            while (end < letters.size() && letters[end] == letters[i]) ++end;
            if (context.size() == 2) {
                next[context].emplace_back(letters[i], static_cast<uint32_t>(end - i));
                starts.push_back(context);
            }
            context = (context + letters[i]).substr(context.size() == 2 ? 1 : 0);
            i = end;
        }
    }

    std::string draw(Dice& dice, size_t length) const {
        std::string context = starts[dice.below(starts.size())];
        std::string out;
        while (out.size() < length) {
            const auto found = next.find(context);
            if (found == next.end()) {
                context = starts[dice.below(starts.size())];
                continue;
            }
            const auto [letter, run] = found->second[dice.below(found->second.size())];
            out.append(run, letter);
            context = std::string{context[1], letter};
        }
        out.resize(length);
        return out;
    }
};

std::string edited(Dice& dice, const std::string& letters, double rate) {
    std::string out;
    for (const char letter : letters) {
        if (!dice.chance(rate)) {
            out.push_back(letter);
            continue;
        }
        const auto other = static_cast<char>('a' + dice.below(24));
        switch (dice.below(3)) {
        case 0:
            out.push_back(other);
            break;
        case 1:
            out.push_back(other);
            out.push_back(letter);
            break;
        default:
            break; // left out
        }
    }
    return out;
}

CodeString timed(std::string letters) {
    CodeString string;
    const double framesPerLetter = kSeconds * 43.066 / static_cast<double>(letters.size());
    for (size_t i = 0; i < letters.size(); ++i) {
        string.frames.push_back(41 + static_cast<uint32_t>(static_cast<double>(i) * framesPerLetter));
    }
    string.letters = std::move(letters);
    return string;
}

using Models = std::array<Model, kCodebooks>;

Recording synthetic(const Models& models, uint32_t number) {
    Dice dice(number);
    Recording recording;
    recording.contentHash = "synthetic" + std::to_string(number);
    recording.trackId = "T-" + std::to_string(1000000000U + number);
    recording.albumId = "A-" + std::to_string(1000000000U + number / 12);
    recording.path = "/music/artist/album/" + std::to_string(number) + ".flac";
    recording.durationMs = kSeconds * 1000;
    recording.tags.title = "Title " + std::to_string(number);
    recording.trackBlob = std::string(180, 't') + std::to_string(number);
    recording.albumBlob = std::string(220, 'a') + std::to_string(number);
    for (size_t c = 0; c < kCodebooks; ++c) {
        const auto length = static_cast<size_t>(models[c].lettersPerSecond * kSeconds);
        const std::string letters = models[c].draw(dice, length);
        recording.codes[0][c] = timed(letters);
        recording.codes[1][c] = timed(edited(dice, letters, kPhaseEdits));
        recording.codes[2][c] = timed(edited(dice, letters, kQuietEdits));
    }
    return recording;
}

FingerprintQuery queryFrom(const Recording& recording, Dice& dice) {
    FingerprintQuery query;
    query.durationMs = 30050;
    const uint32_t part = dice.below(kSeconds - 31);
    for (size_t i = 0; i < query.codes.size(); ++i) {
        const std::string& letters = recording.codes[0][i % kCodebooks].letters;
        query.codes[i] =
            edited(dice, letters.substr(letters.size() * part / kSeconds, letters.size() * 29 / kSeconds), kQueryEdits);
    }
    return query;
}

size_t gramsIn(const Recording& recording) {
    size_t count = 0;
    for (size_t c = 0; c < kCodebooks; ++c) {
        std::set<uint32_t> values;
        for (const auto& phase : recording.codes) {
            for (const Gram& gram : gramsOf(phase[c].letters)) values.insert(gram.value);
        }
        count += values.size();
    }
    return count;
}

void report(const char* name, std::vector<double> times, int found, size_t stages) {
    std::sort(times.begin(), times.end());
    std::printf("%s: %zu asked, %d found, %.2f stages each, CPU ms p50 %.2f p90 %.2f p99 %.2f\n", name, times.size(),
                found, static_cast<double>(stages) / static_cast<double>(times.size()), times[times.size() / 2],
                times[times.size() * 9 / 10], times[times.size() * 99 / 100]);
}

void lookUp(CatalogReader& reader, const Models& models, uint32_t count, bool known) {
    Dice dice(known ? 11 : 12);
    std::vector<double> times;
    int found = 0;
    size_t stages = 0;
    for (int i = 0; i < 400; ++i) {
        const uint32_t number = known ? dice.below(count) + 1 : count + 1000 + static_cast<uint32_t>(i);
        const Recording recording = synthetic(models, number);
        const FingerprintQuery query = queryFrom(recording, dice);
        const double begin = cpuMs();
        const Examination examination = examine(reader, query);
        const double took = cpuMs() - begin;
        if (i < 100) continue; // the first ones bring the files into memory
        stages += static_cast<size_t>(examination.stages);
        times.push_back(took);
        if (!examination.candidates.empty() && examination.candidates[0].accepted) {
            found += !known || examination.candidates[0].recording.contentHash == recording.contentHash ? 1 : 0;
        }
    }
    report(known ? "known" : "unknown", times, found, stages);
}

uint64_t bytesOfMain(const std::string& folder) {
    uint64_t bytes = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file() && entry.path().string().find("/main/") != std::string::npos) {
            bytes += entry.file_size();
        }
    }
    return bytes;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "scale_tool REAL OUT COUNT\n";
        return 2;
    }
    const auto count = static_cast<uint32_t>(std::stoul(argv[3]));
    Models models;
    size_t realGrams = 0;
    double realSeconds = 0;
    std::array<size_t, kCodebooks> realLetters = {};
    CatalogReader(argv[1]).forEach([&](const Recording& recording) {
        realGrams += gramsIn(recording);
        realSeconds += recording.durationMs / 1000.0;
        for (size_t c = 0; c < kCodebooks; ++c) {
            models[c].learn(recording.codes[0][c].letters);
            realLetters[c] += recording.codes[0][c].letters.size();
        }
    });
    for (size_t c = 0; c < kCodebooks; ++c) {
        models[c].lettersPerSecond = static_cast<double>(realLetters[c]) / realSeconds;
    }
    std::printf("different grams a minute: real %.0f, synthetic %.0f\n",
                static_cast<double>(realGrams) / realSeconds * 60,
                static_cast<double>(gramsIn(synthetic(models, 1))) / kSeconds * 60);
    {
        CatalogWriter writer(argv[2]);
        double begin = cpuMs();
        for (uint32_t number = 1; number <= count; ++number) {
            writer.put(synthetic(models, number));
            if (number % kBatch == 0) writer.commit();
            if (number % std::max(count / 10, 1U) == 0) {
                std::printf("%u recordings: %.0f a second\n", number,
                            std::max(count / 10, 1U) / (cpuMs() - begin) * 1000);
                std::fflush(stdout);
                begin = cpuMs();
            }
        }
        writer.commit();
        writer.compact();
    }
    std::printf("%.2f kB a minute\n", static_cast<double>(bytesOfMain(argv[2])) / (count * kSeconds / 60.0) / 1000.0);
    CatalogReader reader(argv[2]);
    lookUp(reader, models, count, true);
    lookUp(reader, models, count, false);
    return 0;
}
