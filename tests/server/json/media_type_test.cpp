// SPDX-License-Identifier: Apache-2.0
#include "json/media_type.h"

#include <gtest/gtest.h>

using namespace tarn::server;

TEST(MediaType, IsReadWithItsParameters) {
    const struct {
        const char* header;
        const char* name;
        Parameters parameters;
    } cases[] = {
        {"audio/wav", "audio/wav", {}},
        {" Audio/WAV ", "audio/wav", {}},
        {"audio/L16; rate=44100; channels=2", "audio/l16", {{"rate", "44100"}, {"channels", "2"}}},
        {"audio/L16;RATE=\"44100\" ;", "audio/l16", {{"rate", "44100"}}},
        {"audio/L16; rate", "audio/l16", {{"rate", ""}}},
        {"audio/L16; rate=1; rate=2", "audio/l16", {{"rate", "1"}, {"rate", "2"}}},
        {"a/b; x=\"", "a/b", {{"x", "\""}}},
        {";;", "", {}},
        {"", "", {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.header);
        const MediaType type = readMediaType(c.header);
        EXPECT_EQ(type.name, c.name);
        EXPECT_EQ(type.parameters, c.parameters);
    }
}
