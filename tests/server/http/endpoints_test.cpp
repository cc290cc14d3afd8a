// SPDX-License-Identifier: Apache-2.0
#include "http/endpoints.h"

#include <gtest/gtest.h>

using namespace tarn::server;

namespace {

struct FixedView : ServiceView {
    bool stopping = false;
    bool up = true;
    bool isStopping() const override { return stopping; }
    bool catalogueIsUp() const override { return up; }
    std::string metricsText() const override { return "some 1\n"; }
};

} // namespace

TEST(Endpoints, AreFoundByThePathOfTheTarget) {
    const struct {
        const char* target;
        const char* path; // null: there is none
    } cases[] = {
        {"/health", "/health"},
        {"/metrics", "/metrics"},
        {"/sdkrequest", "/sdkrequest"},
        {"http://host/sdkrequest", "/sdkrequest"},
        {"http://host:80/health", "/health"},
        {"http://host", nullptr},
        {"http:///health/", nullptr},
        {"https://host/health", nullptr},
        {"/health/", nullptr},
        {"/", nullptr},
        {"health", nullptr},
        {"", nullptr},
        {"/%68ealth", "/health"},
        {"/health%2F", nullptr},
        {"/v1/recognise", "/v1/recognise"},
        {"http://host/v1/recognise", "/v1/recognise"},
        {"/v1/tracks/T-1", "/v1/tracks/*"},
        {"/v1/tracks/%54-1", "/v1/tracks/*"},
        {"/v1/tracks/a%2Fb", "/v1/tracks/*"},
        {"/v1/tracks/", "/v1/**"},
        {"/v1/tracks", "/v1/**"},
        {"/v1/tracks/T-1/", "/v1/**"},
        {"/v1/tracks/a/b", "/v1/**"},
        {"/v1/tracks/%4", "/v1/**"},
        {"/v1/", "/v1/**"},
        {"/v1", nullptr},
        {"/v1/recordings/", "/v1/**"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.target);
        const Endpoint* found = endpointAt(c.target);
        ASSERT_EQ(found != nullptr, c.path != nullptr);
        if (found != nullptr) {
            EXPECT_EQ(found->path, c.path);
            const bool isAnsweredAtOnce = found->path == "/health" || found->path == "/metrics";
            EXPECT_EQ(found->takesRequests(), !isAnsweredAtOnce && found->path != "/v1/**");
        }
    }
}

TEST(Endpoints, GiveTheIdInATargetWithoutItsEscapes) {
    EXPECT_EQ(idIn("/v1/tracks/T-1"), "T-1");
    EXPECT_EQ(idIn("http://host/v1/albums/%41-1"), "A-1");
    EXPECT_EQ(idIn("/v1/tracks/a%2Fb%00%ff"), std::string("a/b\0\xff", 5));
}

TEST(Endpoints, AllowWholeNamesOfMethodsOnly) {
    const Endpoint& health = *endpointAt("/health");
    EXPECT_TRUE(health.allows("GET"));
    EXPECT_TRUE(health.allows("HEAD"));
    for (const char* method : {"POST", "GE", "GET,", "GET, HEAD", "get", ""}) {
        EXPECT_FALSE(health.allows(method)) << method;
    }
    EXPECT_TRUE(endpointAt("/sdkrequest")->allows("POST"));
    EXPECT_FALSE(endpointAt("/sdkrequest")->allows("GET"));
}

TEST(Endpoints, SayWhichMethodsTheyTake) {
    const HttpResponse response = methodNotAllowed(*endpointAt("/metrics"));
    EXPECT_EQ(response.status, 405);
    EXPECT_EQ(response.body, "405: use GET or HEAD\n");
    ASSERT_EQ(response.headers.size(), 1U);
    EXPECT_STREQ(response.headers[0].first, "Allow");
    EXPECT_EQ(response.headers[0].second, "GET, HEAD");
}

TEST(HealthCheck, IsBadWhileTheServiceStopsOrHasNoCatalogue) {
    const Endpoint& health = *endpointAt("/health");
    FixedView view;
    EXPECT_EQ(health.answer(view).status, 200);
    view.up = false;
    const HttpResponse down = health.answer(view);
    EXPECT_EQ(down.status, 503);
    EXPECT_EQ(down.body, "the catalogue is not available\n");
    EXPECT_EQ(down.headers.size(), 1U) << "when to ask again";
    view.stopping = true;
    EXPECT_EQ(health.answer(view).body, "stopping\n");
}
