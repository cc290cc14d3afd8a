// SPDX-License-Identifier: Apache-2.0
// The JSON interface of the program, over a catalogue and accounts that the program made.
#include "demo/audio_writer.h"
#include "support/files.h"
#include "support/server/accounts.h"
#include "support/server/json_requests.h"
#include "support/server/server_program.h"
#include "support/service_process.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace kvxtest;
using Json = nlohmann::json;
namespace demo = tarn::demo;

namespace {

constexpr int kRateHz = 22050;

Ended runServer(std::vector<std::string> words) {
    words.insert(words.begin(), serverProgram());
    return runProgram(std::move(words));
}

void writePiece(const TemporaryDirectory& folder, uint32_t piece, const std::string& album) {
    const std::string file = folder.file("piece" + std::to_string(piece) + ".wav");
    demo::writeSound(file, demo::renderPiece(piece, 45, kRateHz, 1), demo::FileFormat::kWav);
    tarn::server::Tags tags;
    tags.title = "Title " + std::to_string(piece);
    tags.artist = "Artist";
    tags.album = album;
    tags.number = 9 - piece;
    demo::writeTags(file, tags);
}

// Raw samples of a piece, from a second on.
std::string samplesOf(uint32_t piece, size_t fromSecond) {
    const demo::Sound sound = demo::renderPiece(piece, 45, kRateHz, 1);
    std::string bytes;
    for (size_t i = kRateHz * fromSecond; i < sound.samples.size(); ++i) {
        bytes.push_back(static_cast<char>(sound.samples[i]));
        bytes.push_back(static_cast<char>(sound.samples[i] >> 8));
    }
    return bytes;
}

} // namespace

TEST(JsonService, RecognisesAndShowsWhatTheCatalogueHolds) {
    const TemporaryDirectory folder;
    const std::string catalogue = (folder / "catalogue").string();
    for (const uint32_t piece : {1U, 2U}) writePiece(folder, piece, "Album");
    for (const uint32_t piece : {1U, 2U}) {
        const std::string file = folder.file("piece" + std::to_string(piece) + ".wav");
        ASSERT_EQ(runServer({"add", "--catalogue", catalogue, file}).status, 0);
    }
    const std::string account = bearer(addAccount(folder / "accounts"));
    ServiceProcess service({serverProgram(), "serve", "--listen", "127.0.0.1:0", "--catalogue", catalogue, "--accounts",
                            (folder / "accounts").string(), "--audio-bytes", "2000000"});
    const auto ask = [&](const std::string& request) {
        const HttpAnswer answer = exchange(service.port(), request);
        EXPECT_EQ(answer.status, 200) << answer.body;
        return Json::parse(answer.body);
    };
    const auto recognise = [&](const std::string& samples) {
        return ask(recogniseRequest(samples, account, "application/octet-stream", "?rate=22050"))["matches"];
    };
    const Json matches = recognise(samplesOf(2, 10));
    ASSERT_EQ(matches.size(), 1U);
    EXPECT_EQ(matches[0]["title"], "Title 2");
    EXPECT_EQ(matches[0]["artist"], "Artist");
    EXPECT_EQ(matches[0]["album"], "Album");
    EXPECT_EQ(matches[0]["duration_ms"], 45000);
    EXPECT_NEAR(matches[0]["offset_ms"].get<int>(), 10'000, 500);
    EXPECT_GE(matches[0]["confidence"].get<int>(), 90);
    EXPECT_EQ(recognise(samplesOf(7, 0)).size(), 0U) << "it is not in the catalogue";

    const std::string trackId = matches[0]["track_id"].get<std::string>();
    const Json track = ask(jsonRequest("GET", "/v1/tracks/" + trackId, account));
    EXPECT_EQ(track["title"], "Title 2");
    EXPECT_EQ(track["number"], 7);
    const Json album = ask(jsonRequest("GET", "/v1/albums/" + matches[0]["album_id"].get<std::string>(), account));
    ASSERT_EQ(album["tracks"].size(), 2U);
    EXPECT_EQ(album["tracks"][0], track);
    const Json found = ask(jsonRequest("GET", "/v1/recordings?query=title+2", account));
    EXPECT_EQ(found, (Json{{"recordings", {track}}}));
    const Json first = ask(jsonRequest("GET", "/v1/recordings?limit=1", account));
    EXPECT_EQ(first["recordings"][0]["title"], "Title 1");
    EXPECT_EQ(first["next_after"], first["recordings"][0]["id"]);

    EXPECT_EQ(exchange(service.port(), jsonRequest("GET", "/v1/recordings")).status, 401);
    EXPECT_EQ(exchange(service.port(), recogniseRequest(std::string(2'000'001, 'x'), account)).status, 413);
    service.terminate();
    EXPECT_EQ(service.wait(), 0);
    EXPECT_EQ(service.log().find(account.substr(40, 40)), std::string::npos) << "a key in the log";
}
