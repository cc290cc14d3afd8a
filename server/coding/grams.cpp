// SPDX-License-Identifier: Apache-2.0
#include "coding/grams.h"

#include <bitset>

namespace tarn::server {

std::vector<Gram> gramsOf(std::string_view letters) {
    std::vector<Gram> grams;
    grams.reserve(letters.size());
    forEachGram(letters, [&](const Gram& gram) { grams.push_back(gram); });
    return grams;
}

size_t distinctLetters(std::string_view letters) {
    std::bitset<kLetters> seen;
    for (const char c : letters) {
        const auto letter = static_cast<uint32_t>(static_cast<unsigned char>(c)) - 'a';
        if (letter < kLetters) seen.set(letter);
    }
    return seen.count();
}

} // namespace tarn::server
