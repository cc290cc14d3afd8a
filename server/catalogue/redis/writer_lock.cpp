// SPDX-License-Identifier: Apache-2.0
#include "catalogue/redis/writer_lock.h"

#include "base/bytes.h"
#include "base/hexadecimal.h"

#include <random>

namespace tarn::server::redis {

namespace {

using namespace std::chrono_literals;

constexpr Milliseconds kExpiry = 6s;
constexpr Milliseconds kRenewEvery = 500ms;
constexpr Milliseconds kLookEvery = 800ms;
// What is left of a lock whose writer lives falls by less from one look to the next.
constexpr Milliseconds kFallOfADeadOne = 700ms;

constexpr std::string_view kTakeScript = "local holder = redis.call('get', KEYS[1]) "
                                         "if holder and holder ~= ARGV[1] then return 0 end "
                                         "redis.call('set', KEYS[1], ARGV[1], 'px', ARGV[2]) "
                                         "return holder and 1 or 2";
constexpr std::string_view kReleaseScript =
    "if redis.call('get', KEYS[1]) == ARGV[1] then redis.call('del', KEYS[1]) end";

std::string randomToken() {
    std::random_device dice;
    std::string bytes;
    for (int i = 0; i < 4; ++i) appendLittleEndian<uint32_t>(bytes, dice());
    return lowerHexadecimal(bytes);
}

Reply askOne(Cluster& cluster, const std::string& key, Commands::Words words, Milliseconds patience) {
    Commands commands;
    commands.add(key, words);
    Reply reply = std::move(cluster.ask(commands, patience).front());
    if (!reply) throw cluster.unavailable();
    return reply;
}

} // namespace

WriterLock::Outcome WriterLock::take(Cluster& cluster, Milliseconds patience) const {
    const std::string expiry = std::to_string(kExpiry.count());
    const Reply reply = askOne(cluster, key_, {"EVAL", kTakeScript, "1", key_, token_, expiry}, patience);
    return reply->integer == 0 ? Outcome::kRefused : reply->integer == 1 ? Outcome::kRenewed : Outcome::kTaken;
}

WriterLock::WriterLock(Cluster& cluster, const Keys& keys, Milliseconds patience)
    : cluster_(cluster), key_(keys.lock()), token_(randomToken()), patience_(patience) {
    const auto left = [&] { return Milliseconds(askOne(cluster_, key_, {"PTTL", key_}, patience_)->integer); };
    for (Milliseconds before = kExpiry * 2; take(cluster_, patience_) == Outcome::kRefused;) {
        const Milliseconds now = left();
        if (now > before - kFallOfADeadOne) {
            throw CatalogueError("The catalogue " + cluster_.location().shown +
                                 " is being written by another process; try again when it is done");
        }
        before = now;
        std::this_thread::sleep_for(kLookEvery);
    }
    thread_ = std::jthread([this](const std::stop_token& stop) { keepRenewing(stop); });
}

WriterLock::~WriterLock() {
    thread_.request_stop();
    thread_.join();
    try {
        askOne(cluster_, key_, {"EVAL", kReleaseScript, "1", key_, token_}, 0ms);
    } catch (const CatalogueError&) { // it goes by itself
        return;
    }
}

bool WriterLock::renew() {
    const Outcome outcome = take(cluster_, patience_);
    if (outcome == Outcome::kRefused) {
        throw CatalogueError(
            "The catalogue " + cluster_.location().shown +
            " is being written by another process, which took over while this one was cut off; what was "
            "reported is stored; run this again when the other is done");
    }
    return outcome == Outcome::kRenewed;
}

// With connections of its own: the writer's are used by the writer's thread.
void WriterLock::keepRenewing(const std::stop_token& stop) {
    std::unique_ptr<Cluster> cluster;
    std::unique_lock lock(mutex_);
    while (!wake_.wait_for(lock, stop, kRenewEvery, [&] { return stop.stop_requested(); })) {
        try {
            if (!cluster) cluster = std::make_unique<Cluster>(cluster_.location(), kExpiry / 2);
            take(*cluster, 0ms);
        } catch (const CatalogueError&) { // the next commit says so, if it lasts
            cluster.reset();
        }
    }
}

} // namespace tarn::server::redis
