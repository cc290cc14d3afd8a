// SPDX-License-Identifier: Apache-2.0
#include "platform/url.h"

#include <gtest/gtest.h>
#include <string>

namespace tarn {
namespace {

TEST(Url, IsTakenApart) {
    struct Case {
        const char* text;
        const char* authority;
        const char* host;
        int port;
        const char* target;
    };
    const Case cases[] = {
        {"http://recog.example/sdkrequest", "recog.example", "recog.example", 80, "/sdkrequest"},
        {"http://recog.example:8080/sdkrequest", "recog.example:8080", "recog.example", 8080, "/sdkrequest"},
        {"http://127.0.0.1:1/x", "127.0.0.1:1", "127.0.0.1", 1, "/x"},
        {"http://h:65535/x", "h:65535", "h", 65535, "/x"},
        {"http://[::1]/x", "[::1]", "::1", 80, "/x"},
        {"http://[fe80::1]:8080/x", "[fe80::1]:8080", "fe80::1", 8080, "/x"},
        {"http://h/a/b/sdkrequest", "h", "h", 80, "/a/b/sdkrequest"},
        {"http://h?q/sdkrequest", "h", "h", 80, "/?q/sdkrequest"},
        {"http://h#f/sdkrequest", "h", "h", 80, "/"},
        {"http://h/a?b#c", "h", "h", 80, "/a?b"},
        {"http://h", "h", "h", 80, "/"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        const auto url = Url::parse(c.text);
        ASSERT_TRUE(url);
        EXPECT_EQ(url->text, c.text);
        EXPECT_EQ(url->authority, c.authority);
        EXPECT_EQ(url->host, c.host);
        EXPECT_EQ(url->port, c.port);
        EXPECT_EQ(url->target, c.target);
    }
}

TEST(Url, IsNothingForWhatCannotBeOne) {
    const std::string cases[] = {
        "",
        "h/sdkrequest",
        "https://h/sdkrequest",
        "http:///sdkrequest",
        "http://:80/sdkrequest",
        "http://h:/sdkrequest",
        "http://h:0/sdkrequest",
        "http://h:65536/sdkrequest",
        "http://h:80x/sdkrequest",
        "http://h:-1/sdkrequest",
        "http://h:1:2/sdkrequest",
        "http://::1/sdkrequest",
        "http://[::1/sdkrequest",
        "http://[]/sdkrequest",
        "http://[::1]x/sdkrequest",
        "http://user@h/sdkrequest",
        "http://user:word@h/sdkrequest",
        "http://h h/sdkrequest",
        "http://h\r\nX: y/sdkrequest",
        "http://h\t/sdkrequest",
        "http://h\x7f/sdkrequest",
        std::string("http://h\0x/sdkrequest", 21),
        "http://t\xc3\xb6ne/sdkrequest",
    };
    for (const std::string& text : cases) {
        SCOPED_TRACE(text);
        EXPECT_FALSE(Url::parse(text));
    }
}

} // namespace
} // namespace tarn
