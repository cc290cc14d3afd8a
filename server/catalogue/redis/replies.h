// SPDX-License-Identifier: Apache-2.0
// What servers answer, and what their errors mean.
#pragma once

#include "catalogue/redis/location.h"

#include <hiredis/hiredis.h>

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::server::redis {

struct FreeReply {
    void operator()(redisReply* reply) const { freeReplyObject(reply); }
};
using Reply = std::unique_ptr<redisReply, FreeReply>;

// Of a string, a status or an error; else empty.
std::string_view textOf(const redisReply& reply);
// Of an array; else none.
std::span<redisReply* const> itemsOf(const redisReply& reply);

// "MOVED SLOT HOST:PORT": from now on; "ASK SLOT HOST:PORT": this once, after ASKING.
struct Redirection {
    size_t slot = 0;
    Address address;
    bool once = false;
};
// sender: whose host is meant where none is named.
std::optional<Redirection> redirectionIn(std::string_view error, const std::string& sender);

struct SlotRange {
    size_t first = 0;
    size_t last = 0;
    Address master;
    std::vector<Address> replicas;
};
// What CLUSTER SLOTS answers; nothing: it cannot be read. sender: as above.
std::optional<std::vector<SlotRange>> slotRangesIn(const redisReply& reply, const std::string& sender);

// The error is one that passes on its own: a node that starts, or a cluster that chooses a master.
bool willPass(std::string_view error);
// What to do about another one.
std::string remedyForError(std::string_view error);

} // namespace tarn::server::redis
