// SPDX-License-Identifier: Apache-2.0
// Grams: five letters of a code string after its repeats are removed. How often a letter repeats depends on the
// logarithm of a run's length and breaks under noise; which letters follow each other does not.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace tarn::server {

constexpr size_t kGramLetters = 5;
constexpr uint32_t kGramCount = 24 * 24 * 24 * 24 * 24; // values of one codebook

struct Gram {
    uint32_t value; // below kGramCount
    uint32_t index; // of its first letter in the string with repeats
};

// In the order of the string. A letter outside 'a' to 'x' ends a gram and begins none.
std::vector<Gram> gramsOf(std::string_view letters);

// How many different letters there are.
size_t distinctLetters(std::string_view letters);

} // namespace tarn::server
