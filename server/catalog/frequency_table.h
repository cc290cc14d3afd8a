// SPDX-License-Identifier: Apache-2.0
// How many documents of a database hold each gram. To ask the search engine takes a descent of its tree for each term,
// and a round trip where the database is remote. A main database carries its table with it, as metadata.
//
// As bytes: "tarnfrq2"; for each pair of a gram's first two digits, and one behind the last, the number of its first
// entry (4 bytes, lowest first); of each entry the frequency (2 bytes, at most 65535); of each entry the third digit.
// Digits are those of catalog/terms.h, so that entries are in the order of the terms.
#pragma once

#include <xapian.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace tarn::server {

inline constexpr char kFrequencyKeys[] = "frequencies"; // keys of the metadata begin so

class FrequencyTable {
  public:
    // The table that the database carries, or else what it says itself, which takes long: read once for each state of
    // the database at this place and shared by all readers of this process. Throws as a damaged database does.
    static std::shared_ptr<const FrequencyTable> of(const std::string& place, const Xapian::Database& database);
    // Whether the table that the database carries, if any, says of it what it says itself.
    static bool isTrue(const Xapian::Database& database);
    // Puts the table of one database, or of several taken as one, into another as metadata.
    static void store(Xapian::WritableDatabase& carrier, const Xapian::Database& database);

    FrequencyTable(const FrequencyTable&) = delete;
    FrequencyTable& operator=(const FrequencyTable&) = delete;
    ~FrequencyTable() = default;

    uint64_t frequency(const std::string& term) const; // at most 65535; 0 for what is no gram

  private:
    explicit FrequencyTable(std::string bytes) : bytes_(std::move(bytes)) {}
    std::string bytes_;
};

} // namespace tarn::server
