// How many documents of a remote shard hold each gram, kept on this side: to ask the shard costs a round trip a term.
#pragma once

#include <xapian.h>

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

namespace tarn::server {

class FrequencyTable {
  public:
    // The table of a database, read once for each state of it and shared by all readers of this process.
    static std::shared_ptr<const FrequencyTable> of(const std::string& address, const Xapian::Database& database);

    uint64_t frequency(const std::string& term) const;

  private:
    std::string state_;
    std::unordered_map<uint32_t, uint32_t> documents_; // by the gram's 3 bytes
};

} // namespace tarn::server
