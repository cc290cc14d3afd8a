// SPDX-License-Identifier: Apache-2.0
// PiecesAsked from a catalogue in a cluster of which a node is missing.
#include "catalogue/catalogue.h"
#include "coding/query_coder.h"
#include "coding/recording_coder.h"
#include "matching/catalogue_recogniser.h"
#include "support/melody.h"
#include "support/server/redis_cluster.h"
#include "support/server/sample_recording.h"

#include <gtest/gtest.h>

#include <map>

using namespace tarn::server;
using kvxtest::awaitOrThrow;
using kvxtest::melody;
using kvxtest::RedisCluster;

namespace {

constexpr uint32_t kPieces = 5;
constexpr uint32_t kRateHz = 22050;

const std::vector<int16_t>& soundOf(uint32_t piece) {
    static std::map<uint32_t, std::vector<int16_t>> sounds;
    std::vector<int16_t>& sound = sounds[piece];
    if (sound.empty()) sound = melody(piece, 40);
    return sound;
}

// Each is coded once for all tests.
const RecordingCodes& codesOf(uint32_t piece) {
    static std::map<uint32_t, RecordingCodes> codes;
    if (!codes.contains(piece)) codes.emplace(piece, codeRecording(soundOf(piece)));
    return codes.at(piece);
}

const FingerprintQuery& queryOf(uint32_t piece) {
    static std::map<uint32_t, FingerprintQuery> queries;
    if (!queries.contains(piece)) {
        const auto excerpt =
            std::span(soundOf(piece)).subspan(size_t{5} * kRateHz, size_t{30} * kRateHz + kRateHz / 10);
        queries.emplace(piece, codeQuery(excerpt, 30100));
    }
    return queries.at(piece);
}

struct Answers {
    uint32_t right = 0;
    uint32_t unavailable = 0;
    uint32_t nothing = 0; // or another piece
    bool operator==(const Answers&) const = default;
};

class PiecesAsked {
  public:
    explicit PiecesAsked(const std::string& location) : recogniser_(location) {
        CatalogueWriter writer(location);
        for (uint32_t piece = 1; piece <= kPieces; ++piece) {
            Recording recording = kvxtest::sampleRecording(piece);
            recording.codes = codesOf(piece);
            writer.put(recording);
        }
        writer.commit();
        for (uint32_t piece = 1; piece <= 2 * kPieces; ++piece) queries_.push_back(queryOf(piece));
    }

    Answers known() { return answers(0); }
    Answers unknown() { return answers(kPieces); }

  private:
    Answers answers(uint32_t first) {
        Answers answers;
        for (uint32_t i = 0; i < kPieces; ++i) {
            try {
                const std::vector<Match> matches = recogniser_.recognise(queries_[first + i], 1).matches;
                const bool right = !matches.empty() && matches[0].recordingId == first + i + 1;
                ++(right ? answers.right : answers.nothing);
            } catch (const Unavailable& error) {
                ++answers.unavailable;
                EXPECT_EQ(std::string(error.what()).find("hidden"), std::string::npos) << error.what();
            }
        }
        return answers;
    }

    CatalogueRecogniser recogniser_;
    std::vector<FingerprintQuery> queries_;
};

constexpr Answers kAllRight = {kPieces, 0, 0};
constexpr Answers kNoneThere = {0, 0, kPieces};

} // namespace

TEST(RedisRecogniser, AnswersAllTheTimeWhileReplicasTakeOver) {
    RedisCluster cluster(3, 3);
    PiecesAsked recognition(cluster.location() + "?timeout=300&cache=0");
    ASSERT_EQ(recognition.known(), kAllRight);
    ASSERT_EQ(recognition.unknown(), kNoneThere);
    cluster.master(0).kill();
    EXPECT_EQ(recognition.known(), kAllRight);
    EXPECT_EQ(recognition.unknown(), kNoneThere);
    awaitOrThrow("the replica takes over", [&] { return cluster.replica(0).field({"INFO"}, "role") == "master"; });
    cluster.master(1).freeze();
    EXPECT_EQ(recognition.known(), kAllRight);
    EXPECT_EQ(recognition.unknown(), kNoneThere);
    awaitOrThrow("the replica takes over", [&] { return cluster.replica(1).field({"INFO"}, "role") == "master"; });
    EXPECT_EQ(recognition.known(), kAllRight);
    EXPECT_EQ(recognition.unknown(), kNoneThere);
    cluster.master(1).thaw();
    EXPECT_EQ(recognition.known(), kAllRight);
}

TEST(RedisRecogniser, NeverSaysThatAPieceIsUnknownWhileANodeWithoutAReplicaIsMissing) {
    RedisCluster cluster(3);
    std::string location = cluster.location() + "?timeout=300&cache=0";
    location.insert(location.find("//") + 2, "default:hidden@"); // any password is good for this user
    PiecesAsked recognition(location);
    ASSERT_EQ(recognition.known(), kAllRight);
    cluster.master(1).freeze();
    for (int round = 0; round < 2; ++round) {
        const Answers known = recognition.known();
        EXPECT_EQ(known.nothing, 0U);
        EXPECT_EQ(known.right + known.unavailable, kPieces);
        EXPECT_EQ(recognition.unknown(), (Answers{0, kPieces, 0}));
    }
    cluster.master(1).thaw();
    awaitOrThrow("all is answered again", [&] { return recognition.known() == kAllRight; });
    awaitOrThrow("all is answered again", [&] { return recognition.unknown() == kNoneThere; });
}
