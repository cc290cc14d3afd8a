// SPDX-License-Identifier: Apache-2.0
#include "base/text.h"

#include <gtest/gtest.h>

namespace {

using tarn::server::cleanText;
using tarn::server::counted;
using tarn::server::durationText;
using tarn::server::isPrintable;
using tarn::server::kMaxTextBytes;

constexpr const char* kNoCharacter = "\xEF\xBF\xBD";

TEST(CleanText, IsValidUtf8InOneLine) {
    struct Case {
        const char* name;
        std::string text;
        std::string expected;
    };
    const std::string bad = kNoCharacter;
    const Case cases[] = {
        {"plain", "Paper Orchard", "Paper Orchard"},
        {"empty", "", ""},
        {"two, three and four bytes", "\xC3\xA9 \xE2\x82\xAC \xF0\x9D\x84\x9E",
         "\xC3\xA9 \xE2\x82\xAC \xF0\x9D\x84\x9E"},
        {"line feeds and tabs", "a\r\nb\t\tc", "a b c"},
        {"white space at the ends", " \n a \x7F", "a"},
        {"zero byte", std::string("a\0b", 3), "a b"},
        {"control characters above ASCII", "a\xC2\x85z", "a z"},
        {"no-break space is a character", "a\xC2\xA0z", "a\xC2\xA0z"},
        {"Latin-1", "caf\xE9", "caf" + bad},
        {"continuation byte alone", "\x80x", bad + "x"},
        {"cut character", "a\xE2\x82", "a" + bad + bad},
        {"overlong", "\xC0\xAF", bad + bad},
        {"overlong of three", "\xE0\x80\xAF", bad + bad + bad},
        {"surrogate", "\xED\xA0\x80", bad + bad + bad},
        {"beyond the last character", "\xF4\x90\x80\x80", bad + bad + bad + bad},
        {"byte FF", "\xFF", bad},
        {"separators of lines and paragraphs", "a\u2028b\u2029c", "a b c"},
        {"turned directions", "\u202Aa\u202Eb\u2066c\u2069", "abc"},
        {"marks that turn nothing else", "\u05D0\u200F!", "\u05D0\u200F!"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(cleanText(c.text), c.expected);
    }
}

TEST(CleanText, IsCutBetweenCharacters) {
    EXPECT_EQ(cleanText(std::string(kMaxTextBytes, 'a')), std::string(kMaxTextBytes, 'a'));
    EXPECT_EQ(cleanText(std::string(5'000'000, 'a')), std::string(kMaxTextBytes, 'a'));
    EXPECT_EQ(cleanText(std::string(kMaxTextBytes - 1, 'a') + "\xE2\x82\xAC"), std::string(kMaxTextBytes - 1, 'a'));
    EXPECT_EQ(cleanText(std::string(kMaxTextBytes - 1, 'a') + " b"), std::string(kMaxTextBytes - 1, 'a'));
}

TEST(InOneLine, ReplacesOnlyWhatWouldBreakALine) {
    using tarn::server::inOneLine;
    EXPECT_EQ(inOneLine("/a  b/\xC3\xA9\xFF.wav "), "/a  b/\xC3\xA9\xFF.wav ");
    EXPECT_EQ(inOneLine("a\nb\tc\x7F\x1B[2J"), "a?b?c??[2J");
    EXPECT_EQ(inOneLine("a\u009B31m\u0080\u009F\u00A0"), "a?31m??\u00A0");
    EXPECT_EQ(inOneLine("a\x9B"
                        "31m\x80\x9F\xA0"),
              "a?31m??\xA0");
    EXPECT_EQ(inOneLine("song\u202Efdp.wav\u2066\u2028\u2029"), "song?fdp.wav???");
    EXPECT_EQ(inOneLine(""), "");
}

TEST(DurationText, LeavesOutHoursWhereThereAreNone) {
    EXPECT_EQ(durationText(0), "0:00");
    EXPECT_EQ(durationText(59), "0:59");
    EXPECT_EQ(durationText(245), "4:05");
    EXPECT_EQ(durationText(3599), "59:59");
    EXPECT_EQ(durationText(3723), "1:02:03");
    EXPECT_EQ(durationText(360'000), "100:00:00");
}

TEST(Counted, IsOneThingOrSeveralThings) {
    EXPECT_EQ(counted(0, "recording"), "0 recordings");
    EXPECT_EQ(counted(1, "recording"), "1 recording");
    EXPECT_EQ(counted(2, "recording"), "2 recordings");
}

TEST(Printable, HasNoControlCharacter) {
    EXPECT_TRUE(isPrintable(""));
    EXPECT_TRUE(isPrintable("Zo\xC3\xAB ~"));
    for (const char c : {'\0', '\n', '\t', '\x1f', '\x7f'}) EXPECT_FALSE(isPrintable(std::string("a") + c));
}

} // namespace
