// SPDX-License-Identifier: Apache-2.0
// docs/openapi.json against a running service: every path, method, status, media type and member of it is tried, and
// nothing is answered that it does not state.
#include "http/endpoints.h"
#include "http/openapi.h"
#include "server/http/test_service.h"
#include "support/files.h"
#include "support/json_schema.h"
#include "support/server/json_requests.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <set>

using namespace kvxtest;
using namespace tarn::server;
using Json = nlohmann::json;

namespace {

constexpr const char* kMethods[] = {"GET", "HEAD", "POST", "PUT", "DELETE", "OPTIONS", "PATCH"};

std::string lowerOf(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(c));
    return text;
}

const Json& document() {
    static const Json parsed = Json::parse(kOpenapi);
    return parsed;
}

const std::string& code() {
    static const std::string made = bearer(kvxtest::accessCode(3, 3));
    return made;
}

// One request, and the status that it gets.
struct Try {
    const char* path; // as the document has it
    std::string method;
    int status;
    std::string request;
    enum Catalogue { kGood, kGone, kBroken } catalogue = kGood;
};

Try reading(const char* path, const std::string& target, const std::string& method, int status,
            const std::string& headers, Try::Catalogue catalogue = Try::kGood) {
    return {path, method, status, jsonRequest(method, target, headers), catalogue};
}

std::vector<Try> tries() {
    const auto client = kvxtest::makeHandle();
    const std::string wav = wavText();
    const std::string packetType = "application/x-kvx-packet";
    const std::string packet = textOf(fingerprintPacket(client.get()));
    const char* const recognise = "/v1/recognise";
    std::vector<Try> all;
    const auto post = [&](int status, const std::string& request, Try::Catalogue catalogue = Try::kGood) {
        all.push_back({recognise, "POST", status, request, catalogue});
    };
    for (const char* type : {"audio/wav", "audio/wave", "audio/x-wav", "audio/vnd.wave"}) {
        post(200, recogniseRequest(wav, code(), type));
    }
    post(200, recogniseRequest(pcmText(), code(), "audio/L16; rate=22050; channels=1"));
    post(200, recogniseRequest(pcmText(), code(), "application/octet-stream", "?rate=22050&channels=1&limit=3"));
    post(200, recogniseRequest(packet, "", packetType));
    post(400, recogniseRequest("no WAV file", code()));
    post(400, recogniseRequest("no packet", "", packetType));
    post(401, recogniseRequest(wav, ""));
    post(413, recogniseRequest(std::string(70'000, 'x'), "", packetType));
    post(415, recogniseRequest(wav, code(), "audio/mpeg"));
    post(422, recogniseRequest(wavText({.lengthMs = 6999}), code()));
    post(500, recogniseRequest(wav, code()), Try::kBroken);
    post(503, recogniseRequest(wav, code()), Try::kGone);
    for (const std::string method : {"GET", "HEAD"}) {
        const struct {
            const char* path;
            const char* good;
            const char* absent; // null: it is never absent
        } readings[] = {
            {"/v1/tracks/{id}", "/v1/tracks/T-a", "/v1/tracks/T-b"},
            {"/v1/albums/{id}", "/v1/albums/A-a", "/v1/albums/A-b"},
            {"/v1/recordings", "/v1/recordings?query=title&after=0&limit=2", nullptr},
        };
        for (const auto& each : readings) {
            const std::string good = each.good;
            all.push_back(reading(each.path, good, method, 200, code()));
            all.push_back(
                reading(each.path, good + (good.find('?') == good.npos ? "?x=1" : "&x=1"), method, 400, code()));
            all.push_back(reading(each.path, good, method, 401, ""));
            if (each.absent != nullptr) all.push_back(reading(each.path, each.absent, method, 404, code()));
            all.push_back(reading(each.path, good, method, 500, code(), Try::kBroken));
            all.push_back(reading(each.path, good, method, 503, code(), Try::kGone));
        }
        for (const char* path : {"/v1/version", "/v1/openapi.json"}) {
            all.push_back(reading(path, path, method, 200, ""));
            all.push_back(reading(path, path, method, 400, "Host: another\r\n"));
        }
    }
    return all;
}

// A recording of which everything is known, and one of which nothing is.
void fill(FakeCatalogue& catalogue) {
    Match known = match("a", 93);
    known.companions = {"T-companion"};
    known.tags.albumArtist = "album artist";
    known.tags.number = 3;
    known.tags.year = 1999;
    Match bare;
    bare.recordingId = 13;
    bare.trackId = "T-bare";
    bare.confidence = 85;
    catalogue.matches = {known, bare};
    catalogue.byId = {{"T-a", {known}}, {"A-a", {known}}};
    catalogue.recordings = {{12, known}, {13, bare}, {14, known}, {15, known}};
}

std::string headerIn(const HttpAnswer& answer, const std::string& name) {
    const size_t at = answer.header.find("\r\n" + name + ": ");
    if (at == std::string::npos) return "";
    const size_t value = at + name.size() + 4;
    return answer.header.substr(value, answer.header.find("\r\n", value) - value);
}

// An answer without a body, whatever length its header states.
HttpAnswer ask(const TestService& service, const Try& each) {
    if (each.method != "HEAD") return service.ask(each.request);
    RawClient client(service.port());
    std::string request = each.request;
    request.insert(request.find("Host:"), "Connection: close\r\n");
    client.send(request);
    HttpAnswer answer;
    answer.header = client.readToEnd();
    answer.status = std::atoi(answer.header.c_str() + answer.header.find(' '));
    const size_t end = answer.header.find("\r\n\r\n");
    answer.body = answer.header.substr(end + 4);
    return answer;
}

// Members that the answers had, as "Schema.member".
void noteMembers(const Json& value, const Json& schema, const JsonSchema& schemas, std::set<std::string>& seen) {
    const Json& real = schemas.resolved(schema);
    if (value.is_object() && real.contains("properties")) {
        for (const auto& [name, member] : value.items()) {
            if (schema.contains("$ref")) seen.insert(schema["$ref"].get<std::string>() + "." + name);
            noteMembers(member, real["properties"][name], schemas, seen);
        }
    }
    if (value.is_array()) {
        for (const Json& item : value) noteMembers(item, real["items"], schemas, seen);
    }
}

} // namespace

TEST(Openapi, IsTheDocumentThatTheServiceAnswersWith) {
    const TestService service;
    const HttpAnswer answer = service.ask(getOf("/v1/openapi.json"));
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(Json::parse(answer.body),
              Json::parse(contents(std::string(TARN_TEST_DATA) + "/../../docs/openapi.json")));
}

TEST(Openapi, StatesWhatTheServiceAnswers) {
    TestService service;
    fill(service.catalogue);
    std::atomic<Try::Catalogue> state = Try::kGood;
    service.catalogue.beforeAnswer = [&] {
        if (state == Try::kGone) throw Unavailable("gone");
        if (state == Try::kBroken) throw std::runtime_error("broken");
    };
    const JsonSchema schemas(document());
    std::set<std::string> seen;
    std::set<std::string> statuses;
    std::set<std::string> types;
    for (const Try& each : tries()) {
        SCOPED_TRACE(each.request.substr(0, 200));
        state = each.catalogue;
        const HttpAnswer answer = ask(service, each);
        EXPECT_EQ(answer.status, each.status) << answer.body;
        const Json& operation = document()["paths"][each.path][lowerOf(each.method)];
        ASSERT_TRUE(operation["responses"].contains(std::to_string(answer.status)));
        const Json& stated = schemas.resolved(operation["responses"][std::to_string(answer.status)]);
        statuses.insert(std::string(each.path) + " " + each.method + " " + std::to_string(answer.status));
        const std::string type = headerIn(answer, "Content-Type");
        ASSERT_TRUE(stated["content"].contains(type)) << type;
        EXPECT_EQ(stated["content"].size(), 1U);
        EXPECT_EQ(headerIn(answer, "Cache-Control"), "no-store");
        for (const char* name : {"WWW-Authenticate", "Retry-After"}) {
            EXPECT_EQ(!headerIn(answer, name).empty(), stated.contains("headers") && stated["headers"].contains(name));
        }
        if (each.method == "HEAD") {
            EXPECT_EQ(answer.body, "");
            EXPECT_NE(headerIn(answer, "Content-Length"), "0");
            continue;
        }
        const Json body = Json::parse(answer.body);
        const Json& schema = stated["content"][type]["schema"];
        for (const std::string& fault : schemas.faults(body, schema)) ADD_FAILURE() << fault;
        noteMembers(body, schema, schemas, seen);
        if (type == "application/problem+json") {
            EXPECT_EQ(body["status"], answer.status);
        }
        if (each.method == "POST") {
            const std::string sent = each.request.substr(each.request.find("Content-Type: ") + 14);
            types.insert(sent.substr(0, sent.find_first_of(";\r")));
        }
    }
    // Nothing in the document is left untried.
    for (const auto& [path, operations] : document()["paths"].items()) {
        for (const auto& [method, operation] : operations.items()) {
            for (const auto& [status, response] : operation["responses"].items()) {
                std::string upper = method;
                for (char& c : upper) c = static_cast<char>(std::toupper(c));
                EXPECT_TRUE(statuses.contains(path + " " + upper + " " + status)) << path << upper << status;
            }
        }
    }
    for (const auto& [name, schema] : document()["components"]["schemas"].items()) {
        for (const auto& [member, meaning] : schema["properties"].items()) {
            EXPECT_TRUE(seen.contains("#/components/schemas/" + name + "." + member)) << name << "." << member;
        }
    }
    for (const auto& [type, meaning] : document()["paths"]["/v1/recognise"]["post"]["requestBody"]["content"].items()) {
        EXPECT_TRUE(types.contains(type)) << type;
    }
}

TEST(Openapi, HasEveryPathAndMethodOfTheService) {
    const TestService service;
    std::set<std::string> paths;
    for (const Endpoint& endpoint : endpoints()) {
        if (!endpoint.isOfJson() || std::holds_alternative<Nothing>(endpoint.way)) continue;
        std::string path(endpoint.path);
        if (path.ends_with("/*")) path.replace(path.size() - 1, 1, "{id}");
        paths.insert(path);
        ASSERT_TRUE(document()["paths"].contains(path)) << path;
        std::string target = path;
        if (target.ends_with("{id}")) target.replace(target.size() - 4, 4, "T-a");
        for (const std::string method : kMethods) {
            SCOPED_TRACE(method + " " + path);
            const bool isStated = document()["paths"][path].contains(lowerOf(method));
            EXPECT_EQ(endpoint.allows(method), isStated);
            if (isStated) continue;
            const HttpAnswer answer = ask(service, {"", method, 405, jsonRequest(method, target), Try::kGood});
            EXPECT_EQ(answer.status, 405);
            EXPECT_EQ(headerIn(answer, "Allow"), endpoint.methods);
            EXPECT_EQ(headerIn(answer, "Content-Type"), "application/problem+json");
            if (method != "HEAD") {
                EXPECT_EQ(Json::parse(answer.body)["status"], 405);
            }
        }
    }
    EXPECT_EQ(paths.size(), document()["paths"].size());
    const HttpAnswer elsewhere = service.ask(getOf("/v1/elsewhere"));
    EXPECT_EQ(elsewhere.status, 404);
    EXPECT_EQ(Json::parse(elsewhere.body)["status"], 404);
}

// The validator itself: what the tests above rely on.
TEST(JsonSchema, FindsWhatDoesNotFit) {
    const Json schemas = {{"components", {{"schemas", {{"Name", {{"type", "string"}, {"minLength", 2}}}}}}}};
    const JsonSchema schema(schemas);
    const Json object = {
        {"type", "object"},
        {"required", {"a"}},
        {"properties",
         {{"a", {{"type", "integer"}, {"minimum", 1}, {"maximum", 3}}},
          {"b", {{"type", "array"}, {"maxItems", 1}, {"items", {{"$ref", "#/components/schemas/Name"}}}}},
          {"c", {{"type", "string"}, {"enum", {"x", "y"}}}}}}};
    const struct {
        const char* value;
        size_t faults;
    } cases[] = {
        {R"({"a": 1})", 0},
        {R"({"a": 3, "b": ["ab"], "c": "y"})", 0},
        {R"({})", 1},
        {R"({"a": 0})", 1},
        {R"({"a": 4})", 1},
        {R"({"a": "1"})", 1},
        {R"({"a": 1.5})", 1},
        {R"({"a": 1, "d": 1})", 1},
        {R"({"a": 1, "b": "x"})", 1},
        {R"({"a": 1, "b": ["ab", "c"]})", 2},
        {R"({"a": 1, "c": "z"})", 1},
        {R"([])", 1},
    };
    for (const auto& c : cases) EXPECT_EQ(schema.faults(Json::parse(c.value), object).size(), c.faults) << c.value;
    EXPECT_EQ(schema.faults(1, {{"type", "integer"}, {"multipleOf", 2}}).size(), 1U) << "an unknown word is a fault";
}
