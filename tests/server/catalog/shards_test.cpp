// SPDX-License-Identifier: Apache-2.0
#include "catalog/folder.h"
#include "catalog/shards.h"
#include "catalog/terms.h"
#include "database_server.h"
#include "sample_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <xapian.h>

using namespace tarn::server;
using kvxtest::DatabaseServer;
using kvxtest::freePort;
using kvxtest::openedReader;
using kvxtest::sampleRecording;
using kvxtest::TemporaryDirectory;
using ::testing::HasSubstr;

namespace {

std::string stub(const TemporaryDirectory& folder, const std::string& text) {
    std::string path = folder.file("stub");
    std::ofstream(path) << text;
    return path;
}

std::vector<WeightedTerm> termsOf(const Recording& recording) {
    std::set<std::string> texts;
    for (const auto& phase : recording.codes) {
        for (size_t c = 0; c < kCodebooks; ++c) {
            for (const Gram& gram : gramsOf(phase[c].letters)) texts.insert(gramTerm(c, gram.value));
        }
    }
    std::vector<WeightedTerm> terms;
    terms.reserve(texts.size());
    uint32_t weight = 1;
    for (const std::string& text : texts) terms.push_back({text, weight++ % 50 + 1});
    return terms;
}

// Content hashes and scores of the best, which do not depend on how the ids are given.
std::multimap<uint32_t, std::string> answers(CatalogReader& reader, const std::vector<WeightedTerm>& terms) {
    std::multimap<uint32_t, std::string> found;
    for (const ScoredRecording& scored : reader.best(terms, 1000)) {
        found.emplace(scored.score, reader.recording(scored.id)->contentHash);
    }
    return found;
}

std::set<std::string> texts(const std::multimap<uint32_t, std::string>& answers) {
    std::set<std::string> all;
    for (const auto& [score, hash] : answers) all.insert(std::to_string(score) + " " + hash);
    return all;
}

} // namespace

TEST(ShardLocations, AreAFolderOrTheLinesOfAStub) {
    const TemporaryDirectory folder;
    ASSERT_EQ(shardsOf(folder / "anything").size(), 1U);
    EXPECT_EQ(shardsOf(folder / "anything")[0].folder, folder / "anything");
    const auto shards =
        shardsOf(stub(folder, "# three\n\nfolder a b\nfolder /c\nremote some.host:1234\nwritable other:5\n"));
    ASSERT_EQ(shards.size(), 4U);
    EXPECT_EQ(shards[0].folder, folder / "a b");
    EXPECT_EQ(shards[1].folder, "/c");
    EXPECT_EQ(shards[2].folder, "");
    EXPECT_EQ(shards[2].host, "some.host");
    EXPECT_EQ(shards[2].port, 1234U);
    EXPECT_FALSE(shards[2].writable);
    EXPECT_EQ(shards[3].host, "other");
    EXPECT_TRUE(shards[3].writable);
}

TEST(ShardLocations, NameTheLineThatIsWrong) {
    const struct {
        const char* text;
        const char* message;
    } cases[] = {
        {"", "names no shard"},
        {"# nothing\n", "names no shard"},
        {"folder a\nfolder\n", "line 2"},
        {"disk a\n", "line 1"},
        {"remote host\n", "HOST:PORT"},
        {"remote host:\n", "HOST:PORT"},
        {"writable host\n", "\"writable\" wants"},
        {"remote :80\n", "HOST:PORT"},
        {"remote host:65536\n", "HOST:PORT"},
        {"remote host:8x\n", "HOST:PORT"},
    };
    const TemporaryDirectory folder;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        try {
            shardsOf(stub(folder, c.text));
            ADD_FAILURE() << "accepted";
        } catch (const CatalogError& error) {
            EXPECT_THAT(error.what(), HasSubstr(c.message));
        }
    }
}

TEST(Shards, NumberRecordingsInTurn) {
    const ShardNumbering numbering{3};
    for (uint32_t id = 1; id < 100; ++id) EXPECT_EQ(numbering.whole(numbering.local(id), numbering.shard(id)), id);
    EXPECT_EQ(numbering.whole(1, 0), 1U);
    EXPECT_EQ(numbering.whole(1, 2), 3U);
    EXPECT_EQ(numbering.whole(2, 0), 4U);
}

TEST(Shards, OnDiskAnswerAsOneDatabase) {
    const TemporaryDirectory folder;
    const std::string sharded = stub(folder, "folder s0\nfolder s1\nfolder s2\n");
    for (const std::string& location : {sharded, folder.file("one")}) {
        CatalogWriter writer(location);
        for (uint32_t n = 1; n <= 60; ++n) {
            writer.put(sampleRecording(n));
            writer.rememberFile("/f" + std::to_string(n), n, n, "hash" + std::to_string(n));
        }
        EXPECT_EQ(writer.put(sampleRecording(7, "Again")), CatalogWriter::Outcome::kUpdated);
        writer.commit();
        EXPECT_TRUE(writer.isKnownFile("/f9", 9, 9));
    }
    CatalogReader one(folder / "one");
    CatalogReader three(sharded);
    EXPECT_EQ(three.recordingCount(), 60U);
    EXPECT_EQ(three.check(), std::vector<std::string>{});
    for (int shard = 0; shard < 3; ++shard) {
        EXPECT_GT(CatalogReader(folder / ("s" + std::to_string(shard))).recordingCount(), 8U);
    }
    for (uint32_t n = 1; n <= 60; n += 7) {
        const auto terms = termsOf(sampleRecording(n));
        EXPECT_EQ(texts(answers(three, terms)), texts(answers(one, terms)));
        for (size_t i = 0; i < terms.size(); i += 50) {
            EXPECT_EQ(three.frequency(terms[i].term), one.frequency(terms[i].term));
        }
        const auto ids = three.byTrackId("T-" + std::to_string(n));
        ASSERT_EQ(ids.size(), 1U);
        EXPECT_EQ(three.recording(ids[0])->contentHash, "hash" + std::to_string(n));
    }
    CatalogWriter writer(sharded);
    const uint32_t id = three.byTrackId("T-30").at(0);
    EXPECT_TRUE(writer.remove(id));
    writer.compact();
    three.refresh();
    EXPECT_EQ(three.recordingCount(), 59U);
    EXPECT_EQ(three.recording(id), std::nullopt);
}

TEST(Shards, BehindSocketsAnswerAsOneDatabase) {
    const TemporaryDirectory folder;
    const std::string local = stub(folder, "folder s0\nfolder s1\nfolder s2\n");
    for (const std::string& location : {local, folder.file("one")}) {
        CatalogWriter writer(location);
        for (uint32_t n = 1; n <= 61; ++n) writer.put(sampleRecording(n));
        writer.compact();
        EXPECT_TRUE(writer.remove(CatalogReader(location).byTrackId("T-61").at(0)));
        writer.compact(); // it stays in its main database, hidden
    }
    std::vector<std::unique_ptr<DatabaseServer>> servers;
    std::vector<uint16_t> ports;
    std::string lines;
    const auto database = [&](size_t s) {
        const CatalogFolder shard(folder.file("s" + std::to_string(s)));
        return shard.mainOf(shard.current().value()).string();
    };
    for (size_t s = 0; s < 3; ++s) {
        ports.push_back(freePort());
        servers.push_back(std::make_unique<DatabaseServer>(database(s), ports[s]));
        lines += "remote 127.0.0.1:" + std::to_string(ports[s]) + "\n";
    }
    const std::string remote = folder / "remote";
    std::ofstream(remote) << lines;
    EXPECT_THROW(CatalogWriter{remote}, CatalogError); // written where it is stored

    const std::unique_ptr<CatalogReader> reader = openedReader(remote);
    CatalogReader one(folder / "one");
    EXPECT_EQ(reader->recordingCount(), 60U);
    const auto terms = termsOf(sampleRecording(11));
    const auto expected = texts(answers(one, terms));
    EXPECT_EQ(texts(answers(*reader, terms)), expected);
    const auto ofHidden = reader->best(termsOf(sampleRecording(61)), 1);
    ASSERT_EQ(ofHidden.size(), 1U); // another, which shares a gram or two
    EXPECT_TRUE(reader->recording(ofHidden[0].id).has_value());
    for (size_t i = 0; i < terms.size(); i += 20) {
        EXPECT_EQ(reader->frequency(terms[i].term), one.frequency(terms[i].term));
    }

    servers[1]->freeze();
    EXPECT_THROW(reader->best(terms, 10), CatalogUnavailable);
    servers[1]->thaw();
    EXPECT_EQ(texts(answers(*openedReader(remote), terms)), expected);

    servers[1]->stop();
    EXPECT_THROW(
        {
            reader->refresh();
            reader->best(terms, 10);
        },
        CatalogUnavailable);
    servers[1] = std::make_unique<DatabaseServer>(database(1), ports[1]);
    EXPECT_EQ(texts(answers(*openedReader(remote), terms)), expected);
}

namespace {

// A stub of two writable databases behind sockets and a folder.
class WritableShards {
  public:
    explicit WritableShards(const TemporaryDirectory& folder) : folder_(folder) {
        { const CatalogWriter made(folder / "s0"); }
        std::string lines = "folder s0\n";
        for (size_t s = 0; s < kServers; ++s) {
            ports_.push_back(freePort());
            servers_.push_back(nullptr);
            start(s);
            lines += "writable 127.0.0.1:" + std::to_string(ports_[s]) + "\n";
        }
        location = stub(folder, lines);
        openedReader(location); // waits for both
    }
    void kill(size_t s) { servers_[s].reset(); }
    void start(size_t s) {
        servers_[s] = std::make_unique<DatabaseServer>(folder_.file("db" + std::to_string(s)), ports_[s], true);
    }

    std::string location;

  private:
    static constexpr size_t kServers = 2;
    const TemporaryDirectory& folder_;
    std::vector<uint16_t> ports_;
    std::vector<std::unique_ptr<DatabaseServer>> servers_;
};

} // namespace

TEST(WritableShards, AreWrittenThroughTheirSockets) {
    const TemporaryDirectory folder;
    const WritableShards shards(folder);
    const auto reader = openedReader(shards.location);
    {
        CatalogWriter writer(shards.location);
        CatalogWriter one(folder / "one");
        for (uint32_t n = 1; n <= 60; ++n) {
            EXPECT_EQ(writer.put(sampleRecording(n)), CatalogWriter::Outcome::kAdded);
            one.put(sampleRecording(n));
            writer.rememberFile("/f" + std::to_string(n), n, n, "hash" + std::to_string(n));
        }
        one.commit();
        reader->refresh();
        EXPECT_EQ(reader->recordingCount(), 0U);
        writer.commit();
        reader->refresh();
        EXPECT_EQ(reader->recordingCount(), 60U);
        EXPECT_THROW(CatalogWriter{shards.location}, CatalogError); // there is one writer

        EXPECT_EQ(writer.put(sampleRecording(7, "Again")), CatalogWriter::Outcome::kUpdated);
        const uint32_t id = reader->byTrackId("T-8").at(0);
        EXPECT_TRUE(writer.remove(id));
        EXPECT_FALSE(writer.remove(id));
        writer.compact();
        writer.put(sampleRecording(99)); // never committed
        one.put(sampleRecording(7, "Again"));
        CatalogReader before(folder / "one");
        EXPECT_TRUE(one.remove(before.byTrackId("T-8").at(0)));
        one.commit();
    }
    const auto again = openedReader(shards.location);
    EXPECT_EQ(again->recordingCount(), 59U);
    EXPECT_EQ(again->recording(again->byTrackId("T-7").at(0))->tags.title, "Again");
    EXPECT_TRUE(again->byTrackId("T-8").empty());
    EXPECT_EQ(again->check(), std::vector<std::string>{});
    CatalogReader one(folder / "one");
    for (const uint32_t n : {1U, 7U, 33U, 60U}) {
        const auto terms = termsOf(sampleRecording(n));
        EXPECT_EQ(texts(answers(*again, terms)), texts(answers(one, terms)));
    }
    for (const char* database : {"db0", "db1", "s0/generation-2/main"}) {
        EXPECT_GT(Xapian::Database(folder.file(database)).get_doccount(), 8U) << database;
    }
    CatalogWriter later(shards.location);
    EXPECT_TRUE(later.isKnownFile("/f9", 9, 9));
    EXPECT_FALSE(later.isKnownFile("/f8", 8, 8)); // removed
}

TEST(WritableShards, LoseNothingCommittedWhenAServerDies) {
    const TemporaryDirectory folder;
    WritableShards shards(folder);
    {
        CatalogWriter writer(shards.location);
        for (uint32_t n = 1; n <= 30; ++n) writer.put(sampleRecording(n));
        writer.commit();
        shards.kill(1);
        EXPECT_THROW(
            {
                for (uint32_t n = 31; n <= 60; ++n) writer.put(sampleRecording(n));
                writer.commit();
            },
            CatalogError);
    }
    shards.start(1);
    const auto reader = openedReader(shards.location);
    for (uint32_t n = 1; n <= 30; ++n) EXPECT_EQ(reader->byTrackId("T-" + std::to_string(n)).size(), 1U) << n;
    CatalogWriter writer(shards.location);
    for (uint32_t n = 1; n <= 60; ++n) writer.put(sampleRecording(n)); // what was lost comes back, nothing doubles
    writer.commit();
    reader->refresh();
    EXPECT_EQ(reader->recordingCount(), 60U);
    EXPECT_EQ(reader->check(), std::vector<std::string>{});
}
