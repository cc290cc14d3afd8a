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
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.target);
        const Endpoint* found = endpointAt(c.target);
        ASSERT_EQ(found != nullptr, c.path != nullptr);
        if (found != nullptr) {
            EXPECT_EQ(found->path, c.path);
            EXPECT_EQ(found->takesRequests(), found->path == "/sdkrequest");
        }
    }
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
