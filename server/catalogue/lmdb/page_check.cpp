// SPDX-License-Identifier: Apache-2.0
#include "catalogue/lmdb/page_check.h"

#include "catalogue/lmdb/sealed.h"
#include "catalogue/remedies.h"

#include <array>
#include <utility>
#include <vector>

namespace tarn::server::lmdb {

namespace {

constexpr int kLooks = 3;

uint64_t pagesOf(const Entry& entry, uint64_t pageBytes) {
    return (sizeof(PageHead) + entry.size + pageBytes - 1) / pageBytes;
}

// Walks both trees and keeps account of every page: none may be used twice.
class Walk {
  public:
    Walk(const PageFile& file, const Head& head, const ChooseLeaf& choose)
        : file_(file), head_(head), choose_(choose), pageBytes_(head.freePages.pad), used_(head.lastPage + 1, false) {
        used_[0] = used_[1] = true;
    }

    bool all() {
        const bool complete = content();
        freePages();
        return complete;
    }

  private:
    bool content() {
        const Tree& tree = head_.content;
        Tree seen{};
        bool choosy = false;
        walk(tree, KeyOrder::kBytes, seen, [&](uint64_t number, const KeyRange& range) {
            if (choose_ && !choose_(number, range)) {
                choosy = true;
                return;
            }
            std::vector<char> bytes = bytesOf(number);
            const Page page(bytes, number, false, KeyOrder::kBytes, range);
            seen.entries += page.nodes();
            for (size_t i = 0; i < page.nodes(); ++i) useLarge(page.entry(i), seen);
            expectRightKeys(file_, page, pageBytes_);
        });
        const bool same = seen.branchPages == tree.branchPages && seen.leafPages == tree.leafPages &&
                          (choosy || (seen.entries == tree.entries && seen.largePages == tree.largePages));
        if (!same) throw Wrong{"entries of its tree are lost"};
        return seen.largePages == tree.largePages;
    }

    void freePages() {
        const Tree& tree = head_.freePages;
        Tree seen{};
        walk(tree, KeyOrder::kNumbers, seen, [&](uint64_t number, const KeyRange& range) {
            std::vector<char> bytes = bytesOf(number);
            const Page page(bytes, number, false, KeyOrder::kNumbers, range);
            seen.entries += page.nodes();
            for (size_t i = 0; i < page.nodes(); ++i) takeFree(page.entry(i), seen);
        });
        const bool same = seen.entries == tree.entries && seen.branchPages == tree.branchPages &&
                          seen.leafPages == tree.leafPages && seen.largePages == tree.largePages;
        if (!same) throw Wrong{"entries of its tree are lost"};
    }

    template <class Leaf>
    void walk(const Tree& tree, KeyOrder order, Tree& seen, Leaf leaf) {
        if (tree.root == kNoPage) return;
        if (tree.depth == 0 || tree.depth > kMaxDepth) throw Wrong{"the depth of its tree is wrong"};
        page(tree.root, tree.depth, order, {}, seen, leaf);
    }

    template <class Leaf>
    void page(uint64_t number, unsigned depth, KeyOrder order, const KeyRange& range, Tree& seen, Leaf& leaf) {
        use(number, 1);
        if (depth == 1) {
            ++seen.leafPages;
            return leaf(number, range);
        }
        ++seen.branchPages;
        const std::vector<char> bytes = bytesOf(number);
        const Page branch(bytes, number, true, order, range);
        if (order == KeyOrder::kBytes && branch.nodes() < 2) throw Wrong{"a branch of its tree leads nowhere"};
        for (size_t i = 0; i < branch.nodes(); ++i)
            page(branch.below(i), depth - 1, order, branch.rangeBelow(i), seen, leaf);
    }

    std::vector<char> bytesOf(uint64_t number) const {
        std::vector<char> bytes(pageBytes_);
        file_.read(number * pageBytes_, bytes);
        return bytes;
    }

    void use(uint64_t number, uint64_t count) {
        if (number >= used_.size() || count > used_.size() - number) throw Wrong{"it names a page beyond its end"};
        for (uint64_t i = 0; i < count; ++i) {
            if (used_[number + i]) throw Wrong{"page " + std::to_string(number + i) + " is used twice"};
            used_[number + i] = true;
        }
    }

    void useLarge(const Entry& entry, Tree& seen) {
        if (!entry.firstLargePage) return;
        const uint64_t pages = pagesOf(entry, pageBytes_);
        use(*entry.firstLargePage, pages);
        seen.largePages += pages;
    }

    // An entry of the list of free pages: how many, then their numbers, falling.
    void takeFree(const Entry& entry, Tree& seen) {
        useLarge(entry, seen);
        std::vector<char> large;
        std::span<const char> value = entry.value;
        if (entry.firstLargePage) {
            large.resize(entry.size);
            file_.read(*entry.firstLargePage * pageBytes_ + sizeof(PageHead), large);
            value = large;
        }
        const auto count = partAt<uint64_t>(value, 0);
        uint64_t last = kNoPage;
        for (uint64_t i = 1; i <= count; ++i) {
            const auto number = partAt<uint64_t>(value, i * sizeof(uint64_t));
            if (number >= last) throw Wrong{"its list of free pages is out of order"};
            use(number, 1);
            last = number;
        }
    }

    const PageFile& file_;
    const Head& head_;
    const ChooseLeaf& choose_;
    uint32_t pageBytes_;
    std::vector<bool> used_;
};

} // namespace

void expectRightKeys(const PageFile& file, const Page& leaf, uint64_t pageBytes) {
    for (size_t i = 0; i < leaf.nodes(); ++i) {
        const Entry entry = leaf.entry(i);
        std::span<const char> value = entry.value;
        std::array<char, sizeof(PageHead) + kSealBytes> large{};
        if (entry.firstLargePage) {
            // LMDB frees as many pages as the first one says.
            file.read(*entry.firstLargePage * pageBytes, large);
            const auto head = partAt<PageHead>(large, 0);
            const uint64_t pages = head.lower | uint64_t{head.upper} << 16;
            if (head.number != *entry.firstLargePage || head.flags != kLarge || pages != pagesOf(entry, pageBytes))
                throw Wrong{"page " + std::to_string(*entry.firstLargePage) + " is damaged"};
            value = std::span<const char>(large).subspan(sizeof(PageHead));
        }
        if (!hasRightKey(entry.key, {value.data(), value.size()})) throw Wrong{"a key is damaged"};
    }
}

bool checkTrees(const PageFile& file, const Head& head, const ChooseLeaf& choose) {
    return Walk(file, head, choose).all();
}

std::string problemText(const std::filesystem::path& path, const Wrong& wrong) {
    return path.string() + " is damaged: " + wrong.what + "; " + kRestore;
}

std::string problemIn(const std::filesystem::path& path, const std::function<void(const PageFile&)>& look) {
    for (int looks = 1;; ++looks) {
        try {
            const PageFile file(path);
            look(file);
            return {};
        } catch (const Wrong& wrong) {
            if (looks == kLooks) return problemText(path, wrong);
        }
    }
}

std::string headProblem(const std::filesystem::path& path) {
    return problemIn(path, [](const PageFile& file) { file.heads(); });
}

std::string structureProblem(const std::filesystem::path& path, uint64_t transaction) {
    return problemIn(path, [&](const PageFile& file) { checkTrees(file, file.headOf(transaction), {}); });
}

} // namespace tarn::server::lmdb
