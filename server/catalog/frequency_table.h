// How many documents of a database hold each gram. To ask the search engine takes a descent of its tree for each term,
// and a round trip where the database is remote.
//
// As bytes: "tarnfrq1"; for each pair of a gram's first two digits, and one behind the last, the number of its first
// entry; of each entry the frequency; of each entry the third digit. Numbers have 4 bytes, lowest first; digits are
// those of catalog/terms.h, so that entries are in the order of the terms.
#pragma once

#include <xapian.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace tarn::server {

class FrequencyTable {
  public:
    // The table of a remote database, read once for each state of it and shared by all readers of this process.
    static std::shared_ptr<const FrequencyTable> of(const std::string& address, const Xapian::Database& database);
    // The table of a database that does not change any more, as a durable file.
    static void write(const std::filesystem::path& file, const Xapian::Database& database);
    // A written table. Throws as a database does that cannot be opened or is damaged.
    explicit FrequencyTable(const std::filesystem::path& file);
    ~FrequencyTable();
    FrequencyTable(const FrequencyTable&) = delete;
    FrequencyTable& operator=(const FrequencyTable&) = delete;

    uint64_t frequency(const std::string& term) const; // 0 for what is no gram

    // Whether it says of the database what the database says.
    bool agreesWith(const Xapian::Database& database) const;

  private:
    FrequencyTable() = default;

    std::string owned_; // or
    void* mapped_ = nullptr;
    size_t mappedBytes_ = 0;
    std::string_view bytes_; // in one of them
};

} // namespace tarn::server
