// What reader and writer share of the search engine.
#pragma once

#include "catalog/catalog.h"

#include <xapian.h>

#include <filesystem>
#include <string>

namespace tarn::server {

// A database without documents. (One without even a backend cannot be asked everything.)
inline Xapian::Database emptyDatabase() { return Xapian::WritableDatabase(std::string(), Xapian::DB_BACKEND_INMEMORY); }

// Opens a database that may not be there.
inline Xapian::Database openIfThere(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::exists(path, ignored) ? Xapian::Database(path.string()) : emptyDatabase();
}

// A database says which version of the format it is in: what is in another would be misread.
inline constexpr char kCatalogFormatKey[] = "format";
inline constexpr char kCatalogFormat[] = "3";

inline void markFormat(Xapian::WritableDatabase& database) { database.set_metadata(kCatalogFormatKey, kCatalogFormat); }

// Throws CatalogError; an empty database is in any format.
inline void expectFormat(const Xapian::Database& database, const std::string& where) {
    if (database.get_doccount() == 0 || database.get_metadata(kCatalogFormatKey) == kCatalogFormat) return;
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

inline std::string said(const Xapian::Error& error) { return error.get_type() + std::string(": ") + error.get_msg(); }

} // namespace tarn::server
