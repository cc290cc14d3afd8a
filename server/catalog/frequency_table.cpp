#include "catalog/frequency_table.h"

#include "catalog/folder.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace tarn::server {

namespace {

constexpr std::string_view kMagic = "tarnfrq1";
constexpr size_t kGramTermBytes = 3;
constexpr size_t kBase = 255;
constexpr size_t kPairs = kBase * kBase;
constexpr size_t kNumberBytes = 4;
constexpr size_t kHeadBytes = kMagic.size() + (kPairs + 1) * kNumberBytes;
constexpr size_t kEntryBytes = kNumberBytes + 1;

size_t digit(const std::string& term, size_t place) { return static_cast<unsigned char>(term[place]) - size_t{1}; }

void append(std::string& out, uint32_t number) {
    for (size_t i = 0; i < kNumberBytes; ++i) out.push_back(static_cast<char>(number >> 8 * i & 0xff));
}

uint32_t numberAt(std::string_view bytes, size_t place) {
    uint32_t number = 0;
    for (size_t i = 0; i < kNumberBytes; ++i) {
        number |= static_cast<uint32_t>(static_cast<unsigned char>(bytes[place + i])) << 8 * i;
    }
    return number;
}

uint32_t firstEntry(std::string_view table, size_t pair) {
    return numberAt(table, kMagic.size() + pair * kNumberBytes);
}

size_t entriesIn(std::string_view table) { return (table.size() - kHeadBytes) / kEntryBytes; }

template <class Visit>
void forEachGram(const Xapian::Database& database, Visit visit) {
    const Xapian::TermIterator end = database.allterms_end();
    for (Xapian::TermIterator at = database.allterms_begin(); at != end; ++at) {
        const std::string term = *at;
        if (term.size() == kGramTermBytes) visit(term, at.get_termfreq());
    }
}

std::string tableOf(const Xapian::Database& database) {
    std::vector<uint32_t> firsts;
    std::string frequencies;
    std::string digits;
    forEachGram(database, [&](const std::string& term, Xapian::doccount frequency) {
        const size_t pair = digit(term, 0) * kBase + digit(term, 1);
        while (firsts.size() <= pair) firsts.push_back(static_cast<uint32_t>(digits.size()));
        append(frequencies, frequency);
        digits.push_back(static_cast<char>(digit(term, 2)));
    });
    firsts.resize(kPairs + 1, static_cast<uint32_t>(digits.size()));
    std::string table(kMagic);
    table.reserve(kHeadBytes + digits.size() * kEntryBytes);
    for (const uint32_t first : firsts) append(table, first);
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

} // namespace

std::shared_ptr<const FrequencyTable> FrequencyTable::of(const std::string& address, const Xapian::Database& database) {
    static std::mutex mutex;
    static std::map<std::string, std::pair<std::string, std::shared_ptr<const FrequencyTable>>> tables;
    const std::string state = database.get_uuid() + " " + std::to_string(database.get_doccount()) + " " +
                              std::to_string(database.get_lastdocid());
    const std::lock_guard lock(mutex);
    auto& [knownState, table] = tables[address];
    if (table == nullptr || knownState != state) {
        std::shared_ptr<FrequencyTable> fresh(new FrequencyTable);
        fresh->owned_ = tableOf(database);
        fresh->bytes_ = fresh->owned_;
        table = std::move(fresh);
        knownState = state;
    }
    return table;
}

void FrequencyTable::write(const fs::path& file, const Xapian::Database& database) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << tableOf(database);
    out.close();
    if (!out) throw fs::filesystem_error("cannot be written", file, std::error_code(EIO, std::generic_category()));
    syncToDisk(file);
}

FrequencyTable::FrequencyTable(const fs::path& file) {
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) throw Xapian::DatabaseOpeningError(file.string() + " cannot be opened");
    struct stat status = {};
    const bool known = ::fstat(descriptor, &status) == 0;
    mappedBytes_ = static_cast<size_t>(status.st_size);
    if (known && mappedBytes_ > 0) mapped_ = ::mmap(nullptr, mappedBytes_, PROT_READ, MAP_SHARED, descriptor, 0);
    ::close(descriptor);
    if (mapped_ == MAP_FAILED) mapped_ = nullptr;
    if (mapped_ != nullptr) bytes_ = {static_cast<const char*>(mapped_), mappedBytes_};
    if (!isTable(bytes_)) {
        if (mapped_ != nullptr) ::munmap(mapped_, mappedBytes_);
        throw Xapian::DatabaseCorruptError(file.string() + " is no table of frequencies");
    }
}

FrequencyTable::~FrequencyTable() {
    if (mapped_ != nullptr) ::munmap(mapped_, mappedBytes_);
}

uint64_t FrequencyTable::frequency(const std::string& term) const {
    if (term.size() != kGramTermBytes || term.find('\0') != std::string::npos) return 0;
    const size_t pair = digit(term, 0) * kBase + digit(term, 1);
    const size_t begin = firstEntry(bytes_, pair);
    const size_t end = firstEntry(bytes_, pair + 1);
    const std::string_view digits = bytes_.substr(kHeadBytes + entriesIn(bytes_) * kNumberBytes);
    const size_t found = digits.substr(begin, end - begin).find(static_cast<char>(digit(term, 2)));
    return found == std::string_view::npos ? 0 : numberAt(bytes_, kHeadBytes + (begin + found) * kNumberBytes);
}

bool FrequencyTable::agreesWith(const Xapian::Database& database) const { return bytes_ == tableOf(database); }

} // namespace tarn::server
