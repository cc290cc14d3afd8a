// SPDX-License-Identifier: Apache-2.0
// Writes the lists of a catalogue in Redis: appends to blocks, and folds those that have grown.
#pragma once

#include "catalogue/redis/redis_reader.h"
#include "catalogue/redis/sender.h"
#include "catalogue/redis/writer_lock.h"

namespace tarn::server::redis {

class ListWriter {
  public:
    ListWriter(RedisReader& reader, WriterLock& lock, Sender& sender)
        : reader_(reader), cluster_(reader.cluster()), keys_(reader.keys()), lock_(lock), sender_(sender) {}

    // As StoreWriter's commit(), rewriteLists() and eraseLists().
    void append(const Batch& batch);
    void rewrite(ListTable table, const Rewrite& rewrite);
    void erase(ListTable table);

  private:
    void appendWave(ListTable table, std::span<const BlockNumber> blocks, std::span<const std::string> entries);
    void fold(ListTable table, std::span<const BlockNumber> blocks);
    void rewriteWave(ListTable table, std::span<const BlockNumber> numbers, const Rewrite& rewrite);

    RedisReader& reader_;
    Cluster& cluster_;
    const Keys& keys_;
    WriterLock& lock_;
    Sender& sender_;
};

} // namespace tarn::server::redis
