// SPDX-License-Identifier: Apache-2.0
// Grams: a few letters of a code string after its repeats are removed. How often a letter repeats depends on the
// logarithm of a run's length and breaks under noise; which letters follow each other does not.
#pragma once

#include "model/alphabet.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace tarn::server {

// The number of different grams of that length, 13 letters at most.
constexpr uint64_t gramCount(unsigned letters) {
    uint64_t count = 1;
    for (; letters > 0; --letters) count *= kLetters;
    return count;
}

// Visits the grams of that many letters (1 to 13) in the order of the string: the value, below gramCount(), and the
// index of the first letter in the string with repeats. A letter outside 'a' to 'x' ends a gram and begins none.
template <class Visit>
void forEachGram(std::string_view string, unsigned letters, Visit visit) {
    constexpr size_t kPlaces = 16; // a ring of where the last letters began
    const uint64_t count = gramCount(letters);
    uint32_t starts[kPlaces] = {};
    size_t held = 0; // letters since the last break, repeats removed
    uint64_t value = 0;
    char previous = 0;
    for (size_t i = 0; i < string.size(); ++i) {
        const char c = string[i];
        if (c == previous) continue;
        previous = c;
        const auto letter = static_cast<uint32_t>(static_cast<unsigned char>(c)) - 'a';
        if (letter >= kLetters) {
            held = 0;
            value = 0;
            continue;
        }
        value = (value * kLetters + letter) % count;
        starts[held % kPlaces] = static_cast<uint32_t>(i);
        ++held;
        if (held >= letters) visit(value, starts[(held - letters) % kPlaces]);
    }
}

// The length of the grams by which a query is placed in a recording.
constexpr unsigned kGramLetters = 5;
constexpr auto kGramCount = static_cast<uint32_t>(gramCount(kGramLetters));

struct Gram {
    uint32_t value; // below kGramCount
    uint32_t index; // of its first letter in the string with repeats
};

// The grams of kGramLetters; several times as fast as the general form.
template <class Visit>
void forEachGram(std::string_view letters, Visit visit) {
    static_assert(kGramLetters == 5);
    constexpr size_t kBlock = 512;
    // Whether a letter repeats the one before is unpredictable, so a block's repeats are removed without a branch.
    std::array<uint8_t, kBlock> numbers;
    std::array<uint32_t, kGramLetters - 1 + kBlock> starts{}; // preceded by the last ones of the block before
    uint8_t previous = UINT8_MAX;
    size_t held = 0;                              // letters since the last break
    uint32_t last = 0;                            // letter
    uint32_t pairs[kGramLetters - 2] = {0, 0, 0}; // that end with the last letter, the one before it, and so on
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

// The number of different letters in the text.
size_t distinctLetters(std::string_view letters);

} // namespace tarn::server
