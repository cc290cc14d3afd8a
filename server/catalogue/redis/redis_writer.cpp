// SPDX-License-Identifier: Apache-2.0
#include "catalogue/redis/list_writer.h"
#include "catalogue/redis/markers.h"
#include "catalogue/redis/redis_reader.h"
#include "catalogue/redis/redis_store.h"
#include "catalogue/redis/writer_lock.h"

#include <algorithm>
#include <unordered_set>

namespace tarn::server::redis {

namespace {

using namespace std::chrono_literals;

constexpr Milliseconds kTimeout = 3s;   // of a writer, for which nobody waits
constexpr Milliseconds kPatience = 30s; // longer than a cluster takes to choose a new master
constexpr std::string_view kReplicaWithinMs = "1000";

// Only where the marker is as it was: one that a replica brought back is older, and says what was lost.
constexpr std::string_view kMarkScript = "local is = redis.call('get', KEYS[1]) or '' "
                                         "if is ~= ARGV[1] and is ~= ARGV[2] then return 0 end "
                                         "redis.call('set', KEYS[1], ARGV[2]) return 1";

class RedisWriter final : public StoreWriter {
  public:
    RedisWriter(Location location, bool make);

    StoreReader& reader() override { return reader_; }
    void commit(const Batch& batch) override;
    void rewriteLists(ListTable table, const Rewrite& rewrite) override {
        lists_.rewrite(table, rewrite);
        reader_.hasChanged();
    }
    void eraseLists(ListTable table) override {
        lists_.erase(table);
        reader_.hasChanged();
    }
    void isWholeAgain() override;
    // The servers give back what they can by themselves.
    void compact() override {}

  private:
    void change(const Batch& batch);
    void takeMarkers();
    bool mark(uint64_t written, uint64_t confirmed, bool all = false);
    void awaitReplicas();

    RedisReader reader_;
    Cluster& cluster_;
    const Keys& keys_;
    Milliseconds patience_;
    WriterLock lock_;
    Sender sender_;
    ListWriter lists_;
    Markers markers_; // as the servers have them since the last upheaval
    uint64_t upheavals_ = 0;
    uint64_t last_ = 0; // commit
};

} // namespace

RedisWriter::RedisWriter(Location location, bool make)
    : reader_(std::move(location), kTimeout, kPatience), cluster_(reader_.cluster()), keys_(reader_.keys()),
      patience_(kPatience), lock_(cluster_, keys_, kPatience), sender_(cluster_, kPatience),
      lists_(reader_, lock_, sender_) {
    const std::string shown = cluster_.location().shown;
    if (!reader_.isThere() && !make) {
        throw CatalogueError("there is no catalogue at " + shown + "; tarn-server add makes one");
    }
    takeMarkers();
    last_ = markers_.written;
}

// A wave holds a key once, so that what is sent again after a redirection overtakes nothing, and keys of one kind.
void RedisWriter::change(const Batch& batch) {
    Commands commands;
    std::unordered_set<std::string_view> keys;
    for (const Change& change : batch.changes) {
        if (!keys.empty() && (keys.contains(change.key) || keys.begin()->substr(0, 1) != change.key.substr(0, 1))) {
            if (commands.size() > 0) sender_.send(commands);
            keys.clear();
        }
        keys.insert(change.key);
        const std::string key = keys_.value(change.key);
        if (change.value) commands.add(key, {"SET", key, *change.value});
        if (!change.value) commands.add(key, {"UNLINK", key});
        sender_.sendIfLarge(commands);
    }
    if (commands.size() > 0) sender_.send(commands);
}

void RedisWriter::takeMarkers() {
    upheavals_ = cluster_.upheavals();
    markers_ = readMarkers(cluster_, keys_, patience_);
    if (!markers_.allAnswered()) throw cluster_.unavailable();
}

// All but those that lag, unless `all` is set. False: a marker is not what it was.
bool RedisWriter::mark(uint64_t written, uint64_t confirmed, bool all) {
    const Marker marker = makeMarker(written, confirmed, lock_.token());
    Commands commands;
    std::vector<size_t> marked;
    for (size_t range = 0; range < kGroups; ++range) {
        if (!all && markers_.hasLost(range)) continue;
        const std::string key = keys_.marker(range);
        commands.add(key, {"EVAL", kMarkScript, "1", key, markers_.each[range].text, marker.text});
        marked.push_back(range);
    }
    const std::vector<Reply> replies = cluster_.ask(commands, patience_);
    for (size_t i = 0; i < replies.size(); ++i) {
        if (!replies[i]) throw cluster_.unavailable();
        if (replies[i]->integer != 1) return false;
        markers_.each[marked[i]] = marker;
    }
    markers_.confirmed = confirmed;
    return true;
}

// A replica that is too slow holds nothing up: what it lacks when it takes over, the markers tell.
void RedisWriter::awaitReplicas() {
    Commands commands;
    for (const size_t node : cluster_.masters()) {
        if (cluster_.isReplicated(node)) commands.addFor(node, {"WAIT", "1", kReplicaWithinMs});
    }
    if (commands.size() > 0) cluster_.ask(commands, 0ms);
}

// What a master acknowledged is lost when it fails before its replica has it. So a commit during which one failed is
// made again as a whole; doing so twice is harmless.
void RedisWriter::commit(const Batch& batch) {
    const auto until = std::chrono::steady_clock::now() + patience_;
    const uint64_t number = ++last_;
    for (bool marked = true;;) {
        const bool held = lock_.renew();
        if (!held || !marked || cluster_.upheavals() != upheavals_) {
            takeMarkers();
            for (const Marker& marker : markers_.each) {
                if (marker.written < number || marker.writer == lock_.token()) continue;
                throw CatalogueError("The catalogue " + cluster_.location().shown +
                                     " was written by another process while this one was cut off; run this again");
            }
        }
        lists_.append(batch);
        change(batch);
        marked = mark(number, markers_.confirmed);
        awaitReplicas();
        if (marked && cluster_.upheavals() == upheavals_ && mark(number, number)) break;
        if (std::chrono::steady_clock::now() >= until) throw cluster_.unavailable();
    }
    reader_.hasChanged();
}

void RedisWriter::isWholeAgain() {
    lock_.renew();
    takeMarkers();
    if (!mark(last_, last_, true)) throw cluster_.unavailable();
}

} // namespace tarn::server::redis

namespace tarn::server {

std::unique_ptr<StoreReader> openRedisReader(const std::string& location) {
    redis::Location where = redis::locationIn(location);
    const std::string shown = where.shown;
    const auto timeout = where.timeout;
    auto reader = std::make_unique<redis::RedisReader>(std::move(where), timeout, redis::Milliseconds(0));
    if (!reader->isThere()) throw CatalogueError("there is no catalogue at " + shown + "; tarn-server add makes one");
    return reader;
}

std::unique_ptr<StoreWriter> openRedisWriter(const std::string& location, bool make) {
    redis::Location where = redis::locationIn(location);
    where.cacheBytes = 0; // it sees what it wrote
    return std::make_unique<redis::RedisWriter>(std::move(where), make);
}

} // namespace tarn::server
