// SPDX-License-Identifier: Apache-2.0
// native_session PCM PACKET ROUNDS: writes the audio that both libraries are measured with and the signed packet that
// must come out, and prints for each instruction set its name and the median CPU time in milliseconds of a session with
// its packet.
#include "cpu_time.h"
#include "fingerprint/engine/lanes.h"
#include "recording.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::vector<uint8_t> packetOfSession() {
    const kvxtest::Handle handle = kvxtest::makeHandle();
    bench::codeRecording(handle.get());
    uint8_t* packet = nullptr;
    uint32_t length = 0;
    if (KVXGenerateFingerprintRequest3(handle.get(), nullptr, 0, nullptr, 10, 'e' << 8 | 'n', &packet, &length) != 0)
        throw std::runtime_error("no packet");
    std::vector<uint8_t> bytes(packet, packet + length);
    KVXFreeFingerprintRequest3(&packet);
    return bytes;
}

void write(const char* path, const std::vector<uint8_t>& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) throw std::runtime_error(std::string(path) + ": cannot be written");
}

} // namespace

int main(int argc, char** argv) try {
    const int rounds = argc == 4 ? std::atoi(argv[3]) : 0;
    if (rounds < 1) {
        std::fprintf(stderr, "usage: native_session PCM PACKET ROUNDS\n");
        return 2;
    }
    write(argv[1], bench::recording());
    const std::vector<uint8_t> packet = packetOfSession();
    write(argv[2], packet);
    for (const kvx::LaneKernels* lanes : kvx::availableLanes()) {
        kvx::useLanes(lanes);
        std::vector<double> times(static_cast<size_t>(rounds));
        if (packetOfSession() != packet) throw std::runtime_error(std::string(lanes->name) + ": another packet");
        for (double& time : times) time = bench::cpuMsOf(&packetOfSession);
        std::printf("%s\t%.2f\n", lanes->name, bench::median(times));
    }
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "native_session: %s\n", error.what());
    return 1;
}
