// SPDX-License-Identifier: Apache-2.0
// An LMDB file read without LMDB: its two heads, and one page of a tree. Every number is checked before it is followed.
#pragma once

#include "catalogue/lmdb/page_layout.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarn::server::lmdb {

// Found wrong; the text says what.
struct Wrong {
    std::string what;
};

class PageFile {
  public:
    // Throws CatalogueError.
    explicit PageFile(const std::filesystem::path& path);
    ~PageFile();
    PageFile(const PageFile&) = delete;
    PageFile& operator=(const PageFile&) = delete;

    uint64_t size() const { return size_; }
    void read(uint64_t place, std::span<char> bytes) const;
    // The later one is the file's present state.
    std::array<Head, kHeads> heads() const;
    // The head of a transaction, which neither of two later ones has followed.
    Head headOf(uint64_t transaction) const;

  private:
    Head headAt(uint64_t place) const;

    std::filesystem::path path_;
    int file_;
    uint64_t size_ = 0;
};

template <class Part>
Part partAt(std::span<const char> bytes, size_t place) {
    Part part;
    if (place > bytes.size() || bytes.size() - place < sizeof part) throw Wrong{"a page is damaged"};
    std::memcpy(&part, bytes.data() + place, sizeof part);
    return part;
}

// Bytes, or numbers of 8 bytes as the list of free pages has them.
enum class KeyOrder { kBytes, kNumbers };
bool isBelow(std::string_view a, std::string_view b, KeyOrder order);

// Where the keys of a page must lie: from `low` on, and below `high`.
struct KeyRange {
    std::optional<std::string_view> low;
    std::optional<std::string_view> high;
};

struct Entry {
    std::string_view key;
    std::span<const char> value;            // of a large one nothing
    std::optional<uint64_t> firstLargePage; // of a large one
    uint64_t size = 0;                      // of the value
};

// A branch, which leads to other pages, or a leaf, which has entries.
class Page {
  public:
    // bytes: of the whole page; they must outlive this object. Throws Wrong unless the page is that of the number, of
    // that kind, with nodes that fill it side by side and keys in their order and range.
    Page(std::span<const char> bytes, uint64_t number, bool branch, KeyOrder order, const KeyRange& range);

    size_t nodes() const { return places_.size(); }
    std::string_view key(size_t index) const { return keyOf(places_[index]); }
    // Of a branch: the page below, and where its keys must lie.
    uint64_t below(size_t index) const;
    KeyRange rangeBelow(size_t index) const;
    // Of a leaf. Throws Wrong.
    Entry entry(size_t index) const;

  private:
    NodeHead nodeAt(size_t place) const { return partAt<NodeHead>(bytes_, place); }
    std::string_view keyOf(size_t place) const {
        return {bytes_.data() + place + sizeof(NodeHead), nodeAt(place).keySize};
    }
    void expectSideBySide(size_t begin, bool branch) const;
    void expectInOrder(bool branch, KeyOrder order) const;

    std::span<const char> bytes_;
    uint64_t number_;
    KeyRange range_;
    std::vector<uint16_t> places_; // of the nodes
};

} // namespace tarn::server::lmdb
