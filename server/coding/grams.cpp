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
    forEachGram(letters, [&](const Gram& gram) { grams.push_back(gram); });
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
