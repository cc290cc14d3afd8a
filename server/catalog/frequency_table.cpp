#include "catalog/frequency_table.h"

#include <map>
#include <mutex>

namespace tarn::server {

namespace {

constexpr size_t kGramTermBytes = 3;

uint32_t keyOf(const std::string& term) {
    uint32_t key = 0;
    for (const char c : term) key = key << 8 | static_cast<unsigned char>(c);
    return key;
}

} // namespace

std::shared_ptr<const FrequencyTable> FrequencyTable::of(const std::string& address, const Xapian::Database& database) {
    static std::mutex mutex;
    static std::map<std::string, std::shared_ptr<const FrequencyTable>> tables;
    const std::string state = database.get_uuid() + " " + std::to_string(database.get_doccount()) + " " +
                              std::to_string(database.get_lastdocid());
    const std::lock_guard lock(mutex);
    std::shared_ptr<const FrequencyTable>& table = tables[address];
    if (table != nullptr && table->state_ == state) return table;
    auto fresh = std::make_shared<FrequencyTable>();
    fresh->state_ = state;
    const Xapian::TermIterator end = database.allterms_end();
    for (Xapian::TermIterator at = database.allterms_begin(); at != end; ++at) {
        const std::string term = *at;
        if (term.size() == kGramTermBytes) fresh->documents_[keyOf(term)] = at.get_termfreq();
    }
    table = fresh;
    return fresh;
}

uint64_t FrequencyTable::frequency(const std::string& term) const {
    const auto found = documents_.find(keyOf(term));
    return term.size() == kGramTermBytes && found != documents_.end() ? found->second : 0;
}

} // namespace tarn::server
