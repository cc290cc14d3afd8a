// SPDX-License-Identifier: Apache-2.0
#include "coding/grams.h"

#include <bitset>

namespace tarn::server {

namespace {

constexpr uint32_t kLetters = 24;

bool isLetter(char c) { return c >= 'a' && c < static_cast<char>('a' + kLetters); }

} // namespace

std::vector<Gram> gramsOf(std::string_view letters) {
    std::vector<Gram> grams;
    grams.reserve(letters.size());
    uint32_t starts[kGramLetters] = {}; // where the last letters began, as a ring
    size_t held = 0;                    // letters since the last break, repeats removed
    uint32_t value = 0;
    char previous = 0;
    for (size_t i = 0; i < letters.size(); ++i) {
        const char c = letters[i];
        if (c == previous) continue;
        previous = c;
        if (!isLetter(c)) {
            held = 0;
            value = 0;
            continue;
        }
        value = (value * kLetters + static_cast<uint32_t>(c - 'a')) % kGramCount;
        starts[held % kGramLetters] = static_cast<uint32_t>(i);
        ++held;
        if (held >= kGramLetters) grams.push_back({value, starts[held % kGramLetters]});
    }
    return grams;
}

size_t distinctLetters(std::string_view letters) {
    std::bitset<kLetters> seen;
    for (const char c : letters) {
        if (isLetter(c)) seen.set(static_cast<size_t>(c - 'a'));
    }
    return seen.count();
}

} // namespace tarn::server
