// SPDX-License-Identifier: Apache-2.0
// What the service takes from its clients.
#pragma once

#include <chrono>
#include <cstddef>

namespace tarn::server {

struct HttpLimits {
    size_t connections = 4000;                      // at once; more wait in the system's queue
    size_t connectionsPerAddress = 256;             // 0: no limit
    size_t packetBytes = 64 * 1024;                 // a request of 30 s of audio has less than 10 kB
    size_t audioBytes = 24 * 1024 * 1024;           // a minute of stereo at 96 kHz
    size_t audioBytesAtOnce = 256 * 1024 * 1024;    // of all requests; of one account's, half of it
    size_t workers = 0;                             // that one account may keep busy; 0: one for each processor
    size_t waiting = 1000;                          // admitted requests that no worker has taken
    std::chrono::milliseconds requestTime{15'000};  // to send a request, and to take its answer
    std::chrono::milliseconds waitingTime{5'000};   // for a worker; then the catalogue is not asked any more
    std::chrono::milliseconds stoppingTime{30'000}; // for what is in flight when the service ends
};

} // namespace tarn::server
