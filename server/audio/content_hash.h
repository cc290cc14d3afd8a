// SPDX-License-Identifier: Apache-2.0
// SHA-256 as hexadecimal digits: what names a recording and an album.
#pragma once

#include <nettle/sha2.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tarn::server {

class ContentHash {
  public:
    ContentHash() { sha256_init(&context_); }
    void add(std::span<const int16_t> samples); // as little-endian bytes
    void add(std::string_view bytes);
    std::string hexadecimal(); // 64 digits; the hash then starts anew

  private:
    sha256_ctx context_;
};

} // namespace tarn::server
