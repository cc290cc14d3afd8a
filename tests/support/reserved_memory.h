// SPDX-License-Identifier: Apache-2.0
// Addresses that can be read and written but take memory only where something is written: for lengths of gigabytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <sys/mman.h>

namespace kvxtest {

class ReservedMemory {
  public:
    explicit ReservedMemory(size_t bytes)
        : bytes_(bytes),
          data_(mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {
        if (data_ == MAP_FAILED) throw std::runtime_error("no addresses");
    }
    ~ReservedMemory() { munmap(data_, bytes_); }
    ReservedMemory(const ReservedMemory&) = delete;
    ReservedMemory& operator=(const ReservedMemory&) = delete;

    uint8_t* bytes() const { return static_cast<uint8_t*>(data_); }
    char* text() const { return static_cast<char*>(data_); }

  private:
    size_t bytes_;
    void* data_;
};

} // namespace kvxtest
