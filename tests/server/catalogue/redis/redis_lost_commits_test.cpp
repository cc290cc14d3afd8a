// SPDX-License-Identifier: Apache-2.0
// A catalogue in a cluster of which a node lost the last commits, as when a replica took over that did not have them.
#include "catalogue/catalogue.h"
#include "catalogue/keys.h"
#include "catalogue/redis/keys.h"
#include "matching/catalogue_recogniser.h"
#include "server/catalogue/catalogue_suite.h"
#include "server/catalogue/redis/shared_servers.h"
#include "support/server/redis_cluster.h"
#include "support/server/sample_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace kvxtest::shared_servers;
using namespace tarn::server;
using kvxtest::awaitOrThrow;
using kvxtest::nearest;
using kvxtest::RedisCluster;
using kvxtest::RedisServer;
using kvxtest::sampleRecording;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

constexpr uint32_t kKept = 6; // recordings of the first commit

// What a server has of one catalogue.
class Snapshot {
  public:
    Snapshot(const RedisServer& server, std::string name)
        : server_(server), name_(std::move(name)), texts_(textsNow()) {}

    // The server has it again, and nothing else; connections end.
    void bringBack() const {
        for (const auto& [key, text] : textsNow()) {
            if (!texts_.contains(key)) server_.ask({"DEL", key});
        }
        for (const auto& [key, text] : texts_) server_.ask({"SET", key, text});
        server_.ask({"CLIENT", "KILL", "TYPE", "normal"});
    }

  private:
    std::map<std::string, std::string> textsNow() const {
        std::map<std::string, std::string> texts;
        const kvxtest::RedisReply keys = server_.ask({"KEYS", name_ + "*"});
        for (size_t i = 0; i < keys->elements; ++i) {
            const std::string key(keys->element[i]->str, keys->element[i]->len);
            const bool isOfAnother = std::isdigit(static_cast<unsigned char>(key[name_.size()])) != 0;
            if (!isOfAnother && !key.ends_with("!lock")) texts[key] = server_.text({"GET", key});
        }
        return texts;
    }

    const RedisServer& server_;
    std::string name_;
    std::map<std::string, std::string> texts_;
};

void add(CatalogueWriter& writer, uint32_t number) {
    const std::string path = "/music/" + std::to_string(number);
    if (writer.isKnownFile(path, number, 0)) return;
    writer.put(sampleRecording(number));
    writer.rememberFile(path, number, 0, "hash" + std::to_string(number));
}

void addUpTo(const std::string& location, uint32_t last) {
    CatalogueWriter writer(location);
    for (uint32_t number = 1; number <= last; ++number) add(writer, number);
    writer.commit();
}

// In the shared cluster, with two commits, of which a node loses the second.
class LostCommits : public ::testing::TestWithParam<bool> {
  protected:
    LostCommits() {
        addUpTo(location_, kKept);
        before_.emplace(server(), name_.substr(1));
        // The last id is on the node that has the state, so that this one does not know of any of the new ids.
        while (ownerOf(recordingKey(added_)) != ownerOf(kStateKey)) ++added_;
    }
    RedisServer& server() const {
        const size_t ofState = ownerOf(kStateKey);
        return sharedCluster().master(GetParam() ? ofState : (ofState + 1) % sharedCluster().masters());
    }
    void lose() { before_->bringBack(); }

    std::string name_ = freshName();
    std::string location_ = sharedCluster().location() + name_ + kPatient;
    uint32_t added_ = kKept + 6; // recordings after the second commit

  private:
    size_t ownerOf(const std::string& key) const {
        return sharedCluster().ownerOf(redis::slotOf(redis::Keys(name_.substr(1)).value(key)));
    }
    std::optional<Snapshot> before_;
};
std::string nameOf(const ::testing::TestParamInfo<bool>& node) {
    return node.param ? "TheNodeOfTheState" : "AnotherNode";
}
INSTANTIATE_TEST_SUITE_P(Of, LostCommits, ::testing::Bool(), nameOf);

} // namespace

TEST_P(LostCommits, AreNeverAnsweredAsNotFoundAndComeBackWithTheirFiles) {
    CatalogueRecogniser recogniser(location_);
    ASSERT_EQ(recogniser.lookUp("T-1", 1).size(), 1U);
    ASSERT_THAT(recogniser.lookUp("T-99", 1), IsEmpty());
    addUpTo(location_, added_);
    lose();
    // What was kept is found, and what is not found may have been lost.
    uint32_t unavailable = 0;
    const auto ask = [&](uint32_t number) {
        try {
            const std::string id = "T-" + std::to_string(number);
            const std::vector<Match> matches = recogniser.lookUp(id, 1);
            ASSERT_EQ(matches.size(), 1U) << number;
            EXPECT_EQ(matches[0].trackId, id);
        } catch (const Unavailable& error) {
            EXPECT_GT(number, kKept);
            EXPECT_THAT(error.what(), HasSubstr("tarn-server check says which"));
            ++unavailable;
        }
    };
    for (uint32_t number = 1; number <= added_; ++number) ask(number);
    EXPECT_THROW(recogniser.lookUp("T-99", 1), Unavailable);
    {
        CatalogueReader reader(location_);
        EXPECT_THAT(reader.check(),
                    ElementsAre(HasSubstr(server().address() + " lost what it got in the commits from 3")));
        nearest(reader, sampleRecording(1), 1);
        EXPECT_FALSE(reader.complete());
    }
    // Another folder is added. The lists are whole, and the rest is not forgotten.
    {
        CatalogueWriter writer(location_);
        add(writer, 50);
        writer.commit();
    }
    const auto check = [&] { return CatalogueReader(location_).check(true); };
    EXPECT_THAT(check(), ElementsAre(HasSubstr("add the same folders again with tarn-server add, then run")));
    for (uint32_t number = 1; number <= added_; ++number) ask(number);
    EXPECT_GT(unavailable, 0U);
    EXPECT_THROW(recogniser.lookUp("T-99", 1), Unavailable);
    // The same folders are added again.
    addUpTo(location_, added_);
    EXPECT_THROW(recogniser.lookUp("T-99", 1), Unavailable);
    CatalogueWriter(location_).compact({});
    EXPECT_THAT(check(), IsEmpty());
    CatalogueReader reader(location_);
    EXPECT_EQ(reader.recordingCount(), added_ + 1);
    for (uint32_t number = 1; number <= added_; ++number) {
        const std::vector<uint32_t> ids = reader.byTrackId("T-" + std::to_string(number));
        ASSERT_EQ(ids.size(), 1U) << number;
        EXPECT_EQ(nearest(reader, sampleRecording(number), 1).at(0).id, ids[0]);
    }
    EXPECT_TRUE(reader.complete());
    awaitOrThrow("nothing is missing", [&] {
        try {
            return recogniser.lookUp("T-99", 1).empty();
        } catch (const Unavailable&) {
            return false;
        }
    });
}

// Keys of other nodes still lead to them.
TEST_P(LostCommits, LeaveTheirIdsUnused) {
    addUpTo(location_, added_);
    lose();
    {
        CatalogueWriter writer(location_);
        for (uint32_t number = 50; number < 60; ++number) add(writer, number);
        writer.commit();
    }
    addUpTo(location_, added_);
    CatalogueReader reader(location_);
    for (const uint32_t number : {1U, added_, 50U, 55U, 59U}) {
        const std::string title = "Title " + std::to_string(number);
        const std::vector<uint32_t> ids = reader.byTrackId("T-" + std::to_string(number));
        ASSERT_EQ(ids.size(), 1U) << number;
        EXPECT_EQ(reader.recording(ids[0])->tags.title, title);
    }
    EXPECT_EQ(reader.recordingCount(), added_ + 10);
}

// Opening a writer is what mends: what is lost after that the next one mends.
TEST_P(LostCommits, StayKnownWhereTheyAreLostAfterTheWriterWasOpened) {
    {
        CatalogueWriter writer(location_);
        for (uint32_t number = kKept + 1; number <= added_; ++number) add(writer, number);
        writer.commit();
        lose();
        writer.compact({.anew = true});
    }
    EXPECT_FALSE(CatalogueReader(location_).check().empty());
    addUpTo(location_, added_);
    CatalogueWriter(location_).compact({});
    EXPECT_THAT(CatalogueReader(location_).check(true), IsEmpty());
    EXPECT_EQ(CatalogueReader(location_).recordingCount(), added_);
}
