// SPDX-License-Identifier: Apache-2.0
#include "audio/sample_ring.h"

#include <sys/mman.h>

#include <cerrno>
#include <system_error>

namespace tarn::server {

namespace {

constexpr size_t kBytes = SampleRing::kSlots * SampleRing::kSlotSamples * sizeof(int16_t);

} // namespace

SampleRing::SampleRing() {
    void* memory = ::mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "no memory for reading files");
    samples_ = static_cast<int16_t*>(memory);
}

SampleRing::~SampleRing() { ::munmap(samples_, kBytes); }

} // namespace tarn::server
