// SPDX-License-Identifier: Apache-2.0
// Shards behind sockets against one local database of the same collection.
//
//   shards_tool ONE SHARDED REAL N   ONE: a catalogue folder; SHARDED: a stub file of folders that scale_tool loaded
//                                    with the same recordings; REAL: what they were modelled on; N: look-ups of each
//                                    kind
//
// Serves each shard's main database with xapian-tcpsrv on this machine, compares the answers, and prints how long
// look-ups take both ways and how soon a shard that died, or hangs, is noticed. Times are wall-clock times.
#include "catalog/folder.h"
#include "catalog/shards.h"
#include "matching/matcher.h"
#include "server/catalog/database_server.h"
#include "support/temporary_directory.h"
#include "synthetic_music.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

using namespace tarn::server;
using namespace tarn::bench;

namespace {

constexpr uint32_t kUnknown = 500'000'000; // numbers from here on are in no catalogue
constexpr size_t kWarmUps = 20;

template <class Work>
double msOf(Work work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

double middleOf(std::vector<double>& times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

// What was answered, without the ids, which depend on the shards. Candidates of the lowest weight are left out: of
// several with the same weight either may be the last.
std::set<std::string> answersOf(const Examination& examination) {
    uint32_t lowest = UINT32_MAX;
    for (const Candidate& candidate : examination.candidates) lowest = std::min(lowest, candidate.score);
    std::set<std::string> answers;
    for (const Candidate& candidate : examination.candidates) {
        if (candidate.score == lowest) continue;
        answers.insert(candidate.recording.contentHash + " " + std::to_string(candidate.score) + " " +
                       std::to_string(candidate.alignment.bits) + " " + std::to_string(candidate.accepted));
    }
    return answers;
}

struct Shards {
    explicit Shards(const std::string& stub, const std::string& remoteStub) {
        std::ofstream out(remoteStub);
        for (const ShardLocation& shard : shardsOf(stub)) {
            const CatalogFolder folder(shard.folder);
            databases.push_back(folder.mainOf(folder.current().value()).string());
            ports.push_back(kvxtest::freePort());
            servers.push_back(std::make_unique<kvxtest::DatabaseServer>(databases.back(), ports.back()));
            out << "remote 127.0.0.1:" << ports.back() << '\n';
        }
    }
    void restart(size_t s) { servers[s] = std::make_unique<kvxtest::DatabaseServer>(databases[s], ports[s]); }

    std::vector<std::string> databases;
    std::vector<uint16_t> ports;
    std::vector<std::unique_ptr<kvxtest::DatabaseServer>> servers;
};

void compare(CatalogReader& one, CatalogReader& many, const SyntheticMusic& music, bool known, size_t asked) {
    Dice dice(known ? 31 : 32);
    const auto count = static_cast<uint32_t>(one.recordingCount());
    std::vector<double> oneTimes;
    std::vector<double> manyTimes;
    size_t same = 0;
    for (size_t i = 0; i < asked + kWarmUps; ++i) {
        const auto number = known ? static_cast<uint32_t>(dice.below(count)) + 1 : kUnknown + static_cast<uint32_t>(i);
        const FingerprintQuery query = music.query(number, dice, 1.0);
        Examination ofOne;
        Examination ofMany;
        const double oneMs = msOf([&] { ofOne = examine(one, query); });
        const double manyMs = msOf([&] { ofMany = examine(many, query); });
        if (i < kWarmUps) continue;
        oneTimes.push_back(oneMs);
        manyTimes.push_back(manyMs);
        if (answersOf(ofOne) == answersOf(ofMany)) ++same;
    }
    const double oneMs = middleOf(oneTimes);
    const double manyMs = middleOf(manyTimes);
    std::printf("%s: the same answers to %zu of %zu; median ms local %.2f, shards %.2f, %.2f times\n",
                known ? "known" : "unknown", same, asked, oneMs, manyMs, manyMs / oneMs);
}

// How long a look-up takes to say that the catalogue is not available; the reader is of no more use then.
double noticed(CatalogReader& reader, const FingerprintQuery& query) {
    bool thrown = false;
    const double ms = msOf([&] {
        try {
            reader.refresh();
            examine(reader, query);
        } catch (const CatalogUnavailable&) {
            thrown = true;
        }
    });
    if (!thrown) throw std::runtime_error("the shard's fault was not noticed");
    return ms;
}

void breakShards(const std::string& remoteStub, Shards& shards, const FingerprintQuery& query) {
    std::vector<double> dead;
    std::vector<double> frozen;
    for (size_t round = 0; round < 10; ++round) {
        const size_t s = round % shards.servers.size();
        auto reader = kvxtest::openedReader(remoteStub);
        examine(*reader, query);
        shards.servers[s]->freeze();
        frozen.push_back(noticed(*reader, query));
        shards.servers[s]->thaw();
        reader = kvxtest::openedReader(remoteStub);
        examine(*reader, query);
        shards.servers[s]->stop();
        dead.push_back(noticed(*reader, query));
        shards.restart(s);
    }
    std::printf("a dead shard is noticed within %.1f ms, a frozen one within %.1f ms (the longest of 10)\n",
                *std::max_element(dead.begin(), dead.end()), *std::max_element(frozen.begin(), frozen.end()));
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() != 4) {
        std::cerr << "shards_tool ONE SHARDED REAL N\n";
        return 2;
    }
    try {
        const kvxtest::TemporaryDirectory folder;
        const std::string remoteStub = folder / "remote";
        Shards shards(words[1], remoteStub);
        CatalogReader one(words[0]);
        const auto many = kvxtest::openedReader(remoteStub);
        if (one.recordingCount() != many->recordingCount()) throw std::runtime_error("the collections differ");
        const SyntheticMusic music(words[2]);
        for (const bool known : {true, false}) compare(one, *many, music, known, std::stoul(words[3]));
        Dice dice(1);
        breakShards(remoteStub, shards, music.query(1, dice, 1.0));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
