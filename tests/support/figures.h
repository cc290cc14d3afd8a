// SPDX-License-Identifier: Apache-2.0
// What a test has counted: into its report, and onto standard output.
#pragma once

#include <cstddef>
#include <gtest/gtest.h>
#include <iostream>
#include <string>

namespace kvxtest {

inline void recordFigure(const std::string& name, size_t count) {
    ::testing::Test::RecordProperty(name, std::to_string(count));
    std::cout << name << ": " << count << "\n";
}

} // namespace kvxtest
