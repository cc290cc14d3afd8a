// SPDX-License-Identifier: Apache-2.0
#include "support/counting_hooks.h"
#include "support/guarded_bytes.h"
#include "support/handles.h"
#include "support/hex.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>

using kvxtest::accessCode;
using kvxtest::Bytes;
using kvxtest::hexDump;

namespace {

int32_t initWith(KVXHandle** handle, const char* code) {
    return KVXInit(handle, code, nullptr, 0, nullptr, 0, 'B', 'B', 'S', nullptr, 0);
}

std::string idOf(const uint8_t (&id)[KVX_ID_LENGTH]) { return hexDump(id); }

std::string paddedId(std::string_view text) {
    Bytes id = kvxtest::bytesOf(text);
    id.resize(KVX_ID_LENGTH);
    return hexDump(id);
}

} // namespace

TEST(Init, RefusesANullAccessKeyAndAllocatesNothing) {
    kvxtest::CountingHooks hooks;
    KVXHandle* handle = reinterpret_cast<KVXHandle*>(&hooks);
    EXPECT_EQ(initWith(&handle, nullptr), -1);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(hooks.allocations(), 0);
}

TEST(Init, KeepsSixteenBytesOfAnIdentityAndPadsAShorterOne) {
    struct Case {
        const char* name;
        std::string id;
        int16_t length;
        std::string kept;
    };
    const Case kCases[] = {
        {"20 bytes", "abcdefghijklmnopqrst", 20, "abcdefghijklmnop"},
        {"17 bytes", "abcdefghijklmnopq", 17, "abcdefghijklmnop"},
        {"16 bytes", "abcdefghijklmnop", 16, "abcdefghijklmnop"},
        {"5 bytes", "abcde", 5, "abcde"},
        {"no bytes", "abcde", 0, ""},
        {"a negative length", "abcde", -1, ""},
    };
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.name);
        const std::string code = accessCode(1, 2);
        const auto* id = reinterpret_cast<const uint8_t*>(test.id.data());
        KVXHandle* handle = nullptr;
        ASSERT_EQ(KVXInit(&handle, code.c_str(), id, test.length, id, test.length, 'B', 'B', 'S', nullptr, 0), 0);
        EXPECT_EQ(idOf(handle->deviceId), paddedId(test.kept));
        EXPECT_EQ(idOf(handle->userId), paddedId(test.kept));
        EXPECT_EQ(handle->state, 2);
        KVXShutdown(&handle);
    }
}

TEST(Init, WithoutADeviceIdGivesStateOne) {
    const std::string code = accessCode(1, 2);
    KVXHandle* handle = nullptr;
    ASSERT_EQ(initWith(&handle, code.c_str()), 0);
    EXPECT_EQ(handle->state, 1);
    EXPECT_EQ(idOf(handle->deviceId), paddedId(""));
    EXPECT_EQ(idOf(handle->userId), paddedId(""));
    KVXShutdown(&handle);
}

TEST(Init, SelectsTheDefaultHostForANullNameOrALengthOfZero) {
    const std::string code = accessCode(1, 2);
    struct Case {
        const char* name;
        uint16_t length;
        std::string host;
    };
    for (const Case& test : {Case{nullptr, 0, "tarn.kvx.example"}, Case{nullptr, 9, "tarn.kvx.example"},
                             Case{"other.host", 0, "tarn.kvx.example"}, Case{"other.host", 10, "other.host"},
                             Case{"other.host", 5, "other"}}) {
        SCOPED_TRACE(test.host);
        KVXHandle* handle = nullptr;
        ASSERT_EQ(KVXInit(&handle, code.c_str(), nullptr, 0, nullptr, 0, 'B', 'B', 'S', test.name, test.length), 0);
        EXPECT_EQ(handle->hostNameLength, test.host.size());
        EXPECT_STREQ(handle->hostName, test.host.c_str());
        KVXShutdown(&handle);
    }
}

TEST(Init, TakesTheAccessKeyApart) {
    kvxtest::SecretKey secret;
    for (size_t i = 0; i < secret.size(); ++i) secret[i] = static_cast<uint8_t>(0xf0 + i);
    const std::string code = accessCode(2, 3, secret, 0xfedcba98);
    KVXHandle* handle = nullptr;
    ASSERT_EQ(KVXInit(&handle, code.c_str(), nullptr, 0, nullptr, 0, 'H', 'B', 'Q', nullptr, 0), 0);
    EXPECT_EQ(handle->accountId, 0xfedcba98U);
    EXPECT_EQ(handle->encryptionMethod, 2);
    EXPECT_EQ(handle->checksumMethod, 3);
    EXPECT_EQ(hexDump(handle->secretKey), hexDump(secret));
    EXPECT_EQ(handle->requestFraming, 'H');
    EXPECT_EQ(handle->responseFraming, 'B');
    EXPECT_EQ(handle->clientKind, 'Q');
    EXPECT_EQ(handle->responseCount, 0);
    EXPECT_EQ(handle->responseData, nullptr);
    EXPECT_EQ(handle->responseLength, 0);
    EXPECT_EQ(handle->appendixLength, 0U);
    KVXShutdown(&handle);
}

TEST(Init, ReadsLowerAndUpperCaseDigitsAlike) {
    std::string code = accessCode(1, 2, {0xab, 0xcd});
    for (char& c : code) c = static_cast<char>(std::tolower(c));
    KVXHandle* handle = nullptr;
    ASSERT_EQ(initWith(&handle, code.c_str()), 0);
    EXPECT_EQ(handle->secretKey[0], 0xab);
    EXPECT_EQ(handle->secretKey[1], 0xcd);
    KVXShutdown(&handle);
}

TEST(Init, DoesNotValidateTheDigitsOfTheAccessKey) {
    std::string code = accessCode(1, 2);
    code.replace(16, 6, "zz5z-1"); // no digit; a digit and then none; a sign and a digit
    KVXHandle* handle = nullptr;
    ASSERT_EQ(initWith(&handle, code.c_str()), 0);
    EXPECT_EQ(handle->secretKey[0], 0x00);
    EXPECT_EQ(handle->secretKey[1], 0x05);
    EXPECT_EQ(handle->secretKey[2], 0xff);
    KVXShutdown(&handle);
}

TEST(Init, ReadsAShortAccessKeyToItsEndAndNotBeyond) {
    std::string code = accessCode(1, 2, {0x11, 0x22, 0x33});
    for (const size_t kept : {16U, 17U, 18U, 21U, 79U}) {
        SCOPED_TRACE(kept);
        const std::string text = code.substr(0, kept);
        const kvxtest::GuardedBytes guarded(std::span(reinterpret_cast<const uint8_t*>(text.c_str()), text.size() + 1));
        KVXHandle* handle = nullptr;
        ASSERT_EQ(initWith(&handle, reinterpret_cast<const char*>(guarded.data())), 0);
        EXPECT_EQ(handle->secretKey[0], kept == 16 ? 0x00 : kept == 17 ? 0x01 : 0x11);
        EXPECT_EQ(handle->secretKey[1], kept < 20 ? 0x00 : 0x22);
        KVXShutdown(&handle);
    }
}

TEST(Init, RefusesUnknownMethodsAndLeavesNothingAllocated) {
    struct Case {
        int encryption;
        int checksum;
    };
    for (const Case& test : {Case{4, 3}, Case{3, 4}, Case{0, 2}, Case{2, 0}, Case{-1, 3}, Case{3, -1}, Case{4, 4}}) {
        SCOPED_TRACE(testing::Message() << test.encryption << "/" << test.checksum);
        kvxtest::CountingHooks hooks;
        KVXHandle* handle = nullptr;
        EXPECT_EQ(initWith(&handle, accessCode(test.encryption, test.checksum).c_str()), -1);
        EXPECT_EQ(handle, nullptr);
        EXPECT_GT(hooks.allocations(), 0);
        EXPECT_EQ(hooks.live(), 0U);
        EXPECT_EQ(hooks.strayFrees(), 0);
    }
}

// Watches the handle's block through the memory hooks, and keeps the secret key that is in it when it is released.
class HandleWatch {
  public:
    HandleWatch() {
        handle_ = nullptr;
        secretAtRelease = {};
        KVXMalloc = [](size_t size) {
            void* block = std::malloc(size);
            if (size == sizeof(KVXHandle)) handle_ = static_cast<KVXHandle*>(block);
            return block;
        };
        KVXFree = [](void* block) {
            if (block != nullptr && block == handle_) {
                secretAtRelease.emplace();
                std::copy_n(handle_->secretKey, secretAtRelease->size(), secretAtRelease->begin());
            }
            std::free(block);
        };
    }
    ~HandleWatch() {
        KVXMalloc = &std::malloc;
        KVXFree = &std::free;
    }
    HandleWatch(const HandleWatch&) = delete;
    HandleWatch& operator=(const HandleWatch&) = delete;

    static inline std::optional<kvxtest::SecretKey> secretAtRelease;

  private:
    static inline KVXHandle* handle_ = nullptr;
};

TEST(MemoryHooks, AreNeverAskedToFreeNull) {
    kvxtest::CountingHooks hooks;
    for (const int encryption : {1, 2, 3, 4}) {
        for (const int checksum : {1, 2, 3, 4}) {
            KVXHandle* handle = nullptr;
            const std::string code = accessCode(encryption, checksum);
            for (long failing = 0; failing < 8; ++failing) { // every allocation of it, and then some that never come
                hooks.failAfter(failing);
                const int32_t status = initWith(&handle, code.c_str());
                hooks.failAfter(kvxtest::CountingHooks::kNever);
                if (status != 0) continue;
                for (int session = 0; session < 2; ++session) {
                    EXPECT_EQ(KVXNewFingerprint3(handle, 1, 44100, 7000), 0);
                }
                KVXInitChecksum(handle);
                KVXUnInitChecksum(handle);
                KVXUnInitChecksum(handle);
                KVXUnInitEncryption(handle);
                KVXUnInitEncryption(handle);
                hooks.forget(handle->hostName);
                KVXShutdown(&handle);
            }
        }
    }
    EXPECT_EQ(hooks.nullFrees(), 0);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(Init, WipesTheSecretKeyOfAHandleThatItGivesUp) {
    const HandleWatch watch;
    KVXHandle* handle = nullptr;
    ASSERT_EQ(initWith(&handle, accessCode(4, 3, {0x11, 0x22, 0x33}).c_str()), -1);
    EXPECT_EQ(HandleWatch::secretAtRelease, kvxtest::SecretKey{});
}

TEST(Shutdown, WipesTheSecretKey) {
    const HandleWatch watch;
    KVXHandle* handle = nullptr;
    ASSERT_EQ(initWith(&handle, accessCode(3, 3, {0x11, 0x22, 0x33}).c_str()), 0);
    KVXShutdown(&handle);
    EXPECT_EQ(HandleWatch::secretAtRelease, kvxtest::SecretKey{});
}

TEST(Shutdown, RefusesWhatIsNotThere) {
    EXPECT_EQ(KVXShutdown(nullptr), -1);
    KVXHandle* handle = nullptr;
    EXPECT_EQ(KVXShutdown(&handle), -1);
}

TEST(Shutdown, NullsThePointerOnceAndRefusesASecondTime) {
    KVXHandle* handle = kvxtest::makeHandle().release();
    EXPECT_EQ(KVXShutdown(&handle), 0);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(KVXShutdown(&handle), -1);
}

TEST(Shutdown, GivesTheHostCopyBackToTheSystemAndTheRestToTheHook) {
    kvxtest::CountingHooks hooks;
    KVXHandle* handle = kvxtest::makeHandle().release();
    ASSERT_EQ(KVXNewFingerprint3(handle, 1, 22050, 7000), 0);
    EXPECT_EQ(hooks.live(), 4U + 9U); // handle, host, cipher, digest; three maps with two texts each
    char* host = handle->hostName;
    EXPECT_EQ(KVXShutdown(&handle), 0);
    EXPECT_EQ(hooks.live(), 1U); // the host copy never came back through the hook
    hooks.forget(host);
    EXPECT_EQ(hooks.live(), 0U);
}
