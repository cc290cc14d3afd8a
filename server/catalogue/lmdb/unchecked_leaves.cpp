// SPDX-License-Identifier: Apache-2.0
#include "catalogue/lmdb/unchecked_leaves.h"

#include "catalogue/lmdb/keys.h"

#include <algorithm>

namespace tarn::server::lmdb {

namespace {

// Leaves after the last one of lists that LMDB may look at before any run is erased.
constexpr size_t kAhead = 4;
// In a deeper tree, levelled branches may lead further. It has millions of leaves.
constexpr uint16_t kMaxDepthToDefer = 4;

} // namespace

std::string UncheckedLeaves::open(const std::filesystem::path& path, uint64_t transaction) {
    path_ = path;
    file_ = std::make_unique<PageFile>(path);
    std::string problem = problemIn(path, [&](const PageFile& file) {
        leaves_.clear();
        lows_.clear();
        next_ = 0;
        const Head head = file.headOf(transaction);
        pageBytes_ = head.freePages.pad;
        const auto isOfLists = [&](uint64_t number, const KeyRange& range) {
            const bool ofLists = range.low.value_or("") < kValueKeys;
            note(number, range, ofLists);
            if (ofLists) next_ = leaves_.size();
            return ofLists;
        };
        const bool deferred = head.content.depth <= kMaxDepthToDefer && checkTrees(file, head, isOfLists);
        if (deferred) return;
        checkTrees(file, head, {});
        leaves_.clear();
    });
    for (size_t i = 0; i < kAhead && problem.empty(); ++i) problem = reachOneMore();
    return problem;
}

std::string UncheckedLeaves::reach(std::string_view key) {
    if (leaves_.empty()) return {};
    const auto after =
        std::upper_bound(leaves_.begin() + 1, leaves_.end(), key, [&](std::string_view wanted, const Leaf& leaf) {
            return wanted < lowOf(static_cast<size_t>(&leaf - leaves_.data()));
        });
    return check(static_cast<size_t>(after - leaves_.begin()) - 1);
}

std::string UncheckedLeaves::reachOneMore() { return next_ < leaves_.size() ? check(next_++) : std::string(); }

void UncheckedLeaves::note(uint64_t number, const KeyRange& range, bool checked) {
    leaves_.push_back({number, lows_.size(), checked});
    lows_ += range.low.value_or("");
}

std::string UncheckedLeaves::check(size_t leaf) {
    if (leaves_[leaf].checked) return {};
    try {
        std::vector<char> bytes(pageBytes_);
        file_->read(leaves_[leaf].number * pageBytes_, bytes);
        const Page page(bytes, leaves_[leaf].number, false, KeyOrder::kBytes, rangeOf(leaf));
        for (size_t i = 0; i < page.nodes(); ++i) {
            if (page.entry(i).firstLargePage) throw Wrong{"a value is of an unknown kind"}; // all large ones were seen
        }
        expectRightKeys(*file_, page, pageBytes_);
    } catch (const Wrong& wrong) {
        return problemText(path_, wrong);
    }
    leaves_[leaf].checked = true;
    return {};
}

std::vector<uint64_t> UncheckedLeaves::pages() const {
    std::vector<uint64_t> pages;
    for (const Leaf& leaf : leaves_) {
        if (!leaf.checked) pages.push_back(leaf.number);
    }
    return pages;
}

std::string_view UncheckedLeaves::lowOf(size_t leaf) const {
    const size_t end = leaf + 1 < leaves_.size() ? leaves_[leaf + 1].low : lows_.size();
    return std::string_view(lows_).substr(leaves_[leaf].low, end - leaves_[leaf].low);
}

KeyRange UncheckedLeaves::rangeOf(size_t leaf) const {
    KeyRange range;
    if (leaf > 0) range.low = lowOf(leaf);
    if (leaf + 1 < leaves_.size()) range.high = lowOf(leaf + 1);
    return range;
}

} // namespace tarn::server::lmdb
