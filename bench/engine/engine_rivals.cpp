// SPDX-License-Identifier: Apache-2.0
// CPU time of fingerprinting 30 s of stereo in memory, a new session each time: the library with each instruction set,
// the plain engine of the tests, and libchromaprint, in one process with the same PCM, at 44.1 kHz and at rates whose
// samples are interpolated. Then two handles on two threads against one. Prints a line for each figure: name, tab,
// value.
#include "cpu_time.h"
#include "fingerprint/engine/lanes.h"
#include "recording.h"

#include <chromaprint.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

void quitUnless(bool condition, const char* what) {
    if (!condition) throw std::runtime_error(what);
}

void print(const std::string& name, double value) { std::printf("%s\t%.4f\n", name.c_str(), value); }

std::string chromaprintCodes(int rateHz) {
    ChromaprintContext* context = chromaprint_new(CHROMAPRINT_ALGORITHM_DEFAULT);
    quitUnless(chromaprint_start(context, rateHz, bench::kChannels) == 1, "libchromaprint does not start");
    // It takes 16-bit samples too, and a vector's storage is aligned for them.
    const auto* samples = reinterpret_cast<const int16_t*>(static_cast<const void*>(bench::recording(rateHz).data()));
    constexpr size_t kBlock = bench::kBlockBytes / sizeof(int16_t);
    for (size_t at = 0; at + kBlock <= bench::codedBytes(rateHz) / sizeof(int16_t); at += kBlock)
        chromaprint_feed(context, samples + at, kBlock);
    chromaprint_finish(context);
    char* text = nullptr;
    quitUnless(chromaprint_get_fingerprint(context, &text) == 1, "libchromaprint gives no fingerprint");
    std::string codes = text;
    chromaprint_dealloc(text);
    chromaprint_free(context);
    return codes;
}

// In turns, so that other load on the machine affects all equally.
void compareEngines(int rounds, int rateHz, const std::string& prefix) {
    const kvxtest::Handle handle = kvxtest::makeHandle();
    const auto lanes = kvx::availableLanes();
    const kvxtest::plain::CodeStrings expected = bench::plainCodes(rateHz);
    for (const kvx::LaneKernels* each : lanes) {
        kvx::useLanes(each);
        bench::codeRecording(handle.get(), rateHz);
        quitUnless(kvxtest::codeStringsOf(*handle) == expected, "other strings than the plain engine");
    }
    quitUnless(chromaprintCodes(rateHz).size() > 200, "libchromaprint gives too little");

    std::vector<std::vector<double>> library(lanes.size());
    std::vector<double> plainEngine;
    std::vector<double> chromaprint;
    for (int i = 0; i < rounds; ++i) {
        for (size_t level = 0; level < lanes.size(); ++level) {
            kvx::useLanes(lanes[level]);
            for (int j = 0; j < 3; ++j)
                library[level].push_back(bench::cpuMsOf([&] { bench::codeRecording(handle.get(), rateHz); }));
        }
        chromaprint.push_back(bench::cpuMsOf([&] { chromaprintCodes(rateHz); }));
        if (i % 3 == 0) plainEngine.push_back(bench::cpuMsOf([&] { bench::plainCodes(rateHz); }));
    }
    kvx::useLanes(nullptr);
    for (size_t level = 0; level < lanes.size(); ++level)
        print(prefix + "session " + lanes[level]->name, bench::median(library[level]));
    print(prefix + "plain engine", bench::median(plainEngine));
    print(prefix + "libchromaprint", bench::median(chromaprint));
}

// Runs the sessions of one thread on a handle of its own; returns their CPU time.
double codeMany(int sessions) {
    const kvxtest::Handle handle = kvxtest::makeHandle();
    return bench::cpuMsOf(
        [&] {
            for (int i = 0; i < sessions; ++i) bench::codeRecording(handle.get());
        },
        CLOCK_THREAD_CPUTIME_ID);
}

double wallMsOf(int threads, int sessions) {
    const auto before = std::chrono::steady_clock::now();
    std::vector<std::thread> all;
    all.reserve(static_cast<size_t>(threads));
    for (int i = 0; i < threads; ++i) all.emplace_back([&] { codeMany(sessions); });
    for (std::thread& thread : all) thread.join();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - before).count();
}

// Files per second of two threads as a multiple of one thread's: by wall time, and by CPU time, which a busy machine
// changes less.
void compareThreads(int rounds) {
    constexpr int kSessions = 200; // enough that starting the threads does not count
    std::vector<double> wall;
    std::vector<double> cpu;
    for (int i = 0; i < rounds; ++i) {
        wall.push_back(2 * wallMsOf(1, kSessions) / wallMsOf(2, kSessions));
        double other = 0;
        std::thread thread([&] { other = codeMany(kSessions); });
        const double both = codeMany(kSessions);
        thread.join();
        cpu.push_back(2 * codeMany(kSessions) / ((both + other) / 2));
    }
    print("two threads, wall", bench::median(wall));
    print("two threads, CPU", bench::median(cpu));
}

} // namespace

int main(int argumentCount, char** arguments) {
    try {
        const int rounds = argumentCount > 1 ? std::atoi(arguments[1]) : 41;
        quitUnless(rounds > 0, "usage: engine_rivals [ROUNDS]");
        compareEngines(rounds, bench::kRateHz, "");
        for (const int rateHz : {48000, 32000, 96000}) compareEngines(rounds, rateHz, std::to_string(rateHz) + " Hz, ");
        compareThreads(std::max(rounds / 4, 1));
    } catch (const std::exception& e) {
        std::fprintf(stderr, "engine_rivals: %s\n", e.what());
        return 1;
    }
}
