// SPDX-License-Identifier: Apache-2.0
// The text of an access key: taken as it is, and once more as the plain text that a key may decrypt to.
//
// Holds: decoding is bounded and stays the same when what it gave is encoded and decoded again; every plain text is
// taken or refused by the rules of the key, which are stated here once more; a text that the tool encrypts decrypts to
// itself; after a code is taken no plain text is left.
#include "access_key.h"
#include "fuzz_target.h"
#include "platform/linux/nettle_cipher.h"

#include <algorithm>
#include <charconv>
#include <span>
#include <string>

namespace {

constexpr int64_t kNow = 1'700'000'000;
constexpr size_t kCodeLength = 80;

struct Verdict {
    std::string refusal;
    std::string code;
};

// Whether the plain text is accepted: "time:code" or "code", up to its first zero byte.
Verdict verdictOn(const std::string& plain) {
    if (plain.size() < kCodeLength) return {"Key Not Correct Length " + std::to_string(plain.size()), {}};
    const std::string padded = plain + std::string(kCodeLength + 1, '\0');
    const std::string text = plain.substr(0, plain.find('\0'));
    const size_t colon = text.find(':');
    if (colon == std::string::npos) return {{}, padded.substr(0, kCodeLength)};
    if (colon < 4 || plain.size() - colon < kCodeLength) return {"Key Not Valid", {}};
    const size_t digits = std::min(text.find_first_not_of(" \t\n\v\f\r"), colon);
    const size_t number = text[digits] == '+' && text[digits + 1] != '-' ? digits + 1 : digits;
    int64_t issued = 0;
    const auto result = std::from_chars(text.data() + number, text.data() + colon, issued);
    if (result.ec == std::errc::result_out_of_range) issued = text[number] == '-' ? INT64_MIN : INT64_MAX;
    if (issued <= kNow - 30) return {"Key Not Valid", {}};
    return {{}, padded.substr(colon + 1, kCodeLength)};
}

void takePlain(std::span<const uint8_t> bytes) {
    tarn::PlainText plain;
    const size_t length = std::min(bytes.size(), tarn::kCipherTextLimitBytes);
    std::copy_n(bytes.begin(), length, plain.data());
    const Verdict expected = verdictOn(std::string(bytes.begin(), bytes.begin() + static_cast<long>(length)));
    tarn::AccessCode code;
    const auto refusal = tarn::takeAccessCode(plain, length, kNow, code);
    REQUIRE(refusal.value_or("") == expected.refusal);
    if (refusal) return;
    REQUIRE(std::string(code.text(), kCodeLength) == expected.code);
    REQUIRE(std::all_of(plain.data(), plain.data() + tarn::PlainText::size(), [](uint8_t byte) { return byte == 0; }));
}

void decodeText(std::string_view text) {
    const tarn::Bytes decoded = tarn::decodeKeyText(text);
    REQUIRE(decoded.size() <= std::min(text.size() / 2, tarn::kCipherTextLimitBytes));
    const std::string encoded = tarn::encodeKeyText(decoded.data(), decoded.size());
    REQUIRE(encoded.size() == 2 * decoded.size());
    REQUIRE(tarn::decodeKeyText(encoded) == decoded);
    if (text.find_first_not_of("0123456789ABCDEF") == std::string_view::npos) {
        REQUIRE(text.substr(0, encoded.size()) == encoded);
    }
}

void cipherAndBack(std::span<const uint8_t> bytes) {
    tarn::CipherKey key;
    tarn::buildCipherKey(key);
    const std::span<const uint8_t> keyBytes(key.data(), tarn::CipherKey::size());
    tarn::NettleCipher cipher;
    std::array<uint8_t, tarn::kEncodedLimitBytes> cipherText{};
    size_t cipherLength = 0;
    static constexpr uint8_t kNothing = 0;
    const uint8_t* const input = bytes.empty() ? &kNothing : bytes.data();
    const int32_t status =
        cipher.crypt(tarn::CipherOperation::Encrypt, keyBytes, input, bytes.size(), cipherText, cipherLength);
    REQUIRE((status == tarn::kCipherSuccess) == (bytes.size() < tarn::kEncodedLimitBytes));
    if (status != tarn::kCipherSuccess) return;

    const tarn::Bytes handedOver = tarn::decodeKeyText(tarn::encodeKeyText(cipherText.data(), cipherLength));
    std::array<uint8_t, tarn::kCipherTextLimitBytes> plain{};
    size_t plainLength = 0;
    REQUIRE(cipher.crypt(tarn::CipherOperation::Decrypt, keyBytes, handedOver.data(), handedOver.size(), plain,
                         plainLength) == tarn::kCipherSuccess);
    REQUIRE(plainLength == bytes.size() && std::equal(bytes.begin(), bytes.end(), plain.begin()));

    // As a cipher text that anybody could have made.
    const int32_t foreign =
        cipher.crypt(tarn::CipherOperation::Decrypt, keyBytes, input, bytes.size(), plain, plainLength);
    REQUIRE(foreign == tarn::kCipherSuccess || plainLength == 0);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::span<const uint8_t> bytes(data, size);
    decodeText({reinterpret_cast<const char*>(data), size});
    takePlain(bytes);
    cipherAndBack(bytes);
    return 0;
}
