// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/nettle_cipher.h"

#include "platform/wipe.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <nettle/aes.h>
#include <nettle/cbc.h>
#include <nettle/nettle-meta.h>

namespace tarn {
namespace {

using InitialVector = std::array<uint8_t, AES_BLOCK_SIZE>;

// A key schedule, which is as secret as its key.
struct KeySchedule {
    KeySchedule() = default;
    KeySchedule(const KeySchedule&) = delete;
    KeySchedule& operator=(const KeySchedule&) = delete;
    ~KeySchedule() { wipe(&context, sizeof context); }
    aes256_ctx context{};
};

int32_t encrypt(std::span<const uint8_t> key, std::span<const uint8_t> input, std::span<uint8_t> output,
                size_t& outputLength) {
    const size_t padding = AES_BLOCK_SIZE - input.size() % AES_BLOCK_SIZE;
    const size_t padded = input.size() + padding;
    if (output.size() < padded) return kCipherOutputTooSmall;
    KeySchedule schedule;
    aes256_set_encrypt_key(&schedule.context, key.data());
    std::copy(input.begin(), input.end(), output.begin());
    std::memset(output.data() + input.size(), static_cast<int>(padding), padding);
    InitialVector vector{};
    cbc_encrypt(&schedule.context, nettle_aes256.encrypt, AES_BLOCK_SIZE, vector.data(), padded, output.data(),
                output.data());
    outputLength = padded;
    return kCipherSuccess;
}

int32_t decrypt(std::span<const uint8_t> key, std::span<const uint8_t> input, std::span<uint8_t> output,
                size_t& outputLength) {
    if (input.size() % AES_BLOCK_SIZE != 0) return kCipherInputNotWholeBlocks;
    if (input.empty()) return kCipherBadPadding; // not even the block that is all padding
    if (output.size() < input.size()) return kCipherOutputTooSmall;
    KeySchedule schedule;
    aes256_set_decrypt_key(&schedule.context, key.data());
    InitialVector vector{};
    cbc_decrypt(&schedule.context, nettle_aes256.decrypt, AES_BLOCK_SIZE, vector.data(), input.size(), output.data(),
                input.data());

    const uint8_t padding = output[input.size() - 1];
    const auto plain = output.first(input.size());
    if (padding < 1 || padding > AES_BLOCK_SIZE ||
        !std::all_of(plain.end() - padding, plain.end(), [&](uint8_t byte) { return byte == padding; })) {
        wipe(plain.data(), plain.size());
        return kCipherBadPadding;
    }
    outputLength = input.size() - padding;
    return kCipherSuccess;
}

} // namespace

int32_t NettleCipher::crypt(CipherOperation operation, std::span<const uint8_t> key, const uint8_t* input,
                            size_t inputLength, std::span<uint8_t> output, size_t& outputLength) {
    outputLength = 0;
    if (input == nullptr || key.size() != AES256_KEY_SIZE) return kCipherBadParameter;
    const std::span<const uint8_t> bytes(input, inputLength);
    return operation == CipherOperation::Encrypt ? encrypt(key, bytes, output, outputLength)
                                                 : decrypt(key, bytes, output, outputLength);
}

} // namespace tarn
