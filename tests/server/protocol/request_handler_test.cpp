// SPDX-License-Identifier: Apache-2.0
#include "protocol/request_handler.h"
#include "server/protocol/handled_requests.h"
#include "support/packet_assembler.h"
#include "support/protocol_client.h"
#include "support/server/fake_catalogue.h"

#include <gtest/gtest.h>

using namespace kvxtest;
using namespace tarn::server;

TEST(RequestHandler, AnswersAFingerprintWithTracksAndThenTheirAlbums) {
    Service service;
    service.catalogue.matches = {match("a", 97), match("b", 61)};
    const Reply reply = service.ask(fingerprintPacket(service.client.get()));
    EXPECT_EQ(reply.status, 200);
    ASSERT_EQ(typesOf(service.records(reply)), "TTAA");
    EXPECT_EQ(service.catalogue.lastQuery().codes, kCodes);

    Track* track = nullptr;
    ASSERT_EQ(KVXGetTrack(service.client.get(), 1, &track), 0);
    EXPECT_EQ(text(track->trackId), "T-a");
    EXPECT_EQ(text(track->title), "title a");
    EXPECT_EQ(text(track->artists[0].property), "artist of title a");
    KVXFreeTrack(&track);
    const std::pair<int32_t, int> confidences[] = {{3, 97}, {4, 61}};
    for (const auto& [index, confidence] : confidences) {
        Album* album = nullptr;
        ASSERT_EQ(KVXGetAlbum(service.client.get(), index, &album), 0);
        EXPECT_EQ(album->confidence, confidence);
        KVXFreeAlbum(&album);
    }
    ASSERT_TRUE(reply.report.best);
    EXPECT_EQ(reply.report.best->confidence, 97);
    EXPECT_EQ(reply.report.best->recordingId, 12U);
    EXPECT_EQ(reply.report.best->offsetMs, 61000U);
    EXPECT_EQ(reply.report.answers, 2U);
    EXPECT_EQ(reply.report.candidates, 5U);
}

TEST(RequestHandler, TellsTheConfidenceOfATrackWithoutAlbum) {
    Service service;
    service.catalogue.matches = {match("a", 77)};
    service.catalogue.matches[0].albumBlob.clear();
    const Reply reply = service.ask(fingerprintPacket(service.client.get()));
    ASSERT_EQ(typesOf(service.records(reply)), "TA");
    Album* album = nullptr;
    ASSERT_EQ(KVXGetAlbum(service.client.get(), 2, &album), 0);
    EXPECT_EQ(album->confidence, 77);
    EXPECT_EQ(album->title, nullptr);
    KVXFreeAlbum(&album);
}

TEST(RequestHandler, AnswersNotFoundWithOneRecordThatTheClientTakes) {
    Service service;
    for (const Bytes& packet :
         {fingerprintPacket(service.client.get()), itemsPacket(service.client.get(), {"T-unknown"})}) {
        const Reply reply = service.ask(packet);
        EXPECT_EQ(reply.status, 200);
        EXPECT_EQ(typesOf(service.records(reply)), "N");
        EXPECT_EQ(kvxtest::hexDump(kvxtest::bytesOf(reply.body)), "0000: 4e 01 00 00 00 00");
        EXPECT_EQ(reply.report.outcome, RequestOutcome::kNotFound);
    }
}

TEST(RequestHandler, BoundsTheAnswersByTheRequestOption) {
    const struct {
        uint16_t option;
        size_t most;
    } cases[] = {{0, 10}, {1, 1}, {2, 2}, {99, 99}, {100, 100}, {101, 100}, {0xffff, 100}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.option);
        Service service;
        service.catalogue.matches.assign(150, match("a", 90));
        const Reply reply = service.ask(fingerprintPacket(service.client.get(), c.option));
        EXPECT_EQ(typesOf(service.records(reply)), std::string(c.most, 'T') + std::string(c.most, 'A'));
        EXPECT_EQ(service.catalogue.lastMost(), c.most);
    }
}

TEST(RequestHandler, AnswersIdsWithTheirAlbums) {
    Service service;
    service.catalogue.byId = {{"T-a", {match("a", 100)}}, {"T-b", {match("b", 100)}}, {"A-a", {match("a", 100)}}};
    const auto titles = [&](const Bytes& packet) {
        const Reply reply = service.ask(packet);
        std::string found;
        const auto records = service.records(reply);
        for (size_t i = 0; i < records.value().size(); ++i) {
            Album* album = nullptr;
            if (KVXGetAlbum(service.client.get(), static_cast<int32_t>(i + 1), &album) != 0) return typesOf(records);
            found += text(album->title) + " " + std::to_string(album->confidence) + ";";
            KVXFreeAlbum(&album);
        }
        return found;
    };
    KVXHandle* client = service.client.get();
    EXPECT_EQ(titles(itemsPacket(client, {"T-a"})), "album a 100;");
    EXPECT_EQ(titles(itemsPacket(client, {"A-a"})), "album a 100;");
    EXPECT_EQ(titles(itemsPacket(client, {"T-?", "", "T-b", "T-a"}, 'A', 10)), "album b 100;album a 100;");
    EXPECT_EQ(titles(itemsPacket(client, {"T-b", "T-a"}, 'A', 1)), "album b 100;");
    EXPECT_EQ(titles(itemsPacket(client, {"T-a", "A-a"}, 'A', 10)), "album a 100;"); // the same album once
    EXPECT_EQ(titles(itemsPacket(client, {"T-a"}, 'D')), "N");
}

TEST(RequestHandler, AnswersIdsWithTheirTracksWhenTheseAreAskedFor) {
    Service service;
    service.catalogue.byId = {{"T-a", {match("a", 100)}}};
    const Reply reply = service.ask(itemsPacket(service.client.get(), {"T-a"}, 'T'));
    ASSERT_EQ(typesOf(service.records(reply)), "T");
}

TEST(RequestHandler, LooksUpEachIdOnce) {
    Service service;
    service.catalogue.byId = {{"A-a", {match("a", 100)}}, {"A-b", {match("b", 100)}}};
    std::vector<std::string> ids(50, "A-a");
    ids.insert(ids.end(), 50, "A-b");
    const Reply reply = service.ask(itemsPacket(service.client.get(), ids, 'A', 100));
    EXPECT_EQ(typesOf(service.records(reply)), "AA");
    EXPECT_EQ(service.catalogue.asked, 2U);
}

// Reading a recording is what such a request costs, and a request may ask for the same ones under many ids, or for
// tracks that look alike once the fields that it may not have are gone.
TEST(RequestHandler, ReadsABoundedNumberOfRecordingsForARequest) {
    const struct {
        const char* name;
        uint8_t kind;
        size_t recordingsOfAnId;
        size_t mostRead;
    } cases[] = {{"albums", 'A', 100, 60}, {"tracks", 'T', 100, 100}, {"tracks of two", 'T', 2, 100}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Service service;
        std::vector<std::string> ids;
        for (int i = 0; i < 60; ++i) {
            ids.push_back("id " + std::to_string(i));
            service.catalogue.byId[ids.back()].assign(c.recordingsOfAnId, match("the same", 100));
        }
        const Reply reply = service.ask(itemsPacket(service.client.get(), ids, c.kind, 100));
        EXPECT_EQ(typesOf(service.records(reply)), std::string(1, static_cast<char>(c.kind)));
        EXPECT_EQ(service.catalogue.read, c.mostRead);
    }
}

TEST(RequestHandler, HasNoAlbumForATrackWithoutOne) {
    Service service;
    service.catalogue.byId = {{"T-a", {match("a", 100)}}};
    service.catalogue.byId["T-a"][0].albumBlob.clear();
    EXPECT_EQ(typesOf(service.records(service.ask(itemsPacket(service.client.get(), {"T-a"})))), "N");
}

TEST(RequestHandler, SendsOnlyWhatThePermissionBitsAllow) {
    Service service;
    service.catalogue.matches = {match("a", 90)};
    std::array<uint8_t, KVX_TRACK_MASK_ENTRIES> trackMask;
    trackMask.fill(1);
    trackMask[3] = 0;
    std::array<uint8_t, KVX_ALBUM_MASK_ENTRIES> albumMask{};
    albumMask[1] = 1;
    KVXSetTrackMask(service.client.get(), trackMask.data());
    KVXSetAlbumMask(service.client.get(), albumMask.data());
    const Reply reply = service.ask(fingerprintPacket(service.client.get()));
    ASSERT_EQ(typesOf(service.records(reply)), "TA");
    Track* track = nullptr;
    ASSERT_EQ(KVXGetTrack(service.client.get(), 1, &track), 0);
    EXPECT_EQ(track->short3, 0);
    EXPECT_EQ(track->short4, 1004);
    EXPECT_EQ(text(track->title), "title a");
    KVXFreeTrack(&track);
    Album* album = nullptr;
    ASSERT_EQ(KVXGetAlbum(service.client.get(), 2, &album), 0);
    EXPECT_EQ(album->albumId, nullptr);
    EXPECT_EQ(text(album->title), "album a");
    EXPECT_EQ(album->artist, nullptr);
    EXPECT_EQ(album->confidence, 90);
    KVXFreeAlbum(&album);
}

TEST(RequestHandler, GivesAnIdentityThatTheClientTakes) {
    Service service({.deviceId = ""});
    KVXHandle* client = service.client.get();
    const auto identity = [&] {
        uint8_t id[16];
        EXPECT_EQ(KVXGetID(client, id), 0);
        return std::string(id, id + 16);
    };
    Reply reply = service.ask(identityPacket(client));
    ASSERT_EQ(typesOf(service.records(reply)), "G");
    ASSERT_EQ(KVXSetID(client), 0);
    const std::string first = identity();
    EXPECT_EQ(first, "identity 1000000");

    // Presented again it stays.
    reply = service.ask(identityPacket(client, first));
    ASSERT_EQ(typesOf(service.records(reply)), "G");
    ASSERT_EQ(KVXSetID(client), 0);
    EXPECT_EQ(identity(), first);

    service.identitiesLeft = false;
    EXPECT_EQ(typesOf(service.records(service.ask(identityPacket(client)))), "N");
}

TEST(RequestHandler, ClosesTheConnectionForAClientThatTakesEverythingOnIt) {
    Service bare;
    EXPECT_FALSE(bare.ask(identityPacket(bare.client.get())).closeConnection);
    Service http({.responseFraming = 'H'});
    EXPECT_TRUE(http.ask(identityPacket(http.client.get())).closeConnection);
    // Of a packet that is refused nobody knows what its client takes.
    EXPECT_TRUE(bare.ask(kvxtest::bytesOf("rubbish")).closeConnection);
}

TEST(RequestHandler, ReportsTheLanguageInLettersOrDigits) {
    Service service;
    Reply reply = service.ask(itemsPacket(service.client.get(), {"T"}));
    EXPECT_EQ(reply.report.language, "en");
    EXPECT_EQ(reply.report.clientKind, "S");
    EXPECT_EQ(reply.report.accountId, kAccountId);
    reply = service.ask(identityPacket(service.client.get()));
    EXPECT_EQ(reply.report.language, "0000");
    EXPECT_EQ(reply.report.kind, RequestKind::kIdentity);
}
