// SPDX-License-Identifier: Apache-2.0
// Measures how much one account can slow another down with the most expensive packets.
//
//   fairness_tool PID PORT CATALOGUE CODE OTHER [CONNECTIONS SECONDS [REAL]]
//
// PID, PORT: of a service of CATALOGUE, a folder whose files are where they were added from; CODE, OTHER: access codes
// of two of its accounts; REAL: where scale_tool made CATALOGUE, the catalogue of real music that it is modelled on:
// fingerprints are then made up, as by scale_tool. First the tool sends each kind of packet alone and prints the CPU
// time that it costs the service: the usual kind, a fingerprint of a recording of the catalogue, and the most expensive
// kinds that we know. Then account OTHER sends the usual kind on one connection, with short pauses, at first alone and
// then while account CODE sends the most expensive kind on CONNECTIONS (20) connections without a pause.
#include "catalogue/catalogue.h"
#include "coding/query_coder.h"
#include "demo/piece.h"
#include "ingest/recording_reader.h"
#include "support/protocol_client.h"
#include "support/raw_client.h"
#include "synthetic_music.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace kvxtest;
using namespace tarn::server;
using Clock = std::chrono::steady_clock;

namespace {

constexpr size_t kUsualFiles = 12;
constexpr uint32_t kUnknownSeed = 900'000;
constexpr uint32_t kUnknownNumber = 500'000'000; // made-up recordings from here on are in no catalogue
constexpr size_t kAlone = 60;                    // requests of each kind
constexpr size_t kMaxIdsAsked = 100;
constexpr int16_t kMaxAsked = 100;
constexpr size_t kMaxStringLength = 1292; // what a client's buffers hold; no audio makes this many letters
constexpr size_t kLettersOfAudio = 417;   // the most that 30 s of audio can make
constexpr auto kBreath = std::chrono::milliseconds(5);

struct Kind {
    std::string name;
    std::vector<std::string> requests;
    double cpuMs = 0; // of the service, for a request
};

Handle openClient(const std::string& code) {
    KVXHandle* opened = nullptr;
    const uint8_t device[] = {1, 2, 3};
    if (KVXInit(&opened, code.c_str(), device, 3, nullptr, 0, 'B', 'B', 'S', nullptr, 0) != 0) {
        throw std::runtime_error("CODE and OTHER must be access codes of 80 digits");
    }
    return Handle(opened);
}

struct Collection {
    std::vector<Codes> queries;
    std::vector<Codes> unknown; // of music that is not in it
    std::vector<std::string> trackIds;
    std::vector<std::string> albumIds;   // each once
    std::vector<std::string> allLetters; // of many recordings
};

Codes madeUp(const tarn::bench::SyntheticMusic& music, uint32_t number, tarn::bench::Dice& dice) {
    constexpr double kNoise = 1; // as an unchanged excerpt
    return music.query(number, dice, kNoise).codes;
}

// real: empty if the music is in the files of the catalogue.
Collection read(const std::string& catalogue, const std::string& real) {
    MediaProcess process;
    Collection collection;
    std::set<std::string> albums;
    CatalogueReader(catalogue).forEach([&](const Recording& recording) {
        if (collection.queries.size() < kUsualFiles && real.empty()) {
            collection.queries.push_back(readQuery(recording.path, process).codes);
        }
        collection.trackIds.push_back(recording.trackId);
        if (!recording.albumId.empty()) albums.insert(recording.albumId);
        collection.allLetters.push_back(recording.codes[0][0].letters);
    });
    if (collection.trackIds.empty()) throw std::runtime_error("the catalogue holds nothing");
    std::optional<tarn::bench::SyntheticMusic> music;
    if (!real.empty()) music.emplace(real);
    tarn::bench::Dice dice(11);
    const auto count = static_cast<uint32_t>(collection.trackIds.size());
    for (uint32_t piece = 0; piece < kUsualFiles; ++piece) {
        if (music) {
            const uint32_t number = piece * (count / kUsualFiles) + 1;
            collection.queries.push_back(madeUp(*music, number, dice));
            collection.unknown.push_back(madeUp(*music, kUnknownNumber + piece, dice));
            continue;
        }
        constexpr int kRateHz = 22050;
        constexpr uint32_t kAskedMs = 31'000;
        const auto music = tarn::demo::renderPiece(kUnknownSeed + piece, 40, kRateHz, 1);
        collection.unknown.push_back(
            codeQuery({music.samples.data(), kAskedMs / 1000 * size_t{kRateHz}}, kAskedMs).codes);
    }
    collection.albumIds.assign(albums.begin(), albums.end());
    return collection;
}

std::vector<std::string> firstOf(const std::vector<std::string>& ids) {
    return {ids.begin(), ids.begin() + static_cast<ptrdiff_t>(std::min(kMaxIdsAsked, ids.size()))};
}

Codes randomLetters(std::mt19937& random, size_t letters) {
    Codes codes;
    for (std::string& code : codes) {
        while (code.size() < letters) code += static_cast<char>('a' + random() % 24);
    }
    return codes;
}

// Pieces of three letters from the catalogue's strings, shuffled: many grams are found, and none in its place.
Codes shuffled(std::mt19937& random, const Collection& collection, size_t letters) {
    Codes codes;
    for (std::string& code : codes) {
        while (code.size() + 3 <= letters) {
            const std::string& from = collection.allLetters[random() % collection.allLetters.size()];
            if (from.size() > 3) code += from.substr(random() % (from.size() - 3), 3);
        }
    }
    return codes;
}

std::vector<Kind> kindsOf(const Collection& collection, const std::string& code) {
    const Handle client = openClient(code);
    std::mt19937 random(4711);
    const auto items = [&](const std::vector<std::string>& ids, uint8_t kind) {
        return std::vector<std::string>{postOf(itemsPacket(client.get(), ids, kind, kMaxAsked))};
    };
    const auto fingerprints = [&](const auto& make) {
        std::vector<std::string> requests;
        for (int i = 0; i < 4; ++i) requests.push_back(postOf(fingerprintPacket(client.get(), kMaxAsked, make())));
        return requests;
    };
    std::vector<Kind> kinds = {{"usual: a fingerprint of the collection", {}}, {"one of other music", {}}};
    for (const Codes& codes : collection.queries) {
        kinds[0].requests.push_back(postOf(fingerprintPacket(client.get(), 10, codes)));
    }
    for (const Codes& codes : collection.unknown) {
        kinds[1].requests.push_back(postOf(fingerprintPacket(client.get(), 10, codes)));
    }
    for (const size_t letters : {kLettersOfAudio, kMaxStringLength}) {
        const std::string count = std::to_string(letters);
        kinds.push_back({"fingerprint, 6 x " + count + " random letters",
                         fingerprints([&] { return randomLetters(random, letters); })});
        kinds.push_back({"fingerprint, 6 x " + count + " letters of all recordings",
                         fingerprints([&] { return shuffled(random, collection, letters); })});
    }
    if (!collection.albumIds.empty()) {
        kinds.push_back({"tracks of an album id, 100 times",
                         items(std::vector<std::string>(kMaxIdsAsked, collection.albumIds.front()), 'T')});
        kinds.push_back({"albums of an album id, 100 times",
                         items(std::vector<std::string>(kMaxIdsAsked, collection.albumIds.front()), 'A')});
        kinds.push_back({"tracks of 100 album ids", items(firstOf(collection.albumIds), 'T')});
    }
    kinds.push_back({"tracks of 100 track ids", items(firstOf(collection.trackIds), 'T')});
    kinds.push_back({"albums of 100 track ids", items(firstOf(collection.trackIds), 'A')});
    KVXSetTrackMask(client.get(), std::vector<uint8_t>(KVX_TRACK_MASK_ENTRIES).data());
    std::vector<std::string> both = firstOf(collection.albumIds);
    both.insert(both.end(), collection.trackIds.begin(), collection.trackIds.end());
    kinds.push_back({"tracks of ids of both kinds, no field allowed", items(firstOf(both), 'T')});
    return kinds;
}

struct Times {
    std::vector<double> ms;
    std::map<int, size_t> statuses;
    double at(double share) const {
        return ms.empty() ? 0
                          : ms[std::min(ms.size() - 1, static_cast<size_t>(share * static_cast<double>(ms.size())))];
    }
};

double msSince(Clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

// Of all threads of a process.
double cpuMsOf(const std::string& process) {
    double nanoseconds = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/" + process + "/task")) {
        double of = 0;
        std::ifstream(thread.path() / "schedstat") >> of;
        nanoseconds += of;
    }
    return nanoseconds / 1e6;
}

// Sends the requests in turn until it is stopped.
template <class Stop>
Times ask(uint16_t port, const std::vector<std::string>& requests, std::chrono::milliseconds breath, Stop stop) {
    Times times;
    std::unique_ptr<RawClient> client;
    for (size_t i = 0; !stop(times); ++i) {
        const auto begin = Clock::now();
        if (client == nullptr) client = std::make_unique<RawClient>(port);
        const bool sent = client->connected() && client->send(requests[i % requests.size()]);
        const HttpAnswer answer = sent ? client->read().value_or(HttpAnswer{}) : HttpAnswer{};
        times.ms.push_back(msSince(begin));
        ++times.statuses[answer.status];
        if (answer.status != 200) client.reset();
        if (breath.count() > 0) std::this_thread::sleep_for(breath);
    }
    std::sort(times.ms.begin(), times.ms.end());
    return times;
}

void print(const std::string& name, const Times& times) {
    std::printf("%-48s %6zu answers  ms p50 %7.2f  p90 %7.2f  p99 %7.2f  max %7.2f ", name.c_str(), times.ms.size(),
                times.at(0.5), times.at(0.9), times.at(0.99), times.at(1));
    for (const auto& [status, count] : times.statuses) std::printf(" %d: %zu", status, count);
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() != 5 && words.size() != 7 && words.size() != 8) {
        std::cerr << "fairness_tool PID PORT CATALOGUE CODE OTHER [CONNECTIONS SECONDS [REAL]]\n";
        return 2;
    }
    try {
        const auto port = static_cast<uint16_t>(std::stoul(words[1]));
        const size_t connections = words.size() >= 7 ? std::stoul(words[5]) : 20;
        const auto duration = std::chrono::seconds(words.size() >= 7 ? std::stoul(words[6]) : 20);
        const Collection collection = read(words[2], words.size() == 8 ? words[7] : "");
        std::vector<Kind> kinds = kindsOf(collection, words[3]);
        for (Kind& kind : kinds) {
            const double before = cpuMsOf(words[0]);
            const Times times = ask(port, kind.requests, std::chrono::milliseconds(0),
                                    [](const Times& so) { return so.ms.size() >= kAlone; });
            kind.cpuMs = (cpuMsOf(words[0]) - before) / static_cast<double>(times.ms.size());
            print(kind.name, times);
            std::printf("%48s %.2f ms of CPU, %.1f times the usual one\n", "", kind.cpuMs, kind.cpuMs / kinds[0].cpuMs);
        }
        const Kind& dearest = *std::max_element(kinds.begin(), kinds.end(),
                                                [](const Kind& a, const Kind& b) { return a.cpuMs < b.cpuMs; });
        std::printf("dearest: %s\n", dearest.name.c_str());

        const std::vector<std::string> usual = kindsOf(collection, words[4]).front().requests;
        const auto until = [](Clock::time_point end) { return [end](const Times&) { return Clock::now() >= end; }; };
        const Times idle = ask(port, usual, kBreath, until(Clock::now() + duration));
        print("the other account alone", idle);
        std::atomic<size_t> dear = 0;
        Times beside;
        {
            std::vector<std::jthread> hogs;
            for (size_t i = 0; i < connections; ++i) {
                hogs.emplace_back([&](const std::stop_token& token) {
                    dear += ask(port, dearest.requests, std::chrono::milliseconds(0), [&](const Times&) {
                                return token.stop_requested();
                            }).ms.size();
                });
            }
            std::this_thread::sleep_for(std::chrono::seconds(1));
            beside = ask(port, usual, kBreath, until(Clock::now() + duration));
        }
        print("beside " + std::to_string(connections) + " connections of the dearest", beside);
        std::printf("p99: %.1f times that of the idle service; the dearest were answered %.0f times a second\n",
                    beside.at(0.99) / idle.at(0.99),
                    static_cast<double>(dear) / static_cast<double>(duration.count() + 1));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
