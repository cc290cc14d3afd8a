// SPDX-License-Identifier: Apache-2.0
// Overwrites secrets that are no longer needed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarn {

// Zeroes memory even where nothing reads it afterwards, which a plain memset need not do.
void wipe(void* memory, size_t length);

// Zeroes the traces of secrets that functions leave when they return: the vector registers, which ciphers and copies
// use, and the stack below the caller, where registers are saved, for example by the dynamic linker when it binds a
// function at its first call. Call it after a function that is not inlined.
void wipeTraces();

// Wipes the traces where its scope ends, on every path.
struct TracesWipedAtEnd {
    TracesWipedAtEnd() = default;
    TracesWipedAtEnd(const TracesWipedAtEnd&) = delete;
    TracesWipedAtEnd& operator=(const TracesWipedAtEnd&) = delete;
    ~TracesWipedAtEnd() { wipeTraces(); }
};

// A buffer that starts as zeros and is wiped when it ends, on every path.
template <size_t kSize>
class SecretBuffer {
  public:
    SecretBuffer() = default;
    SecretBuffer(const SecretBuffer&) = delete;
    SecretBuffer& operator=(const SecretBuffer&) = delete;
    ~SecretBuffer() { clear(); }

    void clear() { wipe(bytes_.data(), kSize); }
    uint8_t* data() { return bytes_.data(); }
    const uint8_t* data() const { return bytes_.data(); }
    static constexpr size_t size() { return kSize; }
    uint8_t& operator[](size_t index) { return bytes_[index]; }
    // As bytes of a text; zero-terminated only if its user terminated it.
    const char* text() const { return reinterpret_cast<const char*>(bytes_.data()); }

  private:
    std::array<uint8_t, kSize> bytes_{};
};

} // namespace tarn
