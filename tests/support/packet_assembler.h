// SPDX-License-Identifier: Apache-2.0
// A packet put together field by field, for comparison with what the library builds. Nothing here comes from it; the
// signature is another library's work.
#pragma once

#include "support/handles.h"
#include "support/hex.h"

#include <algorithm>
#include <cstdint>
#include <nettle/blowfish.h>
#include <nettle/md4.h>
#include <string_view>

namespace kvxtest {

class PacketAssembler {
  public:
    Bytes bytes;

    PacketAssembler& u8(unsigned value) { return little(value, 1); }
    PacketAssembler& u16(unsigned value) { return little(value, 2); }
    PacketAssembler& u32(uint32_t value) { return little(value, 4); }
    PacketAssembler& raw(std::string_view text) {
        bytes.insert(bytes.end(), text.begin(), text.end());
        return *this;
    }
    PacketAssembler& raw(const Bytes& more) {
        bytes.insert(bytes.end(), more.begin(), more.end());
        return *this;
    }
    PacketAssembler& hex(std::string_view digits) { return raw(fromHex(digits)); }
    // Length, then the bytes.
    PacketAssembler& text(std::string_view text) { return u32(static_cast<uint32_t>(text.size())).raw(text); }
    PacketAssembler& padded(std::string_view text, size_t width) {
        raw(text);
        bytes.resize(bytes.size() + width - text.size());
        return *this;
    }

    PacketAssembler& header(const HandleOptions& options, unsigned language, unsigned option) {
        return raw("BIN ")
            .u8(3)
            .u8(7)
            .u32(0x04030201)
            .padded(options.deviceId, 16)
            .padded(options.userId, 16)
            .u16(static_cast<unsigned>(options.encryptionMethod))
            .u16(static_cast<unsigned>(options.checksumMethod))
            .u8(static_cast<unsigned>(options.responseFraming))
            .u16(language)
            .u16(option)
            .u8('S');
    }

    // What every mask entry set makes of the permission block.
    PacketAssembler& allPermissions() { return hex("04 04 FFFFFF1F 03 FFFF01 03 FFFF3F 06 FFFFFFFFFF01"); }

    // Over everything from byte from on.
    PacketAssembler& signature(const HandleOptions& options, size_t from = 0) {
        Bytes sign = options.checksumMethod == 2 ? byteSum(from) : md4(from);
        if (options.encryptionMethod == 2) {
            for (uint8_t& byte : sign) byte = static_cast<uint8_t>(byte + 13);
        } else if (options.encryptionMethod == 3) {
            sign.resize((sign.size() + 7) / 8 * 8); // zeros after a 4-byte sum
            blowfish_ctx context;
            blowfish_set_key(&context, options.secret.size(), options.secret.data());
            swapWords(sign);
            blowfish_encrypt(&context, sign.size(), sign.data(), sign.data());
            swapWords(sign);
        }
        return raw(sign);
    }

  private:
    PacketAssembler& little(uint64_t value, int width) {
        for (int i = 0; i < width; ++i) bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
        return *this;
    }
    Bytes byteSum(size_t from) const {
        int64_t sum = 0;
        for (size_t i = from; i < bytes.size(); ++i) sum += bytes[i] < 128 ? bytes[i] : bytes[i] - 256;
        PacketAssembler out;
        return out.u32(static_cast<uint32_t>(sum)).bytes;
    }
    Bytes md4(size_t from) const {
        md4_ctx context;
        md4_init(&context);
        md4_update(&context, bytes.size() - from, bytes.data() + from);
        Bytes digest(16);
        md4_digest(&context, digest.size(), digest.data());
        return digest;
    }
    static void swapWords(Bytes& bytes) {
        for (auto word = bytes.begin(); word != bytes.end(); word += 4) std::reverse(word, word + 4);
    }
};

} // namespace kvxtest
