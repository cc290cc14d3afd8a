// Every allocation of the handle's calls fails in turn: a status, and nothing left behind.
#include "support/counting_hooks.h"
#include "support/handles.h"

#include <gtest/gtest.h>

using kvxtest::CountingHooks;

TEST(AllocationFailure, InInitGivesMinusOneAndLeavesNothing) {
    CountingHooks hooks;
    long failures = 0;
    for (long failing = 0;; ++failing) {
        SCOPED_TRACE(failing);
        hooks.failAfter(failing);
        KVXHandle* handle = nullptr;
        const int32_t status =
            KVXInit(&handle, kvxtest::accessCode(3, 3).c_str(), nullptr, 0, nullptr, 0, 'B', 'B', 'S', "host", 4);
        if (status == 0) {
            hooks.forget(handle->hostName); // it goes back to the system, past the hook
            KVXShutdown(&handle);
            break;
        }
        ++failures;
        EXPECT_EQ(status, -1);
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(hooks.live(), 0U);
    }
    EXPECT_EQ(failures, 4); // handle, host copy, cipher, digest
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(hooks.strayFrees(), 0);
}

TEST(AllocationFailure, InSmallRequestsGivesMinusOneAndLeavesNothing) {
    const auto handle = kvxtest::makeHandle();
    char id[] = "id";
    const KVXValueLength list{id, 2};
    CountingHooks hooks;
    uint8_t* buffer = nullptr;
    uint32_t length = 77;
    hooks.failAfter(0);
    EXPECT_EQ(KVXGenerateIDRequest(handle.get(), nullptr, 0, &buffer, &length), -1);
    hooks.failAfter(0);
    EXPECT_EQ(KVXGenerateMetaIDRequest(handle.get(), 'A', &list, 1, 1, 0, &buffer, &length), -1);
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(length, 77U);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(AllocationFailure, InSetIdGivesMinusOneAndKeepsTheState) {
    const auto handle = kvxtest::makeHandle({.deviceId = ""});
    const std::string body = std::string("G\x19\0\0\0\x01\x09\0\0\0\x19\0\0\0", 14) + "0123456789abcdef";
    int32_t count = 0;
    ASSERT_EQ(KVXParseServerResponse(handle.get(), reinterpret_cast<const uint8_t*>(body.data()),
                                     static_cast<int32_t>(body.size()), &count),
              0);
    CountingHooks hooks;
    for (long failing = 0; failing < 2; ++failing) { // the object, its bytes
        hooks.failAfter(failing);
        EXPECT_EQ(KVXSetID(handle.get()), -1);
        EXPECT_EQ(handle->state, 1);
        EXPECT_EQ(hooks.live(), 0U);
    }
    hooks.failAfter(CountingHooks::kNever);
    EXPECT_EQ(KVXSetID(handle.get()), 0);
    EXPECT_EQ(handle->state, 2);
}
