// SPDX-License-Identifier: Apache-2.0
// Grams: five letters of a code string after its repeats are removed. How often a letter repeats depends on the
// logarithm of a run's length and breaks under noise; which letters follow each other does not.
#pragma once

#include <algorithm>
#include <array>
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

// Calls visit with each gram in the order of the string. A letter outside 'a' to 'x' ends a gram and begins none.
template <class Visit>
void forEachGram(std::string_view letters, Visit visit) {
    static_assert(kGramLetters == 5);
    constexpr uint32_t kLetters = 24;
    constexpr size_t kBlock = 512;
    // No processor foretells which letters repeat the one before. So a block's repeats are removed without a branch.
    std::array<uint8_t, kBlock> numbers;
    std::array<uint32_t, kGramLetters - 1 + kBlock> starts{}; // those of the block before come first
    uint8_t previous = UINT8_MAX;
    size_t held = 0;                              // letters since the last break
    uint32_t last = 0;                            // letter
    uint32_t pairs[kGramLetters - 2] = {0, 0, 0}; // of letters that end with the last one, the one before it, ...
    for (size_t begin = 0; begin < letters.size(); begin += kBlock) {
        const std::string_view block = letters.substr(begin, kBlock);
        size_t count = 0;
        for (size_t i = 0; i < block.size(); ++i) {
            const auto number = static_cast<uint8_t>(block[i] - 'a');
            numbers[count] = number;
            starts[kGramLetters - 1 + count] = static_cast<uint32_t>(begin + i);
            count += number != previous ? 1 : 0;
            previous = number;
        }
        for (size_t i = 0; i < count; ++i) {
            const uint32_t letter = numbers[i];
            held = letter < kLetters ? held + 1 : 0;
            const uint32_t value = (pairs[2] * kLetters * kLetters + pairs[0]) * kLetters + letter;
            if (held >= kGramLetters) visit(Gram{value, starts[i]});
            pairs[2] = pairs[1];
            pairs[1] = pairs[0];
            pairs[0] = last * kLetters + letter;
            last = letter;
        }
        std::copy_n(starts.begin() + static_cast<std::ptrdiff_t>(count), kGramLetters - 1, starts.begin());
    }
}

std::vector<Gram> gramsOf(std::string_view letters);

// How many different letters there are.
size_t distinctLetters(std::string_view letters);

} // namespace tarn::server
