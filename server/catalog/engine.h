// SPDX-License-Identifier: Apache-2.0
// What reader and writer share of the search engine.
#pragma once

#include "catalog/catalog.h"
#include "catalog/remedies.h"

#include <xapian.h>

#include <algorithm>
#include <cstdint>
#include <string>

namespace tarn::server {

// A database without documents. (One without even a backend cannot be asked everything.)
inline Xapian::Database emptyDatabase() { return Xapian::WritableDatabase(std::string(), Xapian::DB_BACKEND_INMEMORY); }

// A database says which version of the format it is in: what is in another would be misread.
inline constexpr char kCatalogFormatKey[] = "format";
inline constexpr char kCatalogFormat[] = "3";
// It also says how many documents it holds and the last number of one: the engine keeps both where nothing guards them,
// and believes a database that has lost its count to be empty.
inline constexpr char kSizeKey[] = "size";

inline std::string sizeText(uint64_t documents, uint64_t last) {
    return std::to_string(documents) + ' ' + std::to_string(last);
}
inline std::string sizeText(const Xapian::Database& database) {
    return sizeText(database.get_doccount(), database.get_lastdocid());
}

inline void markFormat(Xapian::WritableDatabase& database) { database.set_metadata(kCatalogFormatKey, kCatalogFormat); }

// Throws CatalogError or Xapian::DatabaseCorruptError.
inline void expectSound(const Xapian::Database& database, const std::string& where) {
    const std::string size = database.get_metadata(kSizeKey);
    if (!size.empty() && size != sizeText(database)) {
        throw Xapian::DatabaseCorruptError("it does not hold as many recordings as it should");
    }
    const std::string format = database.get_metadata(kCatalogFormatKey);
    if (format == kCatalogFormat || (format.empty() && size.empty() && database.get_doccount() == 0)) return;
    throw CatalogError(where + ": the catalogue is of another version of the format; make it anew");
}

// Documents that hold the term, in the order of their ids.
template <class Visit>
void forEachPosting(const Xapian::Database& database, const std::string& term, Visit visit) {
    const Xapian::PostingIterator end = database.postlist_end(term);
    for (Xapian::PostingIterator at = database.postlist_begin(term); at != end; ++at) visit(*at);
}

// The first document of a term for which that holds, or 0.
template <class Holds>
Xapian::docid firstPosting(const Xapian::Database& database, const std::string& term, Holds holds) {
    const Xapian::PostingIterator end = database.postlist_end(term);
    for (Xapian::PostingIterator at = database.postlist_begin(term); at != end; ++at) {
        if (holds(*at)) return *at;
    }
    return 0;
}

inline Xapian::docid firstPosting(const Xapian::Database& database, const std::string& term) {
    return firstPosting(database, term, [](Xapian::docid) { return true; });
}

inline bool holds(const Xapian::Database& database, Xapian::docid id) {
    const Xapian::PostingIterator end = database.postlist_end("");
    Xapian::PostingIterator at = database.postlist_begin("");
    if (at == end) return false;
    at.skip_to(id);
    return at != end && *at == id;
}

// In a message: what it is, and what to do.
inline std::string said(const Xapian::Error& error) {
    std::string text = error.get_msg();
    const char* reason = error.get_error_string();
    if (reason != nullptr && text.find(reason) == std::string::npos) text += std::string(" (") + reason + ')';
    std::string remedy = reason == nullptr ? std::string() : remedyFor(std::string(reason));
    if (remedy.empty()) remedy = "tarn-server check says what is damaged; then " + std::string(kRestore);
    return error.get_type() + std::string(": ") + text + "; " + remedy;
}

} // namespace tarn::server
