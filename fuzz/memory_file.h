// SPDX-License-Identifier: Apache-2.0
// A file that lies in memory, for code that takes a path.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace fuzz {

class MemoryFile {
  public:
    MemoryFile() : descriptor_(memfd_create("input", MFD_CLOEXEC)) {
        if (descriptor_ < 0) throw std::runtime_error("a file in memory cannot be created");
    }
    ~MemoryFile() { close(descriptor_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    // Replaces the file's content.
    void hold(std::span<const uint8_t> bytes) {
        if (ftruncate(descriptor_, 0) != 0 ||
            pwrite(descriptor_, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
            throw std::runtime_error("the file in memory cannot be filled");
        }
    }
    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

  private:
    int descriptor_;
};

} // namespace fuzz
