// SPDX-License-Identifier: Apache-2.0
#include "recognise/output/text_forms.h"

#include <gtest/gtest.h>

namespace {

using namespace tarn::recognise;

TEST(CsvField, QuotesWhatSeparates) {
    EXPECT_EQ(csvField(""), "");
    EXPECT_EQ(csvField("plain text"), "plain text");
    EXPECT_EQ(csvField("a,b"), "\"a,b\"");
    EXPECT_EQ(csvField("say \"so\""), "\"say \"\"so\"\"\"");
    EXPECT_EQ(csvField("two\nlines"), "\"two\nlines\"");
    EXPECT_EQ(csvField("\r"), "\"\r\"");
    EXPECT_EQ(csvField("caf\xe9"), "caf\xe9");
}

TEST(XmlText, EscapesMarkupAndReplacesWhatXmlCannotHold) {
    EXPECT_EQ(xmlText("<a href=\"x\">&amp;"), "&lt;a href=&quot;x&quot;&gt;&amp;amp;");
    EXPECT_EQ(xmlText("tab\tfeed\nreturn\r"), "tab&#9;feed&#10;return&#13;");
    EXPECT_EQ(xmlText(std::string("\0\x01\x1f", 3)), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(xmlText("caf\xe9 \xEF\xBF\xBF"), "caf\xEF\xBF\xBD \xEF\xBF\xBD");
    EXPECT_EQ(xmlText("Ünïcödé 音"), "Ünïcödé 音");
}

TEST(ClockText, RoundsToSeconds) {
    EXPECT_EQ(clockText(0), "0:00");
    EXPECT_EQ(clockText(59'499), "0:59");
    EXPECT_EQ(clockText(59'500), "1:00");
    EXPECT_EQ(clockText(3'661'000), "1:01:01");
}

TEST(Padded, CountsCharacters) {
    EXPECT_EQ(padded("ä", 3), "ä  ");
    EXPECT_EQ(padded("long", 2), "long");
}

TEST(NameText, SaysWhatIsKnown) {
    EXPECT_EQ(nameText("Artist", "Title"), "Artist - Title");
    EXPECT_EQ(nameText("", "Title"), "Title");
    EXPECT_EQ(nameText("Artist", ""), "Artist");
}

} // namespace
