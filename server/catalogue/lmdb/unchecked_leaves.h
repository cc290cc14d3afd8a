// SPDX-License-Identifier: Apache-2.0
// The leaves of a tree that opening left unchecked, so that who adds a few recordings to a large catalogue reads a few
// pages and not all. Each is checked before LMDB is first sent there.
//
// It holds for one transaction that writes, and for what is read before and after it: LMDB reaches no other unchecked
// leaf, because
//
//   - all branches, the list of free pages and the leaves of lists are checked at opening, so LMDB comes to the leaf
//     that the key belongs to. A leaf splits, but as long as no value is erased none goes;
//   - a run of lists that is erased leads LMDB at most to the leaf after those that it was led to before, and, as it
//     levels the branches above, three more: it never looks further than one sibling of a page.
//
// Everything else must check the whole file before it begins.
#pragma once

#include "catalogue/lmdb/page_check.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::server::lmdb {

class UncheckedLeaves {
  public:
    // Checks everything but the leaves of values, as of a transaction. What is wrong; empty: nothing.
    std::string open(const std::filesystem::path& file, uint64_t transaction);

    // Before LMDB is sent to a key. What is wrong; empty: nothing.
    std::string reach(std::string_view key);
    // Before a run of lists is erased. What is wrong; empty: nothing.
    std::string reachOneMore();

    // The pages that LMDB must not come to.
    std::vector<uint64_t> pages() const;

  private:
    struct Leaf {
        uint64_t number;
        size_t low; // where its lowest key begins in lows_
        bool checked;
    };

    void note(uint64_t number, const KeyRange& range, bool checked);
    std::string check(size_t leaf);
    std::string_view lowOf(size_t leaf) const;
    KeyRange rangeOf(size_t leaf) const;

    std::filesystem::path path_;
    std::unique_ptr<PageFile> file_;
    uint64_t pageBytes_ = 0;
    std::vector<Leaf> leaves_; // in the order of their keys
    std::string lows_;
    size_t next_ = 0; // the leaf up to which erased runs may lead LMDB
};

} // namespace tarn::server::lmdb
