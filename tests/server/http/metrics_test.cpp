// SPDX-License-Identifier: Apache-2.0
#include "http/metrics.h"

#include <gtest/gtest.h>

using namespace tarn::server;

TEST(Histogram, CountsEveryValueInItsBucketAndAllAbove) {
    Histogram histogram({1, 10});
    for (const double value : {0.5, 1.0, 1.5, 10.0, 11.0}) histogram.add(value);
    std::string text;
    histogram.write(text, "h", "stage=\"s\"");
    EXPECT_EQ(text, "h_bucket{stage=\"s\",le=\"1\"} 2\n"
                    "h_bucket{stage=\"s\",le=\"10\"} 4\n"
                    "h_bucket{stage=\"s\",le=\"+Inf\"} 5\n"
                    "h_sum{stage=\"s\"} 24\n"
                    "h_count{stage=\"s\"} 5\n");
}

TEST(Histogram, WithoutLabelsHasNoBraces) {
    const Histogram histogram({0.5});
    std::string text;
    histogram.write(text, "h", "");
    EXPECT_EQ(text, "h_bucket{le=\"0.5\"} 0\nh_bucket{le=\"+Inf\"} 0\nh_sum 0\nh_count 0\n");
}

TEST(Metrics, CountRequestsByKindAndOutcome) {
    Metrics metrics;
    RequestReport report;
    report.kind = RequestKind::kItems;
    report.outcome = RequestOutcome::kNotFound;
    metrics.request(report, {}, {});
    metrics.request(report, {}, {});
    report.kind = RequestKind::kUnknown;
    report.outcome = RequestOutcome::kRefused;
    metrics.request(report, {}, {});
    const std::string text = metrics.text({});
    EXPECT_NE(text.find("tarn_requests_total{kind=\"items\",outcome=\"not_found\"} 2\n"), std::string::npos);
    EXPECT_NE(text.find("tarn_requests_total{kind=\"unknown\",outcome=\"refused\"} 1\n"), std::string::npos);
    // A refused packet never came to recognition.
    EXPECT_NE(text.find("tarn_request_seconds_count{stage=\"recognise\"} 2\n"), std::string::npos);
    EXPECT_NE(text.find("tarn_request_seconds_count{stage=\"total\"} 3\n"), std::string::npos);
}

TEST(Metrics, HaveEverySeriesFromZeroOn) {
    const std::string text = Metrics().text({});
    for (const char* kind : {"fingerprint", "identity", "items", "unknown", "json_recognise", "json_browse"}) {
        for (const char* outcome : {"matched", "not_found", "bad_packet", "bad_request", "refused", "too_large",
                                    "failed", "overload", "unavailable"}) {
            const std::string series =
                std::string("tarn_requests_total{kind=\"") + kind + "\",outcome=\"" + outcome + "\"} 0\n";
            EXPECT_NE(text.find(series), std::string::npos) << series;
        }
    }
    for (const char* status : {"200", "400", "401", "403", "404", "405", "413", "415", "422", "500", "503"}) {
        const std::string series = std::string("tarn_http_responses_total{code=\"") + status + "\"} 0\n";
        EXPECT_NE(text.find(series), std::string::npos) << series;
    }
}

TEST(Metrics, KeepQuietAboutACatalogueThatCannotBeAsked) {
    const Metrics metrics;
    EXPECT_EQ(metrics.text({}).find("tarn_catalogue_recordings"), std::string::npos);
    EXPECT_NE(metrics.text({}).find("tarn_catalogue_up 0\n"), std::string::npos);
    EXPECT_NE(metrics.text({.recordings = 7}).find("tarn_catalogue_recordings 7\n"), std::string::npos);
}

TEST(Metrics, DescribeEachFamilyOnce) {
    const std::string text = Metrics().text({.recordings = 7});
    size_t families = 0;
    for (size_t at = text.find("# TYPE "); at != std::string::npos; at = text.find("# TYPE ", at + 1)) {
        const std::string name = text.substr(at + 7, text.find(' ', at + 7) - at - 7);
        EXPECT_NE(text.find("# HELP " + name + " "), std::string::npos) << name;
        EXPECT_EQ(text.find("# TYPE " + name + " ", at + 1), std::string::npos) << name;
        ++families;
    }
    EXPECT_EQ(families, 10U);
}
