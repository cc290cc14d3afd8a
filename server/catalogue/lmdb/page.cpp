// SPDX-License-Identifier: Apache-2.0
#include "catalogue/lmdb/page.h"

#include "catalogue/errors.h"
#include "catalogue/remedies.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace tarn::server::lmdb {

PageFile::PageFile(const std::filesystem::path& path) : path_(path), file_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    struct stat about {};
    if (file_ < 0) throw CatalogueError(failure(path.string(), errno));
    if (::fstat(file_, &about) == 0) size_ = static_cast<uint64_t>(about.st_size);
}

PageFile::~PageFile() { ::close(file_); }

void PageFile::read(uint64_t place, std::span<char> bytes) const {
    const ssize_t count = ::pread(file_, bytes.data(), bytes.size(), static_cast<off_t>(place));
    if (count < 0) throw CatalogueError(failure(path_.string(), errno));
    if (static_cast<size_t>(count) != bytes.size()) throw Wrong{"it is cut short"};
}

Head PageFile::headAt(uint64_t place) const {
    std::array<char, sizeof(PageHead) + sizeof(Head)> bytes{};
    read(place, bytes);
    const auto head = partAt<Head>(bytes, sizeof(PageHead));
    const bool sound = (partAt<PageHead>(bytes, 0).flags & kHeadPage) != 0 && head.magic == kMagic &&
                       head.version == kVersion && head.freePages.pad >= kMinPageBytes &&
                       head.freePages.pad <= kMaxPageBytes && head.mapSize != 0 && head.content.flags == 0 &&
                       (head.freePages.flags & kTreeFlags) == kIntegerKeys;
    if (!sound) throw Wrong{"its head is damaged"};
    return head;
}

std::array<Head, kHeads> PageFile::heads() const {
    const Head first = headAt(0);
    const uint32_t pageBytes = first.freePages.pad;
    std::array<Head, kHeads> heads = {first, headAt(pageBytes)};
    if (heads[1].freePages.pad != pageBytes) throw Wrong{"its heads do not agree"};
    // Heads take turns: each transaction writes over the older one.
    const uint64_t even = heads[0].transaction;
    const uint64_t odd = heads[1].transaction;
    const bool empty = even == 0 && odd <= 1;
    if (!empty && (even % 2 != 0 || odd % 2 != 1 || (even > odd ? even - odd : odd - even) != 1)) {
        throw Wrong{"its heads do not follow each other"};
    }
    // The file never shrinks, so this holds for the older one too, which a reader may still use.
    for (const Head& head : heads) {
        if (head.lastPage >= size_ / pageBytes) throw Wrong{"it is cut short"};
    }
    return heads;
}

Head PageFile::headOf(uint64_t transaction) const {
    const Head head = heads()[transaction % kHeads];
    if (head.transaction != transaction) throw Wrong{"it was written meanwhile"};
    return head;
}

bool isBelow(std::string_view a, std::string_view b, KeyOrder order) {
    if (order == KeyOrder::kBytes) return a < b;
    return partAt<uint64_t>(a, 0) < partAt<uint64_t>(b, 0);
}

Page::Page(std::span<const char> bytes, uint64_t number, bool branch, KeyOrder order, const KeyRange& range)
    : bytes_(bytes), number_(number), range_(range) {
    const auto head = partAt<PageHead>(bytes, 0);
    const bool sound = head.number == number && head.flags == (branch ? kBranch : kLeaf) && head.lower >= sizeof head &&
                       head.lower % 2 == 0 && head.lower <= head.upper && head.upper <= bytes.size();
    if (!sound) throw Wrong{"page " + std::to_string(number) + " is damaged"};
    places_.resize((head.lower - sizeof head) / sizeof(uint16_t));
    std::memcpy(places_.data(), bytes.data() + sizeof head, places_.size() * sizeof(uint16_t));
    expectSideBySide(head.upper, branch);
    expectInOrder(branch, order);
}

// LMDB moves nodes within a page by their sizes: they must fill it from `begin` to its end without a gap.
void Page::expectSideBySide(size_t begin, bool branch) const {
    std::vector<std::pair<size_t, size_t>> extents; // places and sizes
    extents.reserve(places_.size());
    for (const uint16_t place : places_) {
        const NodeHead node = nodeAt(place);
        uint64_t size = sizeof node + node.keySize;
        if (!branch) size += node.flags == kLargeValue ? sizeof(uint64_t) : node.low | uint64_t{node.high} << 16;
        extents.emplace_back(place, size + size % 2);
    }
    std::sort(extents.begin(), extents.end());
    uint64_t end = begin;
    for (const auto& [place, size] : extents) {
        if (place != end) throw Wrong{"nodes of page " + std::to_string(number_) + " overlap"};
        end += size;
    }
    if (end != bytes_.size()) throw Wrong{"page " + std::to_string(number_) + " is not filled to its end"};
}

// The first key of a branch is not used: what lies below it has no other bound than the branch itself.
void Page::expectInOrder(bool branch, KeyOrder order) const {
    const size_t first = branch ? 1 : 0;
    for (size_t i = first; i < nodes(); ++i) {
        bool sound = !range_.high || isBelow(key(i), *range_.high, order);
        if (i > first) {
            sound = sound && isBelow(key(i - 1), key(i), order);
        } else if (range_.low) {
            sound = sound && !isBelow(key(i), *range_.low, order);
        }
        if (!sound) throw Wrong{"keys on page " + std::to_string(number_) + " are out of order"};
    }
}

uint64_t Page::below(size_t index) const {
    const NodeHead node = nodeAt(places_[index]);
    return node.low | uint64_t{node.high} << 16 | uint64_t{node.flags} << 32;
}

KeyRange Page::rangeBelow(size_t index) const {
    KeyRange range = range_;
    if (index > 0) range.low = key(index);
    if (index + 1 < nodes()) range.high = key(index + 1);
    return range;
}

Entry Page::entry(size_t index) const {
    const size_t place = places_[index];
    const NodeHead node = nodeAt(place);
    const size_t value = place + sizeof node + node.keySize;
    Entry entry{.key = keyOf(place), .value = {}, .firstLargePage = {}, .size = node.low | uint64_t{node.high} << 16};
    if (node.flags == 0) {
        entry.value = bytes_.subspan(value, entry.size);
    } else if (node.flags == kLargeValue) {
        entry.firstLargePage = partAt<uint64_t>(bytes_, value);
    } else {
        throw Wrong{"a value is of an unknown kind"};
    }
    return entry;
}

} // namespace tarn::server::lmdb
