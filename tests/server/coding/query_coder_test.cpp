// SPDX-License-Identifier: Apache-2.0
#include "coding/query_coder.h"
#include "fingerprint/engine/feature_map.h"
#include "support/handles.h"
#include "support/melody.h"

#include <gtest/gtest.h>

using namespace tarn::server;

TEST(QueryCoder, GivesTheStringsOfASession) {
    const std::vector<int16_t> samples = kvxtest::melody(11, 33);
    for (const uint32_t durationMs : {6006U, 12000U, 30000U, 30050U, 33000U, 74005U, 200000U}) {
        SCOPED_TRACE(durationMs);
        const kvxtest::Handle handle = kvxtest::makeHandle();
        const int32_t start = KVXNewFingerprint3(handle.get(), 1, 22050, static_cast<int32_t>(durationMs));
        EXPECT_EQ(static_cast<uint32_t>(start), clientStartMs(durationMs));
        ASSERT_EQ(KVXGenerateFingerprint3_Real(handle.get(), samples.data(), static_cast<int32_t>(samples.size())), 0);
        const FingerprintQuery query = codeQuery(samples, durationMs);
        EXPECT_EQ(query.durationMs, durationMs);
        for (size_t m = 0; m < 3; ++m) {
            const FeatureMap& map = *handle->featureMaps[m];
            EXPECT_EQ(query.codes[2 * m], map.coder1.text);
            EXPECT_EQ(query.codes[2 * m + 1], map.coder2.text);
        }
        if (durationMs >= 12000) {
            EXPECT_GT(query.codes[0].size(), 40U);
        }
    }
}

TEST(QueryCoder, GivesEmptyStringsWhenTheAudioEndsEarly) {
    const std::vector<int16_t> samples = kvxtest::melody(12, 20);
    for (const uint32_t durationMs : {0U, 50U, 30000U}) {
        for (const std::string& code : codeQuery(samples, durationMs).codes) EXPECT_EQ(code, "");
    }
}
