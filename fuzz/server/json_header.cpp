// SPDX-License-Identifier: Apache-2.0
// What the JSON interface reads of a request's header: target, query, Authorization, Content-Type, each a line.
//
// Holds: a target has its endpoint again when it is looked up again, and an id only where the endpoint takes one; a
// request is refused with a status of the known set, or is within its bounds; only the account's whole code is let in;
// every reply is JSON.
#include "base/json.h"
#include "base/percent_encoding.h"
#include "fuzz_target.h"
#include "http/endpoints.h"
#include "support/handles.h"
#include "json/json_handler.h"
#include "json/recording_search.h"

#include <string>

namespace {

using namespace tarn::server;

constexpr uint32_t kAccount = 0x04030201;

class OneRecording : public Recogniser {
  public:
    Recognition recognise(const FingerprintQuery&, size_t) override { return {{recording()}, 1}; }
    std::vector<Match> lookUp(const std::string& id, size_t) override {
        Match found = recording();
        found.trackId = found.albumId = id;
        return {found};
    }
    std::optional<uint32_t> browse(uint32_t after, uint32_t, const std::function<bool(const Match&)>& show) override {
        if (after >= 1) return std::nullopt;
        show(recording());
        return 1;
    }
    uint64_t recordingCount() override { return 1; }

  private:
    static Match recording() {
        Match made;
        made.recordingId = 1;
        made.trackId = "T-1";
        made.tags.title = "title \xff";
        made.path = "/secret";
        return made;
    }
};

std::string takeLine(std::string_view& text) {
    const size_t end = text.find('\n');
    const std::string line(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

std::optional<Parameters> queryOf(std::string_view text) {
    Parameters parameters;
    while (!text.empty()) {
        const std::string_view pair = text.substr(0, text.find('&'));
        text.remove_prefix(std::min(text.size(), pair.size() + 1));
        const size_t equals = pair.find('=');
        const auto name = percentDecoded(pair.substr(0, equals));
        const auto value = percentDecoded(equals == std::string_view::npos ? "" : pair.substr(equals + 1));
        if (!name || !value) return std::nullopt;
        parameters.emplace_back(*name, *value);
    }
    return parameters;
}

void checkReply(const Reply& reply) {
    const Json body = Json::parse(reply.body); // throws, and so fails, where it is no JSON
    REQUIRE(reply.type != nullptr && body.is_object());
    REQUIRE(reply.body.find("/secret") == std::string::npos);
    if (reply.status == 200) return;
    REQUIRE(body["status"] == reply.status && !body["detail"].get<std::string>().empty());
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static OneRecording catalogue;
    static const std::string code = kvxtest::accessCode(3, 3, {0xab});
    static const RequestHandler packets([](uint32_t id) { return id == kAccount ? std::optional(code) : std::nullopt; },
                                        [](uint32_t, const std::string&) { return std::nullopt; }, catalogue);
    const JsonHandler json(packets, catalogue);

    std::string_view rest(reinterpret_cast<const char*>(data), size);
    const std::string target = takeLine(rest);
    const Endpoint* endpoint = endpointAt(target);
    REQUIRE(endpoint == endpointAt(target));
    if (endpoint == nullptr || !std::holds_alternative<JsonOperation>(endpoint->way)) return 0;

    JsonHeader header;
    header.operation = std::get<JsonOperation>(endpoint->way);
    if (endpoint->path.ends_with("/*")) {
        header.id = idIn(target);
        REQUIRE(!header.id.empty() && header.id.size() <= target.size());
    }
    header.query = queryOf(takeLine(rest));
    header.authorization = takeLine(rest);
    // "+" stands for the account's code, which a search would not find.
    if (header.authorization == "+") header.authorization = "Bearer " + code;
    const bool showsCode = header.authorization.size() == 7 + code.size() && header.authorization.ends_with(code);
    const bool isGood = header.authorization == "Bearer " + code;
    header.contentType = takeLine(rest);

    auto opened = json.open(header);
    if (const auto* reply = std::get_if<Reply>(&opened)) {
        REQUIRE(reply->status == 400 || reply->status == 401 || reply->status == 415);
        REQUIRE((reply->status == 401) == !reply->headers.empty());
        if (isGood) REQUIRE(reply->status != 401);
        checkReply(*reply);
        return 0;
    }
    auto& request = std::get<JsonRequest>(opened);
    REQUIRE(showsCode || request.body == JsonRequest::Body::kPacket);
    REQUIRE(request.limit <= kMaxAnswers && request.words.size() <= kMaxQueryBytes);
    if (const auto reply = json.take(request, rest)) {
        REQUIRE(reply->status == 400 || reply->status == 401 || reply->status == 422);
        checkReply(*reply);
        return 0;
    }
    const Reply reply = json.answer(std::move(request));
    REQUIRE(reply.status == 200 || reply.status == 404);
    checkReply(reply);
    return 0;
}
