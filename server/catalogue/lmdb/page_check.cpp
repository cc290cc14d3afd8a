// SPDX-License-Identifier: Apache-2.0
#include "catalogue/lmdb/page_check.h"

#include "catalogue/errors.h"
#include "catalogue/lmdb/page_layout.h"
#include "catalogue/lmdb/sealed.h"
#include "catalogue/remedies.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace tarn::server::lmdb {

namespace {

constexpr int kLooks = 3;

// Found wrong; the text says what.
struct Wrong {
    std::string what;
};

class File {
  public:
    explicit File(const std::filesystem::path& path) : path_(path), file_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        struct stat about {};
        if (file_ < 0) throw CatalogueError(failure(path.string(), errno));
        if (::fstat(file_, &about) == 0) size_ = static_cast<uint64_t>(about.st_size);
    }
    ~File() { ::close(file_); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    uint64_t size() const { return size_; }
    void read(uint64_t place, std::span<char> bytes) const {
        const ssize_t count = ::pread(file_, bytes.data(), bytes.size(), static_cast<off_t>(place));
        if (count < 0) throw CatalogueError(failure(path_.string(), errno));
        if (static_cast<size_t>(count) != bytes.size()) throw Wrong{"it is cut short"};
    }

  private:
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

Head headAt(const File& file, size_t place) {
    std::array<char, sizeof(PageHead) + sizeof(Head)> bytes{};
    file.read(place, bytes);
    const auto head = partAt<Head>(bytes, sizeof(PageHead));
    const bool sound = (partAt<PageHead>(bytes, 0).flags & kHeadPage) != 0 && head.magic == kMagic &&
                       head.version == kVersion && head.freePages.pad >= kMinPageBytes &&
                       head.freePages.pad <= kMaxPageBytes && head.mapSize != 0 && head.content.flags == 0 &&
                       (head.freePages.flags & kTreeFlags) == kIntegerKeys;
    if (!sound) throw Wrong{"its head is damaged"};
    return head;
}

std::array<Head, kHeads> headsOf(const File& file) {
    const Head first = headAt(file, 0);
    const uint32_t pageBytes = first.freePages.pad;
    std::array<Head, kHeads> heads = {first, headAt(file, pageBytes)};
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
        if (head.lastPage >= file.size() / pageBytes) throw Wrong{"it is cut short"};
    }
    return heads;
}

// Walks both trees and keeps account of every page: none may be used twice.
class Walk {
  public:
    Walk(const File& file, const Head& head)
        : file_(file), head_(head), pageBytes_(head.freePages.pad), used_(head.lastPage + 1, false) {
        used_[0] = used_[1] = true;
    }

    void all() {
        walk(head_.content, [](std::string_view key, std::span<const char> value) {
            if (!hasRightKey(key, {value.data(), value.size()})) throw Wrong{"a key is damaged"};
        });
        walk(head_.freePages, [this](std::string_view /*key*/, std::span<const char> value) { takeFree(value); });
    }

  private:
    template <class Visit>
    void walk(const Tree& tree, Visit visit) {
        Tree seen{};
        last_.clear();
        any_ = false;
        if (tree.root != kNoPage) {
            if (tree.depth == 0 || tree.depth > kMaxDepth) throw Wrong{"the depth of its tree is wrong"};
            const bool integerKeys = &tree == &head_.freePages;
            page(tree.root, tree.depth, integerKeys, seen, visit);
        }
        const bool same = seen.entries == tree.entries && seen.branchPages == tree.branchPages &&
                          seen.leafPages == tree.leafPages && seen.largePages == tree.largePages;
        if (!same) throw Wrong{"entries of its tree are lost"};
    }

    void use(uint64_t number, uint64_t count) {
        if (number >= used_.size() || count > used_.size() - number) throw Wrong{"it names a page beyond its end"};
        for (uint64_t i = 0; i < count; ++i) {
            if (used_[number + i]) throw Wrong{"page " + std::to_string(number + i) + " is used twice"};
            used_[number + i] = true;
        }
    }

    template <class Visit>
    void page(uint64_t number, unsigned depth, bool integerKeys, Tree& seen, Visit& visit) {
        use(number, 1);
        std::vector<char> bytes(pageBytes_);
        file_.read(number * pageBytes_, bytes);
        const auto head = partAt<PageHead>(bytes, 0);
        const bool branch = depth > 1;
        const bool sound = head.number == number && head.flags == (branch ? kBranch : kLeaf) &&
                           head.lower >= sizeof head && head.lower % 2 == 0 && head.lower <= head.upper &&
                           head.upper <= pageBytes_;
        if (!sound) throw Wrong{"page " + std::to_string(number) + " is damaged"};
        const size_t nodes = (head.lower - sizeof head) / sizeof(uint16_t);
        if (branch) {
            ++seen.branchPages;
        } else {
            ++seen.leafPages;
        }
        expectSideBySide(bytes, head, nodes, branch);
        for (size_t i = 0; i < nodes; ++i) {
            const auto place = partAt<uint16_t>(bytes, sizeof head + i * sizeof(uint16_t));
            const auto node = partAt<NodeHead>(bytes, place);
            const size_t value = place + sizeof node + node.keySize;
            if (place < head.upper || value > bytes.size())
                throw Wrong{"page " + std::to_string(number) + " is damaged"};
            if (branch) {
                page(node.low | uint64_t{node.high} << 16 | uint64_t{node.flags} << 32, depth - 1, integerKeys, seen,
                     visit);
                continue;
            }
            ++seen.entries;
            const std::string_view key(bytes.data() + place + sizeof node, node.keySize);
            if (any_ && !rises(key, integerKeys))
                throw Wrong{"keys on page " + std::to_string(number) + " are out of order"};
            any_ = true;
            last_ = key;
            leafNode(bytes, node, value, key, integerKeys, seen, visit);
        }
    }

    // LMDB moves nodes within a page by their sizes: they must fill it from `upper` on without a gap.
    static void expectSideBySide(std::span<const char> bytes, const PageHead& head, size_t nodes, bool branch) {
        std::vector<std::pair<size_t, size_t>> extents; // places and sizes
        extents.reserve(nodes);
        for (size_t i = 0; i < nodes; ++i) {
            const auto place = partAt<uint16_t>(bytes, sizeof head + i * sizeof(uint16_t));
            const auto node = partAt<NodeHead>(bytes, place);
            uint64_t size = sizeof node + node.keySize;
            if (!branch) size += node.flags == kLargeValue ? sizeof(uint64_t) : node.low | uint64_t{node.high} << 16;
            extents.emplace_back(place, size + size % 2);
        }
        std::sort(extents.begin(), extents.end());
        uint64_t end = head.upper;
        for (const auto& [place, size] : extents) {
            if (place != end) throw Wrong{"nodes of page " + std::to_string(head.number) + " overlap"};
            end += size;
        }
        if (end != bytes.size()) throw Wrong{"page " + std::to_string(head.number) + " is not filled to its end"};
    }

    template <class Visit>
    void leafNode(std::span<const char> bytes, const NodeHead& node, size_t place, std::string_view key, bool readLarge,
                  Tree& seen, Visit& visit) {
        const uint64_t size = node.low | uint64_t{node.high} << 16;
        if (node.flags == 0) {
            if (size > bytes.size() - place) throw Wrong{"a value is damaged"};
            return visit(key, bytes.subspan(place, size));
        }
        if (node.flags != kLargeValue) throw Wrong{"a value is of an unknown kind"};
        const auto number = partAt<uint64_t>(bytes, place);
        const uint64_t pages = (sizeof(PageHead) + size + pageBytes_ - 1) / pageBytes_;
        use(number, pages);
        seen.largePages += pages;
        if (!readLarge) return; // it is looked at when it is read
        std::vector<char> large(size);
        file_.read(number * pageBytes_ + sizeof(PageHead), large);
        visit(key, large);
    }

    bool rises(std::string_view key, bool integerKeys) const {
        if (!integerKeys) return last_ < key;
        return partAt<uint64_t>(last_, 0) < partAt<uint64_t>(key, 0);
    }

    // An entry of the list of free pages: how many, then their numbers, falling.
    void takeFree(std::span<const char> value) {
        const auto count = partAt<uint64_t>(value, 0);
        uint64_t last = kNoPage;
        for (uint64_t i = 1; i <= count; ++i) {
            const auto number = partAt<uint64_t>(value, i * sizeof(uint64_t));
            if (number >= last) throw Wrong{"its list of free pages is out of order"};
            use(number, 1);
            last = number;
        }
    }

    const File& file_;
    const Head& head_;
    uint32_t pageBytes_;
    std::vector<bool> used_;
    std::string last_; // key
    bool any_ = false;
};

template <class Look>
std::string problemIn(const std::filesystem::path& path, Look look) {
    for (int looks = 1;; ++looks) {
        try {
            const File file(path);
            look(file);
            return {};
        } catch (const Wrong& wrong) {
            // A writer that commits while we look shows us the heads of two ages.
            if (looks == kLooks) return path.string() + " is damaged: " + wrong.what + "; " + kRestore;
        }
    }
}

} // namespace

std::string headProblem(const std::filesystem::path& path) {
    return problemIn(path, [](const File& file) { headsOf(file); });
}

std::string structureProblem(const std::filesystem::path& path, size_t transaction) {
    return problemIn(path, [&](const File& file) {
        const std::array<Head, kHeads> heads = headsOf(file);
        const Head& head = heads[transaction % kHeads];
        if (head.transaction != transaction) throw Wrong{"it was written meanwhile"};
        Walk(file, head).all();
    });
}

} // namespace tarn::server::lmdb
