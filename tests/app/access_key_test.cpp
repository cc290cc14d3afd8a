// SPDX-License-Identifier: Apache-2.0
// Taking an access key apart.
#include "access_key.h"
#include "support/access_keys.h"
#include "support/hex.h"

#include <cstring>
#include <gtest/gtest.h>
#include <new>

namespace kvxtest {
namespace {

constexpr int64_t kNow = 1'800'000'000;

// 80 characters, none alike its neighbour.
std::string codeText(size_t length = 80) {
    std::string text;
    for (size_t i = 0; i < length; ++i) text += "0123456789ABCDEF"[i % 16];
    return text;
}

struct Taken {
    std::optional<std::string> refusal;
    std::string code;
    Bytes plainAfterwards;
};

Taken take(const std::string& plainText, int64_t now = kNow) {
    tarn::PlainText plain;
    // What lies after the text must not matter.
    std::memset(plain.data(), 'x', plain.size());
    std::memcpy(plain.data(), plainText.data(), plainText.size());
    tarn::AccessCode code;
    Taken taken;
    taken.refusal = tarn::takeAccessCode(plain, plainText.size(), now, code);
    taken.code.assign(code.text(), code.size());
    taken.plainAfterwards.assign(plain.data(), plain.data() + plain.size());
    return taken;
}

TEST(AccessKey, IsTakenOrRefusedByItsPlainText) {
    const auto timed = [](int64_t seconds, size_t codeLength = 80) {
        return std::to_string(seconds) + ":" + codeText(codeLength);
    };
    const char* const kNotValid = "Key Not Valid";
    struct Case {
        const char* name;
        std::string plain;
        const char* refusal; // null: accepted
    };
    const Case cases[] = {
        {"issued now", timed(kNow), nullptr},
        {"29 seconds old", timed(kNow - 29), nullptr},
        {"30 seconds old", timed(kNow - 30), kNotValid},
        {"an hour ahead", timed(kNow + 3600), nullptr},
        {"as far ahead as a number goes", "9223372036854775807:" + codeText(), nullptr},
        {"further than a number goes", "99999999999999999999:" + codeText(), nullptr},
        {"further back than a number goes", "-9999999999999999999:" + codeText(), kNotValid},
        {"bare code", codeText(), nullptr},
        {"bare code with more after it", codeText(95), nullptr},
        {"79 characters", codeText(79), "Key Not Correct Length 79"},
        {"nothing", "", "Key Not Correct Length 0"},
        {"79 characters with a colon", "1800000000:" + codeText(68), "Key Not Correct Length 79"},
        {"three characters before the colon", "999:" + codeText(), kNotValid},
        {"no character before the colon", ":" + codeText(), kNotValid},
        {"79 characters after the colon", timed(kNow, 79), nullptr},
        {"78 characters after the colon", timed(kNow, 78), kNotValid},
        {"no number before the colon", "abcd:" + codeText(), kNotValid},
        {"white space and a sign", " \t+1800000000:" + codeText(), nullptr},
        {"a number up to the first other character", "1800000000abc:" + codeText(), nullptr},
        {"a negative number", "-180000000:" + codeText(), kNotValid},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Taken taken = take(c.plain);
        EXPECT_EQ(taken.refusal.value_or("accepted"), c.refusal == nullptr ? "accepted" : c.refusal);
    }
}

TEST(AccessKey, AFourCharacterTimePassesThePositionCheck) {
    EXPECT_EQ(take("1000:" + codeText(), 1029).refusal, std::nullopt);
    EXPECT_EQ(take("1000:" + codeText(), 1030).refusal, "Key Not Valid");
    EXPECT_EQ(take("100:" + codeText(), 100).refusal, "Key Not Valid");
}

TEST(AccessKey, GivesTheEightyCharactersAfterTheColon) {
    EXPECT_EQ(take("1800000000:" + codeText(80) + "!").code, codeText(80));
    EXPECT_EQ(take("1800000000:::" + codeText(78)).code, "::" + codeText(78)); // the first colon counts
}

TEST(AccessKey, GivesTheFirstEightyCharactersOfABareCode) { EXPECT_EQ(take(codeText(95)).code, codeText(80)); }

TEST(AccessKey, SeventyNineCharactersAfterTheColonEndInAZeroByte) {
    EXPECT_EQ(take("1800000000:" + codeText(79)).code, codeText(79) + '\0');
}

TEST(AccessKey, AColonAfterAZeroByteIsNotSeen) {
    std::string plain = codeText(85);
    plain[3] = '\0';
    plain[4] = ':';
    const Taken taken = take(plain);
    EXPECT_EQ(taken.refusal, std::nullopt);
    EXPECT_EQ(taken.code, plain.substr(0, 80));
}

TEST(AccessKey, ThePlainTextIsWipedOnceTheCodeIsTaken) {
    const Taken taken = take("1800000000:" + codeText());
    EXPECT_EQ(hexDump(taken.plainAfterwards), hexDump(Bytes(taken.plainAfterwards.size())));
}

TEST(AccessKey, DecodesTwoCharactersAtATime) {
    struct Case {
        const char* name;
        std::string text;
        const char* bytes;
    };
    const Case cases[] = {
        {"nothing", "", ""},
        {"one character", "a", ""},
        {"lower and upper case", "0aF1", "0a f1"},
        {"an odd last character", "0aF1b", "0a f1"},
        {"no digit", "zz", "00"},
        {"a digit and none", "9z", "09"},
        {"none and a digit", "z9", "00"},
        {"white space before the digit", " 7", "07"},
        {"a sign", "-1+1", "ff 01"}, // the low 8 bits of -1
        {"a prefix without digits", "0x", "00"},
        {"characters of several bytes count once",
         "a\xc3\xa4\xe2\x82\xac"
         "b12",
         "0a 00 12"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(hexDump(tarn::decodeKeyText(c.text)), hexDump(fromHex(c.bytes)));
    }
}

TEST(AccessKey, DecodesAtMostOneHundredAndSixBytes) {
    for (const size_t characters : {210U, 211U, 212U, 213U, 214U, 300U}) {
        SCOPED_TRACE(characters);
        const Bytes bytes = tarn::decodeKeyText(std::string(characters, '5'));
        EXPECT_EQ(bytes.size(), std::min<size_t>(characters / 2, 106));
        EXPECT_EQ(hexDump(bytes), hexDump(Bytes(bytes.size(), 0x55)));
    }
}

TEST(AccessKey, IsWrittenInUpperCaseDigits) {
    const Bytes bytes = fromHex("00 0a b1 ff");
    EXPECT_EQ(tarn::encodeKeyText(bytes.data(), bytes.size()), "000AB1FF");
    EXPECT_EQ(tarn::encodeKeyText(bytes.data(), 0), "");
}

TEST(CipherKey, IsTheTwoConfiguredHalvesOneAfterTheOther) {
    tarn::CipherKey key;
    tarn::buildCipherKey(key);
    EXPECT_EQ(hexDump({key.data(), key.size()}), hexDump(cipherKey()));
}

TEST(SecretBuffer, StartsAsZerosAndLeavesZeros) {
    using Buffer = tarn::SecretBuffer<32>;
    alignas(Buffer) unsigned char memory[sizeof(Buffer)];
    std::memset(memory, 0xee, sizeof memory);
    auto* buffer = new (memory) Buffer;
    EXPECT_EQ(hexDump({buffer->data(), 32}), hexDump(Bytes(32)));
    std::memset(buffer->data(), 's', 32);
    buffer->~Buffer();
    EXPECT_EQ(hexDump({memory, 32}), hexDump(Bytes(32)));
}

} // namespace
} // namespace kvxtest
