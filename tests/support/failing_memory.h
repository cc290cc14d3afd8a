// SPDX-License-Identifier: Apache-2.0
// An operation whose every allocation fails in turn.
#pragma once

#include "support/counting_hooks.h"

#include <gtest/gtest.h>
#include <string>

namespace kvxtest {

// Runs operation, which gives a status, with the first of its allocations failing, then with the second, until it needs
// no more; that last run must succeed. Hands the status of every other to afterFailure, while nothing fails. Returns
// the number of allocations that were made to fail.
template <class Operation, class AfterFailure>
long failEachAllocation(CountingHooks& hooks, Operation operation, AfterFailure afterFailure, int32_t success = 0) {
    for (long failing = 0;; ++failing) {
        SCOPED_TRACE("allocation " + std::to_string(failing));
        hooks.failAfter(failing);
        const int32_t status = operation();
        const bool hasFailed = hooks.hasFailed();
        hooks.failAfter(CountingHooks::kNever);
        if (!hasFailed) {
            EXPECT_EQ(status, success);
            return failing;
        }
        afterFailure(status);
        if (::testing::Test::HasFailure()) return failing;
    }
}

} // namespace kvxtest
