// SPDX-License-Identifier: Apache-2.0
#include "catalog/frequency_table.h"

#include "catalog/terms.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <utility>

namespace tarn::server {

namespace {

constexpr std::string_view kMagic = "tarnfrq2";
constexpr size_t kPairs = size_t{kGramBase} * kGramBase;
constexpr size_t kIndexBytes = 4;
constexpr size_t kFrequencyBytes = 2;
constexpr uint64_t kMostFrequency = 0xffff;
constexpr size_t kHeadBytes = kMagic.size() + (kPairs + 1) * kIndexBytes;
constexpr size_t kEntryBytes = kFrequencyBytes + 1;
// A piece of the table in a database's metadata; pieces are numbered from 0.
constexpr size_t kPieceBytes = 256 * 1024;

std::string pieceKey(size_t piece) { return kFrequencyKeys + std::to_string(piece); }

size_t digit(const std::string& term, size_t place) { return static_cast<unsigned char>(term[place]) - size_t{1}; }

void append(std::string& out, uint64_t number, size_t bytes) {
    for (size_t i = 0; i < bytes; ++i) out.push_back(static_cast<char>(number >> 8 * i & 0xff));
}

uint32_t numberAt(std::string_view bytes, size_t place, size_t width) {
    uint32_t number = 0;
    for (size_t i = 0; i < width; ++i) {
        number |= static_cast<uint32_t>(static_cast<unsigned char>(bytes[place + i])) << 8 * i;
    }
    return number;
}

uint32_t firstEntry(std::string_view table, size_t pair) {
    return numberAt(table, kMagic.size() + pair * kIndexBytes, kIndexBytes);
}

uint32_t frequencyOf(std::string_view table, size_t entry) {
    return numberAt(table, kHeadBytes + entry * kFrequencyBytes, kFrequencyBytes);
}

// The third digit of each entry.
std::string_view lastDigits(std::string_view table) {
    return table.substr(kHeadBytes + (table.size() - kHeadBytes) / kEntryBytes * kFrequencyBytes);
}

template <class Visit>
void forEachGram(const Xapian::Database& database, Visit visit) {
    const Xapian::TermIterator end = database.allterms_end();
    for (Xapian::TermIterator at = database.allterms_begin(); at != end; ++at) {
        const std::string term = *at;
        if (isGramTerm(term)) visit(term, at.get_termfreq());
    }
}

std::string tableOf(const Xapian::Database& database) {
    std::vector<uint32_t> firsts;
    std::string frequencies;
    std::string digits;
    forEachGram(database, [&](const std::string& term, Xapian::doccount frequency) {
        const size_t pair = digit(term, 0) * kGramBase + digit(term, 1);
        while (firsts.size() <= pair) firsts.push_back(static_cast<uint32_t>(digits.size()));
        append(frequencies, std::min<uint64_t>(frequency, kMostFrequency), kFrequencyBytes);
        digits.push_back(static_cast<char>(digit(term, 2)));
    });
    firsts.resize(kPairs + 1, static_cast<uint32_t>(digits.size()));
    std::string table(kMagic);
    table.reserve(kHeadBytes + digits.size() * kEntryBytes);
    for (const uint32_t first : firsts) append(table, first, kIndexBytes);
    return table + frequencies + digits;
}

bool isTable(std::string_view bytes) {
    if (bytes.size() < kHeadBytes || !bytes.starts_with(kMagic)) return false;
    uint32_t previous = 0;
    for (size_t pair = 0; pair <= kPairs; ++pair) {
        const uint32_t first = firstEntry(bytes, pair);
        if (first < previous) return false;
        previous = first;
    }
    return kHeadBytes + size_t{previous} * kEntryBytes == bytes.size();
}

// Nothing when the database carries no table.
std::string carriedBy(const Xapian::Database& database) {
    std::string table;
    for (size_t piece = 0;; ++piece) {
        const std::string bytes = database.get_metadata(pieceKey(piece));
        table += bytes;
        if (bytes.size() < kPieceBytes) break;
    }
    if (!table.empty() && !isTable(table)) {
        throw Xapian::DatabaseCorruptError("the table of frequencies is damaged or of another version of the format");
    }
    return table;
}

} // namespace

std::shared_ptr<const FrequencyTable> FrequencyTable::of(const std::string& place, const Xapian::Database& database) {
    static std::mutex mutex;
    static std::map<std::string, std::pair<std::string, std::shared_ptr<const FrequencyTable>>> tables;
    const std::string state = database.get_uuid() + " " + std::to_string(database.get_doccount()) + " " +
                              std::to_string(database.get_lastdocid());
    const std::lock_guard lock(mutex);
    auto& [knownState, table] = tables[place];
    if (table == nullptr || knownState != state) {
        std::string bytes = carriedBy(database);
        if (bytes.empty()) bytes = tableOf(database);
        table = std::shared_ptr<const FrequencyTable>(new FrequencyTable(std::move(bytes)));
        knownState = state;
    }
    return table;
}

void FrequencyTable::store(Xapian::WritableDatabase& carrier, const Xapian::Database& database) {
    const std::string table = tableOf(database);
    // The last piece is shorter than the others, if only by not being there: so the end is known.
    for (size_t begin = 0; begin < table.size(); begin += kPieceBytes) {
        carrier.set_metadata(pieceKey(begin / kPieceBytes), table.substr(begin, kPieceBytes));
    }
}

uint64_t FrequencyTable::frequency(const std::string& term) const {
    if (!isGramTerm(term) || term.find('\0') != std::string::npos) return 0;
    const size_t pair = digit(term, 0) * kGramBase + digit(term, 1);
    const size_t begin = firstEntry(bytes_, pair);
    const size_t end = firstEntry(bytes_, pair + 1);
    const std::string_view digits = lastDigits(bytes_).substr(begin, end - begin);
    const size_t found = digits.find(static_cast<char>(digit(term, 2)));
    return found == std::string_view::npos ? 0 : frequencyOf(bytes_, begin + found);
}

bool FrequencyTable::isTrue(const Xapian::Database& database) {
    const std::string carried = carriedBy(database);
    return carried.empty() || carried == tableOf(database);
}

} // namespace tarn::server
