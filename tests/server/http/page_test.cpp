// SPDX-License-Identifier: Apache-2.0
// The files of the page over HTTP. Without the web library there are none, and each path is not found.
#include "http/page.h"

#include "http/listen_socket.h"
#include "server/http/test_service.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <libdeflate.h>
#include <numeric>

using namespace kvxtest;
using namespace tarn::server;

namespace {

class Page : public testing::Test {
  protected:
    void SetUp() override {
        if (pageFiles().empty()) GTEST_SKIP() << "built without the web library";
    }
};

std::string getWith(const std::string& target, const std::string& headers) {
    return "GET " + target + " HTTP/1.1\r\nHost: h\r\n" + headers + "\r\n";
}

// The value of a header; empty: there is none.
std::string valueOf(const HttpAnswer& answer, const std::string& name) {
    const size_t at = answer.header.find("\r\n" + name + ": ");
    if (at == std::string::npos) return {};
    const size_t value = at + name.size() + 4;
    return answer.header.substr(value, answer.header.find("\r\n", value) - value);
}

std::string inflated(const std::string& bytes, size_t size) {
    std::string plain(size, '\0');
    libdeflate_decompressor* made = libdeflate_alloc_decompressor();
    EXPECT_EQ(libdeflate_gzip_decompress(made, bytes.data(), bytes.size(), plain.data(), size, nullptr),
              LIBDEFLATE_SUCCESS);
    libdeflate_free_decompressor(made);
    return plain;
}

} // namespace

TEST_F(Page, HasEachOfItsFilesCompressedAndPlain) {
    const TestService service;
    for (const PageFile& file : pageFiles()) {
        SCOPED_TRACE(file.path);
        const std::string path(file.path);
        const HttpAnswer plain = service.ask(getOf(path));
        EXPECT_EQ(plain.status, 200);
        EXPECT_EQ(plain.body.size(), file.plainBytes);
        EXPECT_TRUE(plain.has("Content-Type: " + std::string(file.type)));
        EXPECT_EQ(valueOf(plain, "Content-Encoding"), "");
        const HttpAnswer compressed = service.ask(getWith(path, "Accept-Encoding: br, gzip\r\n"));
        EXPECT_TRUE(compressed.has("Content-Encoding: gzip"));
        EXPECT_LT(compressed.body.size(), plain.body.size());
        EXPECT_EQ(inflated(compressed.body, file.plainBytes), plain.body);
    }
}

TEST_F(Page, IsAtTheRoot) {
    const TestService service;
    const HttpAnswer root = service.ask(getOf("/"));
    EXPECT_EQ(root.status, 200);
    EXPECT_NE(root.body.find("<!doctype html>"), std::string::npos);
    EXPECT_EQ(service.ask(getOf("/?from=elsewhere")).body, root.body);
    EXPECT_EQ(service.ask(getOf("/index.html")).body, root.body);
    for (const char* none :
         {"/kvx", "/kvx/", "//", "/../etc/passwd", "/index.htm", "/kvx/../page.js", "/%2findex.html"}) {
        EXPECT_EQ(service.ask(getOf(none)).status, 404) << none;
    }
}

TEST_F(Page, IsServedOnOtherAddressesOnlyWhenAskedFor) {
    for (const bool wanted : {false, true}) {
        const TestService service(
            {}, [](FakeCatalogue&) {}, {}, "0.0.0.0:0", wanted);
        EXPECT_EQ(service.ask(getOf("/")).status, wanted ? 200 : 404);
        EXPECT_EQ(service.ask(getOf("/health")).status, 200);
    }
}

TEST_F(Page, SaysWhatItMayDoWithEachFile) {
    const TestService service;
    for (const PageFile& file : pageFiles()) {
        SCOPED_TRACE(file.path);
        const HttpAnswer answer = service.ask(getOf(std::string(file.path)));
        const std::string policy = valueOf(answer, "Content-Security-Policy");
        EXPECT_EQ(policy.find("default-src 'none'; script-src 'self'"), 0U) << policy;
        EXPECT_NE(policy.find("; connect-src 'self'; "), std::string::npos);
        EXPECT_NE(policy.find("; frame-ancestors 'none'"), std::string::npos);
        EXPECT_TRUE(answer.has("X-Content-Type-Options: nosniff"));
        EXPECT_TRUE(answer.has("Referrer-Policy: no-referrer"));
        EXPECT_NE(valueOf(answer, "Permissions-Policy").find("microphone=(self)"), std::string::npos);
        EXPECT_TRUE(answer.has("Cache-Control: no-cache"));
        EXPECT_TRUE(answer.has("Vary: Accept-Encoding"));
    }
}

TEST_F(Page, AllowsWebAssemblyInItsWorkerAlone) {
    const TestService service;
    int workers = 0;
    for (const PageFile& file : pageFiles()) {
        SCOPED_TRACE(file.path);
        const std::string path(file.path);
        const std::string policy = valueOf(service.ask(getOf(path)), "Content-Security-Policy");
        const bool isWorker = path == "/worker.js";
        workers += isWorker ? 1 : 0;
        const std::string script = isWorker ? "; script-src 'self' 'wasm-unsafe-eval'; " : "; script-src 'self'; ";
        const size_t at = policy.find(script);
        ASSERT_NE(at, std::string::npos) << policy;
        EXPECT_EQ(policy.substr(0, at).find("unsafe-"), std::string::npos) << policy;
        EXPECT_EQ(policy.find("unsafe-", at + script.size()), std::string::npos) << policy;
        // A browser that has the file gets the policy with 304 too.
        const std::string tag = valueOf(service.ask(getOf(path)), "ETag");
        const HttpAnswer again = service.ask(getWith(path, "If-None-Match: " + tag + "\r\n"));
        EXPECT_EQ(again.status, 304);
        EXPECT_EQ(valueOf(again, "Content-Security-Policy"), policy);
    }
    EXPECT_EQ(workers, 1);
    EXPECT_EQ(valueOf(service.ask(getOf("/")), "Content-Security-Policy").find("unsafe-"), std::string::npos);
}

TEST_F(Page, IsNotSentAgainToThoseWhoHaveIt) {
    const TestService service;
    const std::string plain = valueOf(service.ask(getOf("/page.js")), "ETag");
    const std::string compressed = valueOf(service.ask(getWith("/page.js", "Accept-Encoding: gzip\r\n")), "ETag");
    ASSERT_NE(plain, "");
    EXPECT_NE(plain, compressed);
    const struct {
        std::string tags;
        int status;
    } cases[] = {{plain, 304},       {"W/" + plain, 304}, {"\"other\", " + plain, 304}, {"*", 304},
                 {"\"other\"", 200}, {compressed, 200},   {plain.substr(1), 200},       {"", 200}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.tags);
        const HttpAnswer answer = service.ask(getWith("/page.js", "If-None-Match: " + c.tags + "\r\n"));
        EXPECT_EQ(answer.status, c.status);
        EXPECT_EQ(answer.body.empty(), c.status == 304);
        EXPECT_EQ(valueOf(answer, "ETag"), plain);
    }
}

TEST_F(Page, IsCompressedForThoseWhoTakeThat) {
    const PageFile& file = *pageFileAt("/");
    const struct {
        const char* accept;
        bool compressed;
    } cases[] = {{"gzip", true},         {"br, gzip", true},    {"gzip;q=0.1", true},     {" gzip ; q=1.0 , br", true},
                 {"gzip;q=0", false},    {"gzip;q=0.0", false}, {"gzip; q=0.000", false}, {"", false},
                 {"identity", false},    {"gzipped", false},    {",,;;,", false},         {"br;q=1", false},
                 {"gzip;x=0;q=0", false}};
    for (const auto& c : cases) {
        const HttpResponse answer = pageAnswer(file, {c.accept, ""});
        EXPECT_EQ(answer.body.size() == file.gzip.size(), c.compressed) << c.accept;
    }
}

TEST_F(Page, TakesGetAndHeadOnly) {
    const TestService service;
    RawClient connection(service.port());
    ASSERT_TRUE(connection.send("HEAD /style.css HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n"));
    const std::string head = connection.readToEnd();
    EXPECT_EQ(head.substr(0, 15), "HTTP/1.1 200 OK");
    EXPECT_NE(head.find("Content-Length: " + std::to_string(pageFileAt("/style.css")->plainBytes)), std::string::npos);
    EXPECT_EQ(head.substr(head.size() - 4), "\r\n\r\n") << "no body";
    const HttpAnswer post = service.ask("POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(post.status, 405);
    EXPECT_TRUE(post.has("Allow: GET, HEAD"));
}

TEST_F(Page, IsSmall) {
    const size_t bytes = std::accumulate(pageFiles().begin(), pageFiles().end(), size_t{0},
                                         [](size_t sum, const PageFile& file) { return sum + file.gzip.size(); });
    EXPECT_LT(bytes, 100'000U);
    RecordProperty("compressedBytes", static_cast<int>(bytes));
}

TEST(ListenSocket, KnowsWhetherOnlyThisMachineReachesIt) {
    const struct {
        const char* address;
        bool loopback;
    } cases[] = {
        {"127.0.0.1:0", true}, {"127.1.2.3:0", true}, {"localhost:0", true}, {"0.0.0.0:0", false}, {":0", false}};
    for (const auto& c : cases) EXPECT_EQ(isOnLoopback(listenOn(c.address)), c.loopback) << c.address;
}
