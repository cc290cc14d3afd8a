// SPDX-License-Identifier: Apache-2.0
#include "coding/code_packing.h"

#include "base/bytes.h"
#include "support/hex.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

using namespace tarn::server;

namespace {

std::string bytes(std::initializer_list<int> values) {
    std::string text;
    for (const int value : values) text.push_back(static_cast<char>(value));
    return text;
}

// Letters go round the alphabet; every frame is 7 more than the one before.
RecordingCodes manyLetters(size_t count) {
    RecordingCodes codes;
    for (auto& coding : codes) {
        for (CodeString& string : coding) {
            for (size_t i = 0; i < count; ++i) {
                string.letters.push_back(static_cast<char>('a' + i % 24));
                string.frames.push_back(static_cast<uint32_t>(150 + 7 * i));
            }
            ++count;
        }
    }
    return codes;
}

} // namespace

TEST(PackedCodes, HaveTheLayoutThatTheHeaderTells) {
    RecordingCodes codes;
    codes[0][0] = {"abbbx", {150, 150, 150, 150, 400}};
    codes[0][1] = {std::string(23, 'c'), std::vector<uint32_t>(23, 7)};
    std::string out;
    appendCodes(out, codes);
    // 5 letters: a, b and two repeats, x; frame 150 of the first letter, 250 more for the last. 23 letters: c and nine
    // repeats, the same again, c and two; frame 7 of the first, no more for the 17th and the last. Four empty ones.
    EXPECT_EQ(out, bytes({5, 0, 1 + 2 * 24, 23, 0x96, 1, 0xfa, 1, 23, 2 + 9 * 24, 2 + 9 * 24, 2 + 2 * 24, 7, 0, 0, 0, 0,
                          0, 0}));
}

TEST(PackedCodes, ComeBackWithTheirLettersAndTimes) {
    for (const size_t count : {size_t{0}, size_t{1}, size_t{15}, size_t{16}, size_t{17}, size_t{33}, size_t{2000}}) {
        SCOPED_TRACE(count);
        const RecordingCodes codes = manyLetters(count);
        std::string out;
        appendCodes(out, codes);
        out += "rest";
        std::string_view in = out;
        const auto back = takeCodes(in);
        ASSERT_TRUE(back.has_value());
        EXPECT_EQ(in, "rest");
        for (size_t p = 0; p < codes.size(); ++p) {
            for (size_t c = 0; c < kCodebooks; ++c) {
                EXPECT_EQ((*back)[p][c].letters, codes[p][c].letters);
                EXPECT_EQ((*back)[p][c].frames, codes[p][c].frames); // evenly spread: interpolation is exact
            }
        }
    }
}

TEST(PackedCodes, KeepATimeWithinItsSixteenLetters) {
    RecordingCodes codes = manyLetters(100);
    std::vector<uint32_t>& frames = codes[0][0].frames;
    for (size_t i = 0; i < frames.size(); ++i) frames[i] = static_cast<uint32_t>(i * i);
    std::string out;
    appendCodes(out, codes);
    std::string_view in = out;
    const auto back = takeCodes(in);
    ASSERT_TRUE(back.has_value());
    for (size_t i = 0; i < frames.size(); ++i) {
        const uint32_t got = (*back)[0][0].frames[i];
        if (i % 16 == 0 || i + 1 == frames.size()) {
            EXPECT_EQ(got, frames[i]);
        }
        EXPECT_GE(got, frames[i / 16 * 16]);
        EXPECT_LE(got, frames[std::min(i / 16 * 16 + 16, frames.size() - 1)]);
    }
}

TEST(PackedCodes, ComeBackWithFramesEvenlySpreadBetweenThoseThatAreKept) {
    std::mt19937 dice(2);
    // From a frame that stays the same to differences that no 32 bits hold when they are multiplied by 16.
    for (const uint32_t mostBetween : {1U, 9U, 1000U, 1U << 20, (1U << 28) / 16 + 5, 1U << 26}) {
        for (const size_t count : {size_t{2}, size_t{16}, size_t{17}, size_t{37}, size_t{49}}) {
            SCOPED_TRACE(std::to_string(mostBetween) + " " + std::to_string(count));
            RecordingCodes codes;
            for (auto& coding : codes) {
                for (CodeString& string : coding) {
                    auto frame = static_cast<uint32_t>(dice() % 100);
                    for (size_t i = 0; i < count; ++i) {
                        string.letters.push_back(static_cast<char>('a' + dice() % 24));
                        string.frames.push_back(frame);
                        frame += static_cast<uint32_t>(dice() % mostBetween);
                    }
                }
            }
            std::string out;
            appendCodes(out, codes);
            std::string_view in = out;
            const auto back = takeCodes(in);
            ASSERT_TRUE(back.has_value());
            for (size_t v = 0; v < codes.size(); ++v) {
                for (size_t c = 0; c < kCodebooks; ++c) {
                    EXPECT_EQ((*back)[v][c].letters, codes[v][c].letters);
                    for (size_t i = 0; i < count; ++i) {
                        const size_t before = i == count - 1 ? i : i / 16 * 16;
                        const size_t after = std::min(before + 16, count - 1);
                        const std::vector<uint32_t>& kept = codes[v][c].frames;
                        uint64_t expected = kept[before];
                        if (after != before) {
                            expected += uint64_t{kept[after] - kept[before]} * (i - before) / (after - before);
                        }
                        ASSERT_EQ((*back)[v][c].frames[i], expected);
                    }
                }
            }
        }
    }
}

TEST(PackedCodes, ComeBackWithRunsOfAnyLength) {
    RecordingCodes codes;
    std::string& letters = codes[1][1].letters;
    for (size_t length = 1; length <= 45; ++length) letters.append(length, static_cast<char>('a' + length * 7 % 24));
    codes[1][1].frames.assign(letters.size(), 3);
    std::string out;
    appendCodes(out, codes);
    std::string_view in = out;
    const auto back = takeCodes(in);
    ASSERT_TRUE(back.has_value());
    EXPECT_EQ((*back)[1][1].letters, letters);
}

TEST(PackedCodes, AreRefusedWhereverTheyEndEarly) {
    std::string out;
    appendCodes(out, manyLetters(40));
    for (size_t length = 0; length < out.size(); ++length) {
        SCOPED_TRACE(length);
        const std::vector<char> exact(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(length));
        std::string_view in(exact.data(), exact.size());
        EXPECT_EQ(takeCodes(in).has_value(), false);
    }
}

TEST(PackedCodes, AreRefusedWithARunThatIsTooLong) {
    const struct {
        const char* name;
        std::string bytes;
        bool sound;
    } cases[] = {
        {"ten letters", bytes({10, 9 * 24 + 23, 0, 0, 0, 0, 0, 0, 0}), true},
        {"eleven letters in a byte", bytes({11, 10 * 24, 0, 0, 0, 0, 0, 0, 0}), false},
        {"more letters than were said", bytes({9, 9 * 24, 0, 0, 0, 0, 0, 0, 0}), false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string_view in = c.bytes;
        EXPECT_EQ(takeCodes(in).has_value(), c.sound);
    }
}

TEST(PackedCodes, AreRefusedWhenTheyClaimMoreLettersThanThereAreBytes) {
    std::string claim;
    appendVarint(claim, std::numeric_limits<uint64_t>::max());
    claim += std::string(64, 'a');
    std::string_view in = claim;
    EXPECT_FALSE(takeCodes(in).has_value());
}
