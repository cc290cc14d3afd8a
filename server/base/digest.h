// SPDX-License-Identifier: Apache-2.0
// SHA-256: what names a recording, an album and a file.
#pragma once

#include <nettle/sha2.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tarn::server {

class Digest {
  public:
    Digest() { sha256_init(&context_); }
    void add(std::span<const int16_t> samples); // as little-endian bytes
    void add(std::string_view bytes);
    // Both start anew afterwards.
    std::string bytes();       // 32
    std::string hexadecimal(); // 64 lower-case digits

  private:
    sha256_ctx context_;
};

} // namespace tarn::server
