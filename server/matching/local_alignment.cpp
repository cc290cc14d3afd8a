// SPDX-License-Identifier: Apache-2.0
#include "matching/local_alignment.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace tarn::server {

namespace {

// Hundredths of a bit.
constexpr int16_t kMostForRepeat = 70;
constexpr int16_t kLeastForPair = 20; // of a pair that speaks for a copy, however expected it is
// Damage comes in stretches, of which nothing is left: so much of a copy may have become letters of chance.
constexpr double kLost = 0.5;
constexpr int16_t kMostForLetter = 1000; // of any score
constexpr int16_t kRepeatAlone = -50;
constexpr int16_t kNever = -10000; // units, behind the query's last letter
constexpr size_t kStep = 16;       // letters of the query that are done at once, at most

// How many letters of a usual string are mixed into a query's own shares of letters, and of letters behind a letter.
constexpr double kUsualLetters = 5.0;
constexpr double kUsualFollowers = 3.0;

bool isLetter(char c) { return c >= 'a' && c < static_cast<char>('a' + kLetters); }

// Letters as numbers, and those alone that do not repeat the one before.
struct Numbers {
    std::vector<uint8_t> all;
    std::vector<bool> repeats;
    std::vector<uint8_t> runs;

    explicit Numbers(std::string_view letters) {
        for (const char c : letters) {
            if (!isLetter(c)) continue;
            const auto number = static_cast<uint8_t>(c - 'a');
            repeats.push_back(!all.empty() && all.back() == number);
            if (!repeats.back()) runs.push_back(number);
            all.push_back(number);
        }
    }
};

// How much less than its usual rarity a run's letter surprises in this query, in hundredths of a bit.
std::vector<int16_t> foretold(const Numbers& query, const LetterScores& scores) {
    std::array<double, kLetters> usual{};
    std::array<double, kLetters> share{};
    for (const uint8_t letter : query.runs) share[letter] += 1.0;
    for (size_t a = 0; a < kLetters; ++a) {
        usual[a] = std::exp2(-scores.rarity[a] / 100.0);
        share[a] = (share[a] + kUsualLetters * usual[a]) / (static_cast<double>(query.runs.size()) + kUsualLetters);
    }
    std::array<std::array<uint32_t, kLetters>, kLetters> followers{};
    std::array<uint32_t, kLetters> followed{};
    for (size_t i = 1; i < query.runs.size(); ++i) {
        ++followers[query.runs[i - 1]][query.runs[i]];
        ++followed[query.runs[i - 1]];
    }
    std::vector<int16_t> result;
    for (size_t i = 0; i < query.runs.size(); ++i) {
        const uint8_t letter = query.runs[i];
        double chance = share[letter];
        if (i > 0) { // without this occurrence itself
            const uint8_t before = query.runs[i - 1];
            chance = std::max(chance, (followers[before][letter] - 1.0 + kUsualFollowers * share[letter]) /
                                          (followed[before] - 1.0 + kUsualFollowers));
        }
        const double surprise = -100.0 * std::log2(chance);
        result.push_back(static_cast<int16_t>(std::lround(std::max(0.0, scores.rarity[letter] - surprise))));
    }
    return result;
}

// The score of a pair in a copy of which so much is lost, from that in what is left of it.
class Tempered {
  public:
    Tempered() {
        double hundredths = -kMostForLetter;
        for (int16_t& score : scores_) {
            score = static_cast<int16_t>(
                std::lround(100.0 * std::log2((1.0 - kLost) * std::exp2(hundredths / 100.0) + kLost)));
            hundredths += 1.0;
        }
    }
    int16_t operator()(int hundredths) const {
        return *(scores_.begin() + kMostForLetter + std::clamp<int>(hundredths, -kMostForLetter, kMostForLetter));
    }

  private:
    std::array<int16_t, 2 * kMostForLetter + 1> scores_{};
};

int16_t units(int16_t hundredths) {
    return static_cast<int16_t>(std::lround(hundredths * ScoredString::kUnitsPerBit / 100.0));
}

// Everything below is inlined into the function that is compiled for the processor at hand: no vector is ever passed.
#pragma GCC diagnostic ignored "-Wpsabi"

// Sixteen-bit numbers side by side.
template <size_t kCount>
struct Lanes {
    static constexpr size_t kSize = kCount;
    // NOLINTNEXTLINE(modernize-use-using): the attribute wants it
    typedef int16_t Vector __attribute__((vector_size(kCount * sizeof(int16_t))));

    [[gnu::always_inline]] static Vector load(const int16_t* from) {
        Vector v;
        std::memcpy(&v, from, sizeof v);
        return v;
    }
    [[gnu::always_inline]] static void store(int16_t* to, const Vector& v) { std::memcpy(to, &v, sizeof v); }
    [[gnu::always_inline]] static Vector larger(const Vector& a, const Vector& b) { return a > b ? a : b; }
};
using Lanes8 = Lanes<8>;
using Lanes16 = Lanes<16>;

// v moved up by so many lanes, the last of before coming in below.
template <size_t kBy>
[[gnu::always_inline]] inline Lanes8::Vector movedUp(const Lanes8::Vector& before, const Lanes8::Vector& v) {
    constexpr int kFrom = 8 - static_cast<int>(kBy);
    return __builtin_shufflevector(before, v, kFrom, kFrom + 1, kFrom + 2, kFrom + 3, kFrom + 4, kFrom + 5, kFrom + 6,
                                   kFrom + 7);
}
template <size_t kBy>
[[gnu::always_inline]] inline Lanes16::Vector movedUp(const Lanes16::Vector& before, const Lanes16::Vector& v) {
    constexpr int kFrom = 16 - static_cast<int>(kBy);
    return __builtin_shufflevector(before, v, kFrom, kFrom + 1, kFrom + 2, kFrom + 3, kFrom + 4, kFrom + 5, kFrom + 6,
                                   kFrom + 7, kFrom + 8, kFrom + 9, kFrom + 10, kFrom + 11, kFrom + 12, kFrom + 13,
                                   kFrom + 14, kFrom + 15);
}

// What a ScoredString holds, each row of stride numbers.
struct Table {
    const int16_t* score;
    const int16_t* columnAlone;
    const int16_t* alone; // of one, two and four letters
    size_t stride;
};

// The usual recurrence of local alignment, a column of it at a time, so that all letters of the query are done side by
// side. The one step along the column, letters of the query that stand against nothing, is done by doubling.
template <class L>
[[gnu::always_inline]] inline int32_t bestOf(const Table& table, const ScoreColumns& columns) {
    using Vector = typename L::Vector;
    const size_t n = table.stride;
    // Best sums that end at a letter of the query: after the column before, and after this one. A zero lies in front.
    std::vector<int16_t> sums(2 * (n + L::kSize), 0);
    int16_t* before = sums.data() + L::kSize;
    int16_t* after = before + n + L::kSize;
    const int16_t* const one = table.alone;
    const int16_t* const two = one + n;
    const int16_t* const four = two + n;
    Vector best{};
    for (const uint8_t column : columns) {
        const int16_t* const score = table.score + column * n;
        const Vector columnAlone = Vector{} + table.columnAlone[column];
        Vector firstBelow{};
        Vector secondBelow{};
        Vector thirdBelow{};
        for (size_t i = 0; i < n; i += L::kSize) {
            const Vector paired = L::load(before + i - 1) + L::load(score + i);
            const Vector first = L::larger(L::larger(paired, L::load(before + i) + columnAlone), Vector{});
            const Vector second = L::larger(first, movedUp<1>(firstBelow, first) + L::load(one + i));
            const Vector third = L::larger(second, movedUp<2>(secondBelow, second) + L::load(two + i));
            const Vector sum = L::larger(third, movedUp<4>(thirdBelow, third) + L::load(four + i));
            L::store(after + i, sum);
            best = L::larger(best, sum);
            firstBelow = first;
            secondBelow = second;
            thirdBelow = third;
        }
        std::swap(before, after);
    }
    int32_t most = 0;
    for (size_t lane = 0; lane < L::kSize; ++lane) most = std::max<int32_t>(most, best[lane]);
    return most;
}

#if defined(__x86_64__)
#define TARN_HAS_WIDE_LANES
__attribute__((target("avx2"))) int32_t bestWide(const Table& table, const ScoreColumns& columns) {
    return bestOf<Lanes16>(table, columns);
}
#endif

} // namespace

void toColumns(std::string_view letters, ScoreColumns& columns) {
    columns.clear();
    char before = 0;
    for (const char c : letters) {
        if (!isLetter(c)) continue;
        columns.push_back(static_cast<uint8_t>(c - 'a' + (c == before ? static_cast<int>(kLetters) : 0)));
        before = c;
    }
}

ScoredString::ScoredString(size_t codebook, std::string_view letters) {
    const LetterScores& scores = kLetterScores[codebook];
    const Numbers query(letters);
    const std::vector<int16_t> less = foretold(query, scores);
    const size_t length = std::min(query.all.size(), kMostScored);
    stride_ = (length + kStep - 1) / kStep * kStep;
    score_.resize(kColumns * stride_, kNever);
    alone_.resize(3 * stride_, kNever);
    int16_t* const one = alone_.data();
    int16_t* const two = one + stride_;
    int16_t* const four = two + stride_;
    static const Tempered tempered;
    size_t run = 0;
    for (size_t i = 0; i < length; ++i) {
        if (i > 0 && !query.repeats[i]) ++run;
        for (size_t b = 0; b < kLetters; ++b) {
            int16_t score = scores.pair[query.all[i]][b];
            score = score > 0 ? std::max(kLeastForPair, tempered(score - less[run])) : tempered(score);
            const int16_t repeated = std::min(score, kMostForRepeat);
            score_[b * stride_ + i] = units(query.repeats[i] ? repeated : score);
            score_[(kLetters + b) * stride_ + i] = units(repeated);
        }
        one[i] = units(query.repeats[i] ? kRepeatAlone : scores.queryAlone[query.all[i]]);
        two[i] = static_cast<int16_t>(one[i] + (i >= 1 ? one[i - 1] : 0));
        four[i] = static_cast<int16_t>(two[i] + (i >= 2 ? two[i - 2] : 0));
    }
    for (size_t b = 0; b < kLetters; ++b) {
        columnAlone_[b] = units(scores.recordingAlone[b]);
        columnAlone_[kLetters + b] = units(kRepeatAlone);
    }
}

int32_t ScoredString::against(const ScoreColumns& columns) const {
    const Table table{score_.data(), columnAlone_.data(), alone_.data(), stride_};
#ifdef TARN_HAS_WIDE_LANES
    static const bool wide = __builtin_cpu_supports("avx2") != 0;
    if (wide) return bestWide(table, columns);
#endif
    return bestOf<Lanes8>(table, columns);
}

} // namespace tarn::server
