// SPDX-License-Identifier: Apache-2.0
// Requests whose parts add up to more than a packet can say: refused before anything is allocated or written.
#include "support/counting_hooks.h"
#include "support/handles.h"
#include "support/reserved_memory.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <vector>

namespace {

constexpr uint32_t kTwoGigabytes = 0x80000000U;

struct Refusal {
    int32_t status = 0;
    bool isUntouched = false; // the outputs
    long allocations = 0;
};

using Build = std::function<int32_t(uint8_t** buffer, uint32_t* length)>;

Refusal refusalOf(const Build& build) {
    const kvxtest::CountingHooks hooks;
    uint8_t somewhere = 0;
    uint8_t* buffer = &somewhere;
    uint32_t length = 77;
    const int32_t status = build(&buffer, &length);
    return {status, buffer == &somewhere && length == 77, hooks.allocations()};
}

void expectRefused(const Build& build) {
    const Refusal refusal = refusalOf(build);
    EXPECT_EQ(refusal.status, -1);
    EXPECT_TRUE(refusal.isUntouched);
    EXPECT_EQ(refusal.allocations, 0);
}

kvxtest::Handle finishedSession() {
    auto handle = kvxtest::makeHandle();
    if (KVXNewFingerprint3(handle.get(), 1, 22050, 61000) != 0) throw std::runtime_error("no session");
    std::memset(handle->mapFull, 1, sizeof handle->mapFull);
    return handle;
}

} // namespace

TEST(LargeRequest, OfPairsThatShareATextIsRefused) {
    const kvxtest::ReservedMemory text(kTwoGigabytes);
    for (const uint32_t length : {kTwoGigabytes, kTwoGigabytes - 15, 0x7fffffffU}) {
        SCOPED_TRACE(length);
        KVXValueLength shared{text.text(), length};
        const NumValuePair pairs[] = {{1, &shared}, {2, &shared}};
        const auto handle = finishedSession();
        expectRefused([&](uint8_t** buffer, uint32_t* bytes) {
            return KVXGenerateFingerprintRequest3(handle.get(), pairs, 2, nullptr, 10, 0x656e, buffer, bytes);
        });
    }
}

TEST(LargeRequest, OfAnyNumberOfPairsIsRefused) {
    const kvxtest::ReservedMemory text(kTwoGigabytes);
    KVXValueLength shared{text.text(), kTwoGigabytes / 1024};
    const std::vector<NumValuePair> pairs(32767, NumValuePair{1, &shared});
    const auto handle = finishedSession();
    for (const int16_t count : {int16_t{1024}, int16_t{2048}, int16_t{32767}}) {
        SCOPED_TRACE(count);
        expectRefused([&](uint8_t** buffer, uint32_t* bytes) {
            return KVXGenerateFingerprintRequest3(handle.get(), pairs.data(), count, nullptr, 10, 0x656e, buffer,
                                                  bytes);
        });
    }
}

TEST(LargeRequest, OfIdsThatShareATextIsRefused) {
    const auto handle = kvxtest::makeHandle();
    const std::vector<KVXValueLength> ids(6, KVXValueLength{nullptr, kTwoGigabytes - 1});
    for (uint32_t count = 1; count <= ids.size(); ++count) {
        SCOPED_TRACE(count);
        expectRefused([&](uint8_t** buffer, uint32_t* bytes) {
            return KVXGenerateMetaIDRequest(handle.get(), 'A', ids.data(), count, 1, 0x656e, buffer, bytes);
        });
    }
}

TEST(LargeRequest, OfAnAppendixThatLeavesNoRoomIsRefused) {
    const auto handle = kvxtest::makeHandle();
    for (const uint32_t length : {0xffffffffU, kTwoGigabytes, kTwoGigabytes - 50}) {
        SCOPED_TRACE(length);
        handle->appendixLength = length;
        expectRefused([&](uint8_t** buffer, uint32_t* bytes) {
            return KVXGenerateIDRequest(handle.get(), nullptr, 0, buffer, bytes);
        });
    }
}

TEST(HttpText, RefusesAPacketWhoseLengthTheTextCannotSay) {
    const auto handle = kvxtest::makeHandle({.requestFraming = 'H'});
    uint32_t position = 0;
    EXPECT_EQ(KVXMapPacketHeader(handle.get(), nullptr, &position, 0xffffffffU - 183), 0);
    EXPECT_EQ(KVXMapPacketHeader(handle.get(), nullptr, &position, 0xffffffffU - 182), -1);
}

TEST(HttpData, IsNeverFoundWhereTheNumbersEnd) {
    const uint8_t data[4] = {};
    EXPECT_GE(KVXFindHTTPData(data, 0xfffffffeU, sizeof data), sizeof data);
    EXPECT_GE(KVXFindHTTPData(data, 0xffffffffU, sizeof data), sizeof data);
}
