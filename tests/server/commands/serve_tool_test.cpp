// SPDX-License-Identifier: Apache-2.0
// The tool as a service: its options, and a catalogue that grows meanwhile.
#include "catalogue/catalogue.h"
#include "coding/query_coder.h"
#include "coding/recording_coder.h"
#include "demo/piece.h"
#include "ingest/record_builder.h"
#include "support/files.h"
#include "support/raw_client.h"
#include "support/server/accounts.h"
#include "support/service_process.h"

#include <gtest/gtest.h>

using namespace kvxtest;
using namespace tarn::server;

namespace {

class ToolService : public ServiceProcess {
  public:
    ToolService(const TemporaryDirectory& folder, const std::vector<std::string>& options)
        : ServiceProcess(wordsOf(folder, options)) {}

  private:
    static std::vector<std::string> wordsOf(const TemporaryDirectory& folder, const std::vector<std::string>& options) {
        std::vector<std::string> words = {TARN_SERVER_TOOL, "serve",      "--listen",   "127.0.0.1:0",
                                          "--catalogue",    folder / "c", "--accounts", folder / "accounts"};
        words.insert(words.end(), options.begin(), options.end());
        return words;
    }
};

// Adds a piece; the packet that asks for half a minute of it.
Bytes addPiece(CatalogueWriter& writer, KVXHandle* client, uint32_t seed) {
    constexpr int kRateHz = 22050;
    constexpr uint32_t kAskedMs = 31'000;
    const std::vector<int16_t> samples = tarn::demo::renderPiece(seed, 40, kRateHz, 1).samples;
    Recording recording;
    recording.contentHash = std::string(16, static_cast<char>('a' + seed)) + "0123";
    recording.durationMs = 40'000;
    recording.tags = tarn::demo::tagsOfPiece(1, seed);
    recording.codes = codeRecording(samples);
    fillRecords(recording);
    writer.put(recording);
    const FingerprintQuery query = codeQuery({samples.data(), kAskedMs / 1000 * size_t{kRateHz}}, kAskedMs);
    return fingerprintPacket(client, 10, query.codes);
}

} // namespace

TEST(ServeTool, FindsARecordingFromItsCommitOn) {
    const TemporaryDirectory folder;
    const Handle client = clientOf(addAccount(folder / "accounts"));
    const ToolService service(folder, {});
    const auto found = [&](const Bytes& packet) {
        return typesOf(recordsOf(client.get(), exchange(service.port(), postOf(packet)).body));
    };
    CatalogueWriter writer(folder / "c");
    const Bytes first = addPiece(writer, client.get(), 1);
    EXPECT_EQ(found(first), "N");
    writer.commit();
    EXPECT_EQ(found(first), "TA");
    const Bytes second = addPiece(writer, client.get(), 2);
    EXPECT_EQ(found(second), "N");
    writer.commit();
    EXPECT_EQ(found(second), "TA");
    writer.compact();
    EXPECT_EQ(found(first), "TA");
    EXPECT_EQ(found(second), "TA");
}

TEST(ServeTool, TakesItsLimitsFromTheCommandLine) {
    const TemporaryDirectory folder;
    const Handle client = clientOf(addAccount(folder / "accounts"));
    ToolService service(folder, {"--packet-bytes", "1024", "--request-seconds", "0.5", "--connections", "10",
                                 "--waiting", "3", "--waiting-seconds", "2", "--stopping-seconds", "3",
                                 "--trusted-proxy", "127.0.0.1", "--trusted-proxy", "::1"});
    EXPECT_EQ(exchange(service.port(), postOf(Bytes(1024))).status, 400); // no packet, but not too long
    EXPECT_EQ(exchange(service.port(), postOf(Bytes(1025))).status, 413);
    RawClient silent(service.port());
    ASSERT_TRUE(silent.send("POST /sdkrequest HTTP/1.1\r\n"));
    EXPECT_EQ(silent.readToEnd(), ""); // returns when the client's time is over
    exchange(service.port(), postOf(formOf(part("data", "x")), "X-Forwarded-For: 192.0.2.7\r\n"));
    service.terminate();
    EXPECT_EQ(service.wait(), 0);
    EXPECT_NE(service.log().find(" peer=192.0.2.7 "), std::string::npos) << service.log();
}

TEST(ServeTool, TakesSoManyConnectionsFromOneAddress) {
    const TemporaryDirectory folder;
    const ToolService service(folder, {"--connections-per-address", "2"});
    RawClient one(service.port());
    RawClient two(service.port());
    for (RawClient* held : {&one, &two}) {
        ASSERT_TRUE(held->send(getOf("/health")));
        ASSERT_TRUE(held->read().has_value());
    }
    RawClient three(service.port());
    three.send(getOf("/health"));
    EXPECT_EQ(three.readToEnd(), "");
}

TEST(ServeTool, RefusesLimitsThatMakeNoSense) {
    const char* const cases[][2] = {
        {"--connections", "0"},       {"--connections-per-address", "-1"},
        {"--packet-bytes", "10"},     {"--waiting", "0"},
        {"--request-seconds", "0"},   {"--waiting-seconds", "-2"},
        {"--stopping-seconds", "1d"}, {"--trusted-proxy", "example"},
        {"--audio-bytes", "10"},      {"--audio-bytes-at-once", "0"},
    };
    for (const auto& [option, value] : cases) {
        SCOPED_TRACE(option);
        const TemporaryDirectory folder;
        ToolService service(folder, {option, value});
        EXPECT_EQ(service.wait(), 64);
        EXPECT_NE(service.log().find(option), std::string::npos) << service.log();
    }
}
