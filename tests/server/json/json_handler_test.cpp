// SPDX-License-Identifier: Apache-2.0
#include "json/json_handler.h"

#include "base/json.h"
#include "server/protocol/handled_requests.h"
#include "support/raw_client.h"
#include "support/server/json_requests.h"

#include <gtest/gtest.h>

using namespace kvxtest;

namespace {

class JsonService : public Service {
  public:
    std::chrono::milliseconds searchTime{60'000};

    JsonHeader header(JsonOperation operation, Parameters query = {}, const std::string& id = {}) const {
        return {operation, id, std::move(query), "Bearer " + kvxtest::accessCode(3, 3), ""};
    }
    Reply ask(const JsonHeader& header, const std::string& body = {}) {
        const RequestHandler packets = handler();
        const JsonHandler json(packets, catalogue, searchTime);
        auto opened = json.open(header);
        if (auto* reply = std::get_if<Reply>(&opened)) return std::move(*reply);
        auto& request = std::get<JsonRequest>(opened);
        if (auto reply = json.take(request, body)) return std::move(*reply);
        return json.answer(std::move(request));
    }
    Reply recognise(const std::string& body, const std::string& type = "audio/wav", Parameters query = {}) {
        JsonHeader made = header(JsonOperation::kRecognise, std::move(query));
        made.contentType = type;
        return ask(made, body);
    }
    Json list(Parameters query) { return Json::parse(ask(header(JsonOperation::kRecordings, std::move(query))).body); }
};

Match numbered(uint32_t id, const std::string& title, uint32_t number = 0) {
    Match made = match(std::to_string(id), 100);
    made.recordingId = id;
    made.tags.title = title;
    made.tags.number = number;
    return made;
}

} // namespace

TEST(JsonHandler, AnswersWavAndPcmAndPacketsAlike) {
    JsonService service;
    service.catalogue.matches = {match("a", 93), match("b", 90)};
    service.catalogue.matches[0].companions = {"T-c"};
    const Reply wav = service.recognise(wavText());
    EXPECT_EQ(wav.status, 200) << wav.body;
    EXPECT_STREQ(wav.type, "application/json");
    EXPECT_EQ(Json::parse(wav.body), Json::parse(R"({"matches": [
                  {"track_id": "T-a", "title": "title a", "artist": "artist of title a", "album_id": "A-a",
                   "album": "album a", "confidence": 93, "offset_ms": 61000, "duration_ms": 183000,
                   "companions": ["T-c"]},
                  {"track_id": "T-b", "title": "title b", "artist": "artist of title b", "album_id": "A-b",
                   "album": "album b", "confidence": 90, "offset_ms": 61000, "duration_ms": 183000,
                   "companions": []}]})"));
    EXPECT_EQ(wav.report.kind, RequestKind::kJsonRecognise);
    EXPECT_EQ(wav.report.accountId, kAccountId);
    EXPECT_EQ(wav.report.answers, 2U);
    const auto codes = service.catalogue.lastQuery().codes;
    EXPECT_NE(codes[0], "");

    EXPECT_EQ(service.recognise(pcmText(), "application/octet-stream", {{"rate", "22050"}}).body, wav.body);
    EXPECT_EQ(service.catalogue.lastQuery().codes, codes);
    std::string swapped = pcmText();
    for (size_t i = 0; i + 1 < swapped.size(); i += 2) std::swap(swapped[i], swapped[i + 1]);
    EXPECT_EQ(service.recognise(swapped, "audio/L16;rate=22050").body, wav.body);
    EXPECT_EQ(service.catalogue.lastQuery().codes, codes);

    JsonHeader packet;
    packet.query.emplace();
    packet.contentType = "application/x-kvx-packet";
    const Reply ofPacket = service.ask(packet, textOf(fingerprintPacket(service.client.get(), 1)));
    EXPECT_EQ(Json::parse(ofPacket.body)["matches"].size(), 1U) << "as the packet's request option says";
    EXPECT_EQ(service.catalogue.lastQuery().codes, kCodes);
    EXPECT_EQ(ofPacket.report.accountId, kAccountId);
}

TEST(JsonHandler, SaysUnknownWithAnEmptyList) {
    JsonService service;
    const Reply reply = service.recognise(wavText());
    EXPECT_EQ(reply.body, "{\"matches\":[]}\n");
    EXPECT_EQ(reply.report.outcome, RequestOutcome::kNotFound);
}

TEST(JsonHandler, LeavesOutWhatIsNotKnownAndMakesTextsUtf8) {
    JsonService service;
    Match bare;
    bare.trackId = "T-1";
    bare.tags.title = "broken \xff\n";
    bare.tags.albumArtist = "album artist";
    bare.path = "/secret/path";
    service.catalogue.matches = {bare};
    EXPECT_EQ(service.recognise(wavText()).body,
              "{\"matches\":[{\"track_id\":\"T-1\",\"title\":\"broken \xEF\xBF\xBD\\n\",\"artist\":\"album artist\","
              "\"confidence\":0,\"offset_ms\":0,\"duration_ms\":0,\"companions\":[]}]}\n");
}

TEST(JsonHandler, RefusesABadRequest) {
    JsonService service;
    const std::string wav = wavText();
    const std::string pcm = pcmText();
    std::string badSignature = textOf(fingerprintPacket(service.client.get()));
    badSignature.back() = static_cast<char>(badSignature.back() ^ 1);
    const struct {
        const char* name;
        std::string body;
        std::string type;
        Parameters query;
        int status;
    } cases[] = {
        {"no media type", wav, "", {}, 415},
        {"another media type", wav, "audio/mpeg", {}, 415},
        {"no WAV file", pcm, "audio/wav", {}, 400},
        {"an empty body", "", "audio/wav", {}, 400},
        {"PCM without a rate", pcm, "application/octet-stream", {}, 400},
        {"L16 without a rate", pcm, "audio/L16", {}, 400},
        {"L16 with its rate in the query", pcm, "audio/L16", {{"rate", "22050"}}, 400},
        {"a low rate", pcm, "audio/L16; rate=8000", {}, 400},
        {"a rate of zero", pcm, "application/octet-stream", {{"rate", "0"}}, 400},
        {"three channels", pcm, "application/octet-stream", {{"rate", "22050"}, {"channels", "3"}}, 400},
        {"an unknown parameter", wav, "audio/wav", {{"limt", "1"}}, 400},
        {"a limit of 0", wav, "audio/wav", {{"limit", "0"}}, 400},
        {"a negative limit", wav, "audio/wav", {{"limit", "-1"}}, 400},
        {"a limit of 101", wav, "audio/wav", {{"limit", "101"}}, 400},
        {"too short", wavText({.lengthMs = 6999}), "audio/wav", {}, 422},
        {"empty PCM", "", "application/octet-stream", {{"rate", "22050"}}, 422},
        {"rubbish for a packet", "x", "application/x-kvx-packet", {}, 400},
        {"a bad signature", badSignature, "application/x-kvx-packet", {}, 401},
        {"a packet with a limit", badSignature, "application/x-kvx-packet", {{"limit", "1"}}, 400},
        {"a packet that asks for something else",
         textOf(itemsPacket(service.client.get(), {"T-a"})),
         "application/x-kvx-packet",
         {},
         422},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Reply reply = service.recognise(c.body, c.type, c.query);
        EXPECT_EQ(reply.status, c.status) << reply.body;
        EXPECT_STREQ(reply.type, "application/problem+json");
        EXPECT_EQ(Json::parse(reply.body)["status"], c.status);
        EXPECT_EQ(reply.report.kind, RequestKind::kJsonRecognise);
        EXPECT_EQ(reply.headers.size(), c.status == 401 ? 1U : 0U);
    }
    EXPECT_EQ(service.catalogue.asked, 0U);
}

TEST(JsonHandler, AsksForAnAccessCodeBeforeAnythingElse) {
    JsonService service;
    for (const JsonOperation operation :
         {JsonOperation::kRecognise, JsonOperation::kTrack, JsonOperation::kAlbum, JsonOperation::kRecordings}) {
        JsonHeader header = service.header(operation, {{"unknown", "1"}}, "T-a");
        header.authorization = "Bearer " + kvxtest::accessCode(3, 3, {}, 99);
        const Reply reply = service.ask(header);
        EXPECT_EQ(reply.status, 401);
        EXPECT_EQ(reply.report.outcome, RequestOutcome::kRefused);
        EXPECT_EQ(reply.report.accountId, std::nullopt);
    }
    EXPECT_EQ(service.catalogue.asked, 0U);
}

TEST(JsonHandler, ShowsATrackAndAnAlbumByTheirIds) {
    JsonService service;
    const Match first = numbered(5, "second on it", 2);
    Match second = numbered(9, "first on it", 1);
    second.albumId = first.albumId;
    second.tags.album = first.tags.album;
    second.tags.artist = first.tags.artist;
    service.catalogue.byId = {{first.trackId, {first}}, {first.albumId, {first, second}}, {"", {first}}};
    const auto get = [&](JsonOperation operation, const std::string& id) {
        return service.ask(service.header(operation, {}, id));
    };
    EXPECT_EQ(Json::parse(get(JsonOperation::kTrack, "T-5").body),
              Json::parse(R"({"id": 5, "track_id": "T-5", "title": "second on it", "artist": "artist of title 5",
                              "album_id": "A-5", "album": "album 5", "number": 2, "duration_ms": 183000})"));
    const Json album = Json::parse(get(JsonOperation::kAlbum, "A-5").body);
    EXPECT_EQ(album["album_id"], "A-5");
    EXPECT_EQ(album["album"], "album 5");
    EXPECT_EQ(album["album_artist"], "artist of title 5");
    ASSERT_EQ(album["tracks"].size(), 2U);
    EXPECT_EQ(album["tracks"][0]["title"], "first on it");
    EXPECT_EQ(album["tracks"][1]["title"], "second on it");

    EXPECT_EQ(get(JsonOperation::kTrack, "A-5").status, 404) << "the id of an album";
    EXPECT_EQ(get(JsonOperation::kAlbum, "T-5").status, 404) << "the id of a track";
    EXPECT_EQ(get(JsonOperation::kTrack, std::string("T-5\0", 4)).status, 404);
    EXPECT_EQ(get(JsonOperation::kAlbum, "").status, 404);
    EXPECT_EQ(get(JsonOperation::kTrack, std::string(10'000, 'x')).status, 404);
}

TEST(JsonHandler, ListsRecordingsPageByPage) {
    JsonService service;
    for (uint32_t id = 1; id <= 25; ++id)
        service.catalogue.recordings[id] = numbered(id, "Title " + std::to_string(id));
    const auto idsOf = [](const Json& page) {
        std::vector<uint32_t> ids;
        for (const Json& recording : page["recordings"]) ids.push_back(recording["id"].get<uint32_t>());
        return ids;
    };
    const Json first = service.list({});
    EXPECT_EQ(idsOf(first).size(), 20U);
    EXPECT_EQ(first["next_after"], 20);
    const Json last = service.list({{"after", "20"}});
    EXPECT_EQ(idsOf(last), (std::vector<uint32_t>{21, 22, 23, 24, 25}));
    EXPECT_FALSE(last.contains("next_after"));
    EXPECT_EQ(idsOf(service.list({{"query", "TITLE 1"}, {"limit", "100"}})),
              (std::vector<uint32_t>{1, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 21}))
        << "each word by itself";
    EXPECT_EQ(service.list({{"query", "nothing"}}), Json::parse(R"({"recordings": []})"));
    EXPECT_EQ(service.list({{"after", "4294967295"}}), Json::parse(R"({"recordings": []})"));
    for (const Parameters& bad : {Parameters{{"limit", "-1"}}, Parameters{{"limit", "101"}}, Parameters{{"after", "x"}},
                                  Parameters{{"after", "4294967296"}}, Parameters{{"query", "\xff"}},
                                  Parameters{{"query", std::string(201, 'x')}}, Parameters{{"path", "/"}}}) {
        EXPECT_EQ(service.ask(service.header(JsonOperation::kRecordings, bad)).status, 400) << bad[0].second;
    }
    JsonHeader unreadable = service.header(JsonOperation::kRecordings);
    unreadable.query.reset();
    EXPECT_EQ(service.ask(unreadable).status, 400);
}

// However little a request may look at, the requests after one another come to the end.
TEST(JsonHandler, BoundsASearchAndSaysWhereToGoOn) {
    JsonService service;
    service.catalogue.recordings[1] = numbered(1, "wanted");
    service.catalogue.recordings[5000] = numbered(5000, "wanted");
    for (const int timeMs : {0, 60'000}) {
        service.searchTime = std::chrono::milliseconds(timeMs);
        std::vector<uint32_t> ids;
        uint32_t after = 0;
        size_t requests = 0;
        for (bool more = true; more; ++requests) {
            const Json page = service.list({{"query", "wanted"}, {"after", std::to_string(after)}});
            for (const Json& recording : page["recordings"]) ids.push_back(recording["id"].get<uint32_t>());
            more = page.contains("next_after");
            if (!more) continue;
            EXPECT_GT(page["next_after"], after);
            EXPECT_LE(page["next_after"], after + 2000);
            after = page["next_after"].get<uint32_t>();
        }
        EXPECT_EQ(ids, (std::vector<uint32_t>{1, 5000}));
        EXPECT_GE(requests, 3U);
    }
}

TEST(JsonHandler, KeepsTheReasonOfAFailureFromTheClient) {
    JsonService service;
    const struct {
        std::function<void()> fail;
        int status;
        RequestOutcome outcome;
    } cases[] = {
        {[] { throw Unavailable("secret"); }, 503, RequestOutcome::kUnavailable},
        {[] { throw std::bad_alloc(); }, 503, RequestOutcome::kOverload},
        {[] { throw std::runtime_error("secret"); }, 500, RequestOutcome::kFailed},
    };
    for (const auto& c : cases) {
        service.catalogue.beforeAnswer = c.fail;
        for (const Reply& reply :
             {service.recognise(wavText()), service.ask(service.header(JsonOperation::kTrack, {}, "T")),
              service.ask(service.header(JsonOperation::kRecordings))}) {
            EXPECT_EQ(reply.status, c.status);
            EXPECT_EQ(reply.report.outcome, c.outcome);
            EXPECT_EQ(reply.body.find("secret"), std::string::npos);
        }
    }
}
